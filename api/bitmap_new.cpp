#include "api/bitmap_new.h"

#include <algorithm>

#include "api/parallel.h"

namespace {

using zel::forEachRow;
using mask = bitmap::mask;

void checkMask(const bitmap& l, const mask* m) {
  if (m && (m->width() != l.width() || m->height() != l.height())) zel::raise<zel::IndexError>();
}

// Masks are read and written as bytes (a bool is one byte holding 0 or 1), which
// lets the compiler vectorise the unmasked loops.
using byte = unsigned char;
inline byte* bytes(bool* p) { return reinterpret_cast<byte*>(p); }
inline const byte* bytes(const bool* p) { return reinterpret_cast<const byte*>(p); }

// The pixel is valid in the result only if it is valid in both operands; the
// operation is computed always and kept only then, so the loop has no branch.
template <class Op>
void binaryRow(float* lv, byte* lb, const float* rv, const byte* rb, const byte* mk, int w, Op op) {
  if (mk) {
    for (int x = 0; x < w; ++x) {
      const byte bad = lb[x] | rb[x];
      const byte write = mk[x] & static_cast<byte>(!bad);
      const float v = op(lv[x], rv[x]);
      lb[x] = mk[x] ? bad : lb[x];
      lv[x] = write ? v : lv[x];
    }
    return;
  }
  for (int x = 0; x < w; ++x) {
    const byte bad = lb[x] | rb[x];
    const float v = op(lv[x], rv[x]);
    lb[x] = bad;
    lv[x] = bad ? lv[x] : v;
  }
}

template <class Op>
void binary(bitmap& l, const bitmap& r, const mask* m, Op op) {
  if (l.width() != r.width() || l.height() != r.height()) zel::raise<zel::IndexError>();
  checkMask(l, m);
  const int w = l.width();
  forEachRow(l.height(), l.data.count, [&](int y) {
    binaryRow(l.data.row(y), bytes(l.bkgr.row(y)), r.data.row(y), bytes(r.bkgr.row(y)),
              m ? bytes(m->row(y)) : nullptr, w, op);
  });
}

// Background pixels, and pixels outside the mask, keep their values.
template <class Op>
void scalar(bitmap& l, const mask* m, Op op) {
  checkMask(l, m);
  const int w = l.width();
  forEachRow(l.height(), l.data.count, [&](int y) {
    float* lv = l.data.row(y);
    const byte* lb = bytes(l.bkgr.row(y));
    const byte* mk = m ? bytes(m->row(y)) : nullptr;
    if (mk) {
      for (int x = 0; x < w; ++x) {
        const float v = op(lv[x]);
        lv[x] = (mk[x] & static_cast<byte>(!lb[x])) ? v : lv[x];
      }
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
    byte* lb = bytes(bkgr.row(y));
    const byte* mk = m ? bytes(m->row(y)) : nullptr;
    for (int x = 0; x < w; ++x) {
      const byte visit = mk ? mk[x] : byte{1};
      lb[x] = visit ? static_cast<byte>(lb[x] | (c > lv[x])) : lb[x];
    }
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
