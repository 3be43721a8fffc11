// The parameter records of a project's conversion: the scenario of an
// automatic conversion, the result cards and the Gauss filters of the stages.
#pragma once

#include <array>
#include <string>

#include "host/paramRecord.h"

namespace tamble {

// "Automatic Convert Scenario": one flag per stage, in the order the stages run.
struct CConvertBin_01 {
  int m_CB01_Dark = 0, m_CB01_Flat = 0, m_CB01_Automarq = 0, m_CB01_Revise = 0,
      m_CB01_FillUpMark = 0, m_CB01_Filter = 0, m_CB01_BackGround = 0, m_CB01_Distortion = 0,
      m_CB01_Alignment = 0, m_CB01_Resim = 0, m_CB01_Convert = 0, m_CB01_FGThin = 0,
      m_CB01_FinalFilter = 0, m_CB01_Corr = 0, m_CB01_Resection = 0, m_CB01_ModMark = 0;
  // The check boxes the project lets the user change, in the order of the
  // keys (dark and flat frames, pressure ports, resection data decide it).
  // Not stored: the dialog is given it at every opening.
  std::array<bool, 16> offered = filled(true);
  static const recordDescriptor<CConvertBin_01>& descriptor();

 private:
  static constexpr std::array<bool, 16> filled(bool v) {
    std::array<bool, 16> a{};
    a.fill(v);
    return a;
  }
};

// Whether the scenario dialog lets the user change the check box of `key`:
// one the project does not offer is greyed, and so are the output stages
// ("Filter Output Fields", "Resect Output Fields", "ForeGround Thinning",
// "Correction in situ") while "Field Calculation" is off. Turning "Field
// Calculation" off clears them; the dialog refuses a box the project does
// not offer that is on.
bool controlEnabled(const CConvertBin_01& record, const std::string& key);

// "Create Cards": which result images the field calculation makes.
struct CCreateCards {
  int m_ii = 0, m_p = 0, m_pp = 0, m_cp = 0, m_t = 0;
  static const recordDescriptor<CCreateCards>& descriptor();
};

// The Gauss filter of the sources ("Filtering...") and of the results
// ("Filter Output Fields...").
struct CGaussBS {
  int m_diameter = 3;
  int m_iter = 1;
  static const recordDescriptor<CGaussBS>& descriptor();
};
struct CGaussFBS {
  int m_diameter = 3;
  int m_iter = 1;
  static const recordDescriptor<CGaussFBS>& descriptor();
};

}  // namespace tamble
