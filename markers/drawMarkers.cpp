// Synthetic spots, the triangle mesh, and the lines and marks they are drawn
// with. Spots are drawn marker by marker on a copy, so a spot that overlaps
// an earlier one takes the earlier one into its level; only valid pixels of
// the copy go back to the field.
#include "markers/drawMarkers.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "align/triangulation.h"
#include "api/errors.h"
#include "api/numbers.h"
#include "api/report.h"
#include "markers/fillUp.h"
#include "markers/markerWork.h"
#include "markers/revise.h"

namespace tamble {
namespace {

using markerWork::valid;

// A pixel rectangle, already held to the image.
struct window {
  int x0, y0, x1, y1;  // inclusive
};

// The pixels within `reach` of (cx, cy) that lie in a W by H image.
window around(std::int64_t cx, std::int64_t cy, std::int64_t reach, int W, int H) {
  return {static_cast<int>(std::max<std::int64_t>(cx - reach, 0)),
          static_cast<int>(std::max<std::int64_t>(cy - reach, 0)),
          static_cast<int>(std::min<std::int64_t>(cx + reach, W - 1)),
          static_cast<int>(std::min<std::int64_t>(cy + reach, H - 1))};
}

// The mean of the valid pixels of `F` within sqrt(q) of the marker, looked
// for in the square of half-width h about its rounded position; 0 if none.
float localLevel(const drawField& F, const drawMask& bkgr, const drawMask& ROI, const marker& m,
                 std::int64_t rx, std::int64_t ry, int h, float q) {
  const window w = around(rx, ry, h, F.width(), F.height());
  float sum = 0.0f;
  int count = 0;
  for (int py = w.y0; py <= w.y1; ++py)
    for (int px = w.x0; px <= w.x1; ++px) {
      if (!valid(bkgr, ROI, px, py)) continue;
      const float dx = static_cast<float>(px - m.x), dy = static_cast<float>(py - m.y);
      if (dx * dx + dy * dy > q) continue;
      sum += F(px, py);
      ++count;
    }
  return count ? sum / static_cast<float>(count) : 0.0f;
}

// Adds amp*exp(-((px - x)*inv)^2 - ((py - y)*inv)^2) at the valid pixels
// within N of the rounded position.
void addSpot(drawField& F, const drawMask& bkgr, const drawMask& ROI, const marker& m,
             std::int64_t rx, std::int64_t ry, int N, float amp, float inv) {
  const window w = around(rx, ry, N, F.width(), F.height());
  for (int py = w.y0; py <= w.y1; ++py)
    for (int px = w.x0; px <= w.x1; ++px) {
      if (!valid(bkgr, ROI, px, py)) continue;
      const float ex = static_cast<float>(px - m.x) * inv;
      const float ey = static_cast<float>(py - m.y) * inv;
      F(px, py) += amp * std::exp(-(ex * ex) - ey * ey);
    }
}

}  // namespace

void DrawMarkers(drawField& field, const drawMask& bkgr, const drawMask& ROI,
                 const zel::markersArray& markers, int sign, double D) {
  markerWork::requireExtent(field, bkgr, ROI);
  if (!(D > 0.0 && D <= 1e6))
    zel::raise<zel::AlgoError>("DrawMarkers: the diameter must be above 0 and at most 1e6");
  if (markers.count() == 0) {
    zel::noticeUnlessQuiet(noMarkersInZone);
    return;
  }
  drawField F(field);
  const int N = std::max(static_cast<int>(std::trunc(D * 5.0)), 3);
  FillUpMarkers(F, bkgr, ROI, markers, N);
  const float half = static_cast<float>(D * 0.5);
  const float q = half * half, inv = 1.0f / static_cast<float>(D);
  const float s = sign == 1 ? 1.0f : -1.0f;
  const int W = field.width(), H = field.height();
  for (const marker& m : markers.items) {
    const double rx = std::trunc(m.x + 0.5), ry = std::trunc(m.y + 0.5);
    // Farther off the image than N, nothing of the spot would land on it.
    if (!(rx >= -N && rx < W + N && ry >= -N && ry < H + N)) continue;
    const auto x = static_cast<std::int64_t>(rx), y = static_cast<std::int64_t>(ry);
    const float level = localLevel(F, bkgr, ROI, m, x, y, N / 2, q);
    addSpot(F, bkgr, ROI, m, x, y, N, s * level, inv);
  }
  for (std::uint64_t i = 0; i < field.count; ++i)
    if (!bkgr.data[i] && ROI.data[i]) field.data[i] = F.data[i];
}

namespace {

int clampTo(int v, int size) { return std::clamp(v, 0, std::max(size - 1, 0)); }

// Pixel i of n along a line from a to b (n >= 1 steps), rounded.
int along(int a, int b, int i, int n) {
  return static_cast<int>(std::floor(a + static_cast<double>(b - a) * i / n + 0.5));
}

}  // namespace

void DrawSegment(int x0, int y0, int x1, int y1, float value, drawField& image) {
  const int W = image.width(), H = image.height();
  if (image.empty()) return;
  x0 = clampTo(x0, W), x1 = clampTo(x1, W), y0 = clampTo(y0, H), y1 = clampTo(y1, H);
  if (x0 == x1) {  // vertical, or one pixel
    for (int y = std::min(y0, y1); y <= std::max(y0, y1); ++y) image(x0, y) = value;
  } else if (y0 == y1) {
    for (int x = std::min(x0, x1); x <= std::max(x0, x1); ++x) image(x, y0) = value;
  } else if (std::abs(x1 - x0) >= std::abs(y1 - y0)) {
    const int n = std::abs(x1 - x0), step = x1 > x0 ? 1 : -1;
    for (int i = 0; i <= n; ++i) image(x0 + i * step, along(y0, y1, i, n)) = value;
  } else {
    const int n = std::abs(y1 - y0), step = y1 > y0 ? 1 : -1;
    for (int i = 0; i <= n; ++i) image(along(x0, x1, i, n), y0 + i * step) = value;
  }
}

void DrawSegment3(int x0, int y0, int x1, int y1, float value, drawField& image) {
  const int W = image.width(), H = image.height();
  if (image.empty()) return;
  x0 = clampTo(x0, W), x1 = clampTo(x1, W), y0 = clampTo(y0, H), y1 = clampTo(y1, H);
  for (int oy = -1; oy <= 1; ++oy)
    for (int ox = -1; ox <= 1; ++ox) DrawSegment(x0 + ox, y0 + oy, x1 + ox, y1 + oy, value, image);
}

void DrawCross(int x, int y, float value, drawField& image) {
  const std::int64_t W = image.width(), H = image.height();
  const auto put = [&](std::int64_t px, std::int64_t py) {
    if (px >= 0 && px < W && py >= 0 && py < H)
      image(static_cast<int>(px), static_cast<int>(py)) = value;
  };
  for (std::int64_t k = -2; k <= 2; ++k) {
    put(x + k, y);
    put(x, y + k);
    put(x + k, y + k);
    put(x + k, y - k);
  }
}

namespace {

// Corners are the markers' own positions, back from the shifted work of the
// search; markers stand a diameter apart, so a small fraction of a pixel
// tells them apart.
constexpr double meshTolerance = 1e-3;

// The marker at p, or -1.
int markerAt(const zel::markersArray& markers, const xyVec<double>& p) {
  for (int i = 0; i < markers.count(); ++i)
    if (std::fabs(markers[i].x - p.x) <= meshTolerance &&
        std::fabs(markers[i].y - p.y) <= meshTolerance)
      return i;
  return -1;
}

// The pixel of a position, if it lies in the image.
bool pixelOf(const xyVec<double>& p, int W, int H, int& x, int& y) {
  return markerWork::roundedIn(p.x, W, x) && markerWork::roundedIn(p.y, H, y);
}

float largestValue(const drawField& field) {
  float top = 0.0f;
  bool any = false;
  for (std::uint64_t i = 0; i < field.count; ++i) {
    const float v = field.data[i];
    if (std::isnan(v) || (any && v <= top)) continue;
    top = v;
    any = true;
  }
  return top;
}

std::string coordinate(double v) { return zel::numberText(v, 6, zel::decimalMark::point); }

// The report of a triangle with a corner off the image.
std::string uselessTriangle(std::size_t index, const triangle& t, const int (&corner)[3],
                            const zel::markersArray& markers) {
  std::string text = "UnUseFul Triangle !!!\n\nHorizontal & Vertical Coordinates & Node Number\n\n";
  text += "Triangle  " + std::to_string(index) + "  Current  ";
  const xyVec<double>* at[3] = {&t.a, &t.b, &t.c};
  for (int k = 0; k < 3; ++k)
    text += "\n" + coordinate(at[k]->x) + "  " + coordinate(at[k]->y) + "  " +
            std::to_string(markers[corner[k]].id);
  return text;
}

}  // namespace

void TriangulationDraw(drawField& field, const zel::markersArray& markers) {
  if (markers.count() < 9) {
    zel::report().notice("Markers Number < 9");
    return;
  }
  std::vector<xyVec<double>> points;
  for (const marker& m : markers.items) points.emplace_back(m.x, m.y);
  std::vector<triangle> triangles;
  TriAngleSearch(points, meshTolerance, triangles);
  std::string text = "Number of Triangles is  " + std::to_string(triangles.size()) +
                     "\nAlgorithm used is TriAngleSearch";
  const float value = largestValue(field);
  const int W = field.width(), H = field.height();
  std::vector<bool> pointUsed(static_cast<std::size_t>(markers.count()), false);
  int drawn = 0;
  for (std::size_t i = 0; i < triangles.size(); ++i) {
    const triangle& t = triangles[i];
    const xyVec<double>* at[3] = {&t.a, &t.b, &t.c};
    int corner[3], px[3], py[3];
    bool matched = true, inside = true;
    for (int k = 0; k < 3; ++k) {
      corner[k] = markerAt(markers, *at[k]);
      matched = matched && corner[k] >= 0;
      inside = pixelOf(*at[k], W, H, px[k], py[k]) && inside;
    }
    if (!matched) {
      text += "\n\nTriangle w/o 3 Vertexes !";
      continue;
    }
    if (!inside) {
      text += "\n\n" + uselessTriangle(i, t, corner, markers);
      continue;
    }
    for (int k = 0; k < 3; ++k) {
      DrawCross(px[k], py[k], value, field);
      DrawSegment3(px[k], py[k], px[(k + 1) % 3], py[(k + 1) % 3], value, field);
      pointUsed[static_cast<std::size_t>(corner[k])] = true;
    }
    ++drawn;
  }
  const auto pointsUsed = std::count(pointUsed.begin(), pointUsed.end(), true);
  text += "\n\nNumber of     Points used  " + std::to_string(pointsUsed) + "  (Total is  " +
          std::to_string(markers.count()) + ")\n" + "Number of Triangles used  " +
          std::to_string(drawn) + "  (Total is  " + std::to_string(triangles.size()) + ")\n";
  zel::report().notice(text);
}

}  // namespace tamble
