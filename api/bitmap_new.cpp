#include "bitmap_new.h"

#include <algorithm>

#include "parallel.h"

namespace {

using zel::forEachRow;
using mask = bitmap::mask;

void checkMask(const bitmap& l, const mask* m) {
  if (m && (m->width() != l.width() || m->height() != l.height())) zel::raise<zel::IndexError>();
}

// The pixel is valid in the result only if it is valid in both operands; the
// operation is computed always and kept only then, so the loop has no branch.
template <class Op>
void binaryRow(float* lv, bool* lb, const float* rv, const bool* rb, const bool* mk, int w, Op op) {
  if (mk) {
    for (int x = 0; x < w; ++x) {
      if (!mk[x]) continue;
      const bool ok = !rb[x] && !lb[x];
      lb[x] = !ok;
      if (ok) lv[x] = op(lv[x], rv[x]);
    }
    return;
  }
  for (int x = 0; x < w; ++x) {
    const bool ok = !rb[x] & !lb[x];
    const float v = op(lv[x], rv[x]);
    lb[x] = !ok;
    lv[x] = ok ? v : lv[x];
  }
}

template <class Op>
void binary(bitmap& l, const bitmap& r, const mask* m, Op op) {
  if (l.width() != r.width() || l.height() != r.height()) zel::raise<zel::IndexError>();
  checkMask(l, m);
  const int w = l.width();
  forEachRow(l.height(), l.data.count, [&](int y) {
    binaryRow(l.data.row(y), l.bkgr.row(y), r.data.row(y), r.bkgr.row(y), m ? m->row(y) : nullptr,
              w, op);
  });
}

// Background pixels, and pixels outside the mask, keep their values.
template <class Op>
void scalar(bitmap& l, const mask* m, Op op) {
  checkMask(l, m);
  const int w = l.width();
  forEachRow(l.height(), l.data.count, [&](int y) {
    float* lv = l.data.row(y);
    const bool* lb = l.bkgr.row(y);
    const bool* mk = m ? m->row(y) : nullptr;
    if (mk) {
      for (int x = 0; x < w; ++x)
        if (mk[x] && !lb[x]) lv[x] = op(lv[x]);
      return;
    }
    for (int x = 0; x < w; ++x) {
      const float v = op(lv[x]);
      lv[x] = lb[x] ? lv[x] : v;
    }
  });
}

}  // namespace

void bitmap::assign(const bitmap& r, const mask* m) {
  binary(*this, r, m, [](float, float b) { return b; });
}
void bitmap::add(const bitmap& r, const mask* m) {
  binary(*this, r, m, [](float a, float b) { return a + b; });
}
void bitmap::subtract(const bitmap& r, const mask* m) {
  binary(*this, r, m, [](float a, float b) { return a - b; });
}
void bitmap::multiply(const bitmap& r, const mask* m) {
  binary(*this, r, m, [](float a, float b) { return a * b; });
}
void bitmap::divide(const bitmap& r, const mask* m) {
  binary(*this, r, m, [](float a, float b) { return b == 0.0f ? a : a / b; });
}

void bitmap::markBelow(float c, const mask* m) {
  checkMask(*this, m);
  const int w = width();
  forEachRow(height(), data.count, [&](int y) {
    const float* lv = data.row(y);
    bool* lb = bkgr.row(y);
    const bool* mk = m ? m->row(y) : nullptr;
    for (int x = 0; x < w; ++x)
      if ((!mk || mk[x]) && !lb[x]) lb[x] = c > lv[x];
  });
}

void bitmap::clipAbove(float c, const mask* m) {
  scalar(*this, m, [c](float v) { return std::min(v, c); });
}
void bitmap::clipBelow(float c, const mask* m) {
  scalar(*this, m, [c](float v) { return std::max(v, c); });
}
void bitmap::assign(float c, const mask* m) {
  scalar(*this, m, [c](float) { return c; });
}
void bitmap::add(float c, const mask* m) {
  scalar(*this, m, [c](float v) { return v + c; });
}
void bitmap::subtract(float c, const mask* m) {
  scalar(*this, m, [c](float v) { return v - c; });
}
void bitmap::multiply(float c, const mask* m) {
  scalar(*this, m, [c](float v) { return v * c; });
}
void bitmap::divide(float c, const mask* m) {
  if (c == 0.0f) {
    checkMask(*this, m);
    return;
  }
  scalar(*this, m, [c](float v) { return v / c; });
}
