// A value plane paired with its background mask, the working form of a pixel
// plane. The pair refers to the layers' blocks without owning them, so writing
// through it changes the layers themselves.
#pragma once

#include "api/arrayWorks.h"

namespace zel {
using mask2d = arrayStore<bool, 2>;
}

template <class P>
struct layerPair {
  zel::arrayStore<P, 2> data;
  zel::arrayStore<bool, 2> bkgr;  // true: background, no valid value

  // Compares widths, then heights: zel::DimError on the first difference.
  layerPair(zel::arrayStore<P, 2>& values, zel::arrayStore<bool, 2>& background)
      : data(viewOf(values)), bkgr(viewOf(background)) {
    if (values.width() != background.width() || values.height() != background.height())
      zel::raise<zel::DimError>();
  }
  // A copy is one more view of the same blocks.
  layerPair(const layerPair& o)
      : data(viewOf(const_cast<zel::arrayStore<P, 2>&>(o.data))),
        bkgr(viewOf(const_cast<zel::arrayStore<bool, 2>&>(o.bkgr))) {}
  layerPair& operator=(const layerPair&) = delete;

  int width() const { return data.width(); }
  int height() const { return data.height(); }

  bool valid(int x, int y) const {
    return x >= 0 && x < width() && y >= 0 && y < height() && !bkgr(x, y);
  }
  // Writes only a valid pixel; anything else is ignored silently.
  void set(int x, int y, const P& value) {
    if (valid(x, y)) data(x, y) = value;
  }

 private:
  template <class T>
  static zel::arrayStore<T, 2> viewOf(zel::arrayStore<T, 2>& store) {
    zel::arrayStore<T, 2> view(store.width(), store.height(), store.data, false);
    view.name = store.name;
    return view;
  }
};

// The vector form; nothing computes on it, it is only carried.
using vectorBitmap = layerPair<zel::idx<2, float>>;

// Per-pixel arithmetic. Binary operations spread background: a pixel that is
// background in either operand is background in the result. With a mask only
// pixels where the mask is true are visited; the others keep value and bkgr.
struct bitmap : layerPair<float> {
  using layerPair<float>::layerPair;
  using mask = zel::mask2d;

  // Binary operations. Both extents must agree or zel::IndexError is raised
  // before anything changes. Dividing by an exact 0.0 keeps the value.
  void assign(const bitmap& r, const mask* m = nullptr);
  void add(const bitmap& r, const mask* m = nullptr);
  void subtract(const bitmap& r, const mask* m = nullptr);
  void multiply(const bitmap& r, const mask* m = nullptr);
  void divide(const bitmap& r, const mask* m = nullptr);

  // Scalar operations, on pixels that are not background.
  void markBelow(float c, const mask* m = nullptr);  // bkgr where c > value
  void clipAbove(float c, const mask* m = nullptr);  // value = min(value, c)
  void clipBelow(float c, const mask* m = nullptr);  // value = max(value, c)
  void assign(float c, const mask* m = nullptr);
  void add(float c, const mask* m = nullptr);
  void subtract(float c, const mask* m = nullptr);
  void multiply(float c, const mask* m = nullptr);
  void divide(float c, const mask* m = nullptr);  // an exact 0.0 changes nothing
};
