// The parameter records of the contrast and sharpness commands.
#pragma once

#include "host/paramRecord.h"

namespace tamble {

// "UnSharp Mask".
struct CUnSharp {
  int m_nl = 5;              // Gauss diameter
  float m_a = 5.0f;          // upper coefficient
  float m_b = 4.0f;          // lower coefficient
  int m_id1 = 0;             // force B = A - 1
  float m_overfall = 0.0f;   // lower threshold of the blurred difference
  float m_fade = 1.0f;       // 0 the original, 1 the result
  static const recordDescriptor<CUnSharp>& descriptor();
};

// "Space-Variant Image Enhancement": the kind is remembered for the session
// only; the others start from the recommended values until stored.
struct CDIP1 {
  int kind = 1;  // 1 Flat, 2 Diagonal, 3 Cross, 4 WaveLet
  float m_fade = 10.0f;
  int m_nll = 9;
  int m_nlg = 5;
  int m_sm = 1;
  float m_scale = 100.0f;
  static const recordDescriptor<CDIP1>& descriptor();
};

// "Change Image Contrast".
struct CContrast {
  float m_contrast = 1.0f;
  static const recordDescriptor<CContrast>& descriptor();
};

// "Image Histogram/Plateau Equalization": the method is remembered for the
// session only.
struct CHPEQ {
  float m_fade = 0.5f;
  int ihist = 1;  // 1 Direct, 2 Random Choice, 3 Adaptive
  static const recordDescriptor<CHPEQ>& descriptor();
};

// "Thinning of Steep Regions Using Power Law".
struct Csteep {
  int m_nl = 5;
  float m_thresh = 0.2f;
  float m_power = 2.0f;
  static const recordDescriptor<Csteep>& descriptor();
};

}  // namespace tamble
