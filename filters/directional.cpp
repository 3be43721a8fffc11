// Directional Gauss and median, the smear along a line and its inversion.
// Every pass reads a snapshot (or other planes) and writes each valid pixel
// from it alone, so rows run in parallel; the sums of the conjugate
// gradients are taken per row in double and added over the rows in order.
#include "filters/directional.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "api/errors.h"
#include "api/parallel.h"

namespace tamble {
namespace {

constexpr double degree = 3.14159265358979323846 / 180.0;

// Unit vectors along the direction and across it, in pixel coordinates.
struct axes {
  double ax, ay, nx, ny;
  explicit axes(float angle) {
    const double a = angle * degree;
    ax = std::cos(a), ay = -std::sin(a);
    nx = std::sin(a), ny = std::cos(a);
  }
  double along(int dx, int dy) const { return dx * ax + dy * ay; }
  double across(int dx, int dy) const { return dx * nx + dy * ny; }
};

// The digital line through the centre over |u| <= half: one cell per
// column (per row where the line is steeper than 45 degrees).
template <class CellFn>
void forSpine(const axes& d, double half, int reach, CellFn&& cellFn) {
  const bool flat = std::fabs(d.ax) >= std::fabs(d.ay);
  for (int j = -reach; j <= reach; ++j) {
    const int dx = flat ? j : static_cast<int>(std::lround(j * d.ax / d.ay));
    const int dy = flat ? static_cast<int>(std::lround(j * d.ay / d.ax)) : j;
    if (std::fabs(d.along(dx, dy)) <= half) cellFn(dx, dy);
  }
}

struct offset {
  int dx, dy;
};

// The smear's cells: the digital line `length` long, in row order.
std::vector<offset> spine(float length, float angle) {
  const axes d(angle);
  const double half = std::max(0.5, length * 0.5);
  const int reach = static_cast<int>(std::ceil(half)) + 1;
  std::vector<offset> cells;
  forSpine(d, half, reach, [&](int dx, int dy) { cells.push_back({dx, dy}); });
  std::sort(cells.begin(), cells.end(),
            [](offset a, offset b) { return a.dy != b.dy ? a.dy < b.dy : a.dx < b.dx; });
  return cells;
}

bool isBlocked(const filterMask& bkgr, const filterMask& ROI, std::size_t i) {
  return bkgr.data[i] || !ROI.data[i];
}

// The windows of a filter: one without a taper, else one per whole length
// 1 .. ceil(length), the last of the full length.
struct windowSet {
  std::vector<std::vector<lineCell>> windows;
  std::optional<lengthTaper> taper;
  float length;

  windowSet(float len, float width, float angle, const std::optional<lengthTaper>& t)
      : taper(t), length(len) {
    if (!taper) {
      windows.push_back(lineWindow(length, width, angle));
      return;
    }
    const int top = std::max(1, static_cast<int>(std::ceil(length)));
    for (int k = 1; k <= top; ++k)
      windows.push_back(lineWindow(std::min(static_cast<float>(k), length), width, angle));
  }

  // The window of pixel (x, y).
  const std::vector<lineCell>& at(int x, int y) const {
    if (!taper) return windows.front();
    const double ex = taper->toX - taper->fromX, ey = taper->toY - taper->fromY;
    const double span = ex * ex + ey * ey;
    const double s =
        span > 0 ? std::clamp(((x - taper->fromX) * ex + (y - taper->fromY) * ey) / span, 0.0, 1.0)
                 : 1.0;
    const long k = std::lround(length * s);
    return windows[std::clamp<long>(k, 1, static_cast<long>(windows.size())) - 1];
  }
};

// Passes of `pixelFn(snapshot, window, x, y, value&)` over the valid pixels.
template <class PixelFn>
void windowPasses(filterField& field, const filterMask& bkgr, const filterMask& ROI, int iterations,
                  const windowSet& set, PixelFn&& pixelFn) {
  if (!field.sameExtent(bkgr) || !bkgr.sameExtent(ROI)) zel::raise<zel::DimError>();
  const int W = field.width(), H = field.height();
  for (int pass = 0; pass < iterations; ++pass) {
    const filterField snapshot = field;
    zel::forEachRow(H, field.count, [&](int y) {
      for (int x = 0; x < W; ++x) {
        const std::size_t i = static_cast<std::size_t>(y) * W + x;
        if (isBlocked(bkgr, ROI, i)) continue;
        pixelFn(snapshot, set.at(x, y), x, y, field.data[i]);
      }
    });
  }
}

}  // namespace

float directionAngle(double x1, double y1, double x2, double y2) {
  return static_cast<float>(std::atan2(-(y2 - y1), x2 - x1) / degree);
}

std::vector<lineCell> lineWindow(float length, float width, float angle) {
  const axes d(angle);
  const double a = std::max(0.5, length * 0.5), b = std::max(0.5, width * 0.5);
  const int reach = static_cast<int>(std::ceil(a + b)) + 1, side = 2 * reach + 1;
  std::vector<char> in(static_cast<std::size_t>(side) * side, 0);
  auto mark = [&](int dx, int dy) { in[static_cast<std::size_t>(dy + reach) * side + dx + reach] = 1; };
  for (int dy = -reach; dy <= reach; ++dy)
    for (int dx = -reach; dx <= reach; ++dx) {
      const double u = d.along(dx, dy) / a, v = d.across(dx, dy) / b;
      if (u * u + v * v <= 1.0) mark(dx, dy);
    }
  forSpine(d, a, reach, mark);
  std::vector<lineCell> cells;
  for (int dy = -reach; dy <= reach; ++dy)
    for (int dx = -reach; dx <= reach; ++dx) {
      if (!in[static_cast<std::size_t>(dy + reach) * side + dx + reach]) continue;
      const double u = d.along(dx, dy) / a, v = d.across(dx, dy) / b;
      cells.push_back({dx, dy, static_cast<float>(std::exp(-(u * u + v * v)))});
    }
  return cells;
}

void DirectionalGauss(filterField& field, const filterMask& bkgr, const filterMask& ROI,
                      int iterations, float length, float width, float angle,
                      const std::optional<lengthTaper>& taper) {
  const windowSet set(length, width, angle, taper);
  const int W = field.width(), H = field.height();
  windowPasses(field, bkgr, ROI, iterations, set,
               [&](const filterField& in, const std::vector<lineCell>& cells, int x, int y,
                   float& out) {
                 float s = 0.0f, sw = 0.0f;
                 for (const lineCell& c : cells) {
                   const int sx = x + c.dx, sy = y + c.dy;
                   if (sx < 0 || sy < 0 || sx >= W || sy >= H) continue;
                   if (isBlocked(bkgr, ROI, static_cast<std::size_t>(sy) * W + sx)) continue;
                   s += c.weight * in(sx, sy);
                   sw += c.weight;
                 }
                 if (sw > 0.0f) out = s / sw;
               });
}

void DirectionalMedian(filterField& field, const filterMask& bkgr, const filterMask& ROI,
                       int iterations, float length, float width, float angle,
                       const std::optional<lengthTaper>& taper) {
  const windowSet set(length, width, angle, taper);
  const int W = field.width(), H = field.height();
  windowPasses(field, bkgr, ROI, iterations, set,
               [&](const filterField& in, const std::vector<lineCell>& cells, int x, int y,
                   float& out) {
                 thread_local std::vector<float> samples;
                 samples.clear();
                 for (const lineCell& c : cells) {
                   const int sx = x + c.dx, sy = y + c.dy;
                   if (sx < 0 || sy < 0 || sx >= W || sy >= H) continue;
                   if (isBlocked(bkgr, ROI, static_cast<std::size_t>(sy) * W + sx)) continue;
                   samples.push_back(in(sx, sy));
                 }
                 if (samples.empty()) return;
                 const auto middle = samples.begin() + (samples.size() + 1) / 2 - 1;
                 std::nth_element(samples.begin(), middle, samples.end());
                 out = *middle;
               });
}

namespace {

// The smear operator and its adjoint over the valid pixels: H u at p is the
// mean of u over p's n valid line cells (their sum over n, so that equal
// values keep their value); H' v at q is the sum of v/n over the valid line
// cells of q (the cell set is symmetric, so this is the exact adjoint).
// Blocked entries of the results are 0.
struct smearOperator {
  const filterMask &bkgr, &ROI;
  std::vector<offset> cells;
  int W, H;
  std::vector<float> count;  // n, the valid cells, at valid pixels

  smearOperator(const filterMask& b, const filterMask& r, float length, float angle)
      : bkgr(b), ROI(r), cells(spine(length, angle)), W(b.width()), H(b.height()),
        count(b.count, 1.0f) {
    zel::forEachRow(H, b.count, [&](int y) {
      for (int x = 0; x < W; ++x) {
        if (blocked(x, y)) continue;
        int n = 0;
        for (const offset& c : cells) n += inside(x + c.dx, y + c.dy) && !blocked(x + c.dx, y + c.dy);
        count[index(x, y)] = static_cast<float>(n);
      }
    });
  }
  std::size_t index(int x, int y) const { return static_cast<std::size_t>(y) * W + x; }
  bool inside(int x, int y) const { return x >= 0 && y >= 0 && x < W && y < H; }
  bool blocked(int x, int y) const { return isBlocked(bkgr, ROI, index(x, y)); }

  // H in (adjoint false) or H' in into out.
  void apply(const std::vector<float>& in, std::vector<float>& out, bool adjoint) const {
    zel::forEachRow(H, in.size(), [&](int y) {
      for (int x = 0; x < W; ++x) {
        const std::size_t i = index(x, y);
        if (blocked(x, y)) {
          out[i] = 0.0f;
          continue;
        }
        float s = 0.0f;
        for (const offset& c : cells) {
          const int sx = x + c.dx, sy = y + c.dy;
          if (!inside(sx, sy) || blocked(sx, sy)) continue;
          const std::size_t j = index(sx, sy);
          s += adjoint ? in[j] / count[j] : in[j];
        }
        out[i] = adjoint ? s : s / count[i];
      }
    });
  }
};

// The sum of a*b over all entries: rows in double, added in order.
double dot(const std::vector<float>& a, const std::vector<float>& b, int W, int H) {
  std::vector<double> rows(H, 0.0);
  zel::forEachRow(H, a.size(), [&](int y) {
    double s = 0.0;
    for (std::size_t i = static_cast<std::size_t>(y) * W; i < static_cast<std::size_t>(y + 1) * W; ++i)
      s += static_cast<double>(a[i]) * b[i];
    rows[y] = s;
  });
  double total = 0.0;
  for (double r : rows) total += r;
  return total;
}

// y = a*x + y over all entries.
void addScaled(float a, const std::vector<float>& x, std::vector<float>& y) {
  const int n = static_cast<int>(y.size());
  zel::forEachRow(n, y.size(), [&](int i) { y[i] += a * x[i]; });
}

}  // namespace

void Smear1D(filterField& field, const filterMask& bkgr, const filterMask& ROI, float length,
             float angle) {
  if (!field.sameExtent(bkgr) || !bkgr.sameExtent(ROI)) zel::raise<zel::DimError>();
  const smearOperator smear(bkgr, ROI, length, angle);
  const std::vector<float> in(field.data, field.data + field.count);
  std::vector<float> out(field.count);
  smear.apply(in, out, false);
  for (std::size_t i = 0; i < field.count; ++i)
    if (!isBlocked(bkgr, ROI, i)) field.data[i] = out[i];
}

int DeBlur1D(filterField& field, const filterMask& bkgr, const filterMask& ROI, float length,
             float angle, float noise, int iterations) {
  if (!field.sameExtent(bkgr) || !bkgr.sameExtent(ROI)) zel::raise<zel::DimError>();
  const int W = field.width(), H = field.height();
  const smearOperator smear(bkgr, ROI, length, angle);
  const std::size_t n = field.count;
  std::vector<float> x(n, 0.0f), r(n), p(n), Ap(n), t(n);
  for (std::size_t i = 0; i < n; ++i)
    if (!isBlocked(bkgr, ROI, i)) x[i] = field.data[i];
  // A v = H'H v + noise v and b = H'f + noise f; from x = f the first
  // residual b - A f is H'(f - H f).
  auto applyA = [&](const std::vector<float>& v, std::vector<float>& out) {
    smear.apply(v, t, false);
    smear.apply(t, out, true);
    addScaled(noise, v, out);
  };
  smear.apply(x, t, false);
  for (std::size_t i = 0; i < n; ++i) t[i] = x[i] - t[i];
  smear.apply(t, r, true);
  p = r;
  double rs = dot(r, r, W, H);
  // The residual's norm down to 1e-5 of b's: an image the smear leaves as
  // it is (a flat one) takes no step at all.
  smear.apply(x, t, true);
  addScaled(noise, x, t);
  const double stop = dot(t, t, W, H) * 1e-10;
  int steps = 0;
  while (steps < iterations && rs > stop && rs > 0) {
    applyA(p, Ap);
    const double pAp = dot(p, Ap, W, H);
    if (!(pAp > 0)) break;
    const float alpha = static_cast<float>(rs / pAp);
    addScaled(alpha, p, x);
    addScaled(-alpha, Ap, r);
    const double next = dot(r, r, W, H);
    const float beta = static_cast<float>(next / rs);
    zel::forEachRow(static_cast<int>(n), n, [&](int i) { p[i] = r[i] + beta * p[i]; });
    rs = next;
    ++steps;
  }
  for (std::size_t i = 0; i < n; ++i)
    if (!isBlocked(bkgr, ROI, i)) field.data[i] = x[i];
  return steps;
}

}  // namespace tamble
