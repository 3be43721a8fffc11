// The quick marker search of "Auto Mark...". Every pixel step runs on rows in
// parallel; the mean and the peak picking, whose order matters, run in scan
// order. The peak picking keeps each row's first maximum and rescans only the
// rows that a found peak clears, which finds the same pixels as a scan of the
// whole image for each peak.
#include "markers/autoMark.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "api/parallel.h"
#include "api/report.h"
#include "filters/circleFilters.h"
#include "filters/circleWork.h"
#include "geometry/transforms.h"
#include "markers/markerWork.h"
#include "markers/revise.h"

namespace tamble {
namespace {

using markerWork::fieldStore;
using markerWork::maskStore;

constexpr int mostPeaks = 500;

void clearBorder(fieldStore& image, int b) {
  const int W = image.width(), H = image.height();
  zel::forEachRow(H, image.count, [&](int y) {
    float* row = image.row(y);
    if (y < b || y >= H - b) {
      std::fill(row, row + W, 0.0f);
      return;
    }
    for (int x = 0; x < std::min(b, W); ++x) row[x] = 0.0f;
    for (int x = std::max(W - b, 0); x < W; ++x) row[x] = 0.0f;
  });
}

// dst[x] takes src[x] where that is better, x from x0 to x1 - 1.
template <class Better>
TAMBLE_CLONES void foldInto(const float* __restrict src, float* __restrict dst, int x0, int x1,
                            Better better) {
  for (int x = x0; x < x1; ++x) dst[x] = better(src[x], dst[x]) ? src[x] : dst[x];
}

// out(x, y) = fold over in(x - r .. x + r, y) from `start`, for x in r to
// W - r - 1 (rows) or over in(x, y - r .. y + r) for y in r to H - r - 1
// (columns); other pixels of `out` stay. Min and max folds are exact in any
// grouping, so a square window is a row pass and a column pass.
template <class Better>
void foldRows(const fieldStore& in, fieldStore& out, int r, float start, Better better) {
  const int W = in.width(), H = in.height();
  zel::forEachRow(H, in.count, [&](int y) {
    if (W - r <= r) return;
    const float* src = in.row(y);
    float* dst = out.row(y);
    // Each pixel folds its samples from the left, the pixels side by side.
    std::fill(dst + r, dst + W - r, start);
    for (int t = -r; t <= r; ++t) foldInto(src + r + t, dst + r, 0, W - 2 * r, better);
  });
}

template <class Better>
void foldColumns(const fieldStore& in, fieldStore& out, int r, int x0, int x1, float start,
                 Better better) {
  const int H = in.height();
  zel::forEachRow(H, in.count, [&](int y) {
    if (y < r || y >= H - r || x0 >= x1) return;
    float* dst = out.row(y);
    std::fill(dst + x0, dst + x1, start);
    for (int t = y - r; t <= y + r; ++t) foldInto(in.row(t), dst, x0, x1, better);
  });
}

// The opening with unequal halves: B = erosion of A by the square of
// half-width r (B is 0 elsewhere), then A = dilation of B by 2r where that
// window lies in the image; A keeps its values at the other pixels.
void unequalOpening(fieldStore& A, fieldStore& B, int r) {
  const int W = A.width();
  const auto less = [](float v, float m) { return v < m; };
  const auto greater = [](float v, float m) { return v > m; };
  fieldStore pass(W, A.height());
  B.fill(0.0f);
  foldRows(A, pass, r, 1e30f, less);
  foldColumns(pass, B, r, r, W - r, 1e30f, less);
  foldRows(B, pass, 2 * r, -1e30f, greater);
  foldColumns(pass, A, 2 * r, 2 * r, W - 2 * r, -1e30f, greater);
}

// The first largest value of each row, and where it is.
struct rowPeaks {
  std::vector<float> value;
  std::vector<int> at;

  explicit rowPeaks(const fieldStore& A)
      : value(static_cast<std::size_t>(A.height())), at(static_cast<std::size_t>(A.height())) {
    zel::forEachRow(A.height(), A.count, [&](int y) { scan(A, y); });
  }
  void scan(const fieldStore& A, int y) {
    float m = -1e30f;
    int a = -1;
    const float* row = A.row(y);
    for (int x = 0; x < A.width(); ++x)
      if (row[x] > m) {
        m = row[x];
        a = x;
      }
    value[static_cast<std::size_t>(y)] = m;
    at[static_cast<std::size_t>(y)] = a;
  }
  // The first largest of the image: false if no value lies above -1e30.
  bool best(int& x, int& y, float& v) const {
    v = -1e30f;
    y = -1;
    for (std::size_t i = 0; i < value.size(); ++i)
      if (value[i] > v) {
        v = value[i];
        y = static_cast<int>(i);
      }
    if (y < 0) return false;
    x = at[static_cast<std::size_t>(y)];
    return true;
  }
};

// a[x] = c[x] - level[x] where that is above 0 and the pixel is tested (not
// blocked by bkgr or Rc, c at least 0.001), else 0; without branches.
TAMBLE_CLONES void standAbove(const float* c, const bool* back, const bool* roi, const float* level,
                              float* __restrict a, int x0, int x1) {
  const auto* b = reinterpret_cast<const std::uint8_t*>(back);
  const auto* r = reinterpret_cast<const std::uint8_t*>(roi);
  for (int x = x0; x < x1; ++x) {
    const float v = c[x] - level[x];
    const bool tested = (b[x] == 0) & (r[x] != 0) & (c[x] >= 0.001f);
    a[x] = tested && v > 0.0f ? v : 0.0f;
  }
}

// The lowest ring maximum of RingMinMax for the pixels x0 .. x1-1 of row y,
// whose rings all lie inside the image, a ring at a time for the whole span:
// its two rows as maxima along them, its two columns as maxima down them. A
// value replaces a maximum only when larger, as RingMinMax takes them, so no
// NaN is taken; in another order equal values may meet, which can make a
// level -0 instead of +0, and c - level is then the same.
struct ringLevels {
  std::vector<float> level, top, column;

  explicit ringLevels(int W) : level(W), top(W), column(W) {}

  void row(const fieldStore& C, int y, int x0, int x1, int firstHalf, int stopHalf) {
    const auto larger = [](float v, float m) { return v > m; };
    const auto smaller = [](float v, float m) { return v < m; };
    std::fill(level.begin() + x0, level.begin() + x1, 1e30f);
    for (int h = firstHalf; h < stopHalf; h += 2) {
      std::fill(top.begin() + x0, top.begin() + x1, -1e30f);
      float* const span = top.data() + x0;
      const int n = x1 - x0;
      for (const int at : {y - h, y + h})
        for (int t = -h; t <= h; ++t) foldInto(C.row(at) + x0 + t, span, 0, n, larger);
      std::fill(column.begin() + x0 - h, column.begin() + x1 + h, -1e30f);
      for (int t = y - h + 1; t <= y + h - 1; ++t)
        foldInto(C.row(t), column.data(), x0 - h, x1 + h, larger);
      foldInto(column.data() + x0 - h, span, 0, n, larger);
      foldInto(column.data() + x0 + h, span, 0, n, larger);
      foldInto(span, level.data() + x0, 0, n, smaller);
    }
  }
};

}  // namespace

float RingMinMax(const searchField& image, int x, int y, int firstHalf, int stopHalf) {
  const int W = image.width(), H = image.height();
  const float* data = image.data;
  const std::size_t end = image.count;
  float level = 1e30f;
  for (int h = firstHalf; h < stopHalf; h += 2) {
    float top = -1e30f;
    const auto take = [&top](float v) {
      if (v > top) top = v;
    };
    const int xa = std::max(x - h, 0), xb = std::min(x + h, W - 1);
    if (y - h >= 0)
      for (int t = xa; t <= xb; ++t) take(image(t, y - h));
    if (y + h < H)
      for (int t = xa; t <= xb; ++t) take(image(t, y + h));
    if (x - h >= 0) {
      const int ya = std::max(y - h + 1, 0), yb = std::min(y + h - 1, H - 1);
      for (int t = ya; t <= yb; ++t) {
        const std::size_t row = static_cast<std::size_t>(t) * static_cast<std::size_t>(W);
        take(data[row + static_cast<std::size_t>(x - h)]);
        // The right column is read by index: past the row's end it walks on
        // into the next row, and it never reads past the image.
        const std::size_t right = row + static_cast<std::size_t>(x + h);
        if (right < end) take(data[right]);
      }
    }
    if (top < level) level = top;
  }
  return level;
}

void AutoMarkQuick(const searchField& field, const searchMask& bkgr, const searchMask& ROI,
                   zel::markersArray& markers, int sign, double D, float T, polynomialState& map) {
  markerWork::requireExtent(field, bkgr, ROI);
  markers.items.clear();
  const int W = field.width(), H = field.height();
  if (W == 0 || H == 0 || !(D >= 0.0 && D < 1e6)) return;
  // Working copies: the filters take changeable masks, and the shrinking
  // inside may change them, so both are copied afresh after each use.
  fieldStore A = field, B = field, C(W, H);
  maskStore Rc = ROI, Bk = bkgr;
  const auto freshMasks = [&] {
    Rc = ROI;
    Bk = bkgr;
  };
  if (std::trunc(D + 0.01) > 7) {
    MedianCircle(A, Bk, Rc, 1, 3);
    MedianCircle(B, Bk, Rc, 1, 3);
    GaussSeparable(A, Bk, Rc, 1, static_cast<float>(D / 10));
    GaussSeparable(B, Bk, Rc, 1, static_cast<float>(D / 10));
  }
  const int N = static_cast<int>(std::trunc(D));
  MedianFast(B, Bk, Rc, 1, N, map);
  freshMasks();
  CoarseSmooth(A, Bk, Rc, N, map);
  freshMasks();
  // The spots stand above 0 in C, the difference from the wide background.
  const bool peaks = sign == 1;
  zel::forEachRow(H, field.count, [&](int y) {
    const float* a = A.row(y);
    const float* b = B.row(y);
    const bool* roi = Rc.row(y);
    float* c = C.row(y);
    for (int x = 0; x < W; ++x) {
      const float d = peaks ? a[x] - b[x] : b[x] - a[x];
      c[x] = d < 0.0f || !roi[x] ? 0.0f : d;
    }
  });
  const int b = static_cast<int>(std::trunc(D * 0.5 + 0.5));
  clearBorder(C, b);
  if (std::any_of(C.data, C.data + C.count, [](float v) { return v < 0.0f; })) {
    zel::report().notice("There are some negatives?!");
    std::replace_if(
        C.data, C.data + C.count, [](float v) { return v < 0.0f; }, 0.0f);
  }
  GaussSeparable(C, Bk, Rc, 1, static_cast<float>(D / 6));
  // Less the mean of the whole image, in scan order.
  const int r1 = std::max(static_cast<int>(std::trunc(D * 0.125 + 0.5)), 1);
  const int r2 = std::max(static_cast<int>(std::trunc(D + 0.5)), 1);
  float sum = 0.0f;
  for (std::uint64_t i = 0; i < C.count; ++i) sum += C.data[i];
  const float mean = sum / static_cast<float>(static_cast<std::uint64_t>(W) * H);
  zel::forEachRow(H, C.count, [&](int y) {
    float* c = C.row(y);
    for (int x = 0; x < W; ++x) {
      const float v = c[x] - mean;
      c[x] = v < 0.0f ? 0.0f : v;
    }
  });
  // The ring test: a spot must stand above the lowest closed wall around it.
  // Pixels whose rings all lie in the image take the levels of whole rows.
  const int reach = r1 < r2 ? r1 + (r2 - 1 - r1) / 2 * 2 : 0;  // the widest ring
  const int inX0 = std::min(reach, W), inX1 = std::max(inX0, W - reach);
  circle::forEachBand((H + circle::bandRows - 1) / circle::bandRows, C.count, [&](int band) {
    ringLevels levels(W);
    for (int y = band * circle::bandRows; y < std::min(H, (band + 1) * circle::bandRows); ++y) {
      float* a = A.row(y);
      const float* c = C.row(y);
      const bool* back = bkgr.row(y);
      const bool* roi = Rc.row(y);
      const auto single = [&](int x) {
        a[x] = 0.0f;
        if (back[x] || !roi[x] || !(c[x] >= 0.001f)) return;
        const float v = c[x] - RingMinMax(C, x, y, r1, r2);
        a[x] = v > 0.0f ? v : 0.0f;
      };
      const bool whole = y >= reach && y < H - reach && inX1 > inX0;
      if (!whole) {
        for (int x = 0; x < W; ++x) single(x);
        continue;
      }
      for (int x = 0; x < inX0; ++x) single(x);
      for (int x = inX1; x < W; ++x) single(x);
      if (std::any_of(c + inX0, c + inX1, [](float v) { return v >= 0.001f; })) {
        levels.row(C, y, inX0, inX1, r1, r2);
        standAbove(c, back, roi, levels.level.data(), a, inX0, inX1);
      } else {
        std::fill(a + inX0, a + inX1, 0.0f);
      }
    }
  });
  clearBorder(A, b);
  const int r = static_cast<int>(std::trunc(static_cast<float>(D * 0.25) + 0.5)) / 2;
  unequalOpening(A, B, r);
  GaussSeparable(A, Bk, Rc, 1, static_cast<float>(D * 0.5));
  float lo = 0.0f, hi = 0.0f;
  markerWork::minMax(A, lo, hi);
  const float level = (hi - lo) * T + lo;
  // The peaks, highest first, each clearing the square of half-width E.
  const int E = static_cast<int>(std::trunc(D * 2.0 + 0.5));
  rowPeaks rows(A);
  for (int found = 0; found < mostPeaks; ++found) {
    int x = 0, y = 0;
    float v = 0.0f;
    if (!rows.best(x, y, v) || v < level || !(v > 0.0f)) break;
    markerWork::appendFound(markers, x, y);
    const int x0 = std::max(x - E, 0), x1 = std::min(x + E, W - 1);
    const int y0 = std::max(y - E, 0), y1 = std::min(y + E, H - 1);
    for (int t = y0; t <= y1; ++t) {
      std::fill(A.row(t) + x0, A.row(t) + x1 + 1, 0.0f);
      rows.scan(A, t);
    }
  }
  // Nothing found is no failure, and nothing is reported.
  if (markers.count() > 0) ReviseMarkers(field, bkgr, ROI, markers, sign, D, map);
}

}  // namespace tamble
