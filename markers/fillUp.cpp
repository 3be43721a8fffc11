// Fill-up of regions and of marker spots.
//
// A walk is known from the walk one step further on: n(p) is 0 where the
// step leaves the image, 1 where it meets a pixel outside the region, and
// n(p + step) + 1 otherwise. The two horizontal walks follow from the run of
// region pixels in the row; the three walks with a step to the north come
// from one sweep down the rows, the three to the south from one sweep up, and
// both sweeps touch region pixels only (they run side by side). So no pixel
// is walked over twice, however large the region.
//
// The filling then writes region pixels only and reads pixels outside the
// region, apart from region pixels on the image's edge, where walks that
// leave the image end: their values are kept aside first. So rows are filled
// in place and in parallel, and each pixel's arithmetic is the same whatever
// the number of threads.
//
// The markers' procedure works on each group of markers that stand near one
// another in a copy of the group's window. No median window and no walk
// reaches from one group's pixels to another's, so the result is the one the
// whole image gives, at the cost of the windows alone.
#include "markers/fillUp.h"

#include <omp.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "api/parallel.h"
#include "api/report.h"
#include "filters/circleFilters.h"

namespace tamble {
namespace {

// The eight directions: north first, then clockwise; rows grow to the south.
constexpr int stepX[8] = {0, 1, 1, 1, 0, -1, -1, -1};
constexpr int stepY[8] = {-1, -1, 0, 1, 1, 1, 0, -1};
// The directions whose walks the sweeps find, by the row they step to.
constexpr int northward[3] = {0, 1, 7};
constexpr int southward[3] = {4, 3, 5};

// Below this many region pixels the two sweeps run one after the other.
constexpr std::size_t sweepsApart = 1u << 14;

void notice(const char* text) { zel::noticeUnlessQuiet(text); }

// The region pixels (ROI clear) row by row: the x of each, ascending.
struct regionPixels {
  std::vector<std::size_t> rowStart;  // H + 1 entries into xs
  std::unique_ptr<std::int32_t[]> xs;
  std::size_t count = 0;
  std::size_t treated = 0;  // those that are to be filled
};

regionPixels findRegion(const fillMask& ROI, const fillMask& bkgr, bool fillBackground) {
  const int W = ROI.width(), H = ROI.height();
  regionPixels r;
  r.rowStart.assign(static_cast<std::size_t>(H) + 1, 0);
  // A plain count is quicker than waking the threads for it.
  for (int y = 0; y < H; ++y) {
    // As bytes of 0 and 1, which a vector adds up.
    const auto* roi = reinterpret_cast<const unsigned char*>(ROI.row(y));
    std::uint32_t set = 0;
    for (int x = 0; x < W; ++x) set += roi[x];
    r.rowStart[y + 1] = r.rowStart[y] + (static_cast<std::size_t>(W) - set);
  }
  r.count = r.rowStart[H];
  if (r.count == 0) return r;
  r.xs = std::make_unique_for_overwrite<std::int32_t[]>(r.count);
  std::vector<std::size_t> treated(static_cast<std::size_t>(H), 0);
  zel::forEachRow(H, 8 * r.count, [&](int y) {
    const bool* roi = ROI.row(y);
    const bool* back = bkgr.row(y);
    std::int32_t* out = r.xs.get() + r.rowStart[y];
    std::size_t t = 0;
    int x = 0;
    while (x < W) {
      // Eight pixels of the ROI at once while none is region.
      constexpr std::uint64_t allSet = 0x0101010101010101u;
      std::uint64_t word = 0;
      if (x + 8 <= W && (std::memcpy(&word, roi + x, 8), word == allSet)) {
        x += 8;
        continue;
      }
      if (!roi[x]) {
        *out++ = x;
        t += fillBackground || !back[x];
      }
      ++x;
    }
    treated[y] = t;
  });
  for (std::size_t t : treated) r.treated += t;
  return r;
}

// The step counts of every region pixel in the three directions that share
// the row step `dy`, into steps[direction][pixel]. The rows are taken so that
// the row a step leads to comes first; `before` and `now` hold a row's counts
// by column (3 by W each), and only region columns are ever read back.
void sweepRows(const fillMask& ROI, const regionPixels& r, int dy, const int (&dirs)[3],
               std::int32_t* const* steps, std::int32_t* before, std::int32_t* now) {
  const int W = ROI.width(), H = ROI.height();
  for (int i = 0; i < H; ++i) {
    const int y = dy < 0 ? i : H - 1 - i;
    const int next = y + dy;
    const bool* ahead = next >= 0 && next < H ? ROI.row(next) : nullptr;
    for (std::size_t k = r.rowStart[y]; k < r.rowStart[y + 1]; ++k) {
      const int x = r.xs[k];
      for (int j = 0; j < 3; ++j) {
        const int nx = x + stepX[dirs[j]];
        std::int32_t n = 0;
        if (ahead && nx >= 0 && nx < W) n = ahead[nx] ? 1 : before[j * W + nx] + 1;
        now[j * W + x] = n;
        steps[dirs[j]][k] = n;
      }
    }
    std::swap(before, now);
  }
}

// The values of the image's edge rows and columns as they were before the
// fill: a walk that leaves the image ends on one of them, which may itself be
// a region pixel that is filled meanwhile.
struct edgeValues {
  std::vector<float> top, bottom, left, right;

  explicit edgeValues(const fillField& f) {
    const int W = f.width(), H = f.height();
    top.assign(f.row(0), f.row(0) + W);
    bottom.assign(f.row(H - 1), f.row(H - 1) + W);
    for (int y = 0; y < H; ++y) {
      left.push_back(f(0, y));
      right.push_back(f(W - 1, y));
    }
  }
  float at(int x, int y) const {
    if (y == 0) return top[x];
    if (y == static_cast<int>(left.size()) - 1) return bottom[x];
    return x == 0 ? left[y] : right[y];
  }
};

// Everything the filling of one row needs.
struct rowFiller {
  fillField& field;
  fillMask& bkgr;
  const fillMask& ROI;
  const regionPixels& region;
  std::int32_t* const* steps;  // of the six directions the sweeps found
  const edgeValues& edges;
  bool fillBackground;
  bool weighted[8];  // the directions whose distances are divided by scale
  float scale;

  void fill(int y) const {
    const int W = field.width(), H = field.height();
    const float root2 = std::sqrt(2.0f);
    constexpr std::size_t ahead = 4;
    const std::size_t first = region.rowStart[y], last = region.rowStart[y + 1];
    float* values = field.row(y);
    bool* back = bkgr.row(y);
    int runStart = 0, runEnd = -1;  // the horizontal run of region pixels that holds x
    for (std::size_t k = first; k < last; ++k) {
      const int x = region.xs[k];
      if (x > runEnd) {
        runStart = runEnd = x;
        for (std::size_t j = k + 1; j < last && region.xs[j] == runEnd + 1; ++j) ++runEnd;
      }
      // Scattered pixels wait for memory: ask early for a later pixel's rows.
      if (k + ahead < last) {
        const int xa = region.xs[k + ahead];
        for (int dy = -1; dy <= 1; ++dy)
          if (y + dy >= 0 && y + dy < H) {
            __builtin_prefetch(field.row(y + dy) + xa);
            __builtin_prefetch(bkgr.row(y + dy) + xa);
            __builtin_prefetch(ROI.row(y + dy) + xa);
          }
      }
      if (!fillBackground && back[x]) continue;
      std::int32_t n[8];
      for (int d : northward) n[d] = steps[d][k];
      for (int d : southward) n[d] = steps[d][k];
      n[2] = runEnd == W - 1 ? runEnd - x : runEnd + 1 - x;
      n[6] = runStart == 0 ? x : x - runStart + 1;
      float sum = 0.0f, weights = 0.0f;
      for (int d = 0; d < 8; ++d) {
        if (n[d] == 0) continue;
        const int ex = x + n[d] * stepX[d], ey = y + n[d] * stepY[d];
        // Ending on background, the direction has distance 0: no part.
        if (!fillBackground && bkgr(ex, ey)) continue;
        float dist = static_cast<float>(n[d]);
        if (d % 2 == 1) dist = dist * root2;
        if (weighted[d]) dist = dist / scale;
        if (!(dist >= 0.001f)) continue;
        const float v = ROI(ex, ey) ? field(ex, ey) : edges.at(ex, ey);
        sum += v / dist;
        weights += 1.0f / dist;
      }
      if (weights == 0.0f) continue;
      values[x] = sum / weights;
      if (fillBackground) back[x] = false;
    }
  }
};

// A marker's rounded position, where it stands on a valid pixel.
struct centre {
  int x, y;
};

// Marks every valid pixel within `reach` steps on each axis and within
// sqrt(r2) of one of the centres.
void markDisks(fillMask& map, const fillMask& bkgr, const fillMask& ROI,
               const std::vector<centre>& centres, int reach, double r2) {
  const int W = map.width(), H = map.height();
  for (const centre& c : centres)
    for (int y = std::max(0, c.y - reach); y <= std::min(H - 1, c.y + reach); ++y)
      for (int x = std::max(0, c.x - reach); x <= std::min(W - 1, c.x + reach); ++x) {
        const int dx = x - c.x, dy = y - c.y;
        if (dx * dx + dy * dy <= r2 && !bkgr(x, y) && ROI(x, y)) map(x, y) = true;
      }
}

// The pixels that one group of markers can change or read: a square about
// each marker, within the image (inclusive bounds).
struct window {
  int x0, y0, x1, y1;
  // Touching or overlapping, or one pixel apart: then a median window or a
  // walk could reach from one into the other.
  bool near(const window& o) const {
    return x0 <= o.x1 + 1 && o.x0 <= x1 + 1 && y0 <= o.y1 + 1 && o.y0 <= y1 + 1;
  }
  void add(const window& o) {
    x0 = std::min(x0, o.x0), y0 = std::min(y0, o.y0);
    x1 = std::max(x1, o.x1), y1 = std::max(y1, o.y1);
  }
};

// The markers that stand near each other, as groups of indices. Each
// marker's window holds its surroundings, and its spot with the pixels
// around it, so groups that are not near each other never meet: no median
// window and no walk reaches from one into the other.
std::vector<std::vector<std::size_t>> groupsOf(const std::vector<window>& windows) {
  std::vector<std::size_t> parent(windows.size());
  for (std::size_t i = 0; i < parent.size(); ++i) parent[i] = i;
  auto root = [&](std::size_t i) {
    while (parent[i] != i) i = parent[i] = parent[parent[i]];
    return i;
  };
  std::vector<std::size_t> order(parent);
  std::sort(order.begin(), order.end(),
            [&](std::size_t a, std::size_t b) { return windows[a].x0 < windows[b].x0; });
  for (std::size_t i = 0; i < order.size(); ++i)
    for (std::size_t j = i + 1; j < order.size(); ++j) {
      const window& a = windows[order[i]];
      const window& b = windows[order[j]];
      if (b.x0 > a.x1 + 1) break;
      if (a.near(b)) parent[root(order[i])] = root(order[j]);
    }
  std::vector<std::vector<std::size_t>> groups(windows.size());
  for (std::size_t i = 0; i < windows.size(); ++i) groups[root(i)].push_back(i);
  std::erase_if(groups, [](const auto& g) { return g.empty(); });
  return groups;
}

// The whole procedure for one group, on a copy of its bounding window: the
// median of the surroundings, the fill of the spots, and the spots written
// back. Nothing outside the window takes part, so this is exactly what the
// procedure gives on the whole image.
void fillGroup(fillField& field, const fillMask& bkgr, const fillMask& ROI, const window& w,
               std::vector<centre> centres, int N) {
  const int cw = w.x1 - w.x0 + 1, ch = w.y1 - w.y0 + 1;
  fillField values(cw, ch);
  fillMask back(cw, ch), roi(cw, ch);
  for (int y = 0; y < ch; ++y) {
    std::copy_n(field.row(w.y0 + y) + w.x0, cw, values.row(y));
    std::copy_n(bkgr.row(w.y0 + y) + w.x0, cw, back.row(y));
    std::copy_n(ROI.row(w.y0 + y) + w.x0, cw, roi.row(y));
  }
  for (centre& c : centres) c.x -= w.x0, c.y -= w.y0;

  // The surroundings, smoothed by a median of 3 within themselves.
  fillMask zone(cw, ch);
  zone.fill(false);
  markDisks(zone, back, roi, centres, static_cast<int>(std::trunc(N * 3.0 + 0.5)) / 2,
            static_cast<double>(N) * N);
  MedianCircle(values, back, zone, 1, 3);

  // The spots, filled from the smoothed surroundings.
  fillMask hole(cw, ch);
  hole.fill(false);
  markDisks(hole, back, roi, centres, static_cast<int>(std::trunc(N * 1.5 + 0.5)) / 2,
            (N * 0.5) * (N * 0.5));
  fillMask outside(cw, ch);
  for (std::size_t i = 0; i < hole.count; ++i) outside.data[i] = !hole.data[i];
  FillUp(values, back, outside, true, 0, 1.0f);
  for (int y = 0; y < ch; ++y) {
    float* out = field.row(w.y0 + y) + w.x0;
    for (int x = 0; x < cw; ++x)
      if (hole(x, y)) out[x] = values(x, y);
  }
}

}  // namespace

void FillUp(fillField& field, fillMask& bkgr, const fillMask& ROI, bool fillBackground,
            int direction, float scale) {
  if (!field.sameExtent(bkgr) || !field.sameExtent(ROI)) zel::raise<zel::DimError>();
  // The notice carries the digit 0 after the limit.
  if (scale < 0.001f) notice("Scale < 0.0010");
  const regionPixels region = findRegion(ROI, bkgr, fillBackground);
  // With no pixel outside the region there is nothing to fill from.
  if (region.treated == 0 || region.count == field.count) return;
  const edgeValues edges(field);
  rowFiller filler{field, bkgr, ROI, region, nullptr, edges, fillBackground, {}, scale};
  if (scale >= 0.01f) {
    if (direction < 0 || direction > 7) {
      notice("LOUT");
      return;
    }
    filler.weighted[direction % 4] = filler.weighted[direction % 4 + 4] = true;
  }

  std::unique_ptr<std::int32_t[]> counts[8];
  std::int32_t* steps[8] = {};
  for (int d : northward)
    steps[d] = (counts[d] = std::make_unique_for_overwrite<std::int32_t[]>(region.count)).get();
  for (int d : southward)
    steps[d] = (counts[d] = std::make_unique_for_overwrite<std::int32_t[]>(region.count)).get();
  const std::size_t columns = 3 * static_cast<std::size_t>(field.width());
  std::vector<std::int32_t> rows(4 * columns);  // before and now, for each sweep
  std::int32_t* work = rows.data();
#pragma omp parallel sections num_threads(2) if (region.count >= sweepsApart && \
                                                 omp_get_max_threads() > 1)
  {
#pragma omp section
    sweepRows(ROI, region, -1, northward, steps, work, work + columns);
#pragma omp section
    sweepRows(ROI, region, 1, southward, steps, work + 2 * columns, work + 3 * columns);
  }

  filler.steps = steps;
  zel::forEachRow(field.height(), 8 * region.count, [&](int y) { filler.fill(y); });
}

void FillUpMarkers(fillField& field, const fillMask& bkgr, const fillMask& ROI,
                   const zel::markersArray& markers, int N) {
  if (markers.count() == 0) {
    notice("No markers in active zone. Procedure is terminated");
    return;
  }
  if (!field.sameExtent(bkgr) || !field.sameExtent(ROI)) zel::raise<zel::DimError>();
  const int W = field.width(), H = field.height();
  // A window holds the surroundings and the spot with the pixels its walks
  // end on (the surroundings reach farther unless N is below 1).
  const int reach = std::max(static_cast<int>(std::trunc(N * 3.0 + 0.5)) / 2,
                             static_cast<int>(std::trunc(N * 1.5 + 0.5)) / 2 + 1);

  std::vector<centre> centres;
  std::vector<window> windows;
  for (const marker& m : markers.items) {
    if (!m.active) continue;
    const double rx = std::trunc(m.x + 0.5), ry = std::trunc(m.y + 0.5);
    if (!(rx >= 0 && rx < W && ry >= 0 && ry < H)) continue;
    const centre c{static_cast<int>(rx), static_cast<int>(ry)};
    if (bkgr(c.x, c.y) || !ROI(c.x, c.y)) continue;
    centres.push_back(c);
    windows.push_back({std::max(0, c.x - reach), std::max(0, c.y - reach),
                       std::min(W - 1, c.x + reach), std::min(H - 1, c.y + reach)});
  }
  // Each group reads and writes only within its window, apart from others.
  for (const std::vector<std::size_t>& group : groupsOf(windows)) {
    window w = windows[group[0]];
    std::vector<centre> members;
    for (std::size_t i : group) {
      w.add(windows[i]);
      members.push_back(centres[i]);
    }
    fillGroup(field, bkgr, ROI, w, std::move(members), N);
  }
}

}  // namespace tamble
