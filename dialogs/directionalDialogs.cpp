#include "dialogs/directionalDialogs.h"

namespace tamble {
namespace {

template <class T>
recordDescriptor<T> directional(const char* name, const char* section, const char* title) {
  return {name,
          section,
          title,
          {{{"m_length", paramType::Float, std::pair{1.0, 299.0}, "Length Along Direction (1-299)"},
            static_cast<float T::*>(&T::m_length)},
           {{"m_width", paramType::Float, std::pair{1.0, 99.0}, "Width Across Direction (1-99)"},
            static_cast<float T::*>(&T::m_width)},
           {{"m_angle", paramType::Float, std::pair{-360.0, 360.0},
             "Direction Angle (Degrees, Counterclockwise from X)"},
            static_cast<float T::*>(&T::m_angle)},
           {{"m_iter", paramType::Int, std::pair{1.0, 1000.0}, "Iterations Number(1-999)"},
            static_cast<int T::*>(&T::m_iter)},
           {{"m_source",
             paramType::Radio,
             std::nullopt,
             "Direction",
             "Direction",
             true,
             {{0, "Typed Angle"}, {1, "By 2/4 Markers"}}},
            static_cast<int T::*>(&T::m_source)}}};
}

}  // namespace

const recordDescriptor<CDirGauss>& CDirGauss::descriptor() {
  static const recordDescriptor<CDirGauss> d =
      directional<CDirGauss>("CDirGauss", "DirGauss", "Directional Gauss Filter");
  return d;
}

const recordDescriptor<CDirMedian>& CDirMedian::descriptor() {
  static const recordDescriptor<CDirMedian> d =
      directional<CDirMedian>("CDirMedian", "DirMedian", "Directional Median Filter");
  return d;
}

const recordDescriptor<CDeBlur1D>& CDeBlur1D::descriptor() {
  using T = CDeBlur1D;
  static const recordDescriptor<T> d{
      "CDeBlur1D",
      "DeBlur1D",
      "1D DeBlur",
      {{{"m_length", paramType::Float, std::pair{1.0, 199.0}, "Smear Length in Pixels (1-199)"},
        &T::m_length},
       {{"m_angle", paramType::Float, std::pair{-360.0, 360.0},
         "Smear Angle (Degrees, Counterclockwise from X)"},
        &T::m_angle},
       {{"m_noise", paramType::Float, std::pair{0.000001, 10.0},
         "Noise to Signal Ratio (0.000001-10)"},
        &T::m_noise},
       {{"m_iter", paramType::Int, std::pair{1.0, 1000.0}, "Most Iterations (1-1000)"},
        &T::m_iter}}};
  return d;
}

}  // namespace tamble
