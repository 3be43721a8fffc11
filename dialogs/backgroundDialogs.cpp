#include "dialogs/backgroundDialogs.h"

#include <string>
#include <utility>
#include <vector>

namespace tamble {
namespace {

constexpr const char* selectGroup = "BackGround Select";
constexpr const char* compensateGroup = "BackGround Compensate";

paramInfo checkBox(const std::string& key, const std::string& caption) {
  return {key, paramType::Int, std::pair{0.0, 1.0}, caption};
}

paramInfo value(const std::string& key, paramType type, const std::string& caption,
                const std::string& group,
                std::optional<std::pair<double, double>> range = std::nullopt) {
  return {key, type, range, caption, group};
}

// The rule choices: kept between openings in the session, not in the store.
paramInfo rules(const std::string& key, const std::string& group,
                std::vector<radioChoice> choices) {
  return {key, paramType::Radio, std::nullopt, group, group, false, std::move(choices)};
}

recordDescriptor<CBG_Dlg> makeCBG_Dlg() {
  using T = CBG_Dlg;
  recordDescriptor<T> d{"CBG_Dlg", "BG_Dlg", "BackGround Select/Compensate", {}};
  auto add = [&d](paramInfo info, auto member) {
    d.fieldList.push_back({std::move(info), member});
  };
  add(checkBox("m_check_compensate", compensateGroup), &T::m_check_compensate);
  add(checkBox("m_check_select", selectGroup), &T::m_check_select);
  add(rules("r1", selectGroup,
            {{1, "Using Threshold"},
             {2, "Using Image Average"},
             {3, "Convert ROI to BackGround"},
             {4, "Using Relative Value"},
             {5, "Using Plane Approximation"}}),
      &T::r1);
  add(rules("r2", compensateGroup,
            {{1, "Using Value"},
             {2, "Using ROI Average"},
             {3, "Using BackGround  Average"},
             {4, "Using Two-Side Strips"},
             {5, "Using Four-Side Strips"},
             {6, "Using BackGround Plane Approximation"}}),
      &T::r2);
  add(value("m_1_average", paramType::Float, "Scale (0.01 - 100.0)", selectGroup,
            std::pair{0.01, 100.0}),
      &T::m_1_average);
  add(value("m_1_relative", paramType::Float, "Relative Value (0.0 - 1.0)", selectGroup,
            std::pair{0.0, 1.0}),
      &T::m_1_relative);
  add(value("m_1_threshold", paramType::Float, "Threshold Value", selectGroup), &T::m_1_threshold);
  // The strips' sizes have no range here: the routine answers a bad one
  // with its own message.
  add(value("m_2_2side", paramType::Int, "Side Strips Width (pixels)", compensateGroup),
      &T::m_2_2side);
  add(value("m_2_4side_indent", paramType::Int, "Side Indent (pixels)", compensateGroup),
      &T::m_2_4side_indent);
  add(value("m_2_value", paramType::Float, "Value", compensateGroup), &T::m_2_value);
  add(value("m_2_4side_width", paramType::Int, "Side Strips Width (pixels)", compensateGroup),
      &T::m_2_4side_width);
  return d;
}

}  // namespace

const recordDescriptor<CBG_Dlg>& CBG_Dlg::descriptor() {
  static const recordDescriptor<CBG_Dlg> d = makeCBG_Dlg();
  return d;
}

const recordDescriptor<CThinning>& CThinning::descriptor() {
  static const recordDescriptor<CThinning> d{
      "CThinning",
      "Thinning",
      "Thinning",
      {{{"m_depth", paramType::Int, std::pair{0.0, 1024.0},
         "INT Depth of Thinning in pixels of backgorund to the foreground"},
        &CThinning::m_depth}}};
  return d;
}

const recordDescriptor<CSpread>& CSpread::descriptor() {
  static const recordDescriptor<CSpread> d{
      "CSpread",
      "Spread",
      "Spread",
      {{{"m_spread", paramType::Int, std::pair{0.0, 1024.0},
         "INT Range of Spread in pixels of the foreground inside the background"},
        &CSpread::m_spread}}};
  return d;
}

}  // namespace tamble
