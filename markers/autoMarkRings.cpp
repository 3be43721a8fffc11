// The ring search of "Automatic Marking...". The ring passes work on integers
// (0 to 1,000,000), so their sums are exact: a ring's sum is taken as the
// difference of two boxes of a summed-area table, which gives the sum of its
// pixels one by one in a few reads, and rows run in parallel. The peak
// picking keeps each row's first maximum, as in the quick search, and the
// markers' last centroids run in parallel, each marker on its own.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "api/parallel.h"
#include "api/report.h"
#include "filters/circleFilters.h"
#include "markers/autoMark.h"
#include "markers/markerWork.h"

namespace tamble {
namespace {

using markerWork::clampTrunc;
using markerWork::fieldStore;
using markerWork::maskStore;

constexpr std::int32_t top = 1000000;
constexpr int noRing = 1000;

// Sums over boxes of an integer image, from a table of (W + 1) by (H + 1).
class boxSums {
 public:
  explicit boxSums(const ringImage& image)
      : W(image.width()),
        H(image.height()),
        table(static_cast<std::size_t>(W + 1) * static_cast<std::size_t>(H + 1), 0) {
    zel::forEachRow(H, image.count, [&](int y) {
      std::int64_t run = 0;
      const std::int32_t* row = image.row(y);
      std::int64_t* out = at(y + 1);
      for (int x = 0; x < W; ++x) out[x + 1] = run += row[x];
    });
    for (int y = 1; y <= H; ++y) {
      const std::int64_t* above = at(y - 1);
      std::int64_t* out = at(y);
      for (int x = 1; x <= W; ++x) out[x] += above[x];
    }
  }
  // The pixels x0..x1 by y0..y1, inclusive, all in the image.
  std::int64_t box(int x0, int y0, int x1, int y1) const {
    return at(y1 + 1)[x1 + 1] - at(y0)[x1 + 1] - at(y1 + 1)[x0] + at(y0)[x0];
  }
  // The ring of half-width h around (x, y).
  std::int64_t ring(int x, int y, int h) const {
    return box(x - h, y - h, x + h, y + h) - box(x - h + 1, y - h + 1, x + h - 1, y + h - 1);
  }

 private:
  std::int64_t* at(int row) {
    return table.data() + static_cast<std::size_t>(row) * static_cast<std::size_t>(W + 1);
  }
  const std::int64_t* at(int row) const {
    return table.data() + static_cast<std::size_t>(row) * static_cast<std::size_t>(W + 1);
  }
  int W, H;
  std::vector<std::int64_t> table;
};

// The ring's sum, pixel by pixel: rows y - h and y + h, then columns x - h and
// x + h between them.
std::int64_t ringSum(const ringImage& image, int x, int y, int h) {
  std::int64_t s = 0;
  for (int t = x - h; t <= x + h; ++t) s += image(t, y - h) + image(t, y + h);
  for (int t = y - h + 1; t <= y + h - 1; ++t) s += image(x - h, t) + image(x + h, t);
  return s;
}

// Clears the pixels of `image` (where `mask` is clear and the pixel is not
// 0) whose ring of half-width h in `before` is empty (`whenEmpty`) or not.
void clearByRing(ringImage& image, const ringImage& before, const maskStore& mask, int h,
                 bool whenEmpty) {
  const boxSums sums(before);
  const int W = image.width();
  zel::forEachRow(image.height(), image.count, [&](int y) {
    const bool* m = mask.row(y);
    const std::int32_t* z = before.row(y);
    std::int32_t* out = image.row(y);
    for (int x = 0; x < W; ++x)
      if (!m[x] && z[x] != 0 && (sums.ring(x, y, h) == 0) == whenEmpty) out[x] = 0;
  });
}

// The progress of the search through the host, 1000 steps that wrap.
class progressBar {
 public:
  progressBar() { zel::report().progress(what, 0); }
  ~progressBar() { close(); }
  void grow(int by) {
    if (!open) return;
    position += by;
    if (position > 1000) position -= 1000;
    zel::report().progress(what, position / 10);
  }
  void close() {
    if (open) zel::report().progress(what, 100);
    open = false;
  }

 private:
  static constexpr const char* what = "Marker Search";
  int position = 0;
  bool open = true;
};

void notice(const char* text) { zel::noticeUnlessQuiet(text); }

// The first largest positive value of each row among pixels not blocked.
struct rowPeaks {
  std::vector<std::int32_t> value;
  std::vector<int> at;
  const std::vector<std::uint8_t>& blocked;

  rowPeaks(const ringImage& Y, const std::vector<std::uint8_t>& b)
      : value(static_cast<std::size_t>(Y.height())),
        at(static_cast<std::size_t>(Y.height())),
        blocked(b) {
    zel::forEachRow(Y.height(), Y.count, [&](int y) { scan(Y, y); });
  }
  void scan(const ringImage& Y, int y) {
    std::int32_t m = 0;
    int a = -1;
    const std::int32_t* row = Y.row(y);
    const std::uint8_t* blk = blocked.data() + static_cast<std::size_t>(y) * Y.width();
    for (int x = 0; x < Y.width(); ++x)
      if (!blk[x] && row[x] > m) {
        m = row[x];
        a = x;
      }
    value[static_cast<std::size_t>(y)] = m;
    at[static_cast<std::size_t>(y)] = a;
  }
  bool best(int& x, int& y) const {
    std::int32_t m = 0;
    y = -1;
    for (std::size_t i = 0; i < value.size(); ++i)
      if (value[i] > m) {
        m = value[i];
        y = static_cast<int>(i);
      }
    if (y < 0) return false;
    x = at[static_cast<std::size_t>(y)];
    return true;
  }
};

// The centroid weighted by the fourth power of the difference from the local
// level, over the square of half-width R around the rounded position.
void levelCentre(marker& m, const fieldStore& field, const fieldStore& level, int R, bool peaks) {
  const int W = field.width(), H = field.height();
  int x0 = 0, y0 = 0;
  if (!markerWork::roundedIn(m.x, W, x0) || !markerWork::roundedIn(m.y, H, y0)) return;
  markerWork::centroid c;
  for (int y = std::max(y0 - R, 0); y <= std::min(y0 + R, H - 1); ++y)
    for (int x = std::max(x0 - R, 0); x <= std::min(x0 + R, W - 1); ++x) {
      const float d = peaks ? field(x, y) - level(x, y) : level(x, y) - field(x, y);
      c.add(d * d * d * d, x, y);
    }
  float cx = 0.0f, cy = 0.0f;
  if (c.s != 0.0f && c.centre(cx, cy)) {
    m.x = cx;
    m.y = cy;
  }
}

}  // namespace

void RingTopHat(ringImage& image, const searchMask& mask, int half) {
  if (half < 1) return;
  const boxSums sums(image);
  const int W = image.width();
  const std::int64_t n = 8 * static_cast<std::int64_t>(half);
  ringImage fresh(W, image.height());
  zel::forEachRow(image.height(), image.count, [&](int y) {
    const bool* m = mask.row(y);
    const std::int32_t* in = image.row(y);
    std::int32_t* out = fresh.row(y);
    for (int x = 0; x < W; ++x) {
      const std::int64_t v = m[x] ? 0 : in[x] - sums.ring(x, y, half) / n;
      out[x] = static_cast<std::int32_t>(std::max<std::int64_t>(v, 0));
    }
  });
  std::copy(fresh.data, fresh.data + fresh.count, image.data);
}

int RingIsEmpty(const ringImage& image, int x, int y, int half) {
  return ringSum(image, x, y, half) == 0 ? half : noRing;
}

int SmallestEmptyRing(const ringImage& image, int x, int y, int R, int first) {
  for (int h = std::min(R + 1, first); h <= R + 1; ++h)
    if (ringSum(image, x, y, h) == 0) return h;
  return noRing;
}

void GrowMask(searchMask& mask, int passes) {
  if (passes <= 0) return;
  // n passes reach every pixel within n steps on both axes, so the growth is
  // a square of half-width n: along the rows, then along the columns.
  const int W = mask.width(), H = mask.height();
  passes = std::min(passes, W + H);  // beyond that nothing more grows
  searchMask rows(W, H);
  zel::forEachRow(H, mask.count, [&](int y) {
    const bool* in = mask.row(y);
    bool* out = rows.row(y);
    int last = -1 - passes;  // the last set pixel to the left
    for (int x = 0; x < W; ++x) {
      if (in[x]) last = x;
      out[x] = x - last <= passes;
    }
    int next = W + passes;  // the next set pixel to the right
    for (int x = W - 1; x >= 0; --x) {
      if (in[x]) next = x;
      out[x] = out[x] || next - x <= passes;
    }
  });
  // Down the columns: how many rows within reach are set, kept as a running
  // count while the window moves down.
  std::vector<int> count(static_cast<std::size_t>(W), 0);
  for (int t = 0; t < std::min(passes, H); ++t)
    for (int x = 0; x < W; ++x) count[static_cast<std::size_t>(x)] += rows(x, t);
  for (int y = 0; y < H; ++y) {
    if (y + passes < H)
      for (int x = 0; x < W; ++x) count[static_cast<std::size_t>(x)] += rows(x, y + passes);
    if (y - passes - 1 >= 0)
      for (int x = 0; x < W; ++x) count[static_cast<std::size_t>(x)] -= rows(x, y - passes - 1);
    bool* out = mask.row(y);
    for (int x = 0; x < W; ++x) out[x] = count[static_cast<std::size_t>(x)] > 0;
  }
}

void EntropyThresholds(const searchField& image, float& maxSum, float& balance) {
  float M = -1e30f;
  for (std::uint64_t i = 0; i < image.count; ++i)
    if (image.data[i] > M) M = image.data[i];
  std::vector<double> p(256, 0.0);
  for (std::uint64_t i = 0; i < image.count; ++i) {
    const double q = std::trunc(static_cast<double>(image.data[i]) * 255.999 / M);
    p[q >= 0.0 ? static_cast<std::size_t>(std::min(q, 255.0)) : 0] += 1.0;
  }
  for (double& v : p) v /= static_cast<double>(image.count);
  // The entropy of the class of bins [from, to), as shares of its sum.
  const auto entropy = [&p](int from, int to) {
    double P = 0.0;
    for (int k = from; k < to; ++k) P += p[static_cast<std::size_t>(k)];
    double H = 0.0;
    if (P <= 0.0) return H;
    for (int k = from; k < to; ++k) {
      const double share = p[static_cast<std::size_t>(k)] / P;
      if (share > 0.0) H -= share * std::log2(share);
    }
    return H;
  };
  double bestSum = -1.0, bestBalance = 0.0;
  int tSum = 0, tBalance = 0;
  for (int t = 0; t < 256; ++t) {
    const double H1 = entropy(0, t + 1), H2 = entropy(t + 1, 256);
    const double sum = H1 + H2, gap = (H1 - H2) * (H1 - H2);
    if (sum > bestSum) {
      bestSum = sum;
      tSum = t;
    }
    if (t == 0 || gap < bestBalance) {
      bestBalance = gap;
      tBalance = t;
    }
  }
  maxSum = static_cast<float>(tSum * static_cast<double>(M) / 255.999);
  balance = static_cast<float>(tBalance * static_cast<double>(M) / 255.999);
}

void AutoMarkRings(const searchField& field, const searchMask& bkgr, const searchMask& ROI,
                   zel::markersArray& markers, float D, std::int32_t law, float entropyScale,
                   float relative, int sign, int /*unusedFlag*/, std::int32_t highSpeed,
                   std::int32_t maxMarkers) {
  markerWork::requireExtent(field, bkgr, ROI);
  markers.items.clear();
  const int W = field.width(), H = field.height();
  if (W == 0 || H == 0) return;
  // No ring fits a spot below a pixel.
  if (!(D >= 0.5f && D < 1e6f)) return;
  const int R = static_cast<int>(std::trunc(static_cast<double>(D) + 0.5));
  progressBar progress;
  const std::vector<std::uint8_t> blocked = markerWork::blockedMap(bkgr, ROI);
  // `edge` keeps every ring inside the image and off blocked pixels.
  maskStore edge(W, H);
  for (std::uint64_t i = 0; i < edge.count; ++i) edge.data[i] = blocked[i] != 0;
  for (int x = 0; x < W; ++x) edge(x, 0) = edge(x, H - 1) = true;
  for (int y = 0; y < H; ++y) edge(0, y) = edge(W - 1, y) = true;
  GrowMask(edge, R + 1);
  // The integer image, the spots upwards.
  float lo = 1e30f, hi = -1e30f;
  for (std::uint64_t i = 0; i < field.count; ++i) {
    if (blocked[i]) continue;
    if (field.data[i] < lo) lo = field.data[i];
    if (field.data[i] > hi) hi = field.data[i];
  }
  const float s = 1000001.0f / (hi - lo);
  ringImage X(W, H);
  const bool peaks = sign == 1;
  zel::forEachRow(H, field.count, [&](int y) {
    const float* f = field.row(y);
    const std::uint8_t* blk = blocked.data() + static_cast<std::size_t>(y) * W;
    std::int32_t* out = X.row(y);
    for (int x = 0; x < W; ++x) {
      const std::int32_t v = blk[x] ? 0 : clampTrunc((f[x] - lo) * s, 0, top);
      out[x] = peaks ? v : top - v;
    }
  });
  // Rings peeled away from large to small.
  for (int h = R; h >= 1; --h) {
    progress.grow(400 / std::max(R, 1));
    RingTopHat(X, edge, h);
  }
  float mx = -1e30f;
  for (std::uint64_t i = 0; i < X.count; ++i)
    if (X.data[i] != 0 && static_cast<float>(X.data[i]) > mx) mx = static_cast<float>(X.data[i]);
  const float stretch = 1000001.0f / mx;
  zel::forEachRow(H, X.count, [&](int y) {
    std::int32_t* row = X.row(y);
    for (int x = 0; x < W; ++x)
      if (row[x] != 0) row[x] = clampTrunc(static_cast<float>(row[x]) * stretch, 0, top);
  });
  // Only pixels inside an empty ring of half-width R stay.
  {
    const ringImage Z = X;
    clearByRing(X, Z, edge, R, false);
  }
  // The range stretched again; G is its copy on 0 to 255.
  float lo2 = 1e30f, hi2 = -1e30f;
  for (std::uint64_t i = 0; i < X.count; ++i) {
    const float v = static_cast<float>(X.data[i]);
    if (v < lo2) lo2 = v;
    if (v > hi2) hi2 = v;
  }
  const float range = hi2 - lo2;
  const float toGrey = 255.999f / range, toTop = 1000001.0f / range;
  fieldStore G(W, H);
  zel::forEachRow(H, X.count, [&](int y) {
    std::int32_t* row = X.row(y);
    float* g = G.row(y);
    const std::uint8_t* blk = blocked.data() + static_cast<std::size_t>(y) * W;
    for (int x = 0; x < W; ++x) {
      if (blk[x]) {
        g[x] = 0.0f;
        continue;
      }
      const float v = static_cast<float>(row[x]) - lo2;
      g[x] = static_cast<float>(clampTrunc(v * toGrey, 0, 255));
      row[x] = clampTrunc(v * toTop, 0, top);
    }
  });
  progress.grow(50);
  // The threshold on the scale of 0 to 255.
  const float rel = std::clamp(relative, 0.01f, 0.95f);
  float Th = 0.0f;
  if (maxMarkers >= 1000) {
    if (law == 1) {
      Th = rel * 255;
    } else {
      float maxSum = 0.0f, balance = 0.0f;
      EntropyThresholds(G, maxSum, balance);
      Th = maxSum * entropyScale;
      if (std::trunc(static_cast<double>(Th) + 0.5) < 4) {
        progress.close();
        notice("Method of automatic marking is changed. It may cause loss of information");
        Th = rel * 255;
      }
    }
  }
  // A level beyond the scale cuts everything (or nothing); none is taken as 0.
  const double level = std::trunc(Th / 255.0 * 1e6);
  const std::int32_t cut =
      level != level ? 0 : static_cast<std::int32_t>(std::clamp(level, -2e6, 2e6));
  zel::forEachRow(H, X.count, [&](int y) {
    std::int32_t* row = X.row(y);
    for (int x = 0; x < W; ++x) row[x] = std::clamp(row[x] - cut, 0, top);
  });
  ringImage Y = X;
  progress.grow(50);
  if (R >= 4) clearByRing(Y, X, edge, 1, true);  // isolated single pixels
  int first = 1;
  if (highSpeed == 1) {
    first = R;
  } else if (highSpeed != 0) {
    progress.close();
    notice("HIGH_SPEED is UnDefined.");
    return;
  }
  // The peaks, largest first; each takes the box inside its empty ring.
  rowPeaks rows(Y, blocked);
  int h = 1;  // pixels in `edge` are 0 in Y, so every peak finds its own ring
  for (int found = 0; found < maxMarkers; ++found) {
    int x = 0, y = 0;
    if (!rows.best(x, y)) break;
    if (!edge(x, y)) h = SmallestEmptyRing(Y, x, y, R, first);
    const int k = h - 1;
    const int x0 = std::max(x - k, 0), x1 = std::min(x + k, W - 1);
    const int y0 = std::max(y - k, 0), y1 = std::min(y + k, H - 1);
    markerWork::centroid c;
    for (int t = y0; t <= y1; ++t) {
      std::int32_t* row = Y.row(t);
      for (int u = x0; u <= x1; ++u) {
        c.add(static_cast<float>(row[u]), u, t);
        row[u] = 0;
      }
      rows.scan(Y, t);
    }
    float cx = 0.0f, cy = 0.0f;
    if (c.s != 0.0f && c.centre(cx, cy)) {
      markerWork::appendFound(markers, cx, cy);
      progress.grow(5);
    }
  }
  if (markers.count() == 0) return;
  // The local level around the markers, from the disks about them.
  maskStore disk(W, H);
  disk.fill(false);
  const float D2 = D * D;
  for (const marker& m : markers.items) {
    const int x0 = static_cast<int>(std::trunc(m.x + 0.5));
    const int y0 = static_cast<int>(std::trunc(m.y + 0.5));
    for (int dy = -2 * R; dy < 2 * R; ++dy)
      for (int dx = -2 * R; dx < 2 * R; ++dx) {
        const int x = x0 + dx, y = y0 + dy;
        if (x < 0 || x >= W || y < 0 || y >= H) continue;
        if (blocked[static_cast<std::size_t>(y) * W + x]) continue;
        if (static_cast<float>(dx * dx + dy * dy) <= D2) disk(x, y) = true;
      }
  }
  fieldStore local = field;
  maskStore bk = bkgr;
  GaussSeparable(local, bk, disk, 1, D * 4.0f);
  for (int pass = 0; pass < 2; ++pass) {
    const int n = markers.count();
#pragma omp parallel for schedule(dynamic, 4) if (n > 8)
    for (int i = 0; i < n; ++i) levelCentre(markers[i], field, local, R, peaks);
  }
}

}  // namespace tamble
