#include "dialogs/alignmentDialog.h"

#include <utility>
#include <vector>

#include "plugin/session.h"

namespace tamble {
namespace {

paramInfo checkBox(const std::string& key, const std::string& caption, const std::string& frame) {
  return {key, paramType::Int, std::pair{0.0, 1.0}, caption, frame};
}

paramInfo radio(const std::string& key, const std::string& frame,
                std::vector<radioChoice> choices) {
  return {key, paramType::Radio, std::nullopt, frame, frame, true, std::move(choices)};
}

const std::string numeration = "Markers Numeration", alignment = "Image Alignment", show = "Show",
                  qped = "QPED options (Bigger Values Require More Resources)";

// What the session keeps of the last OK (the defaults until then).
struct alignmentMemory {
  CAlignment values;
};

}  // namespace

const recordDescriptor<CAlignment>& CAlignment::descriptor() {
  using T = CAlignment;
  static const recordDescriptor<T> d = greyedBy(
      [](const T& r, const std::string& key) { return controlEnabled(r, key); },
      recordDescriptor<T>{
      "CAlignment",
      "Alignment",
      "Image Alignment",
      {{{"m_nsquare", paramType::Int, std::pair{3.0, 999.0},
         "Tracking Window (Marker's spatial box size)", numeration},
        &T::m_nsquare},
       {radio("pnumber", "Polynomial Power", {{0, "O "}, {3, "1"}, {6, "2"}, {10, "3"}}),
        &T::pnumber},
       {radio("rtype", "Transformation Law", {{1, "Link"}, {2, "Move && Rotate"}}), &T::rtype},
       {radio("nfixnumber", "Number of Fixed Markers", {{0, "0"}, {1, "1"}, {2, "2"}, {3, ">=3"}}),
        &T::nfixnumber},
       {checkBox("m_immediate", "Show errors", show), &T::m_immediate},
       {checkBox("m_no_trans", "Polynomial", alignment), &T::m_no_trans},
       {checkBox("m_QPED", "QPED", alignment), &T::m_QPED},
       {checkBox("m_macro", "Macro Alignment", alignment), &T::m_macro},
       {checkBox("m_micro", "Micro Alignment", alignment), &T::m_micro},
       {checkBox("m_fixed", "Markers are Fixed and Correct", numeration), &T::m_fixed},
       {{"m_QPED_cellSize", paramType::Int, std::pair{4.0, 128.0},
         "Cell Size in pixels (4-128, usually 16)", qped},
        &T::m_QPED_cellSize},
       {{"m_QPED_stepSize", paramType::Int, std::pair{2.0, 64.0},
         "Step Size in pixels (2-64, usually 8)", qped},
        &T::m_QPED_stepSize},
       {{"m_QPED_Iterations", paramType::Int, std::pair{1.0, 16.0},
         "Iterations Number (1-16, usually 1)", qped},
        &T::m_QPED_Iterations},
       {checkBox("m_info", "Show INFO", show), &T::m_info},
       {checkBox("m_keyb", "Optimize", alignment), &T::m_keyb}}});
  return d;
}

bool controlEnabled(const CAlignment& record, const std::string& key, int choice) {
  const bool law = key == "rtype" || key == "pnumber" || key == "nfixnumber";
  if (!record.m_no_trans && (law || key == "m_nsquare")) return false;
  if (record.m_micro) {
    if (key == "m_no_trans" || key == "rtype" || key == "nfixnumber" || key == "m_macro")
      return false;
    if (key == "pnumber" && choice == 10) return false;
  }
  if (record.m_fixed && key == "nfixnumber") return false;
  if (key == "m_QPED_cellSize" || key == "m_QPED_stepSize" || key == "m_QPED_Iterations")
    return record.m_QPED != 0;
  return true;
}

CAlignment alignmentOpening() {
  const alignmentMemory& memory = session().remembered<alignmentMemory>();
  CAlignment record;
  const CAlignment& last = memory.values;
  record.m_nsquare = last.m_nsquare;
  record.pnumber = last.pnumber;
  record.rtype = last.rtype;
  record.nfixnumber = last.nfixnumber;
  record.m_immediate = last.m_immediate;
  record.m_no_trans = last.m_no_trans;
  record.m_QPED = last.m_QPED;
  return record;
}

void rememberAlignment(const CAlignment& record) {
  session().remembered<alignmentMemory>().values = record;
}

}  // namespace tamble
