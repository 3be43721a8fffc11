// The parameter records of the small-window filter sets, the speckle
// removers and the wipe of closed mask regions.
#pragma once

#include "host/paramRecord.h"

namespace tamble {

// "3x3 Iterative Filters Set": the kernel (1 "Smoothing" .. 19) and passes.
struct Cs3x3iter {
  int m_iter = 1;
  int m_kind = 1;
  static const recordDescriptor<Cs3x3iter>& descriptor();
};

// "Simple (3x3) Gradients": 1 "Roberts" .. 9 "Maltian Cross".
struct Cs3x3grad {
  int m_kind = 1;
  static const recordDescriptor<Cs3x3grad>& descriptor();
};

// "Morphological Filters Set": 1 "Dilation" .. 16, over a disc of m_rl.
struct Cmorph {
  int m_kind = 1;
  float m_rl = 3.0f;
  static const recordDescriptor<Cmorph>& descriptor();
};

// "Speckle-Cell Structure Removing Filter".
struct CSpeckle {
  float m_rl = 5.0f;
  int m_iter = 1;
  static const recordDescriptor<CSpeckle>& descriptor();
};

// "Morphological Speckle Removal by Crimmins".
struct CCrimmins {
  int m_iter = 1;
  static const recordDescriptor<CCrimmins>& descriptor();
};

// "Flat Round Filter Parameters": the four "Closed Regions Wipe$" commands.
struct CFF {
  int m_diameter = 3;
  int m_iterations = 1;
  static const recordDescriptor<CFF>& descriptor();
};

}  // namespace tamble
