#include "convert/foreground.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "api/parallel.h"
#include "convert/background.h"
#include "filters/circleFilters.h"

namespace tamble {

namespace {

// The masks with a frame of one pixel: bkgr framed by 1, so that the image's
// edge counts as background, ROI framed by 0, so that the frame never turns.
struct framed {
  int W, H, stride;
  std::vector<std::uint8_t> bkgr, roi;
  int offsets[8];

  framed(const fgMask& b, const fgMask& r)
      : W(b.width()),
        H(b.height()),
        stride(W + 2),
        bkgr(static_cast<std::size_t>(W + 2) * (H + 2), 1),
        roi(bkgr.size(), 0),
        offsets{-stride - 1, -stride, -stride + 1, -1, 1, stride - 1, stride, stride + 1} {
    for (int y = 0; y < H; ++y)
      for (int x = 0; x < W; ++x) {
        bkgr[at(x, y)] = b(x, y);
        roi[at(x, y)] = r(x, y);
      }
  }
  std::size_t at(int x, int y) const { return static_cast<std::size_t>(y + 1) * stride + x + 1; }
  bool turns(std::size_t i) const { return roi[i] && !bkgr[i]; }
  bool touchesBackground(std::size_t i) const {
    for (int o : offsets)
      if (bkgr[i + o]) return true;
    return false;
  }
};

// The pixels the first round turns: in the ROI, foreground, beside background.
std::vector<std::size_t> firstRound(const framed& c) {
  std::vector<std::size_t> turned;
  for (int y = 0; y < c.H; ++y)
    for (int x = 0; x < c.W; ++x) {
      const std::size_t i = c.at(x, y);
      if (c.turns(i) && c.touchesBackground(i)) turned.push_back(i);
    }
  return turned;
}

// Later rounds can only turn the neighbours of what the last round turned:
// every other pixel's neighbours are as they were.
std::vector<std::size_t> nextRound(framed& c, const std::vector<std::size_t>& last) {
  std::vector<std::size_t> turned;
  for (std::size_t i : last)
    for (int o : c.offsets) {
      const std::size_t j = i + o;
      if (!c.turns(j)) continue;
      c.bkgr[j] = 1;  // found once; the others of this round see it as taken
      turned.push_back(j);
    }
  return turned;
}

// Expansion works on the pixels of the growing edge only: the background
// ROI pixels with a foreground ROI pixel among their eight neighbours.
struct pixelAt {
  int x, y;
};

bool isForeground(const fgMask& bkgr, const fgMask& ROI, int x, int y) {
  return ROI(x, y) && !bkgr(x, y);
}

bool growsAt(const fgMask& bkgr, const fgMask& ROI, int x, int y) {
  if (!bkgr(x, y) || !ROI(x, y)) return false;
  const int W = bkgr.width(), H = bkgr.height();
  for (int j = std::max(0, y - 1); j <= std::min(H - 1, y + 1); ++j)
    for (int i = std::max(0, x - 1); i <= std::min(W - 1, x + 1); ++i)
      if (isForeground(bkgr, ROI, i, j)) return true;
  return false;
}

// The first round's edge, in row order.
std::vector<pixelAt> firstEdge(const fgMask& bkgr, const fgMask& ROI) {
  std::vector<pixelAt> edge;
  for (int y = 0; y < bkgr.height(); ++y)
    for (int x = 0; x < bkgr.width(); ++x)
      if (growsAt(bkgr, ROI, x, y)) edge.push_back({x, y});
  return edge;
}

// Later edges lie beside what the last round filled: every other
// background pixel's neighbours are as they were when it did not grow.
std::vector<pixelAt> nextEdge(const fgMask& bkgr, const fgMask& ROI,
                              const std::vector<pixelAt>& last, fgMask& taken) {
  const int W = bkgr.width(), H = bkgr.height();
  std::vector<pixelAt> edge;
  for (const pixelAt& p : last)
    for (int j = std::max(0, p.y - 1); j <= std::min(H - 1, p.y + 1); ++j)
      for (int i = std::max(0, p.x - 1); i <= std::min(W - 1, p.x + 1); ++i)
        if (bkgr(i, j) && ROI(i, j) && !taken(i, j)) taken(i, j) = true, edge.push_back({i, j});
  for (const pixelAt& p : edge) taken(p.x, p.y) = false;
  return edge;
}

// The mean of the foreground ROI pixels within `reach` (1 or 2) of p, in
// row order.
float neighbourMean(const fgField& field, const fgMask& bkgr, const fgMask& ROI, pixelAt p,
                    int reach) {
  const int W = field.width(), H = field.height();
  float sum = 0.0f;
  int count = 0;
  for (int j = std::max(0, p.y - reach); j <= std::min(H - 1, p.y + reach); ++j)
    for (int i = std::max(0, p.x - reach); i <= std::min(W - 1, p.x + reach); ++i)
      if (isForeground(bkgr, ROI, i, j)) sum += field(i, j), ++count;
  return sum / static_cast<float>(count);
}

// GaussSeparable over the edge's values with the edge as the only valid
// pixels. It runs on the edge's bounding box: the pixels outside are
// blocked, so they give no sample, and the result is the whole image's.
void smoothEdge(const std::vector<pixelAt>& edge, std::vector<float>& values, const fgMask& ROI,
                float diameter) {
  int x0 = edge[0].x, x1 = x0, y0 = edge[0].y, y1 = y0;
  for (const pixelAt& p : edge)
    x0 = std::min(x0, p.x), x1 = std::max(x1, p.x), y0 = std::min(y0, p.y), y1 = std::max(y1, p.y);
  const int w = x1 - x0 + 1, h = y1 - y0 + 1;
  fgField box(w, h);
  fgMask blocked(w, h), roi(w, h);
  box.fill(0.0f);
  blocked.fill(true);
  for (int y = 0; y < h; ++y) std::copy(ROI.row(y0 + y) + x0, ROI.row(y0 + y) + x1 + 1, roi.row(y));
  for (std::size_t k = 0; k < edge.size(); ++k) {
    box(edge[k].x - x0, edge[k].y - y0) = values[k];
    blocked(edge[k].x - x0, edge[k].y - y0) = false;
  }
  GaussSeparable(box, blocked, roi, 1, diameter);
  for (std::size_t k = 0; k < edge.size(); ++k) values[k] = box(edge[k].x - x0, edge[k].y - y0);
}

}  // namespace

bool ForegroundThinning(const fgField&, fgMask& bkgr, const fgMask& ROI, int depth) {
  if (!holdsTrue(bkgr)) return false;
  framed c(bkgr, ROI);
  std::vector<std::size_t> turned;
  for (int round = 0; round < depth; ++round) {
    if (round == 0) {
      turned = firstRound(c);
      for (std::size_t i : turned) c.bkgr[i] = 1;
    } else {
      turned = nextRound(c, turned);
    }
    if (turned.empty()) break;  // nothing left that could turn
  }
  for (int y = 0; y < c.H; ++y)
    for (int x = 0; x < c.W; ++x) bkgr(x, y) = c.bkgr[c.at(x, y)] != 0;
  return true;
}

bool ForegroundExpansion(fgField& field, fgMask& bkgr, const fgMask& ROI, int depth, int ring,
                         int smooth) {
  if (!holdsTrue(bkgr)) return false;
  fgMask taken(field.width(), field.height());
  taken.fill(false);
  std::vector<pixelAt> edge;
  std::vector<float> values;
  for (int round = 0; round < depth; ++round) {
    edge = round == 0 ? firstEdge(bkgr, ROI) : nextEdge(bkgr, ROI, edge, taken);
    if (edge.empty()) break;  // nothing touches the foreground any more
    // Every value from the layers as they stood before the round.
    values.resize(edge.size());
    const int reach = ring == 1 ? 2 : 1;
    zel::forEachRow(static_cast<int>(edge.size()), edge.size() * 9,
                    [&](int k) { values[k] = neighbourMean(field, bkgr, ROI, edge[k], reach); });
    if (smooth > 0) smoothEdge(edge, values, ROI, static_cast<float>(smooth) + 0.5f);
    for (std::size_t k = 0; k < edge.size(); ++k) {
      field(edge[k].x, edge[k].y) = values[k];
      bkgr(edge[k].x, edge[k].y) = false;
    }
  }
  return true;
}

}  // namespace tamble
