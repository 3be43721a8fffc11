#include "dialogs/portsDialog.h"

namespace tamble {

const recordDescriptor<CPPStart>& CPPStart::descriptor() {
  using T = CPPStart;
  static const recordDescriptor<T> d{
      "CPPStart",
      "PPStart",
      "Correction in situ (Field by Gages)",
      {{{"m_order",
         paramType::Radio,
         std::nullopt,
         "Order of Approximation",
         "Order of Approximation",
         true,
         {{0, "0's order Pcorr=Ppsp+D"},
          {1, "1st order Pcorr=a0+a1*Ppsp"},
          {2, "2nd order Pcorr=a0+a1*Ppsp+a2*Ppsp*Ppsp"}}},
        &T::m_order},
       {{"m_correct", paramType::Int, std::pair{0.0, 1.0}, "Correct Field", "Regime"},
        &T::m_correct},
       {{"m_gageDiameter", paramType::Float, std::pair{0.0, 999.0}, "Gage Diameter (pix)"},
        &T::m_gageDiameter}}};
  return d;
}

const std::string& CPPortData::className() const {
  static const std::string name = "CPPortData";
  return name;
}

const std::string& CPPortData::title() const {
  static const std::string caption = "Pressure Port Approximation Data";
  return caption;
}

}  // namespace tamble
