// What the page changes in the session besides running commands: the ROI
// tool, marker editing, opening and saving images. Each change is one host
// undo step; a refused request (requestError) changes nothing.
#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>

namespace zel {
class image;
class imagesList;
}  // namespace zel

namespace tamble::cli {
class session;
}

namespace tamble::workbench {

using json = nlohmann::json;

// {"mode": "add"|"subtract", "points": [[x, y], ...]} lays a polygon onto
// the image's ROI (a rectangle is four corners, freehand the points passed,
// image coordinates with (0, 0) the top-left corner of pixel 0);
// {"mode": "all"} sets the whole image as ROI. Answers the pixels covered.
long editRoi(zel::imagesList& list, zel::image& img, const json& request);

// {"action": "add", "x", "y"}, {"action": "move", "id", "x", "y"} or
// {"action": "toggle", "id"} (a disabled marker is kept but not used).
// Answers the id of the marker changed.
int editMarker(zel::imagesList& list, zel::image& img, const json& request);

// Reads an image file into the list as the current image; its name is the
// one the file gives, which must be new.
void openImage(cli::session& s, const std::filesystem::path& path);

// Writes the image (.imp with its masks, .tif the values) or one of its
// masks ("bkgr" or "ROI", an .imp mask file). Files read as input are
// never written.
void saveImage(cli::session& s, const zel::image& img, const std::filesystem::path& path);
void saveMask(cli::session& s, zel::image& img, const std::string& layer,
              const std::filesystem::path& path);

}  // namespace tamble::workbench
