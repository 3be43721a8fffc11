#include "dialogs/morphologyDialogs.h"

#include <utility>
#include <vector>

namespace tamble {
namespace {

paramInfo radio(const char* key, const char* group, std::vector<radioChoice> choices) {
  return {key, paramType::Radio, std::nullopt, group, group, true, std::move(choices)};
}

}  // namespace

const recordDescriptor<Cs3x3iter>& Cs3x3iter::descriptor() {
  static const recordDescriptor<Cs3x3iter> d{
      "Cs3x3iter",
      "s3x3iter",
      "3x3 Iterative Filters Set",
      {{{"m_iter", paramType::Int, std::pair{1.0, 99.0}, "Iterations Number (1-99)"},
        &Cs3x3iter::m_iter},
       {radio("m_kind", "Filter",
              {{1, "Smoothing"},
               {2, "Sobel North"},
               {3, "Sobel North-West"},
               {4, "Sobel West"},
               {5, "Sobel South-West"},
               {6, "Sobel South"},
               {7, "Sobel South-East"},
               {8, "Sobel East"},
               {9, "Sobel North-East"},
               {10, "Laplace Diagonal Cross"},
               {11, "Laplace Flat"},
               {12, "Edge Enhancement Low"},
               {13, "Edge Enhancement Normal"},
               {14, "Edge Enhancement High"},
               {15, "Edge Enhancement Hard"},
               {16, "Thin Edge Enhance Normal"},
               {17, "Thin Edge Enhance High"},
               {18, "Thin Edge Enhance Hard"},
               {19, "Thin Laplace Square Diagonal"}}),
        &Cs3x3iter::m_kind}}};
  return d;
}

const recordDescriptor<Cs3x3grad>& Cs3x3grad::descriptor() {
  static const recordDescriptor<Cs3x3grad> d{
      "Cs3x3grad",
      "s3x3grad",
      "Simple (3x3) Gradients",
      {{radio("m_kind", "Gradient",
              {{1, "Roberts"},
               {2, "Quick Roberts"},
               {3, "Sobel"},
               {4, "Quick Sobel"},
               {5, "Kirch"},
               {6, "Adaptive"},
               {7, "Volterra"},
               {8, "Prewitt (3x3)"},
               {9, "Maltian Cross"}}),
        &Cs3x3grad::m_kind}}};
  return d;
}

const recordDescriptor<Cmorph>& Cmorph::descriptor() {
  static const recordDescriptor<Cmorph> d{
      "Cmorph",
      "morph",
      "Morphological Filters Set",
      {{radio("m_kind", "Filter",
              {{1, "Dilation"},
               {2, "Erosion"},
               {3, "Opening"},
               {4, "Closing"},
               {5, "Dilation Gradient"},
               {6, "Erosion Gradient"},
               {7, "Morphological Gradient"},
               {8, "D-E,Q Gradient"},
               {9, "D-I,Q Gradient"},
               {10, "I-E,Q Gradient"},
               {11, "TopHat"},
               {12, "BottomHat"},
               {13, "White TopHat"},
               {14, "Black TopHat"},
               {15, "Open-Close Filter"},
               {16, "Close-Open Filter"}}),
        &Cmorph::m_kind},
       {{"m_rl", paramType::Float, std::pair{2.99, 99.01}, "Filter Diameter (3-99)"},
        &Cmorph::m_rl}}};
  return d;
}

const recordDescriptor<CSpeckle>& CSpeckle::descriptor() {
  static const recordDescriptor<CSpeckle> d{
      "CSpeckle",
      "Speckle",
      "Speckle-Cell Structure Removing Filter",
      {{{"m_rl", paramType::Float, std::pair{3.0, 99.0}, "Filter Diameter (3-99)"},
        &CSpeckle::m_rl},
       {{"m_iter", paramType::Int, std::pair{1.0, 99.0}, "Iterations Number (1-99)"},
        &CSpeckle::m_iter}}};
  return d;
}

const recordDescriptor<CCrimmins>& CCrimmins::descriptor() {
  static const recordDescriptor<CCrimmins> d{
      "CCrimmins",
      "Crimmins",
      "Morphological Speckle Removal by Crimmins",
      {{{"m_iter", paramType::Int, std::pair{1.0, 99.0}, ""}, &CCrimmins::m_iter}}};
  return d;
}

const recordDescriptor<CFF>& CFF::descriptor() {
  static const recordDescriptor<CFF> d{
      "CFF",
      "FF",
      "Flat Round Filter Parameters",
      {{{"m_diameter", paramType::Int, std::pair{3.0, 999.0}, "Filter Diameter (3 - 99)"},
        &CFF::m_diameter},
       {{"m_iterations", paramType::Int, std::pair{1.0, 1000.0}, "Iterations Number (1- 99)"},
        &CFF::m_iterations}}};
  return d;
}

}  // namespace tamble
