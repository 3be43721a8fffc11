// What the page reads of the session, as JSON or bytes: the images list, the
// menus with each row's availability now, an image's markers and pixels.
#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "api/imagesList.h"
#include "host/command.h"
#include "host/render.h"

namespace tamble::workbench {

using json = nlohmann::json;

// Per image: index, name, width, height, file, markers (their number),
// converted, and which masks it has; and the current index.
json imagesJson(const zel::imagesList& list);

// The menus in order: per group its name and rows, each a separator or a
// command (name, label, tooltip, help topic, availability test and whether
// it passes on `list` now).
json menuJson(const std::vector<menuEntry>& menu, const zel::imagesList& list);

// id, x, y, active of each marker.
json markersJson(const zel::markersArray& markers);

// The field as 32-bit floats (little-endian, row after row), then the
// background and the ROI as one byte per pixel (0 or 1): an image without
// the layer gets none set for bkgr, all set for ROI.
std::string pixelBytes(const zel::image& img);

// The renderer's options from the page's query words: colormap, low, high
// (empty: from the data), bar and markers ("0" or "1"). A requestError for
// an unknown colour map or a number that is none.
renderOptions renderOptionsOf(const std::map<std::string, std::string>& query);

}  // namespace tamble::workbench
