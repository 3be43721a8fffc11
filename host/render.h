// Quick-look pictures: an image drawn through a colour map to an 8-bit RGB
// PNG, with a labelled colour bar and the image's markers, for seeing a
// pressure map or a camera frame at a glance.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "api/image.h"

namespace tamble {

struct renderOptions {
  std::string colormap = "grey";  // one of colormapNames()
  // Ends of the value range spread over the colour map. A missing end is the
  // minimum or maximum of the valid pixels.
  std::optional<double> low;
  std::optional<double> high;
  bool colorbar = true;  // widen the picture by colorbarMargin for a labelled bar
  bool markers = true;   // draw the image's markers as rings
};

// Columns the colour bar adds on the right of the image, and the least
// picture height when there is a bar (shorter images are padded below).
inline constexpr int colorbarMargin = 108;
inline constexpr int colorbarMinHeight = 32;

// Writes `img` to `path` as a PNG, one picture pixel per image pixel.
// zel::AlgoError for an image without pixels or field layer, an unknown
// colour map or unusable range ends; zel::DimError when a mask does not match
// the field; zel::FileError when the file cannot be written. On any error the
// file at `path` is left as it was.
void renderPng(const std::string& path, const zel::image& img, const renderOptions& options = {});

// The same picture as the bytes of a PNG file, for a host that shows or
// sends it without a file (the workbench's image view and download).
std::string renderPngBytes(const zel::image& img, const renderOptions& options = {});

// The colour maps renderPng knows.
const std::vector<std::string>& colormapNames();

}  // namespace tamble
