#include "convert/background.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "api/parallel.h"
#include "convert/planeFit.h"

namespace tamble {

namespace {

std::uint64_t pixels(const bgField& f) { return f.count; }

// What light remains once the background b is taken away: never below 0.
inline float clipped(float v, float b) {
  const float r = v - b;
  return r < 0.0f ? 0.0f : r;
}

// The sum of a row's values where `m` is true (all without it), and their
// count. Eight running sums, one per column modulo 8, added in a fixed
// order: a sum the compiler may keep in vector registers without changing
// a bit.
constexpr int lanes = 8;

std::pair<double, std::uint64_t> rowSum(const float* v, const bool* m, int w) {
  double acc[lanes] = {};
  std::uint64_t n[lanes] = {};
  const int whole = w - w % lanes;
  for (int x = 0; x < whole; x += lanes)
    for (int k = 0; k < lanes; ++k) {
      const bool in = !m || m[x + k];
      acc[k] += in ? static_cast<double>(v[x + k]) : 0.0;
      n[k] += in;
    }
  for (int x = whole; x < w; ++x) {
    const bool in = !m || m[x];
    acc[x - whole] += in ? static_cast<double>(v[x]) : 0.0;
    n[x - whole] += in;
  }
  double s = 0.0;
  std::uint64_t count = 0;
  for (int k = 0; k < lanes; ++k) s += acc[k], count += n[k];
  return {s, count};
}

// The mean of the field over the pixels where `mask` is true (all pixels
// without one); nothing when there is none. Row sums in double, added in
// row order: the result does not depend on the number of threads.
std::optional<float> meanOf(const bgField& f, const bgMask* mask) {
  const int w = f.width(), h = f.height();
  std::vector<std::pair<double, std::uint64_t>> rows(static_cast<std::size_t>(h));
  zel::forEachRow(h, pixels(f),
                  [&](int y) { rows[y] = rowSum(f.row(y), mask ? mask->row(y) : nullptr, w); });
  double s = 0.0;
  std::uint64_t n = 0;
  for (const auto& [rs, rn] : rows) s += rs, n += rn;
  if (n == 0) return std::nullopt;
  return static_cast<float>(s / static_cast<double>(n));
}

// bkgr := field below the level of the pixel.
template <class Level>
void markBelow(const bgField& field, bgMask& bkgr, Level level) {
  const int w = field.width();
  zel::forEachRow(field.height(), pixels(field), [&](int y) {
    const float* v = field.row(y);
    bool* b = bkgr.row(y);
    for (int x = 0; x < w; ++x) b[x] = v[x] < level(x, y);
  });
}

// field := field - b(x, y), clipped at 0.
template <class Background>
void subtract(bgField& field, Background b) {
  const int w = field.width();
  zel::forEachRow(field.height(), pixels(field), [&](int y) {
    float* v = field.row(y);
    for (int x = 0; x < w; ++x) v[x] = clipped(v[x], b(x, y));
  });
}

// The least and greatest value, from 1e30 and -1e30.
std::pair<float, float> extremes(const bgField& f) {
  const int w = f.width(), h = f.height();
  std::vector<float> lows(static_cast<std::size_t>(h)), highs(lows.size());
  zel::forEachRow(h, pixels(f), [&](int y) {
    const float* v = f.row(y);
    float lo = 1e30f, hi = -1e30f;
    for (int x = 0; x < w; ++x) {
      lo = v[x] < lo ? v[x] : lo;
      hi = v[x] > hi ? v[x] : hi;
    }
    lows[y] = lo, highs[y] = hi;
  });
  float lo = 1e30f, hi = -1e30f;
  for (int y = 0; y < h; ++y) lo = std::min(lo, lows[y]), hi = std::max(hi, highs[y]);
  return {lo, hi};
}

// Selection by r1; false when the rule ends the routine.
bool selectBackground(bgField& field, bgMask& bkgr, bgMask& roi, const backgroundParams& p,
                      bool roiHere) {
  switch (p.r1) {
    case selectThreshold:
      markBelow(field, bkgr, [t = p.threshold](int, int) { return t; });
      return true;
    case selectAverage: {
      const float t = meanOf(field, nullptr).value_or(0.0f) * p.scale;
      markBelow(field, bkgr, [t](int, int) { return t; });
      return true;
    }
    case selectFromROI:
      if (!roiHere) return false;
      zel::forEachRow(field.height(), pixels(field), [&](int y) {
        bool* b = bkgr.row(y);
        bool* r = roi.row(y);
        for (int x = 0; x < field.width(); ++x) b[x] = !r[x], r[x] = true;
      });
      return true;
    case selectRelative: {
      const auto [lo, hi] = extremes(field);
      if (!(lo < hi)) return false;
      const float t = (hi - lo) * p.relative + lo;
      markBelow(field, bkgr, [t](int, int) { return t; });
      return true;
    }
    case selectPlane: {
      const plane fit = planeFit(field, bkgr, roi, 1);
      // The plane above the field: the field below the plane.
      markBelow(field, bkgr, [&fit](int x, int y) { return fit.at(x, y); });
      return true;
    }
    default: return true;
  }
}

// The mean of each row's strip of `w` pixels from column x0.
float stripMean(const float* row, int x0, int w) {
  float s = 0.0f;
  for (int x = x0; x < x0 + w; ++x) s += row[x];
  return s / static_cast<float>(w);
}

// Per row, the line through the means of the first and the last w pixels,
// each mean taken at its strip's centre column (w - 1) / 2 from the edge: a
// linear ramp along the row is removed exactly.
void subtractTwoSide(bgField& field, int w) {
  const int W = field.width();
  const float centre = static_cast<float>(w - 1) * 0.5f;
  zel::forEachRow(field.height(), pixels(field), [&](int y) {
    float* v = field.row(y);
    const float L = stripMean(v, 0, w), R = stripMean(v, W - w, w);
    const float slope = (R - L) / static_cast<float>(W - w);
    for (int x = 0; x < W; ++x) v[x] = clipped(v[x], L + slope * (static_cast<float>(x) - centre));
  });
}

// The four strips' profiles: left and right per row, top and bottom per
// column, and the means of the four corner blocks where strips cross.
struct stripProfiles {
  std::vector<float> left, right, top, bottom;
  float cornerLT = 0, cornerRT = 0, cornerLB = 0, cornerRB = 0;
};

// Column means of the rows [y0, y0 + w), summed row after row.
std::vector<float> columnMeans(const bgField& f, int y0, int w) {
  std::vector<float> s(static_cast<std::size_t>(f.width()), 0.0f);
  for (int y = y0; y < y0 + w; ++y) {
    const float* v = f.row(y);
    for (int x = 0; x < f.width(); ++x) s[x] += v[x];
  }
  for (float& m : s) m /= static_cast<float>(w);
  return s;
}

// The mean of a row profile over the rows [y0, y0 + w): a corner block.
float blockMean(const std::vector<float>& profile, int y0, int w) {
  return stripMean(profile.data(), y0, w);
}

stripProfiles profilesOf(const bgField& f, int indent, int w) {
  const int W = f.width(), H = f.height();
  stripProfiles s;
  s.left.resize(static_cast<std::size_t>(H));
  s.right.resize(s.left.size());
  for (int y = 0; y < H; ++y) {
    s.left[y] = stripMean(f.row(y), indent, w);
    s.right[y] = stripMean(f.row(y), W - indent - w, w);
  }
  s.top = columnMeans(f, indent, w);
  s.bottom = columnMeans(f, H - indent - w, w);
  s.cornerLT = blockMean(s.left, indent, w);
  s.cornerRT = blockMean(s.right, indent, w);
  s.cornerLB = blockMean(s.left, H - indent - w, w);
  s.cornerRB = blockMean(s.right, H - indent - w, w);
  return s;
}

// The Coons surface through the four strips: along each row the line
// between the left and right profiles, along each column the line between
// the top and bottom profiles, less the bilinear surface of the corner
// blocks. Positions are measured from the strips' centre lines. It takes
// away exactly any background g(x) + h(y) + c x y, planes and the two-side
// rule's ramps among them.
void subtractFourSide(bgField& field, int indent, int w) {
  const int W = field.width(), H = field.height();
  const stripProfiles s = profilesOf(field, indent, w);
  const float centre = static_cast<float>(indent) + static_cast<float>(w - 1) * 0.5f;
  const float spanX = static_cast<float>(W - 2 * indent - w);
  const float spanY = static_cast<float>(H - 2 * indent - w);
  std::vector<float> us(static_cast<std::size_t>(W));
  for (int x = 0; x < W; ++x) us[x] = (static_cast<float>(x) - centre) / spanX;
  zel::forEachRow(H, pixels(field), [&](int y) {
    const float v = (static_cast<float>(y) - centre) / spanY;
    const float L = s.left[y], R = s.right[y];
    // The corner blocks' surface along this row: a line in u.
    const float cornerL = (1.0f - v) * s.cornerLT + v * s.cornerLB;
    const float cornerR = (1.0f - v) * s.cornerRT + v * s.cornerRB;
    float* f = field.row(y);
    for (int x = 0; x < W; ++x) {
      const float u = us[x];
      const float rows = (1.0f - u) * L + u * R;
      const float columns = (1.0f - v) * s.top[x] + v * s.bottom[x];
      const float corners = (1.0f - u) * cornerL + u * cornerR;
      f[x] = clipped(f[x], rows + columns - corners);
    }
  });
}

// The plane through the background pixels, when they span at least a tenth
// of the image's smaller side in their bounding box's smaller side.
void subtractBackgroundPlane(bgField& field, const bgMask& bkgr) {
  const int W = field.width(), H = field.height();
  // The fit takes the pixels whose mask is clear: the background's. Each
  // row notes its background's first and last column on the way.
  bgMask others(W, H), everywhere(W, H);
  everywhere.fill(true);
  std::vector<int> first(static_cast<std::size_t>(H), W), last(first.size(), -1);
  zel::forEachRow(H, pixels(field), [&](int y) {
    const bool* b = bkgr.row(y);
    bool* o = others.row(y);
    for (int x = 0; x < W; ++x) {
      o[x] = !b[x];
      if (b[x]) first[y] = std::min(first[y], x), last[y] = x;
    }
  });
  int x0 = W, x1 = -1, y0 = H, y1 = -1;
  for (int y = 0; y < H; ++y)
    if (last[y] >= 0)
      x0 = std::min(x0, first[y]), x1 = std::max(x1, last[y]), y0 = std::min(y0, y), y1 = y;
  if (x1 < 0) return;
  const int span = std::min(x1 - x0 + 1, y1 - y0 + 1);
  if (10 * static_cast<std::int64_t>(span) < std::min(W, H)) return;
  const plane fit = planeFit(field, others, everywhere, 0);
  subtract(field, [&fit](int x, int y) { return fit.at(x, y); });
}

void compensateBackground(bgField& field, const bgMask& bkgr, const bgMask& roi,
                          const backgroundParams& p, bool roiHere, bool bkgrHere) {
  switch (p.r2) {
    case compensateValue: subtract(field, [b = p.value](int, int) { return b; }); return;
    case compensateROIMean:
    case compensateBkgrMean: {
      const bool roiRule = p.r2 == compensateROIMean;
      if (!(roiRule ? roiHere : bkgrHere)) return;
      const std::optional<float> mean = meanOf(field, roiRule ? &roi : &bkgr);
      if (mean) subtract(field, [b = *mean](int, int) { return b; });
      return;
    }
    case compensateTwoSide: subtractTwoSide(field, p.side2); return;
    case compensateFourSide: subtractFourSide(field, p.indent4, p.width4); return;
    case compensateBkgrPlane:
      if (bkgrHere) subtractBackgroundPlane(field, bkgr);
      return;
    default: return;
  }
}

}  // namespace

bool holdsTrue(const bgMask& mask) {
  return std::find(mask.data, mask.data + mask.count, true) != mask.data + mask.count;
}

const char* backgroundFaultText(backgroundFault fault) {
  switch (fault) {
    case backgroundFault::twoSideWidth: return "Two Side Strap Width Less Than 1 !";
    case backgroundFault::fourSideWidth: return "Four Side Strap Width Less Than 1 !";
    case backgroundFault::fourSideIndent: return "Four Side Indent Less Than 0 !";
    case backgroundFault::stripsTooWide: return "Side Strips Do Not Fit in the Image !";
    default: return "";
  }
}

backgroundFault backgroundParameterFault(const backgroundParams& p, int width, int height) {
  if (p.compensate == 0) return backgroundFault::none;
  if (p.r2 == compensateTwoSide) {
    if (p.side2 < 1) return backgroundFault::twoSideWidth;
    // The strips' centres must stand apart for the slope between them.
    if (p.side2 >= width) return backgroundFault::stripsTooWide;
  }
  if (p.r2 == compensateFourSide) {
    if (p.width4 < 1) return backgroundFault::fourSideWidth;
    if (p.indent4 < 0) return backgroundFault::fourSideIndent;
    const std::int64_t reach = 2 * static_cast<std::int64_t>(p.indent4) + p.width4;
    if (reach >= width || reach >= height) return backgroundFault::stripsTooWide;
  }
  return backgroundFault::none;
}

backgroundFault selectAndCompensate(bgField& field, bgMask& bkgr, bgMask& roi,
                                    const backgroundParams& p) {
  const backgroundFault fault = backgroundParameterFault(p, field.width(), field.height());
  if (fault != backgroundFault::none) return fault;
  // A layer without a true pixel is present when the caller says so.
  const bool roiHere = holdsTrue(roi) || p.roiPresent;
  const bool bkgrHere = holdsTrue(bkgr) || p.bkgrPresent;
  if (p.select != 0 && !selectBackground(field, bkgr, roi, p, roiHere)) return fault;
  if (p.compensate != 0) compensateBackground(field, bkgr, roi, p, roiHere, bkgrHere);
  return fault;
}

backgroundFault selectAndCompensate(bgField& field, bgMask& bkgr, bgMask& roi, int select,
                                    int compensate, int r1, int r2, float threshold, float scale,
                                    float relative, float value, int side2, int indent4, int width4,
                                    bool roiPresent, bool bkgrPresent) {
  const backgroundParams p{select, compensate, r1,      r2,     threshold,  scale,      relative,
                           value,  side2,      indent4, width4, roiPresent, bkgrPresent};
  return selectAndCompensate(field, bkgr, roi, p);
}

}  // namespace tamble
