// The basic smoothing filters of the "Edit" menu (median, separable Gauss,
// 3D Gauss), the window-filter family behind "Filter/Threshold..." and the
// line filters. Unless said otherwise a pixel is blocked when its bkgr is set
// or its ROI is clear; a blocked pixel is neither read as a sample nor written.
#pragma once

#include <cstdint>
#include <vector>

#include "api/arrayWorks.h"
#include "geometry/polynomialMap.h"

namespace zel {
class image;
}

namespace tamble {

using filterField = zel::arrayStore<float, 2>;
using filterMask = zel::arrayStore<bool, 2>;

// Median over the circle of diameter `diameter` (made odd by 2*(N/2)+1); an
// even sample count gives the lower middle, no sample keeps the pixel.
void MedianCircle(filterField& field, const filterMask& bkgr, const filterMask& ROI, int iterations,
                  int diameter);
// Median over the full square, masks ignored; the band of N/2 pixels along
// every edge becomes 0 once a pass has run.
void MedianSquare(filterField& field, filterMask& bkgr, filterMask& ROI, int iterations,
                  int diameter);
// MedianSquare below diameter 11; above, median of a shrunk copy and back
// (resized by ImageResize, which leaves its map in `map`).
void MedianFast(filterField& field, filterMask& bkgr, filterMask& ROI, int iterations, int diameter,
                polynomialState& map);
// MedianFast without its median: for a diameter of 11 and more, the 3 by 3
// median, the Gauss, the shrink and the way back and the last Gauss; below
// 11 nothing.
void CoarseSmooth(filterField& field, filterMask& bkgr, filterMask& ROI, int diameter,
                  polynomialState& map);
// Separable Gauss, renormalised over the samples present at each pixel.
void GaussSeparable(filterField& field, const filterMask& bkgr, const filterMask& ROI,
                    int iterations, float diameter);
// Weights fall with distance in the image and in intensity/height.
void Filter3D(filterField& field, const filterMask& bkgr, const filterMask& ROI, int iterations,
              float diameter, float height, bool rational);
// Over valid pixels; both 0 when there is none.
void FieldMinMax(const filterField& field, const filterMask& bkgr, const filterMask& ROI,
                 float& min, float& max);

// The record of "Filter/Threshold...".
struct FilterThresholdParams {
  std::int32_t kind = 1;  // 0 none, 1 flat, 2 Gauss, 3 Gauss 3D, 4 median
  std::int32_t width = 5;
  std::int32_t height = 5;
  double low = -1e30;
  double high = 1e30;
  std::int32_t fillPercent = 50;
  std::int32_t heightPercent = 10;
  std::int32_t iterations = 1;
};

// The window filters read from a source image and answer one pixel at a
// time: a result and bad = false, or bad = true and the value untouched.
class filter_template {
 public:
  filter_template(zel::image& source, int w, int h, double p1, double p2);
  virtual void filter_at(int x, int y, float& value, bool& bad) = 0;
  virtual ~filter_template() = default;

  zel::image& src;
  std::int32_t w, h;  // odd
  double p1, p2;
  double hw, hh, area;

 protected:
  // The clipped window, [x0, x1) by [y0, y1).
  struct window {
    int x0, x1, y0, y1;
  };
  window clip(int x, int y) const;
  // Whether a pixel with the centre in background lacks enough support.
  bool tooSparse(int x, int y, double missing) const;
  void gaussKernel(std::vector<double>& kern) const;
};

class filter_flat final : public filter_template {
 public:
  using filter_template::filter_template;
  void filter_at(int x, int y, float& value, bool& bad) override;
};

class filter_gauss final : public filter_template {
 public:
  filter_gauss(zel::image& source, int w, int h, double p1, double p2);
  void filter_at(int x, int y, float& value, bool& bad) override;
  std::vector<double> kern;
};

class filter_gauss3d final : public filter_template {
 public:
  // Rescales the source's field by 1/height and sets its ROI everywhere.
  filter_gauss3d(zel::image& source, int w, int h, double p1, double p2);
  void filter_at(int x, int y, float& value, bool& bad) override;
  std::vector<double> kern;
  double inverse = 0.0;
  double height = 0.0;
};

class filter_median final : public filter_template {
 public:
  filter_median(zel::image& source, int w, int h, double p1, double p2);
  // An even count gives the upper middle.
  void filter_at(int x, int y, float& value, bool& bad) override;
  std::vector<float> buffer;
};

// Calls the filter at every pixel of the target's ROI: valid pixels unless
// `backgroundOnly`, background pixels when p1 > 0.0005. Templated so that a
// final filter class is called directly.
template <class F>
void FilterPass(zel::image& target, double p1, bool backgroundOnly, F& filter);
void FilterThreshold(zel::image& img, const FilterThresholdParams& params, bool backgroundOnly);

// Line filters over a series: out[i] = sum of in[i + k]*tap[k + half], with
// samples outside the series counted as 0.
class LinearFilterBase {
 public:
  LinearFilterBase(int length, double sigma);
  virtual ~LinearFilterBase() = default;
  virtual void make_kernel() = 0;
  void apply(const std::vector<double>& in, std::vector<double>& out) const;

  std::vector<double> taps;
  std::int32_t n;
  std::int32_t half;
  double sigma;
};

class LinearFilterFlat final : public LinearFilterBase {
 public:
  using LinearFilterBase::LinearFilterBase;
  void make_kernel() override;
};

class LinearFilterGauss final : public LinearFilterBase {
 public:
  using LinearFilterBase::LinearFilterBase;
  void make_kernel() override;
};

struct LinearFilterParams {
  int kind = 0;  // 0 copy, 1 flat, 2 Gauss, other: nothing
  int length = 3;
  double sigma = 1.0;
};
// Appends the filtered series to `out`.
void LinearFilterApply(const std::vector<double>& in, std::vector<double>& out,
                       const LinearFilterParams& params);

}  // namespace tamble
