#include "dialogs/markerDialogs.h"

#include <utility>
#include <vector>

#include "plugin/session.h"

namespace tamble {
namespace {

const std::vector<radioChoice> signs = {{1, "Peaks"}, {-1, "Pits"}};
const std::string features = "Markers Features";
const std::string law = "Threshold Law";

paramInfo checkBox(const std::string& key, const std::string& caption) {
  return {key, paramType::Int, std::pair{0.0, 1.0}, caption};
}

paramInfo signChoice(const std::string& key) {
  return {key, paramType::Radio, std::nullopt, "Markers Features", features, true, signs};
}

// A value the record holds and stores, with no control and no check.
paramInfo held(const std::string& key) {
  return {key, paramType::Int, std::nullopt, "", "", true};
}

struct markerMemory {
  CRevMarkers revise;
  CAutomarq search;  // only the five shared values are read
};

markerMemory& last() { return session().remembered<markerMemory>(); }

}  // namespace

const recordDescriptor<CRevMarkers>& CRevMarkers::descriptor() {
  static const recordDescriptor<CRevMarkers> d{
      "CRevMarkers",
      "RevMarkers",
      "Revise/Draw Markers",
      {{{"m_BiggestRadius", paramType::Double, std::pair{1.0, 999.0}, "Diameter (2...995)"},
        &CRevMarkers::m_BiggestRadius},
       {signChoice("iposneg"), &CRevMarkers::iposneg}}};
  return d;
}

const recordDescriptor<CCSNumerate>& CCSNumerate::descriptor() {
  static const std::string frame = "Number of Fixed Markers";
  static const recordDescriptor<CCSNumerate> d{
      "CCSNumerate",
      "CSNumerate",
      "Numerate Markers (BConvert Source)",
      {{{"m_box", paramType::Int, std::pair{1.0, 55.0},
         "Tracking Window (Marker's spatial box size)"},
        &CCSNumerate::m_box},
       {{"m_fix", paramType::Radio, std::nullopt, frame, frame, true,
         {{0, "0"}, {1, "1"}, {2, "2"}, {3, "3 and more"}}},
        &CCSNumerate::m_fix}}};
  return d;
}

float CAutomarq::level() const {
  if (th_rel == 0) return m_tresh;
  if (th_rel == 1) return m_rel;
  return 0.5f;
}

const recordDescriptor<CAutomarq>& CAutomarq::descriptor() {
  using T = CAutomarq;
  static const recordDescriptor<T> d = greyedBy(
      [](const T& r, const std::string& key) { return controlEnabled(r, key); },
      recordDescriptor<T>{
      "CAutomarq",
      "Automarq",
      "Auto Marker Search",
      {{{"m_bmr", paramType::Float, std::pair{2.0, 995.0}, "Diameter (2...995)"}, &T::m_bmr},
       {{"m_tresh", paramType::Float, std::pair{0.01, 100.0}, "Scale (~1.0)", law},
        &T::m_tresh},
       {{"m_rel", paramType::Float, std::pair{0.01, 0.99}, "Scale (0.001 - 0.999)", law},
        &T::m_rel},
       {checkBox("m_fixed", "Select only fixed markers"), &T::m_fixed},
       {signChoice("pos_neg"), &T::pos_neg},
       {held("regime"), &T::regime},
       {{"th_rel",
         paramType::Radio, std::nullopt,
         "Threshold Law",
         law,
         true,
         {{0, "Entropy based"}, {1, "Relative based"}}},
        &T::th_rel},
       {held("high_speed"), &T::high_speed}}});
  return d;
}

const recordDescriptor<CAutomarsc>& CAutomarsc::descriptor() {
  using T = CAutomarsc;
  static const recordDescriptor<T> d = greyedBy(
      [](const T& r, const std::string& key) { return controlEnabled(r, key); },
      recordDescriptor<T>{
      "CAutomarsc",
      "Automarsc",
      "Auto Marker Search With Enumeration",
      {{{"m_bmr", paramType::Float, std::pair{2.0, 995.0}, "Radius (~2...995)"}, &T::m_bmr},
       {{"m_entropy", paramType::Float, std::pair{0.001, 999.0}, "Scale (~1.0)", law},
        &T::m_entropy},
       {{"m_relative", paramType::Float, std::pair{0.001, 1.0}, "Scale (0.001 - 0.999)", law},
        &T::m_relative},
       {checkBox("m_fixed", "Select Only Fixed Markers"), &T::m_fixed},
       {signChoice("pos_neg"), &T::pos_neg},
       {checkBox("m_renumeration", "ENumeration"), &T::m_renumeration},
       {{"m_box", paramType::Int, std::pair{3.0, 99.0}, "Box"}, &T::m_box},
       {{"rel",
         paramType::Radio, std::nullopt,
         "Threshold Law",
         law,
         true,
         {{0, "Entropy Based"}, {1, "Relative Based"}}},
        &T::rel},
       {checkBox("m_errors", "Show Deformation Errors"), &T::m_errors}}});
  return d;
}

const recordDescriptor<CAutomarl>& CAutomarl::descriptor() {
  using T = CAutomarl;
  static const recordDescriptor<T> d{
      "CAutomarl",
      "Automarl",
      "Markers Search by Limited Marker's Number",
      {{{"m_bmr", paramType::Float, std::pair{2.0, 995.0}, "Diameter (2...995)"}, &T::m_bmr},
       {{"m_limit", paramType::Int, std::pair{1.0, 1000.0}, "Markers Number (1...1000)"},
        &T::m_limit}}};
  return d;
}

const recordDescriptor<CAutomarp>& CAutomarp::descriptor() {
  using T = CAutomarp;
  paramInfo sign = signChoice("pos_neg");
  sign.stored = false;
  static const recordDescriptor<T> d{
      "CAutomarp",
      "Automarp",
      "Markers Search by Reference",
      {{{"m_bmr", paramType::Float, std::pair{1.99, 995.0}, "Diameter (2...995)", "", false},
        &T::m_bmr},
       {sign, &T::pos_neg}}};
  return d;
}

bool controlEnabled(const CAutomarq& record, const std::string& key) {
  const bool search =
      key == "m_bmr" || key == "m_tresh" || key == "m_rel" || key == "pos_neg" || key == "th_rel";
  if (record.m_fixed && search) return false;
  if (key == "m_tresh") return record.th_rel == 0;
  if (key == "m_rel") return record.th_rel == 1;
  return true;
}

bool controlEnabled(const CAutomarsc& record, const std::string& key) {
  const bool search = key == "m_bmr" || key == "m_entropy" || key == "m_relative" ||
                      key == "pos_neg" || key == "rel" || key == "m_box";
  if (record.m_fixed && search) return false;
  if (key == "m_box") return record.m_renumeration != 0;
  return true;
}

CRevMarkers& revMarkersMemory() { return last().revise; }

CAutomarq automarqFromMemory() {
  CAutomarq record;
  const CAutomarq& shared = last().search;
  record.m_bmr = shared.m_bmr;
  record.th_rel = shared.th_rel;
  record.m_tresh = shared.m_tresh;
  record.m_rel = shared.m_rel;
  record.pos_neg = shared.pos_neg;
  return record;
}

void rememberSearch(const CAutomarq& record) { last().search = record; }

void rememberSearch(const CAutomarsc& record) {
  CAutomarq& shared = last().search;
  shared.m_bmr = record.m_bmr;
  shared.th_rel = record.rel;
  shared.m_tresh = record.m_entropy;
  shared.m_rel = record.m_relative;
  shared.pos_neg = record.pos_neg;
}

}  // namespace tamble
