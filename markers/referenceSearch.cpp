#include "markers/referenceSearch.h"

#include <cmath>
#include <cstdint>
#include <sstream>
#include <vector>

#include "align/correlation.h"
#include "api/report.h"

namespace tamble {

bool PeakFit3(const referenceField& s, int ix, int iy, double& x, double& y) {
  x = ix;
  y = iy;
  if (ix < 1 || iy < 1 || ix > s.width() - 2 || iy > s.height() - 2) return false;
  // f = c + bx u + by v + axx u^2 + axy u v + ayy v^2 over u, v in {-1, 0, 1}.
  double bx = 0, by = 0, axx = 0, ayy = 0, axy = 0;
  for (int v = -1; v <= 1; ++v)
    for (int u = -1; u <= 1; ++u) {
      const double f = s(ix + u, iy + v);
      bx += u * f / 6.0;
      by += v * f / 6.0;
      axx += (u * u - 2.0 / 3.0) * f / 2.0;
      ayy += (v * v - 2.0 / 3.0) * f / 2.0;
      axy += u * v * f / 4.0;
    }
  // The top: [2axx axy; axy 2ayy] (u, v) = -(bx, by), a maximum when the
  // matrix is negative definite.
  const double det = 4.0 * axx * ayy - axy * axy;
  if (!(axx < 0.0 && det > 0.0)) return false;
  const double u = (-bx * 2.0 * ayy + by * axy) / det;
  const double v = (-by * 2.0 * axx + bx * axy) / det;
  if (!(std::fabs(u) <= 1.0 && std::fabs(v) <= 1.0)) return false;
  x = ix + u;
  y = iy + v;
  return true;
}

namespace {

struct patchPair {
  int P, h;
  referenceField active, pattern, result;
  std::vector<std::uint8_t> activeMask, patternMask;  // 1: not taken
  explicit patchPair(int side)
      : P(side), h(side / 2), active(side, side), pattern(side, side), result(side, side) {}
};

// The patch of side P around (cx, cy) with the pixels inside the image and
// not excluded, less the mean of those; all others 0.
void fillPatch(const referenceField& field, const std::vector<std::uint8_t>& excluded, int cx,
               int cy, int h, referenceField& patch, std::vector<std::uint8_t>& mask) {
  const int W = field.width(), H = field.height(), P = patch.width();
  patch.fill(0.0f);
  mask.assign(static_cast<std::size_t>(P) * P, 1);
  float sum = 0.0f;
  int taken = 0;
  for (int j = 0; j < P; ++j)
    for (int i = 0; i < P; ++i) {
      const int x = cx - h + i, y = cy - h + j;
      if (x < 0 || y < 0 || x >= W || y >= H) continue;
      if (excluded[static_cast<std::size_t>(y) * W + x]) continue;
      patch(i, j) = field(x, y);
      mask[static_cast<std::size_t>(j) * P + i] = 0;
      sum += field(x, y);
      ++taken;
    }
  if (taken == 0) return;
  const float mean = sum / static_cast<float>(taken);
  for (int k = 0; k < P * P; ++k)
    if (!mask[static_cast<std::size_t>(k)]) patch.data[k] -= mean;
}

int rounded(double v) { return static_cast<int>(std::trunc(std::fabs(v) + 0.5)); }
int signOf(double v) { return v > 0 ? 1 : (v < 0 ? -1 : 0); }

// What the passes of one marker came to.
struct markerShift {
  bool failed = false;
  double cx = 0, cy = 0;
  int passes = 1;
  bool unsettledX = false, unsettledY = false;
};

struct searchState {
  const referenceField &field1, &field2;
  const std::vector<std::uint8_t>& excluded;
  float limit;
  patchPair& patches;
};

markerShift measure(searchState& s, int ax, int ay, int px, int py) {
  markerShift m;
  patchPair& p = s.patches;
  int sx = 0, sy = 0;
  for (m.passes = 1;; ++m.passes) {
    fillPatch(s.field1, s.excluded, ax + sx, ay + sy, p.h, p.active, p.activeMask);
    fillPatch(s.field2, s.excluded, px, py, p.h, p.pattern, p.patternMask);
    // The pattern first: a positive shift is the active picture's move.
    int dx = 0, dy = 0;
    CrossCorrelation(p.pattern, p.active, p.result, false, true, false, false, dx, dy);
    double X = 0, Y = 0;
    const bool fitted = PeakFit3(p.result, p.h + dx - 1, p.h + dy - 1, X, Y);
    const double fx = X - p.h + 1, fy = Y - p.h + 1;
    if (!fitted || std::fabs(fx - dx) > 2.0 || std::fabs(fy - dy) > 2.0 ||
        !(std::fabs(fx) <= s.limit) || !(std::fabs(fy) <= s.limit)) {
      m.failed = true;
      return m;
    }
    m.cx = sx + fx;
    m.cy = sy + fy;
    const bool moveX = rounded(fx) >= 1, moveY = rounded(fy) >= 1;
    if (m.passes >= 5 || !(moveX || moveY)) {
      m.unsettledX = moveX;
      m.unsettledY = moveY;
      return m;
    }
    sx += signOf(fx) * rounded(fx);
    sy += signOf(fy) * rounded(fy);
  }
}

// The pixels that take no part: background or outside the ROI on either
// image, or near 0 on both.
std::vector<std::uint8_t> excludedPixels(const referenceField& f1, const referenceMask& b1,
                                         const referenceMask& r1, const referenceField& f2,
                                         const referenceMask& b2, const referenceMask& r2) {
  std::vector<std::uint8_t> out(f1.count);
  for (std::uint64_t i = 0; i < f1.count; ++i) {
    const bool background = b1.data[i] || b2.data[i];
    const bool inside = r1.data[i] || r2.data[i];
    const bool dark = std::fabs(f1.data[i]) < 0.0001f && std::fabs(f2.data[i]) < 0.0001f;
    out[i] = background || !inside || dark;
  }
  return out;
}

const char* refusal(const zel::markersArray& m1, const zel::markersArray& m2,
                    const referenceField& f1, const referenceField& f2) {
  if (m1.count() == 0) return "MARKERSHIFTCC: No Markers on Active image";
  if (m2.count() == 0) return "MARKERSHIFTCC: No Markers on Pattern image";
  if (m1.count() != m2.count())
    return "MARKERSHIFTCC: Differenr Markers Number on Active & Pattern images";
  if (f1.width() != f2.width()) return "MARKERSHIFTCC: X1 & X2 wrong dimensions";
  if (f1.height() != f2.height()) return "MARKERSHIFTCC: Y1 & Y2 wrong dimensions";
  return nullptr;
}

std::string share(int count, int total) {
  std::ostringstream t;
  t << count << " of " << total << " or " << (total ? 100.0 * count / total : 0.0) << " %";
  return t.str();
}

}  // namespace

int MARKERSHIFTCC(const referenceField& field1, const referenceMask& bkgr1,
                  const referenceMask& ROI1, zel::markersArray& markers1,
                  const referenceField& field2, const referenceMask& bkgr2,
                  const referenceMask& ROI2, const zel::markersArray& markers2, int /*sign*/,
                  int N) {
  if (const char* text = refusal(markers1, markers2, field1, field2)) {
    zel::report().notice(text);
    return 0;
  }
  const std::vector<std::uint8_t> excluded =
      excludedPixels(field1, bkgr1, ROI1, field2, bkgr2, ROI2);
  int P = 1;
  for (int k = 0; k < 50 && P < N; ++k) P *= 2;
  patchPair patches(P);
  searchState state{field1, field2, excluded, static_cast<float>(N) * 0.25f, patches};
  int reached[6] = {}, repeatX = 0, repeatY = 0, failed = 0, enabled = 0;
  std::ostringstream failures;
  for (int i = 0; i < markers1.count(); ++i) {
    marker& m = markers1[i];
    if (!m.active) continue;
    ++enabled;
    const marker& ref = markers2[i];
    const int ax = static_cast<int>(std::lround(m.x)), ay = static_cast<int>(std::lround(m.y));
    const int px = static_cast<int>(std::lround(ref.x)), py = static_cast<int>(std::lround(ref.y));
    const markerShift s = measure(state, ax, ay, px, py);
    for (int pass = 2; pass <= std::min(s.passes, 5); ++pass) ++reached[pass];
    repeatX += s.unsettledX;
    repeatY += s.unsettledY;
    if (s.failed || !(std::fabs(s.cx) <= state.limit && std::fabs(s.cy) <= state.limit)) {
      ++failed;
      failures << " Marker " << i + 1 << ": cy= " << s.cy << " cx= " << s.cx
               << " passes= " << s.passes << "\n";
      continue;
    }
    m.x = ref.x + (ax - px) + s.cx;
    m.y = ref.y + (ay - py) + s.cy;
  }
  if (failed > 0) {
    std::ostringstream report;
    report << failures.str() << " Rep 2p " << share(reached[2], enabled) << "\n Repe3p "
           << share(reached[3], enabled) << "\n Repe4p " << share(reached[4], enabled)
           << "\n Repe5p " << share(reached[5], enabled) << "\n Rep 6x "
           << share(repeatX, enabled) << "\n Rep 6y " << share(repeatY, enabled)
           << "\n\n NOT all markers were placed correctly - try to enlarge Diameter";
    zel::report().notice(report.str());
  }
  return failed;
}

}  // namespace tamble
