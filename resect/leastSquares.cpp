#include "resect/leastSquares.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace tamble {
namespace {

bool allFinite(const double* values, std::size_t n) {
  return std::all_of(values, values + n, [](double v) { return std::isfinite(v); });
}

// Scales each column to unit length; false when one is all zeros.
bool equilibrate(std::vector<double>& a, int m, int n, std::vector<double>& scale) {
  for (int j = 0; j < n; ++j) {
    double sum = 0.0;
    for (int i = 0; i < m; ++i) sum += a[i * n + j] * a[i * n + j];
    if (!(sum > 0.0) || !std::isfinite(sum)) return false;
    scale[j] = 1.0 / std::sqrt(sum);
    for (int i = 0; i < m; ++i) a[i * n + j] *= scale[j];
  }
  return true;
}

// Column k of the triangle: the reflection that clears it below the
// diagonal, applied to the columns after it and to b. Returns the diagonal.
double reflect(std::vector<double>& a, std::vector<double>& b, int m, int n, int k) {
  double norm = 0.0;
  for (int i = k; i < m; ++i) norm += a[i * n + k] * a[i * n + k];
  norm = std::sqrt(norm);
  if (norm == 0.0) return 0.0;
  const double alpha = a[k * n + k] > 0.0 ? -norm : norm;
  a[k * n + k] -= alpha;                    // the reflection's vector v is column k from row k on
  const double vv = -alpha * a[k * n + k];  // v.v / 2
  for (int j = k + 1; j < n; ++j) {
    double dot = 0.0;
    for (int i = k; i < m; ++i) dot += a[i * n + k] * a[i * n + j];
    const double f = dot / vv;
    for (int i = k; i < m; ++i) a[i * n + j] -= f * a[i * n + k];
  }
  double dot = 0.0;
  for (int i = k; i < m; ++i) dot += a[i * n + k] * b[i];
  const double f = dot / vv;
  for (int i = k; i < m; ++i) b[i] -= f * a[i * n + k];
  return alpha;
}

}  // namespace

bool leastSquares(const double* matrix, const double* rightSide, int unknowns, int rows,
                  double* solution) {
  if (unknowns <= 0 || rows < unknowns) return false;
  const int m = rows, n = unknowns;
  const std::size_t size = static_cast<std::size_t>(m) * static_cast<std::size_t>(n);
  if (!allFinite(matrix, size) || !allFinite(rightSide, static_cast<std::size_t>(m))) return false;
  std::vector<double> a(matrix, matrix + size), b(rightSide, rightSide + m), scale(n), diagonal(n);
  if (!equilibrate(a, m, n, scale)) return false;
  for (int k = 0; k < n; ++k) diagonal[k] = reflect(a, b, m, n, k);
  double largest = 0.0;
  for (double d : diagonal) largest = std::max(largest, std::fabs(d));
  for (double d : diagonal)
    if (!(std::fabs(d) > 1e-10 * largest)) return false;
  std::vector<double> z(n);
  for (int k = n - 1; k >= 0; --k) {
    double sum = b[k];
    for (int j = k + 1; j < n; ++j) sum -= a[k * n + j] * z[j];
    z[k] = sum / diagonal[k];
  }
  if (!allFinite(z.data(), z.size())) return false;
  for (int j = 0; j < n; ++j) solution[j] = z[j] * scale[j];
  return true;
}

}  // namespace tamble
