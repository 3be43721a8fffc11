// The parameter records of the geometric commands.
#pragma once

#include "host/paramRecord.h"

namespace tamble {

// "Flip / Rotate": the regime, 0 to 6.
struct FlipRot {
  int regime = 0;
  static const recordDescriptor<FlipRot>& descriptor();
};

// "Scale + Rotate + Shift".
struct CSRS {
  float m_alpha = 0, m_scx = 0, m_scy = 0, m_shx = 0, m_shy = 0;
  int interp = -1;
  int along_x = 0, along_y = 0;  // the image's width and height, shown only
  static const recordDescriptor<CSRS>& descriptor();
};

// "Scale + Relative  Rotate & Shift": the target point takes the value of the
// origin point.
struct CSSR {
  float m_alpha = 0, m_scx = 0, m_scy = 0, m_x1 = 0, m_y1 = 0, m_x2 = 0, m_y2 = 0;
  int interp = -1;
  int along_x = 0, along_y = 0;  // the image's width and height, shown only
  static const recordDescriptor<CSSR>& descriptor();
};

// The new size of an image, in pixels and in percent of the present size
// (`width`, `height`), kept in step as the user edits either.
struct imageSize {
  int width = 0, height = 0;  // of the image, for display and the percentages
  int x_pixels = 0, y_pixels = 0;
  float x_percent = 100, y_percent = 100;
  // At opening: the present size, 100 percent, and the pixels from it.
  void open(int w, int h);
};

// "Image ReSize".
struct CIRes : imageSize {
  int m_cp = 1;   // constrain proportions
  int m_int = 1;  // 0 nearest, 1 bilinear, 2 damped bicubic
  static const recordDescriptor<CIRes>& descriptor();
};

// "Trim/Lengthen": absolute size, or (relative) pixels added to the size.
struct CICrop : imageSize {
  int relative = 0;
  int anchor_x = -1, anchor_y = 0;  // -1, 0, 1 on each axis
  // The size the image gets.
  int newWidth() const { return relative ? width + x_pixels : x_pixels; }
  int newHeight() const { return relative ? height + y_pixels : y_pixels; }
  static const recordDescriptor<CICrop>& descriptor();
};

}  // namespace tamble
