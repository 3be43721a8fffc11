// The window filters of "Filter/Threshold..." and the line filters.
//
// The Gauss kernels are indexed by a counter that starts at the first cell of
// the clipped window, so near an edge the weights are not aligned with the
// window. Results near edges depend on that, and it is kept.
#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "api/image.h"
#include "filters/circleFilters.h"

namespace tamble {
namespace {

int oddUp(int v) { return v - v % 2 + 1; }

bool inROI(const zel::image& img, int x, int y) { return !img.hasROI() || img.ROI()(x, y); }

}  // namespace

filter_template::filter_template(zel::image& source, int width, int height, double fill,
                                 double second)
    : src(source),
      w(oddUp(width)),
      h(oddUp(height)),
      p1(fill),
      p2(second),
      hw(w / 2),
      hh(h / 2),
      area(static_cast<double>(w) * h) {}

filter_template::window filter_template::clip(int x, int y) const {
  const int W = src.width(), H = src.height();
  const int rx = w / 2, ry = h / 2;
  return {std::max(0, x - rx), std::min(x + rx + 1, W), std::max(0, y - ry),
          std::min(y + ry + 1, H)};
}

bool filter_template::tooSparse(int x, int y, double missing) const {
  return src.bkgr()(x, y) && missing >= p1;
}

void filter_template::gaussKernel(std::vector<double>& kern) const {
  kern.resize(static_cast<std::size_t>(w) * h);
  for (int j = 0; j < h; ++j)
    for (int i = 0; i < w; ++i) {
      const double u = (i - hw) / hw, v = (j - hh) / hh;
      kern[static_cast<std::size_t>(j) * w + i] = std::exp(-(u * u) - v * v);
    }
}

void filter_flat::filter_at(int x, int y, float& value, bool& bad) {
  const window win = clip(x, y);
  const auto& field = src.field();
  const auto& bkgr = src.bkgr();
  float count = 0.0f, sum = 0.0f;
  for (int j = win.y0; j < win.y1; ++j)
    for (int i = win.x0; i < win.x1; ++i)
      if (!bkgr(i, j)) {
        count += 1.0f;
        sum += field(i, j);
      }
  if (tooSparse(x, y, (area - count) / area) || count == 0.0f) {
    bad = true;
    return;
  }
  value = sum / count;
  bad = false;
}

filter_gauss::filter_gauss(zel::image& source, int width, int height, double fill, double second)
    : filter_template(source, width, height, fill, second) {
  gaussKernel(kern);
}

void filter_gauss::filter_at(int x, int y, float& value, bool& bad) {
  const window win = clip(x, y);
  const auto& field = src.field();
  const auto& bkgr = src.bkgr();
  double s = 0.0, sw = 0.0;
  std::size_t k = 0;  // runs over the clipped window, not aligned with it
  for (int j = win.y0; j < win.y1; ++j)
    for (int i = win.x0; i < win.x1; ++i, ++k)
      if (!bkgr(i, j)) {
        sw += kern[k];
        s += field(i, j) * kern[k];
      }
  if (tooSparse(x, y, (area - sw) / area) || sw == 0.0) {
    bad = true;
    return;
  }
  value = static_cast<float>(s / sw);
  bad = false;
}

filter_gauss3d::filter_gauss3d(zel::image& source, int width, int height, double fill,
                               double second)
    : filter_template(source, width, height, fill, second) {
  gaussKernel(kern);
  auto& field = src.field();
  const auto& bkgr = src.bkgr();
  double lo = std::numeric_limits<double>::max(), hi = std::numeric_limits<double>::lowest();
  for (int y = 0; y < src.height(); ++y)
    for (int x = 0; x < src.width(); ++x)
      if (!bkgr(x, y) && inROI(src, x, y)) {
        lo = std::min(lo, static_cast<double>(field(x, y)));
        hi = std::max(hi, static_cast<double>(field(x, y)));
      }
  this->height = (hi - lo) * p2;
  inverse = 1.0 / this->height;
  if (src.hasROI()) src.fillROI(true);
  for (std::size_t i = 0; i < field.count; ++i)
    if (!bkgr.data[i]) field.data[i] = static_cast<float>(field.data[i] * inverse);
}

void filter_gauss3d::filter_at(int x, int y, float& value, bool& bad) {
  const window win = clip(x, y);
  const auto& field = src.field();
  const auto& bkgr = src.bkgr();
  const double centre = field(x, y);
  double s = 0.0, sw = 0.0;
  std::size_t k = 0;
  for (int j = win.y0; j < win.y1; ++j)
    for (int i = win.x0; i < win.x1; ++i, ++k)
      if (!bkgr(i, j)) {
        const double d = field(i, j) - centre;
        const double wgt = std::max(1.0, 10.0 - d * d) * kern[k];
        sw += wgt;
        s += wgt * field(i, j);
      }
  if (tooSparse(x, y, (area - sw) / area) || sw == 0.0) {
    bad = true;
    return;
  }
  value = static_cast<float>(s * height / sw);
  bad = false;
}

filter_median::filter_median(zel::image& source, int width, int height, double fill, double second)
    : filter_template(source, width, height, fill, second),
      buffer(static_cast<std::size_t>(w) * h) {}

void filter_median::filter_at(int x, int y, float& value, bool& bad) {
  const window win = clip(x, y);
  const auto& field = src.field();
  const auto& bkgr = src.bkgr();
  int n = 0;
  for (int j = win.y0; j < win.y1; ++j)
    for (int i = win.x0; i < win.x1; ++i)
      if (!bkgr(i, j)) buffer[n++] = field(i, j);
  if (tooSparse(x, y, (area - n) / area) || n == 0) {
    bad = true;
    return;
  }
  // Rank n/2 from 0: the upper middle of an even count.
  std::nth_element(buffer.begin(), buffer.begin() + n / 2, buffer.begin() + n);
  value = buffer[n / 2];
  bad = false;
}

template <class F>
void FilterPass(zel::image& target, double p1, bool backgroundOnly, F& filter) {
  auto& field = target.field();
  auto& bkgr = target.bkgr();
  const bool fillBackground = p1 > 0.0005;
  for (int y = 0; y < target.height(); ++y)
    for (int x = 0; x < target.width(); ++x) {
      if (!inROI(target, x, y)) continue;
      const bool background = bkgr(x, y);
      if ((!background && !backgroundOnly) || (background && fillBackground))
        filter.filter_at(x, y, field(x, y), bkgr(x, y));
    }
}

template void FilterPass(zel::image&, double, bool, filter_template&);
template void FilterPass(zel::image&, double, bool, filter_flat&);
template void FilterPass(zel::image&, double, bool, filter_gauss&);
template void FilterPass(zel::image&, double, bool, filter_gauss3d&);
template void FilterPass(zel::image&, double, bool, filter_median&);

namespace {

// The copy's pixels below `low` become background; the rest are held at
// `high`.
void threshold(zel::image& copy, float low, float high) {
  auto& field = copy.field();
  auto& bkgr = copy.bkgr();
  for (int y = 0; y < copy.height(); ++y)
    for (int x = 0; x < copy.width(); ++x) {
      if (bkgr(x, y) || !inROI(copy, x, y)) continue;
      if (field(x, y) < low)
        bkgr(x, y) = true;
      else
        field(x, y) = std::min(field(x, y), high);
    }
}

template <class F>
void runFilter(zel::image& img, zel::image& copy, const FilterThresholdParams& p, double p1,
               double p2, bool backgroundOnly) {
  F filter(copy, p.width, p.height, p1, p2);
  FilterPass(img, p1, backgroundOnly, filter);
}

}  // namespace

void FilterThreshold(zel::image& img, const FilterThresholdParams& p, bool backgroundOnly) {
  if (p.width < 2 || p.height < 2 || p.iterations < 1) return;
  const double p1 = p.fillPercent / 100.0, p2 = p.heightPercent / 100.0;
  for (int pass = 0; pass < p.iterations; ++pass) {
    zel::image copy(img);
    threshold(copy, static_cast<float>(p.low), static_cast<float>(p.high));
    switch (p.kind) {
      case 0: img = copy; break;
      case 1: runFilter<filter_flat>(img, copy, p, p1, p2, backgroundOnly); break;
      case 2: runFilter<filter_gauss>(img, copy, p, p1, p2, backgroundOnly); break;
      case 3: runFilter<filter_gauss3d>(img, copy, p, p1, p2, backgroundOnly); break;
      case 4: runFilter<filter_median>(img, copy, p, p1, p2, backgroundOnly); break;
      default: break;
    }
  }
}

LinearFilterBase::LinearFilterBase(int length, double s)
    : n(length % 2 == 0 ? length + 1 : length), half(length / 2), sigma(s) {}

void LinearFilterBase::apply(const std::vector<double>& in, std::vector<double>& out) const {
  const long long size = static_cast<long long>(in.size());
  for (long long i = 0; i < size; ++i) {
    double sum = 0.0;
    for (int k = -half; k <= half; ++k)
      if (i + k >= 0 && i + k < size) sum += in[i + k] * taps[k + half];
    out.push_back(sum);
  }
}

void LinearFilterFlat::make_kernel() { taps.assign(n, 1.0 / n); }

void LinearFilterGauss::make_kernel() {
  taps.assign(n, 1.0);
  if (sigma == 0.0) return;
  double total = 0.0;
  for (int i = 0; i < n; ++i) {
    const double u = i - half;
    taps[i] = std::exp(-(u * u) / (sigma * sigma));
    total += taps[i];
  }
  for (double& t : taps) t /= total;
}

void LinearFilterApply(const std::vector<double>& in, std::vector<double>& out,
                       const LinearFilterParams& params) {
  if (params.kind == 0) {
    out.insert(out.end(), in.begin(), in.end());
  } else if (params.kind == 1) {
    LinearFilterFlat f(params.length, params.sigma);
    f.make_kernel();
    f.apply(in, out);
  } else if (params.kind == 2) {
    LinearFilterGauss f(params.length, params.sigma);
    f.make_kernel();
    f.apply(in, out);
  }
}

}  // namespace tamble
