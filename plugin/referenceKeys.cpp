#include "plugin/referenceKeys.h"

#include "host/paramRecord.h"
#include "plugin/projectState.h"

namespace tamble {

namespace {
constexpr const char* section = "ForSingle";
}

void loadForSingle(conversionState& s) {
  s.key_unit_value = read_param(section, "key_unit_value", s.key_unit_value);
  s.wind_on_refe_value = read_param(section, "wind_on_refe_value", s.wind_on_refe_value);
  s.wind_off_refe_value = read_param(section, "wind_off_refe_value", s.wind_off_refe_value);
  s.plane_approximation =
      read_param(section, "plane_approximation", s.plane_approximation ? 1 : 0) != 0;
}

void storeForSingle(const conversionState& s) {
  write_param(section, "key_unit_value", s.key_unit_value);
  write_param(section, "wind_on_refe_value", s.wind_on_refe_value);
  write_param(section, "wind_off_refe_value", s.wind_off_refe_value);
  write_param(section, "plane_approximation", s.plane_approximation ? 1 : 0);
}

}  // namespace tamble
