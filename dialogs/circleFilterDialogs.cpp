#include "dialogs/circleFilterDialogs.h"

namespace tamble {

const recordDescriptor<CMedian>& CMedian::descriptor() {
  static const recordDescriptor<CMedian> d{
      "CMedian",
      "Median",
      "Median Filter Parameters",
      {{{"m_diameter", paramType::Int, std::pair{3.0, 299.0}, "Filter Diameter (3-999)"},
        &CMedian::m_diameter},
       {{"m_iter", paramType::Int, std::pair{1.0, 1000.0}, "Iterations Number(1-999)"},
        &CMedian::m_iter}}};
  return d;
}

const recordDescriptor<CGauss>& CGauss::descriptor() {
  static const recordDescriptor<CGauss> d{
      "CGauss",
      "Gauss",
      "Gaussian Filter",
      {{{"m_diameter", paramType::Int, std::pair{1.0, 999.0}, "Filter Diameter (1-999)"},
        &CGauss::m_diameter},
       {{"m_iter", paramType::Int, std::pair{1.0, 1000.0}, "Iterations Number(1-999)"},
        &CGauss::m_iter}}};
  return d;
}

const recordDescriptor<CD3Filter>& CD3Filter::descriptor() {
  static const recordDescriptor<CD3Filter> d{
      "CD3Filter",
      "D3Filter",
      "3D Round Gaussian Filter",
      {{{"m_rl", paramType::Float, std::pair{0.9999, 999.0}, "Filter Diameter (1 - 999)"},
        &CD3Filter::m_rl},
       {{"m_rlev", paramType::Float, std::pair{0.000001, 1e30}, "Filter Height"},
        &CD3Filter::m_rlev},
       {{"m_iter", paramType::Int, std::pair{1.0, 1000.0}, "Iterations Number (1-999)"},
        &CD3Filter::m_iter},
       {shownField("m_min", paramType::Float, "MIN", "Image Intensity MIN/MAX"),
        &CD3Filter::m_min},
       {shownField("m_max", paramType::Float, "MAX", "Image Intensity MIN/MAX"),
        &CD3Filter::m_max}}};
  return d;
}

FilterThresholdParams CFilterThreshold::params() const {
  return {m_kind, m_width, m_height, m_low, m_high, m_fillPercent, m_heightPercent, m_iterations};
}

const recordDescriptor<CFilterThreshold>& CFilterThreshold::descriptor() {
  using T = CFilterThreshold;
  static const recordDescriptor<T> d{
      "CFilterThreshold",
      "FilterThreshold",
      "Filter",
      {{{"m_kind",
         paramType::Radio, std::nullopt,
         "Filter",
         "Filter",
         true,
         {{0, "None"}, {1, "Flat"}, {2, "Gauss"}, {3, "Gauss 3D"}, {4, "Median"}}},
        &T::m_kind},
       {{"m_width", paramType::Int, std::pair{2.0, 999.0}, "Window Width (2-999)"}, &T::m_width},
       {{"m_height", paramType::Int, std::pair{2.0, 999.0}, "Window Height (2-999)"},
        &T::m_height},
       {{"m_low", paramType::Double, std::pair{-1e30, 1e30}, "Low Threshold"}, &T::m_low},
       {{"m_high", paramType::Double, std::pair{-1e30, 1e30}, "High Threshold"}, &T::m_high},
       {{"m_fillPercent", paramType::Int, std::pair{0.0, 100.0}, "Fill Threshold (%)"},
        &T::m_fillPercent},
       {{"m_heightPercent", paramType::Int, std::pair{1.0, 100.0}, "Height (% of range)"},
        &T::m_heightPercent},
       {{"m_iterations", paramType::Int, std::pair{1.0, 1000.0}, "Iterations (1-1000)"},
        &T::m_iterations}}};
  return d;
}

}  // namespace tamble
