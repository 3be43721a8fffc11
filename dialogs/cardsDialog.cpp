#include "dialogs/cardsDialog.h"

namespace tamble {

std::optional<std::string> cardsComplaint(const CCreateCards& cards, const std::string& paintKind) {
  if ((paintKind == "double" || paintKind == "single") && cards.m_t != 0)
    return "< T > card is of no use\n\n Recheck...";
  if (paintKind == "Tsingle" && cards.m_p != 0 && cards.m_pp != 0 && cards.m_cp != 0)
    return "< P >< P/Pstat >< Cp > cards are of no use\n\n Recheck...";
  return std::nullopt;
}

}  // namespace tamble
