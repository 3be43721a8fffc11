// Resize and trim/lengthen: both build the new image on a canvas and carry
// the markers along.
#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "api/parallel.h"
#include "api/report.h"
#include "geometry/transforms.h"

namespace tamble {
namespace {

// The largest side either routine accepts.
constexpr int maxSide = 16368;

void requireLayers(const fieldStore& field, const maskStore& bkgr, const maskStore& ROI) {
  if (!field.sameExtent(bkgr) || !field.sameExtent(ROI)) zel::raise<zel::DimError>();
}

// Gives a layer the extent w by h (contents undefined), keeping its name.
template <class T>
void reshape(zel::arrayStore<T, 2>& layer, int w, int h) {
  if (layer.width() == w && layer.height() == h) return;
  std::string name = std::move(layer.name);
  layer = zel::arrayStore<T, 2>(w, h);
  layer.name = std::move(name);
}

// dst(x, y) = src(x + ox, y + oy) where that lies in src, `fill` elsewhere.
template <class T>
void placeShifted(const zel::arrayStore<T, 2>& src, zel::arrayStore<T, 2>& dst, int ox, int oy,
                  T fill) {
  const int w = dst.width();
  const int x0 = std::clamp(-ox, 0, w);
  const int x1 = std::clamp(src.width() - ox, x0, w);
  zel::forEachRow(dst.height(), dst.count, [&](int y) {
    T* out = dst.row(y);
    const int sy = y + oy;
    if (sy < 0 || sy >= src.height()) {
      std::fill(out, out + w, fill);
      return;
    }
    const T* in = src.row(sy) + ox;
    std::fill(out, out + x0, fill);
    std::copy(in + x0, in + x1, out + x0);
    std::fill(out + x1, out + w, fill);
  });
}

// A new canvas is value 0, not background, inside the ROI.
void placeAll(const fieldStore& srcField, const maskStore& srcBkgr, const maskStore& srcROI,
              fieldStore& dstField, maskStore& dstBkgr, maskStore& dstROI, int ox, int oy) {
  placeShifted(srcField, dstField, ox, oy, 0.0f);
  placeShifted(srcBkgr, dstBkgr, ox, oy, false);
  placeShifted(srcROI, dstROI, ox, oy, true);
}

const char* resizeRefusal(int nx1, int ny1) {
  if (nx1 < 3) return "ImageResize: NX1 < 3 , Procedure is Canceled";
  if (ny1 < 3) return "ImageResize: NY1 < 3 , Procedure is Canceled";
  if (nx1 > maxSide) return "ImageResize: NX1 > 16368 , Procedure is Canceled";
  if (ny1 > maxSide) return "ImageResize: NY1 > 16368 , Procedure is Canceled";
  return nullptr;
}

const char* cropRefusal(int w1, int h1) {
  if (w1 < 10) return "ImageCrop: Image new width is too small, Procedure is Canceled";
  if (h1 < 10) return "ImageCrop: Image new height is too small, Procedure is Canceled";
  if (w1 > maxSide)
    return "ImageCrop: Image new width is much more bigger than old one, Procedure is Canceled";
  if (h1 > maxSide)
    return "ImageCrop: Image new height is much moer bigger than old one, Procedure is Canceled";
  return nullptr;
}

// Where the new canvas starts in the old one along an axis that grows from
// the anchor's low side; `shrink` is old size minus new (negative when
// lengthening). Division truncates toward zero.
int anchorOffset(int anchor, int shrink) {
  if (anchor < 0) return 0;
  if (anchor > 0) return shrink;
  return shrink / 2;
}

// Markers moved by the offset; those off the new canvas by more than half a
// pixel's margin are dropped.
void keepShifted(const zel::markersArray& src, zel::markersArray& dst, int ox, int oy, int w1,
                 int h1) {
  std::vector<marker> kept;
  for (marker m : src.items) {
    m.x -= ox;
    m.y -= oy;
    if (m.x >= 0.5 && m.x <= w1 - 0.5 && m.y >= 0.5 && m.y <= h1 - 0.5) kept.push_back(m);
  }
  dst.items = std::move(kept);
}

}  // namespace

void ImageResize(const fieldStore& srcField, const maskStore& srcBkgr, const maskStore& srcROI,
                 const zel::markersArray& srcMarkers, fieldStore& dstField, maskStore& dstBkgr,
                 maskStore& dstROI, zel::markersArray& dstMarkers, int kind, polynomialState& map) {
  requireLayers(srcField, srcBkgr, srcROI);
  const int nx0 = srcField.width(), ny0 = srcField.height();
  const int nx1 = dstField.width(), ny1 = dstField.height();
  if (const char* refusal = resizeRefusal(nx1, ny1)) {
    zel::report().notice(refusal);
    return;
  }
  // The canvas holds both sizes, so the engine resamples in place.
  const int w = std::max(nx0, nx1), h = std::max(ny0, ny1);
  fieldStore field(w, h);
  maskStore bkgr(w, h), ROI(w, h);
  placeAll(srcField, srcBkgr, srcROI, field, bkgr, ROI, 0, 0);
  zel::markersArray markers = srcMarkers;
  const float scaleX = static_cast<float>(nx1) / static_cast<float>(nx0);
  const float scaleY = static_cast<float>(ny1) / static_cast<float>(ny0);
  ScaleRotateRelative(field, bkgr, ROI, markers, scaleX, scaleY, 0, 0, 0, 0, 0, kind, map);
  reshape(dstBkgr, nx1, ny1);
  reshape(dstROI, nx1, ny1);
  placeAll(field, bkgr, ROI, dstField, dstBkgr, dstROI, 0, 0);
  dstMarkers = std::move(markers);
}

void ImageCrop(const fieldStore& srcField, const maskStore& srcBkgr, const maskStore& srcROI,
               const zel::markersArray& srcMarkers, fieldStore& dstField, maskStore& dstBkgr,
               maskStore& dstROI, zel::markersArray& dstMarkers, int anchorX, int anchorY) {
  requireLayers(srcField, srcBkgr, srcROI);
  const int w0 = srcField.width(), h0 = srcField.height();
  const int w1 = dstField.width(), h1 = dstField.height();
  if (const char* refusal = cropRefusal(w1, h1)) {
    zel::report().notice(refusal);
    return;
  }
  // The first row is shown at the bottom, so "top" (anchor y -1) is the end
  // of the rows: the two axes run in opposite senses.
  const int ox = anchorOffset(anchorX, w0 - w1);
  const int oy = anchorOffset(-anchorY, h0 - h1);
  reshape(dstBkgr, w1, h1);
  reshape(dstROI, w1, h1);
  placeAll(srcField, srcBkgr, srcROI, dstField, dstBkgr, dstROI, ox, oy);
  keepShifted(srcMarkers, dstMarkers, ox, oy, w1, h1);
}

}  // namespace tamble
