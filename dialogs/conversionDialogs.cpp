#include "dialogs/conversionDialogs.h"

#include <algorithm>

namespace tamble {

namespace {

constexpr std::pair<double, double> flag{0.0, 1.0};

template <class T>
recordDescriptor<T> gaussRecord(const char* cls, const char* section, const char* title) {
  return {cls,
          section,
          title,
          {{{"m_diameter", paramType::Int, std::pair{1.0, 999.0}, "Filter Diameter (1-999)"},
            &T::m_diameter},
           {{"m_iter", paramType::Int, std::pair{1.0, 1000.0}, "Iterations Number(1-999)"},
            &T::m_iter}}};
}

// The stages that work on the results of "Field Calculation".
constexpr const char* outputStages[] = {"m_CB01_FinalFilter", "m_CB01_Resection", "m_CB01_FGThin",
                                        "m_CB01_Corr"};

bool isOutputStage(const std::string& key) {
  return std::find(std::begin(outputStages), std::end(outputStages), key) != std::end(outputStages);
}

void clearOutputStages(CConvertBin_01& r, const std::string& key) {
  if (key != "m_CB01_Convert" || r.m_CB01_Convert) return;
  r.m_CB01_FinalFilter = r.m_CB01_Resection = r.m_CB01_FGThin = r.m_CB01_Corr = 0;
}

// A box the project does not offer cannot be on. (The output stages that
// "Field Calculation" greys are cleared when it is turned off.)
std::optional<std::string> greyedButOn(const CConvertBin_01& r) {
  const auto& fields = CConvertBin_01::descriptor().fieldList;
  for (std::size_t i = 0; i < fields.size(); ++i) {
    const int on = r.*std::get<int CConvertBin_01::*>(fields[i].where);
    if (on && !r.offered[i])
      return "\"" + fields[i].info.caption + "\" is not available for this project";
  }
  return std::nullopt;
}

}  // namespace

const recordDescriptor<CConvertBin_01>& CConvertBin_01::descriptor() {
  using T = CConvertBin_01;
  static const recordDescriptor<T> d = [] {
    recordDescriptor<T> d{
        "CConvertBin_01",
        "ConvertBin_01",
        "Automatic Convert Scenario",
        {{{"m_CB01_Dark", paramType::Int, flag, "Dark Frame Subtraction"}, &T::m_CB01_Dark},
         {{"m_CB01_Flat", paramType::Int, flag, "Flat Field Correction"}, &T::m_CB01_Flat},
         {{"m_CB01_Automarq", paramType::Int, flag, "Automatic Marking"}, &T::m_CB01_Automarq},
         {{"m_CB01_Revise", paramType::Int, flag, "Markers Precise Positioning"},
          &T::m_CB01_Revise},
         {{"m_CB01_FillUpMark", paramType::Int, flag, "Fill Up Markers"}, &T::m_CB01_FillUpMark},
         {{"m_CB01_Filter", paramType::Int, flag, "Filtering"}, &T::m_CB01_Filter},
         {{"m_CB01_BackGround", paramType::Int, flag, "BackGround Work"}, &T::m_CB01_BackGround},
         {{"m_CB01_Distortion", paramType::Int, flag, "Distortion Correction"},
          &T::m_CB01_Distortion},
         {{"m_CB01_Alignment", paramType::Int, flag, "Alignment of Images"}, &T::m_CB01_Alignment},
         {{"m_CB01_Resim", paramType::Int, flag, "Resect Images"}, &T::m_CB01_Resim},
         {{"m_CB01_Convert", paramType::Int, flag, "Field Calculation"}, &T::m_CB01_Convert},
         {{"m_CB01_FGThin", paramType::Int, flag, "ForeGround Thinning"}, &T::m_CB01_FGThin},
         {{"m_CB01_FinalFilter", paramType::Int, flag, "Filter Output Fields"},
          &T::m_CB01_FinalFilter},
         {{"m_CB01_Corr", paramType::Int, flag, "Correction in situ"}, &T::m_CB01_Corr},
         {{"m_CB01_Resection", paramType::Int, flag, "Resect Output Fields"}, &T::m_CB01_Resection},
         {{"m_CB01_ModMark", paramType::Int, flag, "Modify", "Initial Markers"},
          &T::m_CB01_ModMark}}};
    d.onEdit = clearOutputStages;
    d.okCheck = greyedButOn;
    d.enabledIf = [](const T& r, const std::string& key) { return controlEnabled(r, key); };
    return d;
  }();
  return d;
}

bool controlEnabled(const CConvertBin_01& record, const std::string& key) {
  const auto& fields = CConvertBin_01::descriptor().fieldList;
  for (std::size_t i = 0; i < fields.size(); ++i)
    if (fields[i].info.key == key)
      return record.offered[i] && (record.m_CB01_Convert || !isOutputStage(key));
  return false;
}

const recordDescriptor<CCreateCards>& CCreateCards::descriptor() {
  using T = CCreateCards;
  static const recordDescriptor<T> d{"CCreateCards",
                                     "CreateCards",
                                     "Create Cards",
                                     {{{"m_ii", paramType::Int, flag, "Iref/Isen"}, &T::m_ii},
                                      {{"m_p", paramType::Int, flag, "Pressure"}, &T::m_p},
                                      {{"m_pp", paramType::Int, flag, "P/Pstat"}, &T::m_pp},
                                      {{"m_cp", paramType::Int, flag, "Cp"}, &T::m_cp},
                                      {{"m_t", paramType::Int, flag, "T"}, &T::m_t}}};
  return d;
}

const recordDescriptor<CGaussBS>& CGaussBS::descriptor() {
  static const auto d =
      gaussRecord<CGaussBS>("CGaussBS", "GaussBS", "Gaussian Filter (BConvert Source)");
  return d;
}

const recordDescriptor<CGaussFBS>& CGaussFBS::descriptor() {
  static const auto d =
      gaussRecord<CGaussFBS>("CGaussFBS", "GaussFBS", "Gaussian Filter (BConvert Results)");
  return d;
}

}  // namespace tamble
