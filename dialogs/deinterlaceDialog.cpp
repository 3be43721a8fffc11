#include "dialogs/deinterlaceDialog.h"

namespace tamble {

const recordDescriptor<CDeInterlace>& CDeInterlace::descriptor() {
  using T = CDeInterlace;
  auto radio = [](const char* key, const char* group, std::vector<radioChoice> choices) {
    return paramInfo(key, paramType::Radio, std::nullopt, group, group, false, std::move(choices));
  };
  static const recordDescriptor<T> d{
      "CDeInterlace",
      "",
      "Interlace/DeInterlace Image",
      {{radio("action", "Action", {{1, "Interlace"}, {0, "DeInterlace"}}), &T::action},
       {radio("field", "Field (ScanLines) to Retain",
              {{1, "Field 1 (Odd Lines 1,3,5,...)"}, {2, "Field 2 (Even Lines 2,4,6,...)"}}),
        &T::field},
       {radio("method", "DeInterlace Methods",
              {{-1, "Line Doubling"},
               {0, "Cross Interpolation"},
               {1, "Adaptive Edge-based Line Average"},
               {2, "Robust Edge-based Line Average"},
               {3, "Weighted Mean"},
               {4, "Nearest Neighbour (Morphological)"}}),
        &T::method}}};
  return d;
}

}  // namespace tamble
