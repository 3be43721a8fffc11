// The parameter records of the point operations and the ranged filters.
#pragma once

#include "host/paramRecord.h"

namespace tamble {

// The image's present intensity limits, shown beside the parameters; the
// command fills them before the dialog opens and nothing reads them back.
struct imageLimits {
  float image_min = 0, image_max = 0;
};

// "Arithmetic Operations with Constant".
struct CArithmetic : imageLimits {
  float m_constant = 0;
  int af = 1;  // 1 add, 2 subtract, 3 multiply, 4 divide
  static const recordDescriptor<CArithmetic>& descriptor();
};

// "Image Simple Arithmetic": nothing is stored.
struct CImageArith {
  int oper = 1;  // 1 add, 2 subtract, 3 multiply, 4 divide
  static const recordDescriptor<CImageArith>& descriptor();
};

// "Cut off Intensities (Clipping of Intensity Values Range)".
struct CCut_Off : imageLimits {
  int m_key_min = 1, m_key_max = 0;
  float m_Cut_Max_Value = 1000.0f, m_Cut_Min_Value = 0.0f;
  static const recordDescriptor<CCut_Off>& descriptor();
};

// "Flood ROI With User Defined Value".
struct CFlood : imageLimits {
  float m_Value = 0;
  int m_bg = 0;  // fill background instead of the value
  static const recordDescriptor<CFlood>& descriptor();
};

// "Ranged Filters".
struct CRanged_Filters : imageLimits {
  int m_Ranged_Filters_kind = 2;  // 1 Wiener, 2 Gauss, 3 Median, 4 3D Fast
  int m_Ranged_Filters_iter = 1;
  float m_Ranged_Filters_max_value = 0, m_Ranged_Filters_min_value = 0;
  float m_Ranged_Filters_diam = 3.0f, m_Ranged_Filters_thr = 0.1f;
  static const recordDescriptor<CRanged_Filters>& descriptor();
};

}  // namespace tamble
