// Triangulated alignment. The pairing runs on the markers alone (a one-pixel
// stand-in image carries them through the polynomial alignment); the pixels
// are resampled once, by the bilinear engine of the polynomial warp, each
// through the affine map of the first triangle that holds it.
#include "align/triAlign.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "align/imageAlign.h"
#include "align/polynomialFit.h"
#include "align/triangulation.h"
#include "api/report.h"
#include "geometry/warp.h"
#include "markers/drawMarkers.h"
#include "markers/numerate.h"

namespace tamble {
namespace {

constexpr double cornerTolerance = 0.01;  // pixels: markers are a diameter apart at least
constexpr double meshTolerance = 1e-3;

// The markers of the first image after the pairing step, numbered like their
// partners on the reference, with where each stood before the pairing moved it.
struct pairedMarkers {
  zel::markersArray first, reference;
  std::vector<marker> original;  // by index of `first`
};

int indexNear(const std::vector<marker>& list, double x, double y, double tolerance) {
  for (std::size_t i = 0; i < list.size(); ++i)
    if (std::fabs(list[i].x - x) <= tolerance && std::fabs(list[i].y - y) <= tolerance)
      return static_cast<int>(i);
  return -1;
}

// Numbers both lists alike: the longer is the pattern for the shorter, and
// the shorter, renumbered, for the longer; markers without a partner go.
void numberAlike(zel::markersArray& a, zel::markersArray& b, int box, polynomialState& map) {
  zel::markersArray& longer = a.count() >= b.count() ? a : b;
  zel::markersArray& shorter = a.count() >= b.count() ? b : a;
  NumerateMarkers(longer, shorter, box, false, map);
  NumerateMarkers(shorter, longer, box, false, map);
}

// Pairs and numbers the markers; false when the pairing lost every marker.
bool pairUp(const zel::image& first, const zel::image& second, const triSettings& s,
            polynomialState& map, pairedMarkers& out) {
  out.reference = second.markers;
  if (s.paired) {  // by index: the same numbers on both
    out.first = first.markers;
    out.original = first.markers.items;
    for (std::size_t i = 0; i < out.first.items.size(); ++i) out.first.items[i].id = int(i) + 1;
    for (std::size_t i = 0; i < out.reference.items.size(); ++i)
      out.reference.items[i].id = int(i) + 1;
    return true;
  }
  zel::image standIn(1, 1);  // carries the markers through the alignment
  standIn.markers = first.markers;
  standIn.setFieldName(first.fieldName());
  alignSettings settings;
  settings.box = s.box;
  ImageAlign(standIn, second, settings, map);
  if (standIn.markers.count() == 0) return false;
  const std::vector<marker> moved = standIn.markers.items;
  out.first = standIn.markers;
  numberAlike(out.first, out.reference, s.box, map);
  for (const marker& m : out.first.items) {
    const int at = indexNear(moved, m.x, m.y, 0.001);
    out.original.push_back(at < 0 ? m : first.markers.items[at]);
  }
  return true;
}

std::string countText(const pairedMarkers& p) {
  return "Original      Image Markers Number  " + std::to_string(p.first.count()) +
         "\nReference Image Markers Number  " + std::to_string(p.reference.count()) + "\n";
}

// An affine map per triangle (reference to first image), and for every pixel
// the first triangle that holds it (-1: none).
struct triangleCover {
  int W = 0, H = 0;
  std::vector<int> owner;
  std::vector<std::array<double, 6>> maps;  // a0, a1, a2, b0, b1, b2

  bool source(double x, double y, double& u, double& v) const {
    const int ix = static_cast<int>(x), iy = static_cast<int>(y);
    if (ix < 0 || iy < 0 || ix >= W || iy >= H) return false;
    const int t = owner[static_cast<std::size_t>(iy) * W + ix];
    if (t < 0) return false;
    const std::array<double, 6>& c = maps[t];
    u = c[0] + c[1] * x + c[2] * y;
    v = c[3] + c[4] * x + c[5] * y;
    return true;
  }
};

// The corners of `t` as markers of the reference, and their partners in the
// first image; false when a corner is no marker.
bool cornersOf(const triangle& t, const pairedMarkers& p, double (&ref)[2][3],
               double (&img)[2][3]) {
  const xyVec<double>* corners[3] = {&t.a, &t.b, &t.c};
  for (int k = 0; k < 3; ++k) {
    const int r = indexNear(p.reference.items, corners[k]->x, corners[k]->y, cornerTolerance);
    if (r < 0) return false;
    const int id = p.reference.items[r].id;
    int f = -1;
    for (std::size_t i = 0; i < p.first.items.size(); ++i)
      if (p.first.items[i].id == id) f = static_cast<int>(i);
    if (f < 0) return false;
    ref[0][k] = p.reference.items[r].x;
    ref[1][k] = p.reference.items[r].y;
    img[0][k] = p.original[f].x;
    img[1][k] = p.original[f].y;
  }
  return true;
}

// Marks the pixels of the triangle's bounding box that it holds and no
// earlier triangle took; the count it took.
long claimPixels(const double (&ref)[2][3], int index, triangleCover& cover) {
  const double x0 = std::min({ref[0][0], ref[0][1], ref[0][2]});
  const double x1 = std::max({ref[0][0], ref[0][1], ref[0][2]});
  const double y0 = std::min({ref[1][0], ref[1][1], ref[1][2]});
  const double y1 = std::max({ref[1][0], ref[1][1], ref[1][2]});
  const int ix0 = std::max(0, static_cast<int>(std::floor(x0)));
  const int ix1 = std::min(cover.W - 1, static_cast<int>(std::ceil(x1)));
  const int iy0 = std::max(0, static_cast<int>(std::floor(y0)));
  const int iy1 = std::min(cover.H - 1, static_cast<int>(std::ceil(y1)));
  long taken = 0;
  for (int y = iy0; y <= iy1; ++y)
    for (int x = ix0; x <= ix1; ++x) {
      int& owner = cover.owner[static_cast<std::size_t>(y) * cover.W + x];
      if (owner >= 0) continue;
      if (!PointInTriangle(ref[0][0], ref[1][0], ref[0][1], ref[1][1], ref[0][2], ref[1][2], x, y))
        continue;
      owner = index;
      ++taken;
    }
  return taken;
}

// Resamples the first image through the cover; pixels outside it keep theirs.
void warpCovered(zel::image& first, const triangleCover& cover) {
  zel::arrayStore<float, 2> field = first.field();
  zel::arrayStore<bool, 2> bkgr = first.bkgr(), roi = first.ROI();
  std::atomic<bool> offImage{false};
  WarpBilinearMSBy(field, bkgr, roi, [&](int y, int x0, int n, double* xs, double* ys) {
    for (int i = 0; i < n; ++i) {
      double u = x0 + i, v = y;
      if (cover.source(x0 + i, y, u, v) &&
          (u <= -1.0 || v <= -1.0 || u >= cover.W || v >= cover.H))
        offImage = true;
      xs[i] = u;
      ys[i] = v;
    }
  });
  if (offImage) zel::report().notice("Nu i Granycy!");
  for (std::size_t i = 0; i < cover.owner.size(); ++i) {
    if (cover.owner[i] < 0) continue;
    first.field().data[i] = field.data[i];
    first.bkgr().data[i] = bkgr.data[i];
    first.ROI().data[i] = roi.data[i];
  }
}

float largestValue(const zel::arrayStore<float, 2>& field) {
  float top = -1e30f;
  for (std::size_t i = 0; i < field.count; ++i) top = std::max(top, field.data[i]);
  return top;
}

}  // namespace

triOutcome TriAlign(zel::image& first, const zel::image& second, const triSettings& s,
                    polynomialState& map) {
  triOutcome out;
  if (!first.field().sameExtent(second.field())) {
    zel::report().notice("Alignment Initial Images Have Different Dimensions");
    return out;
  }
  const bool fewFirst = first.markers.count() < 9, fewSecond = second.markers.count() < 9;
  if (fewFirst) zel::report().notice("Aligned Image Markers Number < 9");
  if (fewSecond) zel::report().notice("Reference Image Markers Number < 9");
  if (fewFirst || fewSecond) return out;
  pairedMarkers paired;
  if (!pairUp(first, second, s, map, paired)) return out;
  out.report = countText(paired);
  if (paired.first.count() != paired.reference.count()) {
    out.report += "DIFFERENT Number of Markers on Images After Renumeration\n\nNO ALIGNMENT !";
    zel::report().notice(out.report);
    return out;
  }
  out.report += "CORRECT Number of Markers on Images After Renumeration\n";
  std::vector<xyVec<double>> points;
  for (const marker& m : paired.reference.items) points.emplace_back(m.x, m.y);
  std::vector<triangle> mesh;
  TriAngleSearch(points, meshTolerance, mesh);
  out.triangles = static_cast<int>(mesh.size());
  out.report += "Number of Triangles is  " + std::to_string(mesh.size()) +
                "  Algorithm is /TriAngleSearch/\n";
  auto cover = std::make_shared<triangleCover>();
  cover->W = first.field().width();
  cover->H = first.field().height();
  cover->owner.assign(first.field().count, -1);
  std::vector<std::array<int, 6>> sides;  // drawn when asked
  for (const triangle& t : mesh) {
    double ref[2][3], img[2][3];
    if (!cornersOf(t, paired, ref, img)) {
      zel::report().notice("Triangle w/o 3 Vertexes !");
      continue;
    }
    map.order = 3;
    if (!ZlMatrix(ref[0], ref[1], img[0], img[1], 3, map.forwardX, map.forwardY)) {
      zel::noticeUnlessQuiet(fitFailed);
      continue;
    }
    const int index = static_cast<int>(cover->maps.size());
    cover->maps.push_back({map.forwardX[0], map.forwardX[1], map.forwardX[2], map.forwardY[0],
                           map.forwardY[1], map.forwardY[2]});
    const long taken = claimPixels(ref, index, *cover);
    out.filled += taken;
    if (taken > 0) ++out.trianglesUsed;
    sides.push_back({static_cast<int>(ref[0][0]), static_cast<int>(ref[1][0]),
                     static_cast<int>(ref[0][1]), static_cast<int>(ref[1][1]),
                     static_cast<int>(ref[0][2]), static_cast<int>(ref[1][2])});
  }
  out.report += "Number of     Points is  " + std::to_string(out.filled) + "  of  " +
                std::to_string(first.field().count) + "\nNumber of Triangles is  " +
                std::to_string(out.trianglesUsed) + "  of  " + std::to_string(mesh.size());
  zel::report().notice(out.report);
  warpCovered(first, *cover);
  if (s.drawMesh) {
    const float value = largestValue(first.field());
    for (const std::array<int, 6>& c : sides) {
      DrawSegment3(c[0], c[1], c[2], c[3], value, first.field());
      DrawSegment3(c[2], c[3], c[4], c[5], value, first.field());
      DrawSegment3(c[4], c[5], c[0], c[1], value, first.field());
    }
  }
  for (marker& m : paired.first.items) {
    for (const marker& r : paired.reference.items)
      if (r.id == m.id) {
        m.x = r.x;
        m.y = r.y;
      }
  }
  first.markers.items = paired.first.items;
  out.warped = true;
  out.source = [cover](double x, double y, double& u, double& v) {
    return cover->source(x, y, u, v);
  };
  return out;
}

}  // namespace tamble
