// The polynomial map's evaluation. Every evaluation, of a
// single point or of a row of pixels, goes through one template per order, so
// a marker and a pixel at the same place are carried by the same arithmetic.
#include "geometry/polynomialMap.h"

#include "api/errors.h"
#include "filters/circleWork.h"

namespace tamble {
namespace {

// The sum of the first Order terms, strictly from the left.
template <int Order>
double terms(const double (&c)[10], double x, double y) {
  if constexpr (Order == 0) return 0.0;
  double v = c[0];
  if constexpr (Order >= 3) v = v + c[1] * x + c[2] * y;
  if constexpr (Order >= 6) v = v + c[3] * x * y + c[4] * x * x + c[5] * y * y;
  if constexpr (Order >= 10)
    v = v + c[6] * x * x * y + c[7] * x * y * y + c[8] * x * x * x + c[9] * y * y * y;
  return v;
}

// Orders 0 and 1 keep the identity: the point stays, or is shifted by c[0].
template <int Order>
mappedPoint carry(const double (&cx)[10], const double (&cy)[10], double x, double y) {
  if constexpr (Order == 0) return {x, y};
  if constexpr (Order == 1) return {x + cx[0], y + cy[0]};
  return {terms<Order>(cx, x, y), terms<Order>(cy, x, y)};
}

template <int Order>
void carryRow(const double (&cx)[10], const double (&cy)[10], int x0, int n, double y, double* xs,
              double* ys) {
  for (int i = 0; i < n; ++i) {
    const mappedPoint p = carry<Order>(cx, cy, static_cast<double>(x0 + i), y);
    xs[i] = p.x;
    ys[i] = p.y;
  }
}

[[noreturn]] void badOrder() {
  zel::raise<zel::AlgoError>("Polynomial order must be 0, 1, 3, 6 or 10");
}

}  // namespace

bool isPolynomialOrder(int order) {
  return order == 0 || order == 1 || order == 3 || order == 6 || order == 10;
}

double evaluatePolynomial(const double (&c)[10], int order, double x, double y) {
  switch (order) {
    case 0: return terms<0>(c, x, y);
    case 1: return terms<1>(c, x, y);
    case 3: return terms<3>(c, x, y);
    case 6: return terms<6>(c, x, y);
    case 10: return terms<10>(c, x, y);
    default: badOrder();
  }
}

mappedPoint mapPoint(const double (&cx)[10], const double (&cy)[10], int order, double x,
                     double y) {
  switch (order) {
    case 0: return carry<0>(cx, cy, x, y);
    case 1: return carry<1>(cx, cy, x, y);
    case 3: return carry<3>(cx, cy, x, y);
    case 6: return carry<6>(cx, cy, x, y);
    case 10: return carry<10>(cx, cy, x, y);
    default: badOrder();
  }
}

// Built for AVX2 too (four points at a time instead of two): the same
// operations, so the same bits.
TAMBLE_CLONES void mapRow(const double (&cx)[10], const double (&cy)[10], int order, int x0, int n,
                          double y, double* xs, double* ys) {
  switch (order) {
    case 0: return carryRow<0>(cx, cy, x0, n, y, xs, ys);
    case 1: return carryRow<1>(cx, cy, x0, n, y, xs, ys);
    case 3: return carryRow<3>(cx, cy, x0, n, y, xs, ys);
    case 6: return carryRow<6>(cx, cy, x0, n, y, xs, ys);
    case 10: return carryRow<10>(cx, cy, x0, n, y, xs, ys);
    default: badOrder();
  }
}

void setAffineMap(polynomialState& map, double x0, double x1, double x2, double y0, double y1,
                  double y2) {
  map = polynomialState{};
  map.order = 3;
  map.forwardX[0] = x0;
  map.forwardX[1] = x1;
  map.forwardX[2] = x2;
  map.forwardY[0] = y0;
  map.forwardY[1] = y1;
  map.forwardY[2] = y2;
  // A singular map leaves infinities or NaN here; the pixels still follow the
  // forward set, only the markers become unusable.
  const double k = 1 / (y2 * x1 - x2 * y1);
  map.inverseX[0] = (x2 * y0 - y2 * x0) * k;
  map.inverseY[0] = (y1 * x0 - x1 * y0) * k;
  map.inverseX[1] = k * y2;
  map.inverseY[1] = -(k * y1);
  map.inverseX[2] = -(k * x2);
  map.inverseY[2] = k * x1;
}

}  // namespace tamble
