#include "dialogs/projectDialogs.h"

namespace tamble {

const recordDescriptor<CPTselect>& CPTselect::descriptor() {
  static const recordDescriptor<CPTselect> d{
      "CPTselect",
      "PTselect",
      "SingleLayer Paint Type",
      {{{"m_type",
         paramType::Radio, std::nullopt,
         "You can use these data for PRESSURE or TEMPERATURE field calculation",
         "Selection",
         true,
         {{0, "P"}, {1, "T"}}},
        &CPTselect::m_type}}};
  return d;
}

}  // namespace tamble
