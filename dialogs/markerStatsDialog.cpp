#include "dialogs/markerStatsDialog.h"

#include <utility>

namespace tamble {

CMarkOut::CMarkOut(std::vector<std::string> lines) : text(std::move(lines)) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    lineFields.push_back(shownField("line" + std::to_string(i + 1), paramType::Int, text[i], ""));
    lineFields.back().defaultValue = static_cast<double>(i + 1);
  }
}

const std::string& CMarkOut::className() const {
  static const std::string name = "CMarkOut";
  return name;
}

const std::string& CMarkOut::section() const {
  static const std::string none;
  return none;
}

const std::string& CMarkOut::title() const {
  static const std::string caption = "Markers Statistics";
  return caption;
}

}  // namespace tamble
