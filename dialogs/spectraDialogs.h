// The parameter records of the spectra, the amplitude transforms and the
// correlations of the "Transform" menu.
#pragma once

#include "host/paramRecord.h"

namespace tamble {

// "2D Power Spectrum Density": both spectrum commands. The window is
// remembered in the store; the mean and the dB output start off each time.
struct Csptrans {
  int m_nomean = 0;  // subtract the mean first
  int m_win = 0;     // radial Blackman window
  int m_log = 0;     // output in dB
  static const recordDescriptor<Csptrans>& descriptor();
};

// "Whitening / Soft Focus Effect": the amplitude power, used as it is for
// whitening and negated for the soft focus effect.
struct CWhiten {
  float m_power = 0.0f;
  int m_kind = 0;  // 0 "Whitening", 1 "Soft Focus Effect"
  float power() const { return m_kind == 1 ? -m_power : m_power; }
  static const recordDescriptor<CWhiten>& descriptor();
};

// "McClellan Transform": the power of the spectrum's amplitude.
struct Cmcctrans {
  float m_power = 0.0f;
  static const recordDescriptor<Cmcctrans>& descriptor();
};

// "Cross Correlation": phase only and smoothing are remembered in the store,
// mean and window start off each time.
struct CCrossCorr {
  int m_nomean = 0;
  int m_phase = 0;
  int m_win = 0;
  int m_smooth = 0;
  static const recordDescriptor<CCrossCorr>& descriptor();
};

}  // namespace tamble
