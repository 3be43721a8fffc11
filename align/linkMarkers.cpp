// Marker linking. The cost lies in the pairing runs, one for every
// candidate triangle or scanned rotation and shift: the second list is put
// into a grid of buckets once, so that a run looks only at the points within
// reach of each mapped point, and every run works in buffers made once per
// call of the routine.
#include "align/linkMarkers.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <span>

#include "align/polynomialFit.h"
#include "api/errors.h"
#include "api/report.h"

namespace tamble {
namespace {

constexpr int fewestPairs = 6;    // a run with fewer pairs is not scored
constexpr double farAway = 1e10;  // the nearest search starts from this squared distance

// The points of a list in buckets a little wider than the pairing reach, so
// that a point within reach lies in the bucket of the query or a neighbour.
// A byte per bucket says whether any point lies in it or a neighbour: most
// mapped points of a wrong map fall where there is none, and are turned away
// by that one read. Points that are not finite are never anybody's nearest,
// and are left out.
class nearestGrid {
 public:
  nearestGrid(const markerPoints& B, double reach) : pts(B) {
    std::vector<int> finite;
    for (int j = 0; j < B.size(); ++j)
      if (std::isfinite(B.x[j]) && std::isfinite(B.y[j])) finite.push_back(j);
    if (finite.empty()) return;
    double x1 = B.x[finite[0]], y1 = B.y[finite[0]];
    x0 = x1;
    y0 = y1;
    for (int j : finite) {
      x0 = std::min(x0, B.x[j]);
      x1 = std::max(x1, B.x[j]);
      y0 = std::min(y0, B.y[j]);
      y1 = std::max(y1, B.y[j]);
    }
    cell = std::max(reach, 1.0) * (1.0 + 1e-6) + 1e-6;
    const double limit = 64.0 * static_cast<double>(finite.size()) + 4096.0;
    while ((std::floor((x1 - x0) / cell) + 1) * (std::floor((y1 - y0) / cell) + 1) > limit)
      cell *= 2.0;
    perCell = 1.0 / cell;  // the reach leaves a margin far above this rounding
    nx = static_cast<int>(std::floor((x1 - x0) / cell)) + 1;
    ny = static_cast<int>(std::floor((y1 - y0) / cell)) + 1;
    const std::size_t buckets = static_cast<std::size_t>(nx) * static_cast<std::size_t>(ny);
    start.assign(buckets + 1, 0);
    for (int j : finite) ++start[bucketOf(j) + 1];
    std::partial_sum(start.begin(), start.end(), start.begin());
    items.resize(finite.size());
    std::vector<int> fill(start.begin(), start.end() - 1);
    for (int j : finite) items[static_cast<std::size_t>(fill[bucketOf(j)]++)] = j;
    occupied.assign(buckets, 0);
    for (int gy = 0; gy < ny; ++gy)
      for (int gx = 0; gx < nx; ++gx)
        if (start[index(gx, gy) + 1] > start[index(gx, gy)])
          for (int vy = std::max(gy - 1, 0); vy <= std::min(gy + 1, ny - 1); ++vy)
            for (int vx = std::max(gx - 1, 0); vx <= std::min(gx + 1, nx - 1); ++vx)
              occupied[index(vx, vy)] = 1;
  }

  // Whether a point of the list may lie within reach of (px, py): false for
  // most places, at the cost of one read.
  bool mayPair(double px, double py) const {
    int gx = 0, gy = 0;
    if (!bucketAt(px, py, gx, gy)) return false;
    return gx < 0 || gy < 0 || gx >= nx || gy >= ny || occupied[index(gx, gy)];
  }

  // The nearest point to (px, py), the lower index on a tie, when it lies
  // within dmax2 (at most the reach squared); -1 otherwise.
  int nearest(double px, double py, double dmax2) const {
    int gx = 0, gy = 0;
    if (!(dmax2 >= 0.0) || !bucketAt(px, py, gx, gy)) return -1;
    int best = -1;
    double bestD2 = farAway;
    for (int vy = std::max(gy - 1, 0); vy <= std::min(gy + 1, ny - 1); ++vy)
      for (int vx = std::max(gx - 1, 0); vx <= std::min(gx + 1, nx - 1); ++vx) {
        const std::size_t b = index(vx, vy);
        for (int at = start[b]; at < start[b + 1]; ++at) {
          const int j = items[static_cast<std::size_t>(at)];
          const double dx = pts.x[j] - px, dy = pts.y[j] - py;
          const double d2 = dx * dx + dy * dy;
          if (d2 < bestD2 || (d2 == bestD2 && j < best)) {
            bestD2 = d2;
            best = j;
          }
        }
      }
    return best >= 0 && dmax2 >= bestD2 ? best : -1;
  }

 private:
  std::size_t index(int gx, int gy) const {
    return static_cast<std::size_t>(gy) * static_cast<std::size_t>(nx) +
           static_cast<std::size_t>(gx);
  }
  // The bucket of (px, py), from -1 to n on each axis (one beyond the grid
  // still has neighbours in it); false farther out or not finite. The
  // coordinates are shifted by a bucket so that truncation is the floor.
  bool bucketAt(double px, double py, int& gx, int& gy) const {
    const double tx = (px - x0) * perCell + 1.0, ty = (py - y0) * perCell + 1.0;
    if (!(tx >= 0.0 && ty >= 0.0 && tx < nx + 2.0 && ty < ny + 2.0)) return false;
    gx = static_cast<int>(tx) - 1;
    gy = static_cast<int>(ty) - 1;
    return true;
  }
  std::size_t bucketOf(int j) const {
    const int gx = static_cast<int>(std::floor((pts.x[j] - x0) * perCell));
    const int gy = static_cast<int>(std::floor((pts.y[j] - y0) * perCell));
    return index(std::min(gx, nx - 1), std::min(gy, ny - 1));
  }

  const markerPoints& pts;
  double x0 = 0.0, y0 = 0.0, cell = 1.0, perCell = 1.0;
  int nx = 0, ny = 0;
  std::vector<int> start, items;
  std::vector<std::uint8_t> occupied;
};

// A point of A as the polynomial of order m maps it.
struct byPolynomial {
  double cx[10], cy[10];
  int m;
  byPolynomial(const polynomialState& s, int order) : m(order) {
    std::copy(std::begin(s.forwardX), std::end(s.forwardX), cx);
    std::copy(std::begin(s.forwardY), std::end(s.forwardY), cy);
  }
  mappedPoint operator()(double x, double y) const {
    // The affine map of the triangle search, spelt out: the sums of mapPoint.
    if (m == 3) return {cx[0] + cx[1] * x + cx[2] * y, cy[0] + cy[1] * x + cy[2] * y};
    return mapPoint(cx, cy, m, x, y);
  }
};

struct byShift {
  double dx, dy;
  mappedPoint operator()(double x, double y) const { return {x + dx, y + dy}; }
};

// The pairing runs against one second list, with their buffers.
class pairSearch {
 public:
  pairSearch(int sizeA, const markerPoints& B, double reach)
      : grid(B, reach), b(B), taken(static_cast<std::size_t>(B.size()), 0) {
    const std::size_t n = static_cast<std::size_t>(sizeA);
    pa.resize(n);
    pb.resize(n);
    ux.resize(n);
    uy.resize(n);
    candidates.resize(n);
    mx.resize(n);
    my.resize(n);
    bx.resize(n);
    by.resize(n);
  }

  // One run over the points (ax, ay), mapped by `map`.
  template <class Map>
  double run(int m, double dmax2, std::span<const double> ax, std::span<const double> ay,
             const Map& map, bestPairs& best, polynomialState& state) {
    // First every point mapped, keeping those that may pair at all; then the
    // pairs in the order of A. A run that cannot reach 6 pairs is never
    // scored, so it stops as soon as that is certain.
    const std::size_t nA = ax.size();
    std::size_t near = 0;
    for (std::size_t i = 0; i < nA; ++i) {
      const mappedPoint p = map(ax[i], ay[i]);
      ux[i] = p.x;
      uy[i] = p.y;
      if (grid.mayPair(p.x, p.y)) candidates[near++] = static_cast<int>(i);
    }
    int count = 0;
    for (std::size_t k = 0; k < near; ++k) {
      if (static_cast<std::size_t>(count) + (near - k) < fewestPairs) break;
      const std::size_t i = static_cast<std::size_t>(candidates[k]);
      const int j = grid.nearest(ux[i], uy[i], dmax2);
      if (j < 0 || taken[static_cast<std::size_t>(j)]) continue;
      taken[static_cast<std::size_t>(j)] = 1;
      const std::size_t c = static_cast<std::size_t>(count++);
      pa[c] = static_cast<int>(i);
      pb[c] = j;
      mx[c] = ux[i];
      my[c] = uy[i];
      bx[c] = b.x[static_cast<std::size_t>(j)];
      by[c] = b.y[static_cast<std::size_t>(j)];
    }
    for (int c = 0; c < count; ++c)
      taken[static_cast<std::size_t>(pb[static_cast<std::size_t>(c)])] = 0;
    return score(m, count, best, state);
  }

 private:
  double score(int m, int count, bestPairs& best, polynomialState& state) {
    if (count < fewestPairs) return -1.0;
    const std::size_t n = static_cast<std::size_t>(count);
    const std::span<const double> sx(mx.data(), n), sy(my.data(), n), dx(bx.data(), n),
        dy(by.data(), n);
    if (!ZlMatrix(sx, sy, dx, dy, m, state.forwardX, state.forwardY)) return -1.0;
    const fitErrors e = FitErrors(sx, sy, dx, dy, m, state.forwardX, state.forwardY);
    const double pairs = static_cast<double>(count);
    const double s = pairs * pairs * pairs * pairs / std::sqrt(std::max(e.rms, 1e-4));
    if (s > best.score) {
      best.score = s;
      best.a.assign(pa.begin(), pa.begin() + count);
      best.b.assign(pb.begin(), pb.begin() + count);
    }
    return e.rms;
  }

  nearestGrid grid;
  const markerPoints& b;
  std::vector<std::uint8_t> taken;
  std::vector<int> pa, pb, candidates;
  std::vector<double> ux, uy, mx, my, bx, by;
};

void requireWeighted(const markerPoints& l) {
  if (l.y.size() != l.x.size() || l.w.size() != l.x.size())
    zel::raise<zel::AlgoError>("A marker list needs a position and a weight for every marker");
}

void requirePositions(const markerPoints& l) {
  if (l.y.size() != l.x.size())
    zel::raise<zel::AlgoError>("A marker list needs both coordinates of every marker");
}

double boxReach(double dmax2) { return dmax2 > 0.0 ? std::sqrt(dmax2) : 0.0; }

// A list without the entries that repeat their cyclic successor within 0.01
// on both axes. `keeper` gives for every original entry the kept entry whose
// partner it takes: itself, or the one it repeated.
struct keptList {
  markerPoints points;
  std::vector<int> origin;  // kept index to original index
  std::vector<int> keeper;  // original index to kept index
};

bool repeats(const markerPoints& l, int i, int j) {
  return std::fabs(l.x[i] - l.x[j]) < 0.01 && std::fabs(l.y[i] - l.y[j]) < 0.01;
}

// `lowered` counts the dropped entries among the first `fixed`.
keptList dropRepeats(const markerPoints& list, int fixed, int& lowered) {
  const int n = list.size();
  std::vector<bool> drop(static_cast<std::size_t>(n), false);
  for (int i = 0; i + 1 < n; ++i) drop[i] = repeats(list, i, i + 1);
  // The last entry closes the cycle only onto a kept first one, so that a
  // list of one point repeated keeps that point once.
  if (n > 1) drop[n - 1] = !drop[0] && repeats(list, n - 1, 0);
  keptList k;
  k.keeper.assign(static_cast<std::size_t>(n), -1);
  for (int i = 0; i < n; ++i) {
    if (drop[i]) {
      if (i < fixed) ++lowered;
      continue;
    }
    k.keeper[i] = k.points.size();
    k.origin.push_back(i);
    k.points.x.push_back(list.x[i]);
    k.points.y.push_back(list.y[i]);
    k.points.w.push_back(list.w[i]);
  }
  for (int i = n - 1; i >= 0; --i)
    if (drop[i]) k.keeper[i] = k.keeper[(i + 1) % n];
  return k;
}

// The shared work of both searches: the lists without repeats, the number
// of fixed entries left, and the pairing runs against the second list.
struct linking {
  keptList one, two;
  int fixed = 0;
  double dmax2 = 0.0;
  pairSearch search;

  linking(const markerPoints& first, const markerPoints& second, int box, int fixedIn)
      : linking(first, second, box, std::max(fixedIn, 0), 0) {}

  const markerPoints& L1() const { return one.points; }
  const markerPoints& L2() const { return two.points; }

 private:
  linking(const markerPoints& first, const markerPoints& second, int box, int f, int lowered)
      : one(dropRepeats(first, f, lowered)),
        two(dropRepeats(second, f, lowered)),
        fixed(std::min({std::max(f - lowered, 0), one.points.size(), two.points.size()})),
        dmax2(static_cast<double>(box) * static_cast<double>(box)),
        search(one.points.size(), two.points, boxReach(dmax2)) {}
};

std::span<const double> all(const std::vector<double>& v) { return {v.data(), v.size()}; }

// Nothing linked: an empty list (a success) or a failure.
linkResult unlinked(const markerPoints& first, bool ok) {
  linkResult r;
  r.ok = ok;
  r.linked.assign(first.x.size(), 0);
  r.linkX.assign(first.x.size(), 0.0);
  r.linkY.assign(first.x.size(), 0.0);
  r.linkW.assign(first.x.size(), 0.0);
  return r;
}

// The four refinement passes: each fits the present pairs (first list to
// second) and pairs again by that fit, with the order the pairs allow.
void refine(linking& k, bestPairs& best, polynomialState& state) {
  std::vector<double> sx, sy, dx, dy;
  for (int pass = 1; pass <= 4; ++pass) {
    const int n = best.count();
    const int m = pass >= 3 && n >= 12 ? 10 : pass >= 2 && n >= 8 ? 6 : n >= 3 ? 3 : 1;
    sx.clear();
    sy.clear();
    dx.clear();
    dy.clear();
    for (int p = 0; p < n; ++p) {
      sx.push_back(k.L1().x[best.a[p]]);
      sy.push_back(k.L1().y[best.a[p]]);
      dx.push_back(k.L2().x[best.b[p]]);
      dy.push_back(k.L2().y[best.b[p]]);
    }
    // A failed fit leaves the map cleared, and the pass pairs by that.
    ZlMatrix(all(sx), all(sy), all(dx), all(dy), m, state.forwardX, state.forwardY);
    k.search.run(m, k.dmax2, all(k.L1().x), all(k.L1().y), byPolynomial(state, m), best, state);
  }
}

// The refinement, the checks of the pairs, and the write-back by the
// original indices.
linkResult finish(linking& k, bestPairs& best, const markerPoints& first,
                  const markerPoints& second, polynomialState& state) {
  refine(k, best, state);
  linkResult r = unlinked(first, false);
  std::vector<bool> used(static_cast<std::size_t>(k.L2().size()), false);
  for (int b : best.b) {
    if (used[b]) return r;  // a marker of the second list taken twice
    used[b] = true;
  }
  if (best.count() < k.fixed) {
    best.a.resize(static_cast<std::size_t>(k.fixed));
    std::iota(best.a.begin(), best.a.end(), 0);
    best.b = best.a;
  }
  std::vector<int> partner(static_cast<std::size_t>(k.L1().size()), -1);
  for (int p = 0; p < best.count(); ++p) partner[best.a[p]] = best.b[p];
  for (std::size_t i = 0; i < first.x.size(); ++i) {
    const int q = partner[k.one.keeper[i]];
    if (q < 0) continue;
    const int o = k.two.origin[q];
    r.linked[i] = 1;
    r.linkX[i] = second.x[o];
    r.linkY[i] = second.y[o];
    r.linkW[i] = second.w[o];
  }
  r.count = best.count();
  r.ok = true;
  return r;
}

// --- The triangle search -------------------------------------------------

double distance(double ax, double ay, double bx, double by) {
  const double dx = bx - ax, dy = by - ay;
  return std::sqrt(dx * dx + dy * dy);
}

// The angle between two vectors of lengths la and lb; 0 for a zero vector
// or a cosine that is not below 1 in size.
double angle(double ax, double ay, double la, double bx, double by, double lb) {
  if (la == 0.0 || lb == 0.0) return 0.0;
  const double c = (ax * bx + ay * by) / (la * lb);
  return std::fabs(c) < 1.0 ? std::acos(c) : 0.0;
}

struct corners {
  double x[3], y[3];
};

// The smallest and largest interior angle of a triangle with side lengths
// d01, d12, d20.
void angles(const corners& c, double d01, double d12, double d20, double& lo, double& hi) {
  const double a0 =
      angle(c.x[1] - c.x[0], c.y[1] - c.y[0], d01, c.x[2] - c.x[0], c.y[2] - c.y[0], d20);
  const double a1 =
      angle(c.x[0] - c.x[1], c.y[0] - c.y[1], d01, c.x[2] - c.x[1], c.y[2] - c.y[1], d12);
  const double a2 =
      angle(c.x[0] - c.x[2], c.y[0] - c.y[2], d20, c.x[1] - c.x[2], c.y[1] - c.y[2], d12);
  lo = std::min({a0, a1, a2});
  hi = std::max({a0, a1, a2});
}

int turnOf(const corners& c) {
  const double cross =
      (c.x[1] - c.x[0]) * (c.y[2] - c.y[0]) - (c.y[1] - c.y[0]) * (c.x[2] - c.x[0]);
  return cross > 0.0 ? 1 : -1;
}

// What a triple of the second list must have in common with the reference
// triangle.
struct shapeLimits {
  double lowAngle = 0.0, highAngle = 0.0, lowLength = 0.0, highLength = 0.0;
  int turn = 1;
};

shapeLimits limitsOf(const corners& ref) {
  const double d01 = distance(ref.x[0], ref.y[0], ref.x[1], ref.y[1]);
  const double d12 = distance(ref.x[1], ref.y[1], ref.x[2], ref.y[2]);
  const double d20 = distance(ref.x[2], ref.y[2], ref.x[0], ref.y[0]);
  double lo = 0.0, hi = 0.0;
  angles(ref, d01, d12, d20, lo, hi);
  shapeLimits s;
  s.lowAngle = lo * 0.5;
  s.highAngle = 3.14159265359 - s.lowAngle;
  const double L = d01 + d12 + d20;
  s.lowLength = L * 0.5;
  s.highLength = L * 2.0;
  s.turn = turnOf(ref);
  return s;
}

// The heaviest entries of the list: all, or half of them when there are
// more than 6, by weight (a stable sort, as adjacent swaps give).
std::vector<int> headOf(const markerPoints& l) {
  std::vector<int> order(static_cast<std::size_t>(l.size()));
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(), [&](int a, int b) { return l.w[a] > l.w[b]; });
  if (order.size() > 6) order.resize(order.size() / 2);
  return order;
}

// P1 and P2 of a search without fixed entries: the extremes of the head
// along the axis of its larger span.
void extremes(const markerPoints& l, const std::vector<int>& head, int& p1, int& p2) {
  int xl = head[0], xh = head[0], yl = head[0], yh = head[0];
  for (int i : head) {
    if (l.x[i] < l.x[xl]) xl = i;
    if (l.x[i] > l.x[xh]) xh = i;
    if (l.y[i] < l.y[yl]) yl = i;
    if (l.y[i] > l.y[yh]) yh = i;
  }
  const bool alongY = l.y[yh] - l.y[yl] > l.x[xh] - l.x[xl];
  p1 = alongY ? yl : xl;
  p2 = alongY ? yh : xh;
}

int farthestFrom(const markerPoints& l, const std::vector<int>& head, int p) {
  int best = head[0];
  double far = -1.0;
  for (int i : head) {
    const double d = distance(l.x[p], l.y[p], l.x[i], l.y[i]);
    if (d > far) {
      far = d;
      best = i;
    }
  }
  return best;
}

// The reference triangle of the first list, or false with the notice of a
// degenerate axis. P2 and P3 come from the heaviest entries; with two fixed
// entries P3 is looked for among the same.
bool referenceTriangle(const markerPoints& l, int fixed, polynomialState& state, corners& ref) {
  if (fixed >= 3) {
    for (int c = 0; c < 3; ++c) {
      ref.x[c] = l.x[c];
      ref.y[c] = l.y[c];
    }
    return true;
  }
  const std::vector<int> head = headOf(l);
  int p1 = 0, p2 = 1;
  if (fixed == 0) extremes(l, head, p1, p2);
  if (fixed == 1) p2 = farthestFrom(l, head, 0);
  if (l.x[p1] == l.x[p2] && l.y[p1] == l.y[p2]) {
    zel::noticeUnlessQuiet(sameExtremesNotice);
    return false;
  }
  // The head turned onto the axis from P1 to P2: the offset across it is y.
  const double len = distance(l.x[p1], l.y[p1], l.x[p2], l.y[p2]);
  const double ux = (l.x[p2] - l.x[p1]) / len, uy = (l.y[p2] - l.y[p1]) / len;
  state.forwardX[0] = -(ux * l.x[p1] + uy * l.y[p1]);
  state.forwardX[1] = ux;
  state.forwardX[2] = uy;
  state.forwardY[0] = uy * l.x[p1] - ux * l.y[p1];
  state.forwardY[1] = -uy;
  state.forwardY[2] = ux;
  std::fill(std::begin(state.forwardX) + 3, std::end(state.forwardX), 0.0);
  std::fill(std::begin(state.forwardY) + 3, std::end(state.forwardY), 0.0);
  int p3 = -1;
  double off = -1.0;
  for (int i : head) {
    const double d = std::fabs(mapPoint(state.forwardX, state.forwardY, 3, l.x[i], l.y[i]).y);
    if (d > off) {
      off = d;
      p3 = i;
    }
  }
  if (!(off > 0.0)) {
    zel::noticeUnlessQuiet(collinearNotice);
    return false;
  }
  const int p[3] = {p1, p2, p3};
  for (int c = 0; c < 3; ++c) {
    ref.x[c] = l.x[p[c]];
    ref.y[c] = l.y[p[c]];
  }
  return true;
}

// The triples of the second list and the distances between its points.
class tripleSearch {
 public:
  tripleSearch(linking& work, const corners& reference, polynomialState& s)
      : k(work), ref(reference), limits(limitsOf(reference)), state(s), n(work.L2().size()) {
    const markerPoints& b = k.L2();
    d.resize(static_cast<std::size_t>(n) * static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j) d[at(i, j)] = distance(b.x[i], b.y[i], b.x[j], b.y[j]);
  }

  // The candidate triples that the fixed entries allow, i outermost.
  void run(bestPairs& best) {
    const int f = k.fixed;
    if (f >= 3) {
      if (n >= 3) test(0, 1, 2, best);
      return;
    }
    for (int i = 0; i < (f >= 1 ? std::min(n, 1) : n); ++i)
      for (int j = f >= 2 ? 1 : 0; j < (f >= 2 ? std::min(n, 2) : n); ++j) {
        if (j == i) continue;
        // The perimeter is at least twice any side.
        if (2.0 * d[at(i, j)] > limits.highLength * (1.0 + 1e-12)) continue;
        for (int kk = 0; kk < n; ++kk)
          if (kk != i && kk != j) test(i, j, kk, best);
      }
  }

 private:
  std::size_t at(int i, int j) const {
    return static_cast<std::size_t>(i) * static_cast<std::size_t>(n) + static_cast<std::size_t>(j);
  }

  // The shape tests, then the affine map of the reference onto the triple
  // and a pairing run by it.
  void test(int i, int j, int kk, bestPairs& best) {
    const double dij = d[at(i, j)], djk = d[at(j, kk)], dki = d[at(kk, i)];
    const double perimeter = dij + djk + dki;
    if (perimeter < limits.lowLength || perimeter > limits.highLength) return;
    const markerPoints& b = k.L2();
    const corners t{{b.x[i], b.x[j], b.x[kk]}, {b.y[i], b.y[j], b.y[kk]}};
    if (turnOf(t) != limits.turn) return;
    double lo = 0.0, hi = 0.0;
    angles(t, dij, djk, dki, lo, hi);
    if (lo < limits.lowAngle || hi > limits.highAngle) return;
    if (!ZlMatrix(ref.x, ref.y, t.x, t.y, 3, state.forwardX, state.forwardY)) return;
    k.search.run(3, k.dmax2, all(k.L1().x), all(k.L1().y), byPolynomial(state, 3), best, state);
  }

  linking& k;
  const corners& ref;
  shapeLimits limits;
  polynomialState& state;
  int n;
  std::vector<double> d;
};

// --- The rigid scan ------------------------------------------------------

void setRigid(polynomialState& s, double a0, double a1, double a2, double b0, double b1,
              double b2) {
  std::fill(std::begin(s.forwardX), std::end(s.forwardX), 0.0);
  std::fill(std::begin(s.forwardY), std::end(s.forwardY), 0.0);
  s.forwardX[0] = a0;
  s.forwardX[1] = a1;
  s.forwardX[2] = a2;
  s.forwardY[0] = b0;
  s.forwardY[1] = b1;
  s.forwardY[2] = b2;
}

void weightedCentroid(const markerPoints& l, double& cx, double& cy) {
  double sw = 0.0, sx = 0.0, sy = 0.0;
  for (int i = 0; i < l.size(); ++i) {
    sw += l.w[i];
    sx += l.w[i] * l.x[i];
    sy += l.w[i] * l.y[i];
  }
  cx = sx / sw;
  cy = sy / sw;
}

class rigidScan {
 public:
  rigidScan(linking& work, polynomialState& s)
      : k(work),
        state(s),
        tx(static_cast<std::size_t>(work.L1().size())),
        ty(static_cast<std::size_t>(work.L1().size())) {}

  void run(bestPairs& best) {
    const markerPoints &a = k.L1(), &b = k.L2();
    if (k.fixed == 2) {
      alignTwoPairs(a, b);
      shifts(best);
      return;
    }
    double c1x = 0.0, c1y = 0.0, c2x = 0.0, c2y = 0.0;
    weightedCentroid(a, c1x, c1y);
    weightedCentroid(b, c2x, c2y);
    if (k.fixed == 1) {
      c1x = a.x[0];
      c1y = a.y[0];
      c2x = b.x[0];
      c2y = b.y[0];
    }
    // 50 turns over 20 degrees to each side, each with the shift scan.
    const double span = 0.3490658503988889;
    for (int i = 0; i < 50; ++i) {
      const double t = (i - 1) * 2.0 * span / 49.0 - span;
      const double a1 = std::cos(t), a2 = std::sin(t), b1 = -std::sin(t), b2 = std::cos(t);
      setRigid(state, c2x - (a1 * c1x + a2 * c1y), a1, a2, c2y - (b1 * c1x + b2 * c1y), b1, b2);
      shifts(best);
    }
  }

 private:
  // The turn that carries the first fixed pair's direction onto the
  // second's, about the mid points of the two pairs.
  void alignTwoPairs(const markerPoints& a, const markerPoints& b) {
    const double f =
        std::atan2(b.y[1] - b.y[0], b.x[1] - b.x[0]) - std::atan2(a.y[1] - a.y[0], a.x[1] - a.x[0]);
    const double c = std::cos(f), s = std::sin(f);
    const double m1x = (a.x[0] + a.x[1]) * 0.5, m1y = (a.y[0] + a.y[1]) * 0.5;
    const double m2x = (b.x[0] + b.x[1]) * 0.5, m2y = (b.y[0] + b.y[1]) * 0.5;
    setRigid(state, m2x - (c * m1x - s * m1y), c, -s, m2y - (s * m1x + c * m1y), s, c);
  }

  // The first list moved once by the present map, then every shift from -16
  // to 20 pixels in steps of 2 on both axes.
  void shifts(bestPairs& best) {
    const markerPoints& a = k.L1();
    for (int i = 0; i < a.size(); ++i) {
      const mappedPoint p = mapPoint(state.forwardX, state.forwardY, 3, a.x[i], a.y[i]);
      tx[i] = p.x;
      ty[i] = p.y;
    }
    for (int i = 0; i <= 18; ++i)
      for (int j = 0; j <= 18; ++j)
        k.search.run(3, k.dmax2, all(tx), all(ty), byShift{(i - 8) * 2.0, (j - 8) * 2.0}, best,
                     state);
  }

  linking& k;
  polynomialState& state;
  std::vector<double> tx, ty;
};

}  // namespace

markerPoints pointsOf(const zel::markersArray& markers) {
  markerPoints p;
  for (const marker& m : markers.items) {
    p.x.push_back(m.x);
    p.y.push_back(m.y);
  }
  p.w = markerWeights(p.x, p.y);
  return p;
}

double MatchPairs(int m, double dmax2, const markerPoints& A, const markerPoints& B,
                  bestPairs& best, polynomialState& state) {
  requirePositions(A);
  requirePositions(B);
  pairSearch search(A.size(), B, boxReach(dmax2));
  return search.run(m, dmax2, all(A.x), all(A.y), byPolynomial(state, m), best, state);
}

double MatchPairsShifted(int m, double dmax2, double dx, double dy, const markerPoints& A,
                         const markerPoints& B, bestPairs& best, polynomialState& state) {
  requirePositions(A);
  requirePositions(B);
  pairSearch search(A.size(), B, boxReach(dmax2));
  return search.run(m, dmax2, all(A.x), all(A.y), byShift{dx, dy}, best, state);
}

linkResult LinkMarkers(const markerPoints& first, const markerPoints& second, int box, int fixed,
                       polynomialState& state) {
  requireWeighted(first);
  requireWeighted(second);
  if (first.size() == 0 || second.size() == 0) return unlinked(first, true);
  linking k(first, second, box, fixed);
  corners ref{};
  if (!referenceTriangle(k.L1(), k.fixed, state, ref)) return unlinked(first, false);
  bestPairs best;
  tripleSearch(k, ref, state).run(best);
  return finish(k, best, first, second, state);
}

linkResult MoveRotateMarkers(const markerPoints& first, const markerPoints& second, int box,
                             int fixed, polynomialState& state) {
  requireWeighted(first);
  requireWeighted(second);
  if (first.size() == 0 || second.size() == 0) return unlinked(first, true);
  linking k(first, second, box, fixed);
  bestPairs best;
  if (k.fixed >= 3) {
    best.a = {0, 1, 2};
    best.b = {0, 1, 2};
  } else {
    rigidScan(k, state).run(best);
  }
  return finish(k, best, first, second, state);
}

}  // namespace tamble
