#include "dialogs/wienerDialog.h"

namespace tamble {

const recordDescriptor<CAuto_Wiener_filter>& CAuto_Wiener_filter::descriptor() {
  using R = CAuto_Wiener_filter;
  // The member is a float: the bound is the float a typed 0.000001 becomes,
  // which lies just below the double 1e-6 and would otherwise be refused.
  const double leastNoise = static_cast<float>(0.000001);
  static const recordDescriptor<R> d{
      "CAuto_Wiener_filter",
      "Auto_Wiener_filter",
      "Adaptive Wiener Filter",
      {{{"m_rl", paramType::Float, std::pair{1.0, 999.0}, "Filter Diameter (3 - 999)"},
        &R::m_rl},
       {{"m_sc", paramType::Float, std::pair{leastNoise, 1e6},
         "Scale Coefficient (0.001 - 1000.)"},
        &R::m_sc}}};
  return d;
}

}  // namespace tamble
