// The ring search of "Automatic Marking...". The ring passes work on integers
// (0 to 1,000,000), so their sums are exact: a ring's sum comes from running
// sums along rows and down columns (markers/ringSums.h), which give the sum
// of its pixels one by one in a few reads, and bands of rows run in
// parallel. Two images take turns as input and output of the passes. The
// peak picking keeps each row's first maximum, as in the quick search, and
// the markers' last centroids run in parallel, each marker on its own.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "api/parallel.h"
#include "api/report.h"
#include "filters/circleFilters.h"
#include "markers/autoMark.h"
#include "markers/markerWork.h"
#include "markers/ringSums.h"

namespace tamble {
namespace {

using markerWork::clampTrunc;
using markerWork::fieldStore;
using markerWork::maskStore;

constexpr std::int32_t top = 1000000;
constexpr int noRing = 1000;

// The ring's sum, pixel by pixel: rows y - h and y + h, then columns x - h and
// x + h between them.
std::int64_t ringSum(const ringImage& image, int x, int y, int h) {
  std::int64_t s = 0;
  for (int t = x - h; t <= x + h; ++t) s += image(t, y - h) + image(t, y + h);
  for (int t = y - h + 1; t <= y + h - 1; ++t) s += image(x - h, t) + image(x + h, t);
  return s;
}

// s / n truncated toward 0, as integers divide. Sums of 32 bits go through
// double, whose quotient of two such integers is rounded too little to reach
// another integer, so that the division runs in vectors.
inline std::int32_t quotient(std::int32_t s, std::int32_t n) {
  return static_cast<std::int32_t>(static_cast<double>(s) / static_cast<double>(n));
}
inline std::int64_t quotient(std::int64_t s, std::int64_t n) { return s / n; }

// The top-hat over x0 .. x1-1 of a row, from its ring sums; a value and its
// ring's mean are apart by less than 2^31 when the sums fit 32 bits. Written
// without branches, so that the loop runs in vectors.
template <class U>
TAMBLE_CLONES void topHatSpan(const std::int32_t* in, const bool* mask, const U* sums,
                              std::int32_t* __restrict out, int x0, int x1, int n) {
  using S = std::make_signed_t<U>;
  const auto* masked = reinterpret_cast<const std::uint8_t*>(mask);
  for (int x = x0; x < x1; ++x) {
    const S v = static_cast<S>(in[x]) - quotient(static_cast<S>(sums[x]), static_cast<S>(n));
    const auto kept = static_cast<std::int32_t>(v > 0 ? v : 0);
    out[x] = kept & (static_cast<std::int32_t>(masked[x]) - 1);
  }
}

// One row of the top-hat of `in` into `out`.
template <class U>
void topHatRow(const ringImage& in, const maskStore& mask, int h, int y, const U* sums,
               ringImage& out) {
  const int W = in.width();
  const std::int32_t* a = in.row(y);
  const bool* m = mask.row(y);
  std::int32_t* o = out.row(y);
  const int x0 = sums ? std::min(h, W) : W, x1 = sums ? W - h : W;
  const auto single = [&](int x) {
    const std::int64_t v = m[x] ? 0 : a[x] - ringSums::clipped(in, x, y, h) / (8 * h);
    o[x] = static_cast<std::int32_t>(std::max<std::int64_t>(v, 0));
  };
  for (int x = 0; x < x0; ++x) single(x);
  if (sums) topHatSpan(a, m, sums, o, x0, x1, 8 * h);
  for (int x = std::max(x0, x1); x < W; ++x) single(x);
}

// The top-hat of half-width h from `in` into `out`, rows in parallel; `fits`
// when the ring sums fit 32 bits.
void topHatInto(const ringImage& in, const maskStore& mask, int h, bool fits, ringImage& out) {
  if (fits)
    ringSums::eachRow<std::uint32_t>(
        in, h, [&](int y, const std::uint32_t* sums) { topHatRow(in, mask, h, y, sums, out); });
  else
    ringSums::eachRow<std::uint64_t>(
        in, h, [&](int y, const std::uint64_t* sums) { topHatRow(in, mask, h, y, sums, out); });
}

// `out` is `in` with 0 at the pixels (where `mask` is clear and `in` is not
// 0) whose ring of half-width h is empty (`whenEmpty`) or not; the values
// lie from 0 to 1,000,000. Branch-free over the span of whole rings.
template <class U>
TAMBLE_CLONES void clearSpan(const std::int32_t* in, const bool* mask, const U* sums,
                             bool whenEmpty, std::int32_t* __restrict out, int x0, int x1) {
  const auto* masked = reinterpret_cast<const std::uint8_t*>(mask);
  for (int x = x0; x < x1; ++x) {
    const bool clear = !masked[x] & (in[x] != 0) & ((sums[x] == 0) == whenEmpty);
    out[x] = clear ? 0 : in[x];
  }
}

template <class U>
void clearRow(const ringImage& in, const maskStore& mask, int h, bool whenEmpty, int y,
              const U* sums, ringImage& out) {
  const int W = in.width();
  const std::int32_t* a = in.row(y);
  const bool* m = mask.row(y);
  std::int32_t* o = out.row(y);
  const int x0 = sums ? std::min(h, W) : W, x1 = sums ? W - h : W;
  const auto single = [&](int x) {
    const bool clear = !m[x] && a[x] != 0 && (ringSums::clipped(in, x, y, h) == 0) == whenEmpty;
    o[x] = clear ? 0 : a[x];
  };
  for (int x = 0; x < x0; ++x) single(x);
  if (sums) clearSpan(a, m, sums, whenEmpty, o, x0, x1);
  for (int x = std::max(x0, x1); x < W; ++x) single(x);
}

void clearByRing(const ringImage& in, const maskStore& mask, int h, bool whenEmpty,
                 ringImage& out) {
  if (ringSums::fitThirtyTwoBits(top, h))
    ringSums::eachRow<std::uint32_t>(in, h, [&](int y, const std::uint32_t* sums) {
      clearRow(in, mask, h, whenEmpty, y, sums, out);
    });
  else
    ringSums::eachRow<std::uint64_t>(in, h, [&](int y, const std::uint64_t* sums) {
      clearRow(in, mask, h, whenEmpty, y, sums, out);
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

// The least and the greatest value of `field` at the pixels not blocked
// (from 1e30 and -1e30; values that are not numbers are passed over), the
// first of equal ones kept: rows in parallel, joined in row order as one
// scan would meet them.
void validRange(const fieldStore& field, const std::vector<std::uint8_t>& blocked, float& lo,
                float& hi) {
  const int W = field.width(), H = field.height();
  std::vector<float> rowLo(static_cast<std::size_t>(H)), rowHi(static_cast<std::size_t>(H));
  zel::forEachRow(H, field.count, [&](int y) {
    const float* f = field.row(y);
    const std::uint8_t* blk = blocked.data() + static_cast<std::size_t>(y) * W;
    float l = 1e30f, h = -1e30f;
    for (int x = 0; x < W; ++x) {
      if (blk[x]) continue;
      if (f[x] < l) l = f[x];
      if (f[x] > h) h = f[x];
    }
    rowLo[static_cast<std::size_t>(y)] = l;
    rowHi[static_cast<std::size_t>(y)] = h;
  });
  lo = 1e30f;
  hi = -1e30f;
  for (std::size_t y = 0; y < rowLo.size(); ++y) {
    if (rowLo[y] < lo) lo = rowLo[y];
    if (rowHi[y] > hi) hi = rowHi[y];
  }
}

// The least and the greatest of an integer image, rows in parallel.
void integerRange(const ringImage& image, std::int32_t& lo, std::int32_t& hi) {
  const int W = image.width(), H = image.height();
  std::vector<std::int32_t> rowLo(static_cast<std::size_t>(H)), rowHi(static_cast<std::size_t>(H));
  zel::forEachRow(H, image.count, [&](int y) {
    const std::int32_t* row = image.row(y);
    std::int32_t l = std::numeric_limits<std::int32_t>::max(), h = std::numeric_limits<std::int32_t>::min();
    for (int x = 0; x < W; ++x) {
      l = std::min(l, row[x]);
      h = std::max(h, row[x]);
    }
    rowLo[static_cast<std::size_t>(y)] = l;
    rowHi[static_cast<std::size_t>(y)] = h;
  });
  lo = *std::min_element(rowLo.begin(), rowLo.end());
  hi = *std::max_element(rowHi.begin(), rowHi.end());
}

}  // namespace

void RingTopHat(ringImage& image, const searchMask& mask, int half) {
  if (half < 1) return;
  ringImage fresh(image.width(), image.height());
  topHatInto(image, mask, half, ringSums::fitThirtyTwoBits(image, half), fresh);
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
  // count while the window moves down; strips of columns in parallel.
  constexpr int strip = 128;
  circle::forEachBand((W + strip - 1) / strip, mask.count, [&](int b) {
    const int x0 = b * strip, x1 = std::min(W, x0 + strip);
    std::vector<int> count(static_cast<std::size_t>(x1 - x0), 0);
    int* c = count.data() - x0;
    const auto add = [&](int y, int by) {
      const bool* in = rows.row(y);
      for (int x = x0; x < x1; ++x) c[x] += by * in[x];
    };
    for (int t = 0; t < std::min(passes, H); ++t) add(t, 1);
    for (int y = 0; y < H; ++y) {
      if (y + passes < H) add(y + passes, 1);
      if (y - passes - 1 >= 0) add(y - passes - 1, -1);
      bool* out = mask.row(y);
      for (int x = x0; x < x1; ++x) out[x] = c[x] > 0;
    }
  });
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
  zel::forEachRow(H, edge.count, [&](int y) {
    const std::uint8_t* blk = blocked.data() + static_cast<std::size_t>(y) * W;
    bool* e = edge.row(y);
    const bool frame = y == 0 || y == H - 1;
    for (int x = 0; x < W; ++x) e[x] = frame || blk[x] != 0;
    e[0] = e[W - 1] = true;
  });
  GrowMask(edge, R + 1);
  // The integer image, the spots upwards.
  float lo = 1e30f, hi = -1e30f;
  validRange(field, blocked, lo, hi);
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
  // Rings peeled away from large to small, X and T taking turns.
  ringImage T(W, H);
  for (int h = R; h >= 1; --h) {
    progress.grow(400 / std::max(R, 1));
    topHatInto(X, edge, h, ringSums::fitThirtyTwoBits(top, h), T);
    std::swap(X, T);
  }
  // The largest nonzero value as float; the values are not negative, and the
  // conversion keeps their order.
  std::int32_t least = 0, most = 0;
  integerRange(X, least, most);
  const float mx = most != 0 ? static_cast<float>(most) : -1e30f;
  const float stretch = 1000001.0f / mx;
  zel::forEachRow(H, X.count, [&](int y) {
    std::int32_t* row = X.row(y);
    for (int x = 0; x < W; ++x)
      if (row[x] != 0) row[x] = clampTrunc(static_cast<float>(row[x]) * stretch, 0, top);
  });
  // Only pixels inside an empty ring of half-width R stay.
  clearByRing(X, edge, R, false, T);
  std::swap(X, T);
  // The range stretched again; G is its copy on 0 to 255.
  integerRange(X, least, most);
  const float lo2 = static_cast<float>(least), hi2 = static_cast<float>(most);
  const float range = hi2 - lo2;
  const float toGrey = 255.999f / range, toTop = 1000001.0f / range;
  // G only for the entropy law, the one reader of it.
  const bool entropyLaw = maxMarkers >= 1000 && law != 1;
  fieldStore G(entropyLaw ? W : 0, entropyLaw ? H : 0);
  zel::forEachRow(H, X.count, [&](int y) {
    std::int32_t* row = X.row(y);
    float* g = entropyLaw ? G.row(y) : nullptr;
    const std::uint8_t* blk = blocked.data() + static_cast<std::size_t>(y) * W;
    for (int x = 0; x < W; ++x) {
      if (blk[x]) {
        if (g) g[x] = 0.0f;
        continue;
      }
      const float v = static_cast<float>(row[x]) - lo2;
      if (g) g[x] = static_cast<float>(clampTrunc(v * toGrey, 0, 255));
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
  progress.grow(50);
  // Y: X without its isolated single pixels.
  if (R >= 4) {
    clearByRing(X, edge, 1, true, T);
    std::swap(X, T);
  }
  ringImage& Y = X;
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
