#include "host/fieldData.h"

zel::field_data<double>& get_field_data() {
  static zel::field_data<double> data;
  return data;
}
