#include "dialogs/geometryDialogs.h"

#include <cmath>
#include <optional>
#include <string>

namespace tamble {
namespace {

const std::vector<radioChoice> interpolation = {
    {-1, "BiLinear (MS)"}, {0, "Nearest Neighbour"}, {1, "BiLinear"}, {2, "BiCubic Damped"}};

// Pixels from a percentage as the dialogs round them; a negative percentage
// (lengthening in reverse, in the relative trim) rounds away from zero too.
int pixelsOf(int size, float percent) {
  const double exact = size * percent * 0.01;
  return static_cast<int>(percent >= 0 ? std::trunc(exact + 0.5) : std::trunc(exact - 0.5));
}

float percentOf(int size, int pixels) {
  return size ? static_cast<float>(pixels * 100.0 / size) : 0.0f;
}

// Keeps pixels and percent in step after `key` changed; with constrained
// proportions the Y percentage follows the X one and the other way round.
void keepInStep(imageSize& s, const std::string& key, bool constrain) {
  if (key == "x_pixels") s.x_percent = percentOf(s.width, s.x_pixels);
  if (key == "y_pixels") s.y_percent = percentOf(s.height, s.y_pixels);
  if (key == "x_percent") s.x_pixels = pixelsOf(s.width, s.x_percent);
  if (key == "y_percent") s.y_pixels = pixelsOf(s.height, s.y_percent);
  if (!constrain) return;
  if (key == "x_pixels" || key == "x_percent" || key == "m_cp") {
    s.y_percent = s.x_percent;
    s.y_pixels = pixelsOf(s.height, s.y_percent);
  } else if (key == "y_pixels" || key == "y_percent") {
    s.x_percent = s.y_percent;
    s.x_pixels = pixelsOf(s.width, s.x_percent);
  }
}

// The checks of both size dialogs, in the order the user reads them.
std::optional<std::string> sizeCheck(const imageSize& s, int xMin, int yMin, float percentMin,
                                     const char* xSmall, const char* ySmall,
                                     const char* xPercentSmall, const char* yPercentSmall) {
  if (s.x_pixels < xMin) return xSmall;
  if (s.x_pixels > 100000) return "X pixels > 100 000\n\nEnter smaller value";
  if (s.y_pixels < yMin) return ySmall;
  if (s.y_pixels > 100000) return "Y pixels > 100 000\n\nEnter smaller value";
  if (s.x_percent < percentMin) return xPercentSmall;
  if (s.x_percent > 10000) return "X percent > 10 000\n\nEnter smaller value";
  if (s.y_percent < percentMin) return yPercentSmall;
  if (s.y_percent > 10000) return "Y percent > 10 000\n\nEnter smaller value";
  return std::nullopt;
}

std::optional<std::string> absoluteCheck(const imageSize& s) {
  return sizeCheck(s, 10, 10, 1.0f, "X pixels < 10\n\nEnter bigger value",
                   "Y pixels < 10\n\nEnter bigger value", "X percent < 1\n\nEnter bigger value",
                   "Y percent < 1\n\nEnter bigger value");
}

template <class T>
void addSizeFields(recordDescriptor<T>& d) {
  const std::string group = "Image Size";
  d.fieldList.push_back(
      {{"x_pixels", paramType::Int, std::nullopt, "X pixels", group, false}, &T::x_pixels});
  d.fieldList.push_back(
      {{"y_pixels", paramType::Int, std::nullopt, "Y pixels", group, false}, &T::y_pixels});
  d.fieldList.push_back(
      {{"x_percent", paramType::Float, std::nullopt, "X percent", group, false},
       &T::x_percent});
  d.fieldList.push_back(
      {{"y_percent", paramType::Float, std::nullopt, "Y percent", group, false},
       &T::y_percent});
}

recordDescriptor<CIRes> makeCIRes() {
  recordDescriptor<CIRes> d{"CIRes", "IRes", "Image ReSize", {}};
  d.fieldList.push_back(
      {{"m_cp", paramType::Int, std::pair{0.0, 1.0}, "Constrain Proportions"}, &CIRes::m_cp});
  d.fieldList.push_back({{"m_int",
                          paramType::Radio, std::nullopt,
                          "Resample Image",
                          "Resample Image",
                          true,
                          {{0, "Nearest Neighbor"}, {1, "BiLinear"}, {2, "BiCubic Damped"}}},
                         &CIRes::m_int});
  addSizeFields(d);
  d.onEdit = [](CIRes& r, const std::string& key) { keepInStep(r, key, r.m_cp != 0); };
  d.okCheck = [](const CIRes& r) { return absoluteCheck(r); };
  return d;
}

recordDescriptor<CICrop> makeCICrop() {
  recordDescriptor<CICrop> d{"CICrop", "", "Trim/Lengthen", {}};
  d.fieldList.push_back(
      {{"relative", paramType::Int, std::pair{0.0, 1.0}, "Relative", "", false},
       &CICrop::relative});
  const std::vector<radioChoice> sides = {{-1, "-1"}, {0, "0"}, {1, "1"}};
  const std::string anchor = "Anchor";
  d.fieldList.push_back({{"anchor_x", paramType::Radio, std::nullopt,
                          "The corner where image will be placed", anchor, false, sides},
                         &CICrop::anchor_x});
  d.fieldList.push_back({{"anchor_y", paramType::Radio, std::nullopt,
                          "The corner where image will be placed", anchor, false, sides},
                         &CICrop::anchor_y});
  addSizeFields(d);
  d.onEdit = [](CICrop& r, const std::string& key) { keepInStep(r, key, false); };
  d.okCheck = [](const CICrop& r) -> std::optional<std::string> {
    if (!r.relative) return absoluteCheck(r);
    return sizeCheck(
        r, 10 - r.width, 10 - r.height, -90.0f, "X pixels too small\n\nEnter bigger value",
        "Y pixels too small\n\nEnter bigger value", "X percent < -90\n\nEnter bigger value",
        "Y percent < -90\n\nEnter bigger value");
  };
  return d;
}

}  // namespace

const recordDescriptor<FlipRot>& FlipRot::descriptor() {
  static const recordDescriptor<FlipRot> d{"FlipRot",
                                           "FlipRot",
                                           "Flip / Rotate",
                                           {{{"regime",
                                              paramType::Radio, std::nullopt,
                                              "Flip / Rotate",
                                              "",
                                              true,
                                              {{0, "+/- 180 degrees"},
                                               {1, "+90  (CCW)"},
                                               {2, "-90 (CW)"},
                                               {3, "Horizontal Flip"},
                                               {4, "Vertical Flip"},
                                               {5, "Transpose"},
                                               {6, "Alternative Transpose"}}},
                                             &FlipRot::regime}}};
  return d;
}

const recordDescriptor<CSRS>& CSRS::descriptor() {
  static const recordDescriptor<CSRS> d{
      "CSRS",
      "SRS",
      "Scale + Rotate + Shift",
      {{{"m_alpha", paramType::Float, std::pair{-1000.0, 1000.0}, "Rotation (Degrees)"},
        &CSRS::m_alpha},
       {{"m_scx", paramType::Float, std::pair{0.000001, 1e6}, "Scale X"}, &CSRS::m_scx},
       {{"m_scy", paramType::Float, std::pair{0.000001, 1e6}, "Scale Y"}, &CSRS::m_scy},
       {{"m_shx", paramType::Float, std::pair{-1e6, 1e6}, "Shift X"}, &CSRS::m_shx},
       {{"m_shy", paramType::Float, std::pair{-1e6, 1e6}, "Shift Y"}, &CSRS::m_shy},
       {{"interp", paramType::Radio, std::nullopt, "Interpolation", "Interpolation", false,
         interpolation},
        &CSRS::interp},
       {shownField("along_x", paramType::Int, "Along X", "Image Dimensions"), &CSRS::along_x},
       {shownField("along_y", paramType::Int, "Along Y", "Image Dimensions"), &CSRS::along_y}}};
  return d;
}

const recordDescriptor<CSSR>& CSSR::descriptor() {
  const std::string origin = "Coordinates of Origin", target = "Coordinates of Target";
  static const recordDescriptor<CSSR> d{
      "CSSR",
      "SSR",
      "Scale + Relative  Rotate & Shift",
      {{{"m_alpha", paramType::Float, std::pair{-1000.0, 1000.0}, "Rotation (Degrees)"},
        &CSSR::m_alpha},
       {{"m_scx", paramType::Float, std::pair{0.000001, 1e6}, "Scale X"}, &CSSR::m_scx},
       {{"m_scy", paramType::Float, std::pair{0.000001, 1e6}, "Scale Y"}, &CSSR::m_scy},
       {{"m_x1", paramType::Float, std::nullopt, "X1", origin}, &CSSR::m_x1},
       {{"m_x2", paramType::Float, std::nullopt, "X2", target}, &CSSR::m_x2},
       {{"m_y1", paramType::Float, std::nullopt, "Y1", origin}, &CSSR::m_y1},
       {{"m_y2", paramType::Float, std::nullopt, "Y2", target}, &CSSR::m_y2},
       {{"interp", paramType::Radio, std::nullopt, "Interpolation", "Interpolation", false,
         interpolation},
        &CSSR::interp},
       {shownField("along_x", paramType::Int, "Along X", "Image Dimensions"), &CSSR::along_x},
       {shownField("along_y", paramType::Int, "Along Y", "Image Dimensions"), &CSSR::along_y}}};
  return d;
}

void imageSize::open(int w, int h) {
  width = w;
  height = h;
  x_percent = y_percent = 100;
  x_pixels = pixelsOf(w, x_percent);
  y_pixels = pixelsOf(h, y_percent);
}

const recordDescriptor<CIRes>& CIRes::descriptor() {
  static const recordDescriptor<CIRes> d = makeCIRes();
  return d;
}

const recordDescriptor<CICrop>& CICrop::descriptor() {
  static const recordDescriptor<CICrop> d = makeCICrop();
  return d;
}

}  // namespace tamble
