// The downhill simplex of the calibration solver ("Configuration Method").
#include <algorithm>
#include <cmath>

#include "resect/searches.h"

namespace tamble {
namespace {

double valueOf(const searchObjective& F, const double* x) {
  const double v = F(x);
  return std::isnan(v) ? HUGE_VAL : v;
}

void copyRow(const std::vector<double>& from, double* to, int n) {
  std::copy(from.begin(), from.begin() + n, to);
}

}  // namespace

simplexState::simplexState(int n_)
    : n(n_),
      vertices(static_cast<std::size_t>((n_ + 1) * n_)),
      values(static_cast<std::size_t>(n_ + 1)),
      centre(static_cast<std::size_t>(n_)),
      reflected(static_cast<std::size_t>(n_)),
      expanded(static_cast<std::size_t>(n_)),
      contracted(static_cast<std::size_t>(n_)),
      swap(static_cast<std::size_t>(n_)) {}

// Insertion sort: after a step only the replaced vertex is out of place.
void simplexState::sort() {
  for (int i = 1; i <= n; ++i) {
    const double v = values[i];
    std::copy(vertex(i), vertex(i) + n, swap.begin());
    int j = i - 1;
    for (; j >= 0 && values[j] > v; --j) {
      values[j + 1] = values[j];
      std::copy(vertex(j), vertex(j) + n, vertex(j + 1));
    }
    values[j + 1] = v;
    copyRow(swap, vertex(j + 1), n);
  }
}

void simplexStep(simplexState& s, const searchObjective& F) {
  const int n = s.n, w = n, second = n - 1;
  for (int j = 0; j < n; ++j) {
    double sum = 0.0;
    for (int i = 0; i < n; ++i) sum += s.vertex(i)[j];
    s.centre[j] = sum / n;
  }
  const double* worst = s.vertex(w);
  for (int j = 0; j < n; ++j) s.reflected[j] = 2.0 * s.centre[j] - worst[j];
  const double Fr = valueOf(F, s.reflected.data());
  const double Fb = s.values[0], Fs = s.values[second], Fw = s.values[w];
  if (Fs > Fr) {
    if (Fb > Fr) {
      for (int j = 0; j < n; ++j) s.expanded[j] = 2.0 * s.reflected[j] - s.centre[j];
      const double Fe = valueOf(F, s.expanded.data());
      const bool expand = Fb > Fe;
      copyRow(expand ? s.expanded : s.reflected, s.vertex(w), n);
      s.values[w] = expand ? Fe : Fr;
    } else {
      copyRow(s.reflected, s.vertex(w), n);
      s.values[w] = Fr;
    }
    s.sort();
    return;
  }
  // The contraction goes towards the better of the reflection and the worst.
  const double* toward = Fw > Fr ? s.reflected.data() : worst;
  for (int j = 0; j < n; ++j) s.contracted[j] = 0.5 * s.centre[j] + 0.5 * toward[j];
  const double Fk = valueOf(F, s.contracted.data());
  if (Fs > Fk) {
    copyRow(s.contracted, s.vertex(w), n);
    s.values[w] = Fk;
  } else {
    const double* best = s.vertex(0);
    for (int i = 1; i <= n; ++i) {
      double* v = s.vertex(i);
      for (int j = 0; j < n; ++j) v[j] = 0.5 * v[j] + 0.5 * best[j];
      s.values[i] = valueOf(F, v);
    }
  }
  s.sort();
}

namespace {

bool settled(simplexState& s, const double* tolerance) {
  for (int j = 0; j < s.n; ++j) {
    double low = s.vertex(0)[j], high = low;
    for (int i = 1; i <= s.n; ++i) {
      low = std::min(low, s.vertex(i)[j]);
      high = std::max(high, s.vertex(i)[j]);
    }
    if (!(tolerance[j] >= std::fabs(high - low))) return false;
  }
  return true;
}

}  // namespace

simplexResult simplexSearch(const searchObjective& F, int n, double* x, const double* scale,
                            double h, int maxSteps, const double* tolerance) {
  simplexState s(n);
  for (int j = 0; j < n; ++j) s.vertex(0)[j] = x[j] - h * scale[j];
  for (int k = 1; k <= n; ++k) {
    double* v = s.vertex(k);
    std::copy(x, x + n, v);
    v[k - 1] = x[k - 1] + h * scale[k - 1];
  }
  for (int i = 0; i <= n; ++i) s.values[i] = valueOf(F, s.vertex(i));
  s.sort();
  // A simplex shrunk to within rounding of one point comes back, bit for
  // bit, to a state it had a few steps before; from then on its steps
  // repeat with that period, and only the last part of a period is run: the
  // result is that of every step run, and they are all counted as made.
  constexpr int longest = 8;
  std::vector<std::vector<double>> past(longest);
  std::vector<double> state;
  const auto keep = [&](int made) {
    state.assign(s.vertices.begin(), s.vertices.end());
    state.insert(state.end(), s.values.begin(), s.values.end());
    for (int period = 1; period <= std::min(made, longest); ++period)
      if (past[(made - period) % longest] == state) return period;
    past[made % longest] = state;
    return 0;
  };
  keep(0);
  int step = 1;
  for (; step <= maxSteps; ++step) {
    if (settled(s, tolerance)) break;
    simplexStep(s, F);
    if (const int period = keep(step)) {
      for (int left = (maxSteps - step) % period; left > 0; --left) simplexStep(s, F);
      step = maxSteps + 1;
      break;
    }
  }
  std::copy(s.vertex(0), s.vertex(0) + n, x);
  return {step - 1, valueOf(F, x)};
}

}  // namespace tamble
