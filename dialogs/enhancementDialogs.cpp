#include "dialogs/enhancementDialogs.h"

namespace tamble {

const recordDescriptor<CUnSharp>& CUnSharp::descriptor() {
  using T = CUnSharp;
  static const recordDescriptor<T> d{
      "CUnSharp",
      "UnSharp",
      "UnSharp Mask",
      {{{"m_nl", paramType::Int, std::pair{3.0, 99.0}, "Gauss Filter Diameter (3-99)"}, &T::m_nl},
       {{"m_a", paramType::Float, std::pair{0.0, 1e6}, "A - Upper Coefficient (>0.0, >B)"},
        &T::m_a},
       {{"m_b", paramType::Float, std::pair{0.0, 1e6}, "B - Lower Coefficient (>0.0, <A)"},
        &T::m_b},
       {{"m_id1", paramType::Int, std::pair{0.0, 1.0}, "Force B=A-1.0"}, &T::m_id1},
       {{"m_overfall", paramType::Float, std::pair{0.0, 1e6}, "Lower Threshold (>=0.0)"},
        &T::m_overfall},
       {{"m_fade", paramType::Float, std::pair{0.0, 1.0},
         "Fade (0.0-1.0), where 0.0-Original, 1.0-Result"},
        &T::m_fade}}};
  return d;
}

const recordDescriptor<CDIP1>& CDIP1::descriptor() {
  using T = CDIP1;
  static const recordDescriptor<T> d{
      "CDIP1",
      "DIP1",
      "Space-Variant Image Enhancement",
      {{{"kind",
         paramType::Radio,
         std::nullopt,
         "Laplacian Operator Type",
         "Laplacian Operator Type",
         false,
         {{1, "Flat"}, {2, "Diagonal"}, {3, "Cross"}, {4, "WaveLet"}}},
        &T::kind},
       {{"m_fade", paramType::Float, std::pair{0.0, 100.0},
         "Transform Fade (0.0-100.0) (Rec. 10.0)"},
        &T::m_fade},
       {{"m_nll", paramType::Int, std::pair{5.0, 33.0}, "WaveLet Kernel (5-33)"}, &T::m_nll},
       {{"m_nlg", paramType::Int, std::pair{3.0, 33.0}, "Smoothing Kernel (3-33)"}, &T::m_nlg},
       {{"m_sm", paramType::Int, std::pair{0.0, 1.0}, "Smoothing"}, &T::m_sm},
       {{"m_scale", paramType::Float, std::pair{0.000001, 1e6},
         "Filter Scale Factor (Rec. 100.0)"},
        &T::m_scale}}};
  return d;
}

const recordDescriptor<CContrast>& CContrast::descriptor() {
  static const recordDescriptor<CContrast> d{
      "CContrast",
      "Contrast",
      "Change Image Contrast",
      {{{"m_contrast", paramType::Float, std::pair{0.01, 100.0}, ""}, &CContrast::m_contrast}}};
  return d;
}

const recordDescriptor<CHPEQ>& CHPEQ::descriptor() {
  static const recordDescriptor<CHPEQ> d{
      "CHPEQ",
      "HPEQ",
      "Image Histogram/Plateau Equalization",
      {{{"m_fade", paramType::Float, std::pair{0.0, 1.0}, "Histogram/Plateau Fade (0.0 - 1.0 )"},
        &CHPEQ::m_fade},
       {{"ihist",
         paramType::Radio,
         std::nullopt,
         "Method",
         "Method",
         false,
         {{1, "Direct Method"}, {2, "Random Choice"}, {3, "Adaptive Method"}}},
        &CHPEQ::ihist}}};
  return d;
}

const recordDescriptor<Csteep>& Csteep::descriptor() {
  static const recordDescriptor<Csteep> d{
      "Csteep",
      "steep",
      "Thinning of Steep Regions Using Power Law",
      {{{"m_nl", paramType::Int, std::pair{3.0, 99.0}, "Gradient  Diameter (3-99)"}, &Csteep::m_nl},
       {{"m_thresh", paramType::Float, std::pair{0.0, 1.0}, "Relative Threshold (0.0-1.0)"},
        &Csteep::m_thresh},
       {{"m_power", paramType::Float, std::pair{0.01, 100.0}, "Power (Recommended 2.0-8.0)"},
        &Csteep::m_power}}};
  return d;
}

}  // namespace tamble
