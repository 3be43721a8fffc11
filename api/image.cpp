#include "api/image.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <vector>

#include "api/errors.h"
#include "api/parallel.h"

namespace zel {
namespace {

template <class T>
T& present(T* layer) {
  if (!layer) raise<AlgoError>();
  return *layer;
}

template <class T>
void drop(T*& layer, bool& owned) {
  if (owned) delete layer;
  layer = nullptr;
  owned = false;
}

}  // namespace

image::image(int width, int height) { resize(width, height); }

std::size_t image::size() const {
  std::size_t total = name.size();
  if (field_) total += field_->size();
  if (bkgr_) total += bkgr_->size();
  if (roi_) total += roi_->size();
  return total;
}

arrayStore<float, 2>& image::field() { return present(field_); }
const arrayStore<float, 2>& image::field() const { return present(field_); }
arrayStore<bool, 2>& image::bkgr() { return present(bkgr_); }
const arrayStore<bool, 2>& image::bkgr() const { return present(bkgr_); }
arrayStore<bool, 2>& image::ROI() { return present(roi_); }
const arrayStore<bool, 2>& image::ROI() const { return present(roi_); }
vectorGroup& image::vectorLayers() { return present(vectors_); }
const vectorGroup& image::vectorLayers() const { return present(vectors_); }

void image::makeLayers(const int (&extent)[2], bool withField, bool withBkgr, bool withROI,
                       int kind) {
  clearLayers();
  dims[0] = extent[0];
  dims[1] = extent[1];
  shape_.assign({dims[0], dims[1]});
  fileInfo.kind = kind;
  fileInfo.offset = 0.0;
  fileInfo.scale = 1.0;
  std::fill(std::begin(fileInfo.words), std::end(fileInfo.words), 0);
  fileInfo.name = "Unnamed";
  fileInfo.version = 1;
  if (withField) {
    field_ = new arrayStore<float, 2>(dims);
    field_->name = "field";
    ownsField_ = true;
  }
  if (withBkgr) {
    bkgr_ = new arrayStore<bool, 2>(dims);
    bkgr_->name = "bkgr";
    ownsBkgr_ = true;
  }
  if (withROI) {
    roi_ = new arrayStore<bool, 2>(dims);
    roi_->name = "ROI";
    ownsROI_ = true;
  }
}

void image::clearLayers() {
  drop(field_, ownsField_);
  drop(bkgr_, ownsBkgr_);
  drop(roi_, ownsROI_);
  delete vectors_;
  vectors_ = nullptr;
  drop(draw_, ownsDraw_);
}

void image::resetLayers() {
  if (field_) field_->fill(0.0f);
  if (bkgr_) bkgr_->fill(false);
  if (roi_) roi_->fill(true);
  if (vectors_)
    for (vectorPlane& plane : vectors_->planes) {
      plane.data.fill(idx<2, float>{});
      plane.mask.fill(true);
    }
}

void image::resize(int width, int height) {
  clearLayers();
  makeLayers({width, height}, true, true, true);
  resetLayers();
}

void image::resize(const std::vector<int>& extent) {
  resize(extent.size() > 0 ? extent[0] : 0, extent.size() > 1 ? extent[1] : 0);
}

// True when this image owns layers of the same set and extent as `other`, so
// that a copy can reuse their blocks instead of allocating new ones.
bool image::canReuseLayersFor(const image& other) const {
  auto fits = [](const auto* mine, bool owned, const auto* theirs) {
    return (mine == nullptr) == (theirs == nullptr) && (!mine || owned);
  };
  return dims[0] == other.dims[0] && dims[1] == other.dims[1] &&
         fits(field_, ownsField_, other.field_) && fits(bkgr_, ownsBkgr_, other.bkgr_) &&
         fits(roi_, ownsROI_, other.roi_);
}

void image::copyFrom(const image& other) {
  if (&other == this) return;
  if (canReuseLayersFor(other)) {
    // The same result as fresh layers: new names, then the source's contents.
    if (field_) field_->name = "field";
    if (bkgr_) bkgr_->name = "bkgr";
    if (roi_) roi_->name = "ROI";
    delete vectors_;
    vectors_ = nullptr;
    drop(draw_, ownsDraw_);
  } else {
    clearLayers();
    makeLayers(other.dims, other.field_, other.bkgr_, other.roi_, other.fileInfo.kind);
  }
  if (field_) *field_ = *other.field_;
  if (bkgr_) *bkgr_ = *other.bkgr_;
  if (roi_) *roi_ = *other.roi_;
  if (other.draw_) {
    draw_ = other.draw_->clone();
    ownsDraw_ = true;
  }
  if (other.vectors_) vectors_ = new vectorGroup(*other.vectors_);
  markers = other.markers;
  fileInfo = other.fileInfo;
  converted = other.converted;
}

namespace {

// The lowest and highest value of a row over the pixels that count (bkgr
// clear, ROI set), in eight independent lanes so that the loop runs on
// vectors. A pixel that does not count offers +inf and -inf; NaN never wins a
// comparison.
void rowLimits(const float* v, const std::uint8_t* b, const std::uint8_t* r, int w, float& lo,
               float& hi) {
  constexpr int lanes = 8;
  constexpr float inf = std::numeric_limits<float>::infinity();
  float l[lanes], h[lanes];
  for (int j = 0; j < lanes; ++j) l[j] = inf, h[j] = -inf;
  int x = 0;
  for (; x + lanes <= w; x += lanes)
    for (int j = 0; j < lanes; ++j) {
      const bool in = (b[x + j] ^ 1) & r[x + j];
      const float low = in ? v[x + j] : inf, high = in ? v[x + j] : -inf;
      l[j] = low < l[j] ? low : l[j];
      h[j] = high > h[j] ? high : h[j];
    }
  for (; x < w; ++x)
    if ((b[x] ^ 1) & r[x]) {
      l[0] = v[x] < l[0] ? v[x] : l[0];
      h[0] = v[x] > h[0] ? v[x] : h[0];
    }
  for (int j = 0; j < lanes; ++j) {
    lo = l[j] < lo ? l[j] : lo;
    hi = h[j] > hi ? h[j] : hi;
  }
}

}  // namespace

void image::resetLimits() {
  double lo = std::numeric_limits<double>::max();
  double hi = -std::numeric_limits<double>::max();
  if (field_) {
    const int w = dims[0];
    const arrayStore<bool, 2>* bk = bkgr_;
    const arrayStore<bool, 2>* roi = roi_;
    // A missing mask counts as no background, or as all ROI: one stand-in
    // row serves every row.
    const std::vector<std::uint8_t> none(bk ? 0 : static_cast<std::size_t>(w), 0),
        all(roi ? 0 : static_cast<std::size_t>(w), 1);
    // Minimum and maximum do not depend on the order of the rows.
#pragma omp parallel for schedule(static) reduction(min   \
                                                    : lo) \
    reduction(max                                         \
              : hi) if (field_->count >= parallelThreshold)
    for (int y = 0; y < dims[1]; ++y) {
      float l = std::numeric_limits<float>::infinity(), h = -l;
      const auto* b = bk ? reinterpret_cast<const std::uint8_t*>(bk->row(y)) : none.data();
      const auto* r = roi ? reinterpret_cast<const std::uint8_t*>(roi->row(y)) : all.data();
      rowLimits(field_->row(y), b, r, w, l, h);
      if (l <= h) {  // some pixel counted
        lo = std::min(lo, static_cast<double>(l));
        hi = std::max(hi, static_cast<double>(h));
      }
    }
  }
  setLimits(lo, hi);
}

void image::setLimits(double low, double high) {
  drop(draw_, ownsDraw_);
  draw_ = new draw_options(low, high);
  ownsDraw_ = true;
}

std::pair<double, double> image::limits() {
  if (!draw_) resetLimits();
  return {draw_->low, draw_->high};
}

bitmap image::layers() { return bitmap(field(), bkgr()); }

// The right operand is only read; the pair is a view, hence the cast.
bitmap image::readLayers(const image& r) { return const_cast<image&>(r).layers(); }

image& image::assign(const image& r) {
  layers().assign(readLayers(r), roiMask());
  return *this;
}
image& image::operator+=(const image& r) {
  layers().add(readLayers(r), roiMask());
  return *this;
}
image& image::operator-=(const image& r) {
  layers().subtract(readLayers(r), roiMask());
  return *this;
}
image& image::operator*=(const image& r) {
  layers().multiply(readLayers(r), roiMask());
  return *this;
}
image& image::operator/=(const image& r) {
  layers().divide(readLayers(r), roiMask());
  return *this;
}

template <class V>
image& image::storeOp(const arrayStore<V, 2>& values, bool add) {
  arrayStore<float, 2>& f = field();
  const arrayStore<bool, 2>& b = bkgr();
  const int w = std::min(values.width(), f.width());
  const int h = std::min(values.height(), f.height());
  const arrayStore<bool, 2>* roi = roi_;
  forEachRow(h, static_cast<std::uint64_t>(w) * static_cast<std::uint64_t>(std::max(h, 0)),
             [&](int y) {
               float* out = f.row(y);
               const bool* bk = b.row(y);
               const V* in = values.row(y);
               const bool* r = roi ? roi->row(y) : nullptr;
               for (int x = 0; x < w; ++x) {
                 if (bk[x] || (r && !r[x])) continue;
                 const float v = static_cast<float>(in[x]);
                 out[x] = add ? out[x] + v : v;
               }
             });
  return *this;
}

image& image::assign(const arrayStore<float, 2>& values) { return storeOp(values, false); }
image& image::assign(const arrayStore<int, 2>& values) { return storeOp(values, false); }
image& image::operator+=(const arrayStore<float, 2>& values) { return storeOp(values, true); }
image& image::operator+=(const arrayStore<int, 2>& values) { return storeOp(values, true); }

image& image::markBelow(float c) {
  layers().markBelow(c, roiMask());
  return *this;
}
image& image::clipAbove(float c) {
  layers().clipAbove(c, roiMask());
  return *this;
}
image& image::clipBelow(float c) {
  layers().clipBelow(c, roiMask());
  return *this;
}
image& image::assign(float c) {
  layers().assign(c, roiMask());
  return *this;
}
image& image::operator+=(float c) {
  layers().add(c, roiMask());
  return *this;
}
image& image::operator-=(float c) {
  layers().subtract(c, roiMask());
  return *this;
}
image& image::operator*=(float c) {
  layers().multiply(c, roiMask());
  return *this;
}
image& image::operator/=(float c) {
  layers().divide(c, roiMask());
  return *this;
}

void image::fillField(float value) { field().fill(value); }
void image::fillBkgr(bool flag) { bkgr().fill(flag); }
void image::fillROI(bool flag) { ROI().fill(flag); }

}  // namespace zel
