#include "dialogs/spectraDialogs.h"

#include <string>
#include <utility>

namespace tamble {
namespace {

// A check box; `kept` says whether the store remembers it.
paramInfo flag(const std::string& key, const std::string& caption, bool kept) {
  return {key, paramType::Int, std::pair{0.0, 1.0}, caption, "", kept};
}

}  // namespace

const recordDescriptor<Csptrans>& Csptrans::descriptor() {
  using T = Csptrans;
  static const recordDescriptor<T> d{
      "Csptrans",
      "sptrans",
      "2D Power Spectrum Density",
      {{flag("m_nomean", "Compensate Image Average", false), &T::m_nomean},
       {flag("m_win", "Use 2D Blackman Windowing", true), &T::m_win},
       {flag("m_log", "PSD Ouput In dB", false), &T::m_log}}};
  return d;
}

const recordDescriptor<CWhiten>& CWhiten::descriptor() {
  using T = CWhiten;
  static const recordDescriptor<T> d{
      "CWhiten",
      "Whiten",
      "Whitening / Soft Focus Effect",
      {{{"m_power", paramType::Float, std::pair{0.0, 99.0},
         "Amplitude Power (Reasonable Choice 0.0-1.0)"},
        &T::m_power},
       {{"m_kind",
         paramType::Radio, std::nullopt,
         "Effect",
         "",
         true,
         {{0, "Whitening"}, {1, "Soft Focus Effect"}}},
        &T::m_kind}}};
  return d;
}

const recordDescriptor<Cmcctrans>& Cmcctrans::descriptor() {
  static const recordDescriptor<Cmcctrans> d{
      "Cmcctrans",
      "mcctrans",
      "McClellan Transform",
      {{{"m_power", paramType::Float, std::pair{-99.0, 99.0}, "Spectrum Amplitude Power"},
        &Cmcctrans::m_power}}};
  return d;
}

const recordDescriptor<CCrossCorr>& CCrossCorr::descriptor() {
  using T = CCrossCorr;
  static const recordDescriptor<T> d{
      "CCrossCorr",
      "CrossCorr",
      "Cross Correlation",
      {{flag("m_nomean", "Compensate Image Average", false), &T::m_nomean},
       {flag("m_phase", "Correlation Phase Only", true), &T::m_phase},
       {flag("m_win", "Use 2D Blackman Windowing", false), &T::m_win},
       {flag("m_smooth", "Reject InterCorrelation Perturbation", true), &T::m_smooth}}};
  return d;
}

}  // namespace tamble
