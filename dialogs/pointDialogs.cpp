#include "dialogs/pointDialogs.h"

#include <string>
#include <utility>
#include <vector>

namespace tamble {
namespace {

const std::vector<radioChoice> operations = {
    {1, "Add"}, {2, "Subtract"}, {3, "Multiply"}, {4, "Divide"}};

// The display-only limits of the image, never stored.
template <class T>
void addLimits(recordDescriptor<T>& d) {
  const std::string group = "Image Intensity MIN/MAX";
  d.fieldList.push_back(
      {shownField("image_min", paramType::Float, "MIN", group), &T::image_min});
  d.fieldList.push_back(
      {shownField("image_max", paramType::Float, "MAX", group), &T::image_max});
}

paramInfo checkBox(const std::string& key, const std::string& caption) {
  return {key, paramType::Int, std::pair{0.0, 1.0}, caption};
}

recordDescriptor<CArithmetic> makeCArithmetic() {
  recordDescriptor<CArithmetic> d{
      "CArithmetic", "Arithmetic", "Arithmetic Operations with Constant", {}};
  d.fieldList.push_back({{"m_constant", paramType::Float, std::pair{-1e10, 1e10}, "Constant"},
                         &CArithmetic::m_constant});
  d.fieldList.push_back(
      {{"af", paramType::Radio, std::nullopt, "Operation", "Operation", false, operations},
       &CArithmetic::af});
  addLimits(d);
  return d;
}

recordDescriptor<CCut_Off> makeCCut_Off() {
  recordDescriptor<CCut_Off> d{
      "CCut_Off", "Cut_Off", "Cut off Intensities (Clipping of Intensity Values Range)", {}};
  d.fieldList.push_back({checkBox("m_key_min", "Cut Below"), &CCut_Off::m_key_min});
  d.fieldList.push_back({checkBox("m_key_max", "Cut Above"), &CCut_Off::m_key_max});
  d.fieldList.push_back(
      {{"m_Cut_Max_Value", paramType::Float, std::nullopt, "MAX Threshold"},
       &CCut_Off::m_Cut_Max_Value});
  d.fieldList.push_back({{"m_Cut_Min_Value", paramType::Float, std::nullopt, "MIN Threshold"},
                         &CCut_Off::m_Cut_Min_Value});
  addLimits(d);
  return d;
}

recordDescriptor<CFlood> makeCFlood() {
  recordDescriptor<CFlood> d{"CFlood", "Flood", "Flood ROI With User Defined Value", {}};
  d.fieldList.push_back(
      {{"m_Value", paramType::Float, std::nullopt, "User Defined Value"}, &CFlood::m_Value});
  d.fieldList.push_back({checkBox("m_bg", "Set ON to fill BackGround"), &CFlood::m_bg});
  addLimits(d);
  return d;
}

recordDescriptor<CRanged_Filters> makeCRanged_Filters() {
  using R = CRanged_Filters;
  recordDescriptor<R> d{"CRanged_Filters", "Ranged_Filters", "Ranged Filters", {}};
  d.fieldList.push_back({{"m_Ranged_Filters_kind",
                          paramType::Radio, std::nullopt,
                          "Filter",
                          "Filter",
                          true,
                          {{1, "Wiener"}, {2, "Gauss"}, {3, "Median"}, {4, "3D Fast"}}},
                         &R::m_Ranged_Filters_kind});
  d.fieldList.push_back({{"m_Ranged_Filters_iter", paramType::Int, std::pair{1.0, 999.0},
                          "Iterations Number (1-999)"},
                         &R::m_Ranged_Filters_iter});
  const std::string user = "User Defined";
  d.fieldList.push_back(
      {{"m_Ranged_Filters_max_value", paramType::Float, std::nullopt, "MAX", user},
       &R::m_Ranged_Filters_max_value});
  d.fieldList.push_back(
      {{"m_Ranged_Filters_min_value", paramType::Float, std::nullopt, "MIN", user},
       &R::m_Ranged_Filters_min_value});
  d.fieldList.push_back({{"m_Ranged_Filters_diam", paramType::Float, std::pair{3.0, 999.0},
                          "Filter Diameter (3-999)"},
                         &R::m_Ranged_Filters_diam});
  d.fieldList.push_back({{"m_Ranged_Filters_thr", paramType::Float, std::pair{0.000001, 1e6},
                          "Threshold (~0.001-1000.)"},
                         &R::m_Ranged_Filters_thr});
  addLimits(d);
  return d;
}

}  // namespace

const recordDescriptor<CArithmetic>& CArithmetic::descriptor() {
  static const recordDescriptor<CArithmetic> d = makeCArithmetic();
  return d;
}

const recordDescriptor<CImageArith>& CImageArith::descriptor() {
  static const recordDescriptor<CImageArith> d{
      "CImageArith",
      "",
      "Image Simple Arithmetic",
      {{{"oper", paramType::Radio, std::nullopt, "Operation", "Operation", false, operations},
        &CImageArith::oper}}};
  return d;
}

const recordDescriptor<CCut_Off>& CCut_Off::descriptor() {
  static const recordDescriptor<CCut_Off> d = makeCCut_Off();
  return d;
}

const recordDescriptor<CFlood>& CFlood::descriptor() {
  static const recordDescriptor<CFlood> d = makeCFlood();
  return d;
}

const recordDescriptor<CRanged_Filters>& CRanged_Filters::descriptor() {
  static const recordDescriptor<CRanged_Filters> d = makeCRanged_Filters();
  return d;
}

}  // namespace tamble
