#include "dialogs/resectDialog.h"

namespace tamble {

const recordDescriptor<CdlgResect>& CdlgResect::descriptor() {
  using T = CdlgResect;
  static const std::string fixedFrame = "Numerate Markers";
  static const std::string powerFrame = "Polynomial Power:";
  static const recordDescriptor<T> d{
      "CdlgResect",
      "CResect",
      "Resection Methods ",
      {{{"Resect Type", paramType::Radio, std::nullopt, "Resect Type", "", true,
         {{0, "Resect 1"}, {1, "Resect 2"}}},
        &T::m_type},
       {{"m_opt", paramType::Int, std::pair{0.0, 1.0}, "Optimize"}, &T::m_opt},
       {{"m_err", paramType::Int, std::pair{0.0, 1.0}, "Show Errors", "INFO"}, &T::m_err},
       {{"m_fix", paramType::Radio, std::nullopt, "Fixed Markers Number:", fixedFrame, true,
         {{0, "0"}, {1, "1"}, {2, "2"}, {3, ">=3"}}},
        &T::m_fix},
       {{"m_mall", paramType::Int, std::pair{0.0, 1.0}, "All", fixedFrame}, &T::m_mall},
       {{"m_win", paramType::Int, std::pair{1.0, 255.0},
         "Tracking Window (Marker's spatial box size)"},
        &T::m_win},
       {{"m_pow", paramType::Radio, std::nullopt, powerFrame, powerFrame, true,
         {{0, "0"}, {3, "1"}, {6, "2"}, {10, "3"}}},
        &T::m_pow}}};
  return d;
}

int resectPolyOrder(int terms) {
  switch (terms) {
    case 0: return 0;
    case 3: return 1;
    case 6: return 2;
    default: return 3;
  }
}

}  // namespace tamble
