// The camera file is read and judged before the snapshot: a refusal leaves
// the image and "UnDo" as they were, as "Flip/Rotate..." does.
#include "plugin/distortionCommand.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <string>

#include "align/undistort.h"
#include "api/camera.h"
#include "api/errors.h"
#include "api/imagesList.h"
#include "api/paths.h"
#include "host/hostUi.h"
#include "host/interaction.h"
#include "plugin/availability.h"
#include "plugin/catalogue.h"

namespace tamble {
namespace {

// The camera reader takes a file it cannot open for one without keys; here
// that is an error that names the file.
zel::cameraFeatures readCameraFile(const std::string& file) {
  const std::string path = zel::resolve_path(file);
  std::error_code ec;
  const std::filesystem::file_type type = std::filesystem::status(path, ec).type();
  if (type == std::filesystem::file_type::not_found)
    zel::raise<zel::FileError>(file + ": the camera file is missing");
  if (type != std::filesystem::file_type::regular)
    zel::raise<zel::FileError>(file + ": the camera file is not a file");
  if (!std::ifstream(path)) zel::raise<zel::FileError>(file + ": the camera file cannot be read");
  zel::cameraFeatures camera;
  zel::read_camera(path, camera);
  return camera;
}

// Why the camera cannot correct this image, or null.
const char* refusal(const zel::cameraFeatures& camera, const zel::image& img) {
  if (std::fabs(camera.a2) < 1e-30 && std::fabs(camera.a4) < 1e-30) return distortionAbsent;
  const double x = std::trunc(camera.cx), y = std::trunc(camera.cy);
  if (!(x >= 1 && x <= img.width() - 2 && y >= 1 && y <= img.height() - 2)) return centreOffImage;
  return nullptr;
}

}  // namespace

bool OpticalDistortionCommand(zel::imagesList& list) {
  zel::image* img = list.current();
  if (!img) zel::raise<zel::AlgoError>();
  const std::string file = hostUi().chooseFile(cameraFileTitle, cameraFileFilter, false, "*.cam");
  if (file.empty()) return true;
  const zel::cameraFeatures camera = readCameraFile(file);
  if (const char* text = refusal(camera, *img)) {
    message(text, false);
    return true;
  }
  list.snapshot();
  list.saveCurrent(true, "");
  wait_cursor(true);
  UndistortImage(img->field(), img->bkgr(), img->ROI(), img->markers, camera.cx, camera.cy,
                 camera.a2, camera.a4);
  wait_cursor(false);
  return true;
}

namespace {
const commandRegistration commands[] = {
    commandRegistration({"optical-distortion-correction",
                         "Tools",
                         "Optical Distortion Correction...",
                         "Eliminate Camera&Objective Lens Complex Spherical Distortion",
                         "ZELTools.chm::/html/ZELTools_distortion.htm",
                         available::image_is_present,
                         {},
                         OpticalDistortionCommand,
                         {{userChoice::kind::file, cameraFileTitle}}}),
};
}  // namespace

}  // namespace tamble
