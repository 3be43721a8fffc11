// Grey-level morphology over a disc.
//
// The extreme over the disc is taken in two steps per output row: for every
// column the extreme over the rows within h of the centre, for each height h
// the disc has, then along the row the extreme of those column values over
// dx, each dx taking the height of the disc at |dx|. Blocked samples and
// cells outside the image stand in as the starting value, which never wins.
// The pass runs in place in bands of rows (circle::inPlacePass), so every
// output row is computed from the input as it was.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "api/errors.h"
#include "api/parallel.h"
#include "filters/circleWork.h"
#include "filters/morphology.h"

namespace tamble {
namespace {

constexpr float dilateStart = -1e30f, erodeStart = 1e30f;

int discRadius(float D) { return static_cast<int>(std::trunc(D + 0.5)) / 2; }

// The disc's half height at |dx| = 0 .. R, -1 where the column holds no cell.
std::vector<int> discHeights(float D, int R) {
  const float half = D * 0.5f, r2 = half * half;
  std::vector<int> h(R + 1, -1);
  for (int dx = 0; dx <= R; ++dx)
    for (int dy = 0; dy <= R; ++dy)
      if (static_cast<float>(dx * dx + dy * dy) <= r2) h[dx] = dy;
  return h;
}

// The greater (dilate) or lesser of m and v; a NaN v never wins, and of two
// equal values m stays.
template <bool Dilate>
inline float fold(float m, float v) {
  if constexpr (Dilate)
    return v > m ? v : m;
  else
    return v < m ? v : m;
}

// out[x] = fold(prev[x], v[x]), a blocked v (blk set) left out.
template <bool Dilate>
TAMBLE_CLONES void foldRow(const float* prev, const float* v, const std::uint8_t* blk,
                           float* __restrict out, int n) {
  if (!blk) {
    for (int x = 0; x < n; ++x) out[x] = fold<Dilate>(prev[x], v[x]);
    return;
  }
  constexpr float none = Dilate ? dilateStart : erodeStart;
  for (int x = 0; x < n; ++x) out[x] = fold<Dilate>(prev[x], blk[x] ? none : v[x]);
}

// m[x] = fold(m[x], v[x]).
template <bool Dilate>
TAMBLE_CLONES void foldInto(float* __restrict m, const float* v, int n) {
  for (int x = 0; x < n; ++x) m[x] = fold<Dilate>(m[x], v[x]);
}

template <bool Dilate>
struct discRow {
  static constexpr float start = Dilate ? dilateStart : erodeStart;
  const std::vector<int>& h;
  int W, R, top;  // top: the greatest half height
  std::vector<float> columns;  // levels 0 .. top, each W + 2R long, R of padding each side
  std::vector<float> acc;

  discRow(const std::vector<int>& heights, int w)
      : h(heights),
        W(w),
        R(static_cast<int>(heights.size()) - 1),
        top(*std::max_element(heights.begin(), heights.end())),
        columns(static_cast<std::size_t>(top + 1) * (w + 2 * R), start),
        acc(w) {}

  float* level(int k) { return columns.data() + static_cast<std::size_t>(k) * (W + 2 * R) + R; }

  void operator()(const circle::window& w, float* out) {
    const float* own = w.rows[R];
    // Level 0 is the row itself; level k adds the rows k above and below.
    float* c0 = level(0);
    std::fill(c0, c0 + W, start);
    foldRow<Dilate>(c0, own, w.blocked[R], c0, W);
    for (int k = 1; k <= top; ++k) {
      float* ck = level(k);
      const float* before = level(k - 1);
      std::copy(before, before + W, ck);
      for (int side : {R - k, R + k})
        if (w.rows[side]) foldRow<Dilate>(ck, w.rows[side], w.blocked[side], ck, W);
    }
    std::fill(acc.begin(), acc.end(), start);
    for (int dx = -R; dx <= R; ++dx) {
      const int k = h[std::abs(dx)];
      if (k >= 0) foldInto<Dilate>(acc.data(), level(k) + dx, W);
    }
    const std::uint8_t* blk = w.blocked[R];
    for (int x = 0; x < W; ++x) out[x] = blk && blk[x] ? own[x] : acc[x];
  }
};

void checkExtents(const filterField& field, const filterMask& bkgr, const filterMask& ROI) {
  if (!field.sameExtent(bkgr) || !bkgr.sameExtent(ROI)) zel::raise<zel::DimError>();
}

}  // namespace

void DiscExtreme(filterField& field, const filterMask* bkgr, const filterMask* ROI, float diameter,
                 bool dilate) {
  const int R = discRadius(diameter);
  if (R < 1) return;
  if (bkgr && ROI) checkExtents(field, *bkgr, *ROI);
  const std::vector<int> h = discHeights(diameter, R);
  if (*std::max_element(h.begin(), h.end()) < 0) return;
  const bool* b = bkgr && ROI ? bkgr->data : nullptr;
  const bool* r = bkgr && ROI ? ROI->data : nullptr;
  const int W = field.width(), H = field.height();
  if (dilate)
    circle::inPlacePass(field.data, b, r, W, H, R, [&] { return discRow<true>(h, W); });
  else
    circle::inPlacePass(field.data, b, r, W, H, R, [&] { return discRow<false>(h, W); });
}

namespace {

// The planes a kind combines: Dil(F), Ero(F), and the two of them in turn.
enum class step { dil, ero, dilEro, eroDil };

filterField morphed(const filterField& F, const filterMask& bkgr, const filterMask& ROI, float D,
                    step s) {
  filterField out = F;
  const bool first = s == step::dil || s == step::dilEro;
  DiscExtreme(out, &bkgr, &ROI, D, first);
  if (s == step::dilEro || s == step::eroDil) DiscExtreme(out, &bkgr, &ROI, D, !first);
  return out;
}

// result(f, a, b) at every valid pixel.
template <class Combine>
void writeValid(filterField& field, const filterMask& bkgr, const filterMask& ROI,
                const filterField& a, const filterField& b, Combine combine) {
  const int W = field.width();
  zel::forEachRow(field.height(), field.count, [&](int y) {
    float* f = field.row(y);
    const float *pa = a.row(y), *pb = b.row(y);
    const bool *bk = bkgr.row(y), *roi = ROI.row(y);
    for (int x = 0; x < W; ++x)
      if (!bk[x] && roi[x]) f[x] = combine(f[x], pa[x], pb[x]);
  });
}

// The inverted gradients: m - d, m the greatest d over pixels not blocked.
void invertedGradient(filterField& field, const filterMask& bkgr, const filterMask& ROI,
                      filterField& d) {
  float m = -1e30f;
  for (std::uint64_t i = 0; i < d.count; ++i)
    if (!bkgr.data[i] && ROI.data[i] && d.data[i] > m) m = d.data[i];
  writeValid(field, bkgr, ROI, d, d, [m](float, float v, float) { return m - v; });
}

}  // namespace

void MorphFilter(filterField& field, const filterMask& bkgr, const filterMask& ROI, float diameter,
                 int kind) {
  const int R = discRadius(diameter), K = 2 * R + 1;
  if (K < 3 || K > 99 || kind < 1 || kind > morphKinds) return;
  checkExtents(field, bkgr, ROI);
  const float D = diameter;
  switch (kind) {
    case 1: DiscExtreme(field, &bkgr, &ROI, D, true); return;
    case 2: DiscExtreme(field, &bkgr, &ROI, D, false); return;
    case 15:
      MorphFilter(field, bkgr, ROI, D, 3);
      MorphFilter(field, bkgr, ROI, D, 4);
      return;
    case 16:
      MorphFilter(field, bkgr, ROI, D, 4);
      MorphFilter(field, bkgr, ROI, D, 3);
      return;
    default: break;
  }
  // Blocked pixels of F are never read: the field serves as F.
  const filterField& F = field;
  auto result = [&](filterField plane) {
    writeValid(field, bkgr, ROI, plane, plane, [](float, float a, float) { return a; });
  };
  auto minus = [](float, float a, float b) { return a - b; };
  auto fromField = [](float f, float a, float) { return f - a; };
  auto toField = [](float f, float a, float) { return a - f; };
  switch (kind) {
    case 3: result(morphed(F, bkgr, ROI, D, step::dilEro)); return;
    case 4: result(morphed(F, bkgr, ROI, D, step::eroDil)); return;
    case 5: {
      const filterField d = morphed(F, bkgr, ROI, D, step::dil);
      writeValid(field, bkgr, ROI, d, d, toField);
      return;
    }
    case 6: {
      const filterField e = morphed(F, bkgr, ROI, D, step::ero);
      writeValid(field, bkgr, ROI, e, e, fromField);
      return;
    }
    case 11:
    case 13: {
      const filterField o = morphed(F, bkgr, ROI, D, kind == 11 ? step::eroDil : step::dilEro);
      writeValid(field, bkgr, ROI, o, o, fromField);
      return;
    }
    case 12:
    case 14: {
      const filterField o = morphed(F, bkgr, ROI, D, kind == 12 ? step::dilEro : step::eroDil);
      writeValid(field, bkgr, ROI, o, o, toField);
      return;
    }
    default: break;
  }
  // Kinds 7 to 10: the gradients, 8 to 10 inverted.
  filterField d = morphed(F, bkgr, ROI, D, kind == 10 ? step::ero : step::dil);
  if (kind == 7 || kind == 8) {
    const filterField e = morphed(F, bkgr, ROI, D, step::ero);
    filterField g = d;
    writeValid(g, bkgr, ROI, d, e, minus);
    d = std::move(g);
  } else if (kind == 9) {
    writeValid(d, bkgr, ROI, d, F, minus);
  } else {
    writeValid(d, bkgr, ROI, F, d, minus);
  }
  if (kind == 7)
    result(std::move(d));
  else
    invertedGradient(field, bkgr, ROI, d);
}

void OpenCloseFilter(filterField& field, const filterMask& bkgr, const filterMask& ROI,
                     float diameter) {
  MorphFilter(field, bkgr, ROI, diameter, 15);
}

void CloseOpenFilter(filterField& field, const filterMask& bkgr, const filterMask& ROI,
                     float diameter) {
  MorphFilter(field, bkgr, ROI, diameter, 16);
}

}  // namespace tamble
