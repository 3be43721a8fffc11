#include "resect/markerMatch.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <limits>
#include <numeric>
#include <span>

#include "align/polynomialFit.h"
#include "api/errors.h"
#include "api/log.h"
#include "api/report.h"
#include "resect/meshSampling.h"

namespace tamble {

namespace {

constexpr int sourceLine = 0;

[[noreturn]] void wrongTerms() {
  throw zel::AlgoError("match", sourceLine, zel::AlgoError::standardMessage,
                       zel::AlgoError::standardCode);
}

bool knownTerms(int terms) {
  return terms == 0 || terms == 1 || terms == 3 || terms == 6 || terms == 10;
}

double distance(point2 a, point2 b) { return std::hypot(b.x - a.x, b.y - a.y); }

// Cosine of the corner between sides of lengths s1 and s2 facing `opposite`,
// plus 1; 0 when a side has length 0.
double cornerTerm(double s1, double s2, double opposite) {
  if (s1 == 0.0 || s2 == 0.0) return 0.0;
  const double c = (s1 * s1 + s2 * s2 - opposite * opposite) / (2.0 * s1 * s2);
  return std::clamp(c, -1.0, 1.0) + 1.0;
}

// The links of every standard point mapped into the image: each takes the
// nearest free image point inside the box of half side `half`, nearest pairs
// first, so that no image point is taken twice.
struct linking {
  std::vector<int> partner;  // per image point: standard index or -1
  int count = 0;
  double spread = 0.0;  // sum of the link distances
};

linking linkInside(const std::vector<point2>& image, const std::vector<point2>& standard,
                   const double (&fx)[10], const double (&fy)[10], int terms, double half) {
  struct candidate {
    double d;
    int s, i;
  };
  std::vector<candidate> candidates;
  for (int s = 0; s < static_cast<int>(standard.size()); ++s) {
    double x = 0.0, y = 0.0;
    applyMap(standard[s].x, standard[s].y, x, y, fx, fy, terms);
    for (int i = 0; i < static_cast<int>(image.size()); ++i) {
      const double dx = image[i].x - x, dy = image[i].y - y;
      if (std::fabs(dx) <= half && std::fabs(dy) <= half)
        candidates.push_back({std::hypot(dx, dy), s, i});
    }
  }
  std::sort(candidates.begin(), candidates.end(), [](const candidate& a, const candidate& b) {
    return a.d != b.d ? a.d < b.d : (a.s != b.s ? a.s < b.s : a.i < b.i);
  });
  linking out;
  out.partner.assign(image.size(), -1);
  std::vector<char> taken(standard.size(), 0);
  for (const candidate& c : candidates) {
    if (out.partner[c.i] >= 0 || taken[c.s]) continue;
    out.partner[c.i] = c.s;
    taken[c.s] = 1;
    ++out.count;
    out.spread += c.d;
  }
  return out;
}

// The map of `terms` terms (standard to image) over the links; false when
// there are too few for it.
bool fitLinks(const std::vector<point2>& image, const std::vector<point2>& standard,
              const std::vector<int>& partner, int terms, double (&fx)[10], double (&fy)[10]) {
  std::vector<double> sx, sy, ix, iy;
  for (std::size_t i = 0; i < partner.size(); ++i) {
    if (partner[i] < 0) continue;
    sx.push_back(standard[partner[i]].x);
    sy.push_back(standard[partner[i]].y);
    ix.push_back(image[i].x);
    iy.push_back(image[i].y);
  }
  const int n = static_cast<int>(sx.size());
  if (n < std::max(terms, 1)) return false;
  return fitMap(sx.data(), sy.data(), ix.data(), iy.data(), n, terms, fx, fy);
}

// Rounds of linking and fitting from a first map: the affine map while the
// pairs are few, the asked terms once they are enough.
linking refine(const std::vector<point2>& image, const std::vector<point2>& standard,
               double (&fx)[10], double (&fy)[10], int firstTerms, int terms, double half) {
  linking links = linkInside(image, standard, fx, fy, firstTerms, half);
  for (int round = 0; round < 3; ++round) {
    int t = links.count >= 2 * std::max(terms, 3) ? terms : std::min(terms, 3);
    if (t == 0) t = 3;
    double gx[10], gy[10];
    if (!fitLinks(image, standard, links.partner, t, gx, gy)) break;
    linking next = linkInside(image, standard, gx, gy, t, half);
    if (next.count < links.count) break;
    std::copy(gx, gx + 10, fx);
    std::copy(gy, gy + 10, fy);
    firstTerms = t;
    links = std::move(next);
  }
  return links;
}

// The affine map (standard to image) through three pairs; false when the
// standard points are collinear.
bool affineOf(const point2 (&s)[3], const point2 (&i)[3], double (&fx)[10], double (&fy)[10]) {
  double sx[3], sy[3], ix[3], iy[3];
  for (int k = 0; k < 3; ++k) {
    sx[k] = s[k].x;
    sy[k] = s[k].y;
    ix[k] = i[k].x;
    iy[k] = i[k].y;
  }
  return fitMap(sx, sy, ix, iy, 3, 3, fx, fy);
}

// The triangles of the standard set tried in turn: the farthest pair with
// the point farthest from its line first, then the largest triangles of the
// points farthest from the set's centre.
std::vector<std::array<int, 3>> standardTriangles(const std::vector<point2>& s) {
  const int n = static_cast<int>(s.size());
  int a = 0, b = 0;
  double far = -1.0;
  for (int p = 0; p < n; ++p)
    for (int q = p + 1; q < n; ++q)
      if (const double d = distance(s[p], s[q]); d > far) {
        far = d;
        a = p;
        b = q;
      }
  std::vector<std::array<int, 3>> out{{a, b, farthestFromLine(s, a, b)}};
  point2 centre;
  for (const point2& p : s) {
    centre.x += p.x / n;
    centre.y += p.y / n;
  }
  std::vector<int> order(static_cast<std::size_t>(n));
  std::iota(order.begin(), order.end(), 0);
  std::sort(order.begin(), order.end(),
            [&](int p, int q) { return distance(s[p], centre) > distance(s[q], centre); });
  order.resize(std::min(n, 8));
  std::vector<std::pair<double, std::array<int, 3>>> more;
  for (std::size_t p = 0; p < order.size(); ++p)
    for (std::size_t q = p + 1; q < order.size(); ++q)
      for (std::size_t r = q + 1; r < order.size(); ++r) {
        const point2 A = s[order[p]], B = s[order[q]], C = s[order[r]];
        const double area = std::fabs((B.x - A.x) * (C.y - A.y) - (B.y - A.y) * (C.x - A.x));
        more.push_back({area, {order[p], order[q], order[r]}});
      }
  std::sort(more.begin(), more.end(),
            [](const auto& x, const auto& y) { return x.first > y.first; });
  for (std::size_t k = 0; k < more.size() && k < 12; ++k) out.push_back(more[k].second);
  return out;
}

bool similar(const triangleSignature& a, const triangleSignature& b) {
  constexpr double cornerTolerance = 0.03;
  if (a.orientation != b.orientation) return false;
  if (!(b.perimeter > 0.5 * a.perimeter && b.perimeter < 2.0 * a.perimeter)) return false;
  for (int k = 0; k < 3; ++k)
    if (std::fabs(a.corner[k] - b.corner[k]) > cornerTolerance) return false;
  return true;
}

// The best linking that a triangle of the image like `triangle` of the
// standard set gives.
linking bestForTriangle(const std::vector<point2>& image, const std::vector<point2>& standard,
                        const std::array<int, 3>& triangle, double half) {
  const point2 s[3] = {standard[triangle[0]], standard[triangle[1]], standard[triangle[2]]};
  const triangleSignature target = signatureOf(s[0], s[1], s[2]);
  const double side0 = distance(s[0], s[1]);
  const int n = static_cast<int>(image.size());
  linking best;
  best.partner.assign(image.size(), -1);
  for (int p = 0; p < n; ++p)
    for (int q = 0; q < n; ++q) {
      if (q == p) continue;
      const double d = distance(image[p], image[q]);
      if (!(d > 0.5 * side0 && d < 2.0 * side0)) continue;
      for (int r = 0; r < n; ++r) {
        if (r == p || r == q) continue;
        if (!similar(target, signatureOf(image[p], image[q], image[r]))) continue;
        const point2 i[3] = {image[p], image[q], image[r]};
        double fx[10], fy[10];
        if (!affineOf(s, i, fx, fy)) continue;
        linking l = linkInside(image, standard, fx, fy, 3, half);
        if (l.count > best.count || (l.count == best.count && l.spread < best.spread))
          best = std::move(l);
      }
    }
  return best;
}

std::vector<point2> activePoints(const zel::markersArray& markers, std::vector<int>& index) {
  std::vector<point2> out;
  index.clear();
  for (int k = 0; k < markers.count(); ++k)
    if (markers[k].active) {
      out.push_back({markers[k].x, markers[k].y});
      index.push_back(k);
    }
  return out;
}

// The first map of `fixed` known pairs (the first markers of both sets):
// a shift for one, a similarity for two, the affine map for three.
bool fixedMap(const std::vector<point2>& image, const std::vector<point2>& standard, int fixed,
              double (&fx)[10], double (&fy)[10]) {
  std::fill(fx, fx + 10, 0.0);
  std::fill(fy, fy + 10, 0.0);
  if (fixed == 1) {
    fx[0] = image[0].x - standard[0].x;
    fy[0] = image[0].y - standard[0].y;
    fx[1] = 1.0;
    fy[2] = 1.0;
    return true;
  }
  if (fixed == 2) {
    const double sx = standard[1].x - standard[0].x, sy = standard[1].y - standard[0].y;
    const double ix = image[1].x - image[0].x, iy = image[1].y - image[0].y;
    const double n = sx * sx + sy * sy;
    if (n == 0.0) return false;
    const double c = (ix * sx + iy * sy) / n, s = (iy * sx - ix * sy) / n;
    fx[1] = c;
    fx[2] = -s;
    fy[1] = s;
    fy[2] = c;
    fx[0] = image[0].x - (c * standard[0].x - s * standard[0].y);
    fy[0] = image[0].y - (s * standard[0].x + c * standard[0].y);
    return true;
  }
  const point2 s[3] = {standard[0], standard[1], standard[2]};
  const point2 i[3] = {image[0], image[1], image[2]};
  return affineOf(s, i, fx, fy);
}

std::vector<int> fixedSearch(const std::vector<point2>& image, const std::vector<point2>& standard,
                             int fixed, int side, int terms) {
  double fx[10], fy[10];
  if (!fixedMap(image, standard, fixed, fx, fy)) return std::vector<int>(image.size(), -1);
  return refine(image, standard, fx, fy, 3, terms, side / 2.0).partner;
}

std::vector<int> byIndex(const zel::markersArray& image, const zel::markersArray& standard) {
  std::vector<int> partner(static_cast<std::size_t>(image.count()), -1);
  for (int k = 0; k < std::min(image.count(), standard.count()); ++k)
    if (image[k].active && standard[k].active) partner[k] = k;
  return partner;
}

// Resamples the image through the map (output position to source) so that
// background never bleeds into the model: an output pixel takes the masked
// bilinear value of its source, and is background only when no pixel
// around the source is usable. ROI comes from the source's nearest pixel.
// The markers move by the inverse map.
void warpMasked(zel::image& img, const polynomialState& map) {
  const zel::image source(img);
  const int w = img.width(), h = img.height();
#pragma omp parallel
  {
    std::vector<double> xs(static_cast<std::size_t>(w)), ys(static_cast<std::size_t>(w));
#pragma omp for schedule(static)
    for (int y = 0; y < h; ++y) {
      mapRow(map.forwardX, map.forwardY, map.order, 0, w, y, xs.data(), ys.data());
      for (int x = 0; x < w; ++x) {
        double v = 0.0;
        const bool usable = maskedBilinear(source, xs[x], ys[x], v);
        img.field()(x, y) = usable ? static_cast<float>(v) : 0.0f;
        img.bkgr()(x, y) = !usable;
        const int i = static_cast<int>(std::lround(xs[x])),
                  j = static_cast<int>(std::lround(ys[x]));
        img.ROI()(x, y) = i >= 0 && j >= 0 && i < w && j < h && source.ROI()(i, j);
      }
    }
  }
  for (marker& m : img.markers.items) {
    const mappedPoint p = mapPoint(map.inverseX, map.inverseY, map.order, m.x, m.y);
    m.x = p.x;
    m.y = p.y;
  }
}

}  // namespace

int termsOfOrder(int polyOrder) {
  constexpr int terms[] = {1, 3, 6, 10};
  return polyOrder >= 0 && polyOrder <= 3 ? terms[polyOrder] : 0;
}

void applyMap(double x, double y, double& outX, double& outY, const double (&a)[10],
              const double (&b)[10], int terms) {
  if (!knownTerms(terms)) wrongTerms();
  const mappedPoint p = mapPoint(a, b, terms, x, y);
  outX = p.x;
  outY = p.y;
}

bool fitMap(const double* srcX, const double* srcY, const double* dstX, const double* dstY, int n,
            int terms, double (&a)[10], double (&b)[10]) {
  if (!knownTerms(terms)) wrongTerms();
  const auto span = [n](const double* p) { return std::span<const double>(p, n); };
  return ZlMatrix(span(srcX), span(srcY), span(dstX), span(dstY), terms, a, b);
}

bool mapErrors(const double* srcX, const double* srcY, const double* dstX, const double* dstY,
               int n, int terms, const double (&a)[10], const double (&b)[10], double& meanSquare,
               double& meanAbs, double& maxAbs, int& maxIndex) {
  if (n < terms || n <= 0) return false;
  double sum = 0.0, sum2 = 0.0, largest = -1.0;
  int at = 0;
  for (int k = 0; k < n; ++k) {
    double x = 0.0, y = 0.0;
    applyMap(srcX[k], srcY[k], x, y, a, b, terms);
    const double d = std::hypot(x - dstX[k], y - dstY[k]);
    sum += d;
    sum2 += d * d;
    if (d > largest) {
      largest = d;
      at = k;
    }
  }
  meanSquare = std::sqrt(sum2 / n);
  meanAbs = sum / n;
  maxAbs = largest;
  maxIndex = at;
  return true;
}

triangleSignature signatureOf(point2 p1, point2 p2, point2 p3) {
  const double a = distance(p1, p2), b = distance(p2, p3), c = distance(p3, p1);
  triangleSignature s;
  s.perimeter = a + b + c;
  s.corner[0] = cornerTerm(c, a, b);  // at point 1, between sides c and a
  s.corner[1] = cornerTerm(a, b, c);
  s.corner[2] = cornerTerm(b, c, a);
  // The turn from side a (1 to 2) to side c (3 to 1).
  const double turn = (p2.x - p1.x) * (p1.y - p3.y) - (p2.y - p1.y) * (p1.x - p3.x);
  s.orientation = turn > 0.0 ? 1 : -1;
  return s;
}

int farthestFromLine(const std::vector<point2>& points, int a, int b) {
  const double dx = points[b].x - points[a].x, dy = points[b].y - points[a].y;
  const double length = std::hypot(dx, dy);
  if (length == 0.0) return a;
  const double c = dx / length, s = dy / length;
  double best = -1e10;
  int at = a;
  for (int k = 0; k < static_cast<int>(points.size()); ++k) {
    // y of the point in the frame turned so that a to b is the x axis.
    const double y = -s * (points[k].x - points[a].x) + c * (points[k].y - points[a].y);
    if (std::fabs(y) > best) {
      best = std::fabs(y);
      at = k;
    }
  }
  return at;
}

std::vector<int> TriAngleSearch(const std::vector<point2>& image,
                                const std::vector<point2>& standard, int side, int terms) {
  std::vector<int> none(image.size(), -1);
  if (image.size() < 3 || standard.size() < 3) return none;
  const double half = side / 2.0;
  const int enough =
      static_cast<int>(0.6 * static_cast<double>(std::min(image.size(), standard.size())));
  linking best;
  best.partner = none;
  for (const auto& triangle : standardTriangles(standard)) {
    linking l = bestForTriangle(image, standard, triangle, half);
    if (l.count > best.count) best = std::move(l);
    if (best.count >= std::max(enough, 3)) break;
  }
  if (best.count < 3) return none;
  double fx[10], fy[10];
  if (!fitLinks(image, standard, best.partner, 3, fx, fy)) return none;
  return refine(image, standard, fx, fy, 3, terms, half).partner;
}

std::vector<int> nearestSearch(const std::vector<point2>& image,
                               const std::vector<point2>& standard, int side, int terms) {
  double fx[10] = {0.0, 1.0}, fy[10] = {0.0, 0.0, 1.0};
  return refine(image, standard, fx, fy, 3, terms, side / 2.0).partner;
}

bool findMarkersLink(const zel::markersArray& image, const zel::markersArray& standard,
                     const linkParameters& parameters, zel::markersArray& result,
                     linkStatistics& statistics) {
  if (parameters.mode != 0 && parameters.mode != 1) return false;
  const int side = 2 * parameters.window + 1;
  const int terms = termsOfOrder(parameters.polyOrder);
  std::vector<int> imageIndex, standardIndex;
  const std::vector<point2> I = activePoints(image, imageIndex);
  const std::vector<point2> S = activePoints(standard, standardIndex);
  std::vector<int> partner;  // over the whole image array: standard array index or -1
  if (parameters.fixed >= 4) {
    partner = byIndex(image, standard);
  } else {
    std::vector<int> links;
    const int fixed = std::min(parameters.fixed, 3);
    if (fixed > 0 && static_cast<int>(std::min(I.size(), S.size())) >= fixed)
      links = fixedSearch(I, S, fixed, side, terms);
    else if (parameters.mode == 1)
      links = TriAngleSearch(I, S, side, terms);
    else
      links = nearestSearch(I, S, side, terms);
    partner.assign(static_cast<std::size_t>(image.count()), -1);
    for (std::size_t k = 0; k < links.size(); ++k)
      if (links[k] >= 0) partner[imageIndex[k]] = standardIndex[links[k]];
  }
  std::vector<double> sx, sy, ix, iy;
  std::vector<int> ids;
  for (int k = 0; k < image.count(); ++k)
    if (partner[k] >= 0) {
      sx.push_back(standard[partner[k]].x);
      sy.push_back(standard[partner[k]].y);
      ix.push_back(image[k].x);
      iy.push_back(image[k].y);
      ids.push_back(standard[partner[k]].id);
    }
  const int n = static_cast<int>(sx.size());
  if (n < std::max(terms, 3)) return false;
  linkStatistics s;
  s.standard = standard.count();
  s.pairs = n;
  s.terms = terms;
  s.map.order = terms;
  if (terms > 0) {
    if (!fitMap(sx.data(), sy.data(), ix.data(), iy.data(), n, terms, s.map.forwardX,
                s.map.forwardY) ||
        !fitMap(ix.data(), iy.data(), sx.data(), sy.data(), n, terms, s.map.inverseX,
                s.map.inverseY))
      return false;
  }
  int worst = 0;
  mapErrors(ix.data(), iy.data(), sx.data(), sy.data(), n, terms, s.map.inverseX, s.map.inverseY,
            s.meanSquare, s.meanAbs, s.maxAbs, worst);
  s.maxMarker = ids[worst];
  zel::markersArray out = standard;
  for (marker& m : out.items) m.active = false;
  for (int k = 0; k < image.count(); ++k)
    if (partner[k] >= 0) {
      marker& m = out[partner[k]];
      m.x = image[k].x;
      m.y = image[k].y;
      m.z = image[k].z;
      m.f = image[k].f;
      m.active = true;
    }
  out.lengthUnit = image.lengthUnit;
  result = std::move(out);
  statistics = s;
  return true;
}

std::string connectionText(const linkStatistics& s) {
  char figures[256];
  std::snprintf(figures, sizeof figures,
                "Mean-square error = %g\nMean absolute error = %g\nMaximal absolute error = "
                "%g\nat marker No %d",
                s.meanSquare, s.meanAbs, s.maxAbs, s.maxMarker);
  return "Markers Connection:    " + std::to_string(s.pairs) + "\n\n" +
         "Number of standard markers = " + std::to_string(s.standard) + "\n" +
         "Number of pairs = " + std::to_string(s.pairs) + "\n\n" + figures;
}

bool align_markers(zel::image& image, const zel::markersArray& standard,
                   const linkParameters& parameters, bool showInfo, zel::markersArray& pairs,
                   linkStatistics& statistics, const alignQuestion& ask) {
  zel::markersArray linked;
  linkStatistics s;
  if (!findMarkersLink(image.markers, standard, parameters, linked, s)) return false;
  statistics = s;  // the linking's figures, whatever the user answers below
  const std::string text = connectionText(s);
  if (showInfo) zel::report().notice(text);
  if (image.markers.count() != standard.count() && ask &&
      !ask("Different count of 'align' markers\n\nWould You like to copy Image?"))
    return false;
  zel::get_log().write("Image Alignment:     " + image.fieldName() + " - (" + ")\n\n" + text);
  image.markers = linked;
  if (s.terms > 0) warpMasked(image, s.map);
  pairs = image.markers;
  return true;
}

}  // namespace tamble
