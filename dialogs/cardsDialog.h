// The result cards as the field calculation's dialog takes them: the
// "Create Cards" record with a check against the paint kind. A host keeps
// the dialog open with the complaint shown until the choice passes.
#pragma once

#include <optional>
#include <string>

#include "dialogs/conversionDialogs.h"

namespace tamble {

// A choice the paint cannot give: a T card for a pressure paint ("double",
// "single"), or the three pressure cards together for a temperature paint
// ("Tsingle"). One or two of them on a temperature paint pass unnoticed.
std::optional<std::string> cardsComplaint(const CCreateCards& cards, const std::string& paintKind);

class checkedCards : public boundRecord<CCreateCards> {
 public:
  checkedCards(CCreateCards& cards, std::string paintKind)
      : boundRecord<CCreateCards>(CCreateCards::descriptor(), cards),
        values(cards),
        kind(std::move(paintKind)) {}
  std::optional<std::string> ownCheck() const override { return cardsComplaint(values, kind); }

 private:
  const CCreateCards& values;
  std::string kind;
};

}  // namespace tamble
