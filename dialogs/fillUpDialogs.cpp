#include "dialogs/fillUpDialogs.h"

namespace tamble {
namespace {

constexpr const char* axisCaption =
    "Preferrable Direction if SCALE != 1  Direction 0=4, 1=5 and so on";

}  // namespace

const recordDescriptor<CFillMark>& CFillMark::descriptor() {
  static const recordDescriptor<CFillMark> d{
      "CFillMark",
      "FillMark",
      "Fill Up Markers",
      {{{"m_diameter", paramType::Int, std::pair{3.0, 999.0}, "Brush Diameter(3-999)"},
        &CFillMark::m_diameter}}};
  return d;
}

const recordDescriptor<ecfillup>& ecfillup::descriptor() {
  static const recordDescriptor<ecfillup> d{
      "ecfillup",
      "ecfillup",
      "Eight Connected Float Fill Up",
      {{{"m_scale", paramType::Float, std::pair{0.000001, 1e6},
         "Set Preferrable SCALE (Standard is 1.0)"},
        &ecfillup::m_scale},
       {{"bg_fill_flag", paramType::Int, std::pair{0.0, 1.0},
         " Set ON to fill BackGround Regions"},
        &ecfillup::bg_fill_flag},
       {{"direction",
         paramType::Radio, std::nullopt,
         axisCaption,
         axisCaption,
         true,
         {{0, "North [0]"},
          {1, "NE [1]"},
          {2, "East [2]"},
          {3, "SE [3]"},
          {4, "South [4]"},
          {5, "SW [5]"},
          {6, "West [6]"},
          {7, "NW [7]"}}},
        &ecfillup::direction}}};
  return d;
}

}  // namespace tamble
