#include "filters/pointOperations.h"

#include <algorithm>
#include <cmath>

#include "api/parallel.h"
#include "api/report.h"
#include "filters/circleFilters.h"

namespace tamble {
namespace {

// Runs pixelFn(value, x, y) on every valid pixel, rows in parallel: each
// pixel depends on itself only.
template <class PixelFn>
void forValidPixels(fieldStore& field, const maskStore& bkgr, const maskStore& ROI,
                    PixelFn&& pixelFn) {
  const int w = field.width();
  zel::forEachRow(field.height(), field.count, [&](int y) {
    float* v = field.row(y);
    const bool* bk = bkgr.row(y);
    const bool* roi = ROI.row(y);
    for (int x = 0; x < w; ++x)
      if (!bk[x] && roi[x]) pixelFn(v[x]);
  });
}

bool sameSize(const fieldStore& a, const maskStore& b) {
  return a.width() == b.width() && a.height() == b.height();
}

bool sameSize(const fieldStore& a, const fieldStore& b) {
  return a.width() == b.width() && a.height() == b.height();
}

// One pixel of ImageArithmeticBM; op is 1 to 4.
inline void arithmeticPixel(float a, bool bk1, bool roi1, float b, bool bk2, bool roi2, int op,
                            float& value, bool& outBk, bool& outRoi) {
  value = 0.0f;
  if (bk1 || bk2) {
    outBk = true;
    return;
  }
  if (!roi1 || !roi2) {
    outRoi = false;
    return;
  }
  switch (op) {
    case 1: value = a + b; break;
    case 2: value = a - b; break;
    case 3: value = a * b; break;
    default:
      if (std::fabs(b) > 1e-10f)
        value = a / b;
      else
        outBk = true;
  }
}

}  // namespace

void ArithmeticConstant(fieldStore& field, const maskStore& bkgr, const maskStore& ROI, int op,
                        float constant) {
  const float c = constant;
  switch (op) {
    case 1: forValidPixels(field, bkgr, ROI, [c](float& v) { v = v + c; }); break;
    case 2: forValidPixels(field, bkgr, ROI, [c](float& v) { v = v - c; }); break;
    case 3: forValidPixels(field, bkgr, ROI, [c](float& v) { v = c * v; }); break;
    case 4:
      if (std::fabs(c) < 1e-10f) return;
      forValidPixels(field, bkgr, ROI, [c](float& v) { v = v / c; });
      break;
    default: break;
  }
}

void CutOffIntensities(fieldStore& field, const maskStore& bkgr, const maskStore& ROI,
                       bool cutAbove, float maxValue, bool cutBelow, float minValue) {
  // The two passes touch each pixel independently, so one sweep in the same
  // order per pixel gives the same result.
  if (!cutAbove && !cutBelow) return;
  forValidPixels(field, bkgr, ROI, [=](float& v) {
    if (cutAbove && v > maxValue) v = maxValue;
    if (cutBelow && v < minValue) v = minValue;
  });
}

void ImageArithmeticBM(const fieldStore& field1, const maskStore& bkgr1, const maskStore& ROI1,
                       const fieldStore& field2, const maskStore& bkgr2, const maskStore& ROI2,
                       fieldStore& outField, maskStore& outBkgr, maskStore& outROI, int op,
                       bool& failed) {
  failed = false;
  if (!sameSize(field1, bkgr1) || !sameSize(field1, ROI1) || !sameSize(field1, field2) ||
      !sameSize(field1, bkgr2) || !sameSize(field1, ROI2) || !sameSize(field1, outField) ||
      !sameSize(field1, outBkgr) || !sameSize(field1, outROI)) {
    zel::report().notice(
        "ImageArithmeticBM: Images Have Different Dimensions. Operation is Canceled");
    failed = true;  // the caller must not take the untouched output
    return;
  }
  if (op < 1 || op > 4) {
    zel::report().notice("ImageArithmeticBM: Unknown Arithmetic Operation. Operation is Canceled");
    failed = true;
    return;
  }
  outBkgr.fill(false);
  outROI.fill(true);
  const int w = field1.width();
  zel::forEachRow(field1.height(), field1.count, [&](int y) {
    const float* a = field1.row(y);
    const float* b = field2.row(y);
    const bool *bk1 = bkgr1.row(y), *bk2 = bkgr2.row(y);
    const bool *roi1 = ROI1.row(y), *roi2 = ROI2.row(y);
    float* out = outField.row(y);
    bool* outBk = outBkgr.row(y);
    bool* outRoi = outROI.row(y);
    for (int x = 0; x < w; ++x)
      arithmeticPixel(a[x], bk1[x], roi1[x], b[x], bk2[x], roi2[x], op, out[x], outBk[x],
                      outRoi[x]);
  });
}

void ConservativeInvert(fieldStore& field, const maskStore& bkgr, const maskStore& ROI) {
  float lo = 0.0f, hi = 0.0f;
  FieldMinMax(field, bkgr, ROI, lo, hi);
  forValidPixels(field, bkgr, ROI, [lo, hi](float& v) { v = hi + lo - v; });
}

void FloodROI(fieldStore& field, maskStore& bkgr, const maskStore& ROI, float value,
              bool toBackground) {
  const int w = field.width();
  zel::forEachRow(field.height(), field.count, [&](int y) {
    float* v = field.row(y);
    bool* bk = bkgr.row(y);
    const bool* roi = ROI.row(y);
    for (int x = 0; x < w; ++x) {
      if (bk[x] || !roi[x]) continue;
      if (toBackground)
        bk[x] = true;
      else
        v[x] = value;
    }
  });
}

}  // namespace tamble
