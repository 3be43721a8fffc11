#include "dialogs/summaryDialogs.h"

namespace tamble {

const recordDescriptor<CStatStart>& CStatStart::descriptor() {
  static const recordDescriptor<CStatStart> d{
      "CStatStart",
      "StatStart",
      "Statistics Summary Conditions",
      {{{"advanced",
         paramType::Radio,
         std::nullopt,
         "Summary",
         "Summary",
         true,
         {{0, "Easy and Quick"}, {1, "Advanced and Slow"}, {2, "Processing w/o Trend"}}},
        &CStatStart::advanced}}};
  return d;
}

const std::string& Stat::className() const {
  static const std::string name = "Stat";
  return name;
}

const std::string& Stat::title() const {
  static const std::string caption = "Image Summary Statistics";
  return caption;
}

}  // namespace tamble
