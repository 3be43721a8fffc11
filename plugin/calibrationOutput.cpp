#include "plugin/calibrationOutput.h"

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <optional>

#include "api/imagesList.h"
#include "api/markerFiles.h"
#include "api/paths.h"
#include "host/atomicFile.h"
#include "host/interaction.h"
#include "host/project.h"
#include "plugin/projectState.h"
#include "resect/resectCoefficients.h"

namespace tamble {

namespace {

using namespace names;

std::string beside(const char* suffix) {
  const std::filesystem::path project(get_vur().project_file);
  return (project.parent_path() / project.stem()).string() + suffix;
}

std::string projectPath(const std::string& file) {
  return zel::resolve_path(file,
                           std::filesystem::path(get_vur().project_file).parent_path().string());
}

std::string printed(const char* format, double a, double b = 0.0) {
  char text[128];
  std::snprintf(text, sizeof text, format, a, b);
  return text;
}

// The text of the file is composed first and written whole, under a
// temporary name renamed into place, whenever the function ends.
bool writeText(const std::string& path, const std::string& text) {
  try {
    writeAtomically(path, [&text](std::FILE* out) {
      return std::fwrite(text.data(), 1, text.size(), out) == text.size();
    });
    return true;
  } catch (...) {
    return false;
  }
}

bool refuse(const char* text, bool showErrors) {
  if (showErrors) message(text, false);
  return false;
}

zel::markersArray geometryMarkers(const zel::imagesList& list) {
  zel::markersArray model;
  const zel::image* master = list.find(wind_off_sens);
  zel::load_markers(projectPath(get_vur().geometry_markers_file), model,
                    master ? master->height() : 0);
  return model;
}

// The projection of one camera by the projective method, from an image's
// markers and the model's.
std::optional<cameraProjection> fittedProjection(const zel::markersArray& image,
                                                 const zel::markersArray& model,
                                                 const zel::cameraFeatures& features) {
  resectCoefficients coefficients;
  if (!resectProjective(image, model, features, coefficients)) return std::nullopt;
  return projectionOf(coefficients, features);
}

struct cameraView {
  const char* image;
  const char* title;
  const char* absent;
  zel::cameraFeatures& (*camera)();
};

// One camera's block of the calibration file, and its text for the user.
bool calibrationBlock(const zel::imagesList& list, const zel::markersArray& model,
                      const cameraView& view, bool showErrors, std::string& file,
                      std::string& info) {
  const zel::image* img = list.find(view.image);
  if (!img || img->markers.count() == 0) return refuse(view.absent, showErrors);
  if (img->markers.count() != model.count())
    return refuse("for_calibration: Different number of 2D-3D markers", showErrors);
  const std::optional<cameraProjection> p = fittedProjection(img->markers, model, view.camera());
  if (!p) return refuse("Resection: Can not calculate transformation coeffitients", showErrors);
  const resectErrors e = residualErrors(*p, img->markers, model);
  for (int i = 0; i < 8; ++i)
    file += printed("%e %e\n", p->coefficients.ax[i], p->coefficients.ay[i]);
  // The mean squares of the residuals, x and y, in pixels squared.
  file += printed("%e %e\n", e.meanSquareDx, e.meanSquareDy);
  file += printed("x_max_err= %f in point= ", e.maxDx) + std::to_string(e.maxDxIndex + 1) + "\n";
  file += printed("y_max_err= %f in point= ", e.maxDy) + std::to_string(e.maxDyIndex + 1) + "\n";
  file += printed("x_ever_err= %f\n", e.meanDx) + printed("y_ever_err= %f\n", e.meanDy);
  info += std::string(view.title) + printed("X Max Error   %g", e.maxDx) + "  at Point No  " +
          std::to_string(e.maxDxIndex + 1) + printed("\nY Max Error   %g", e.maxDy) +
          "  at Point No  " + std::to_string(e.maxDyIndex + 1) +
          printed("\nX Average Error   %g", e.meanDx) +
          printed("\nY Average Error   %g\n\n", e.meanDy);
  return true;
}

// The point in space that the two cameras see at their image points: the
// least-squares meeting of the two rays. Where the rays barely cross (two
// cameras looking alike) the point nearest to the model's own position
// along them is taken, by a faint pull towards it.
struct vec3 {
  double x, y, z;
};

void addRows(const cameraProjection& p, double px, double py, double A[3][3], double b[3]) {
  double u = 0, v = 0;
  correctedPoint(p.camera, px, py, u, v);
  const auto& ax = p.coefficients.ax;
  const auto& ay = p.coefficients.ay;
  const double rows[2][4] = {
      {ax[1] - u * ax[5], ax[2] - u * ax[6], ax[3] - u * ax[7], u * ax[4] - ax[0]},
      {ay[1] - v * ay[5], ay[2] - v * ay[6], ay[3] - v * ay[7], v * ay[4] - ay[0]}};
  for (const auto& r : rows)
    for (int i = 0; i < 3; ++i) {
      for (int j = 0; j < 3; ++j) A[i][j] += r[i] * r[j];
      b[i] += r[i] * r[3];
    }
}

vec3 solve3(double A[3][3], const double b[3]) {
  const double det = A[0][0] * (A[1][1] * A[2][2] - A[1][2] * A[2][1]) -
                     A[0][1] * (A[1][0] * A[2][2] - A[1][2] * A[2][0]) +
                     A[0][2] * (A[1][0] * A[2][1] - A[1][1] * A[2][0]);
  auto column = [&](int c) {
    double M[3][3];
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j) M[i][j] = j == c ? b[i] : A[i][j];
    return M[0][0] * (M[1][1] * M[2][2] - M[1][2] * M[2][1]) -
           M[0][1] * (M[1][0] * M[2][2] - M[1][2] * M[2][0]) +
           M[0][2] * (M[1][0] * M[2][1] - M[1][1] * M[2][0]);
  };
  return {column(0) / det, column(1) / det, column(2) / det};
}

vec3 meetingPoint(const cameraProjection& sens, double sx, double sy,
                  const cameraProjection& refe, double rx, double ry, const marker& prior) {
  double A[3][3] = {}, b[3] = {};
  addRows(sens, sx, sy, A, b);
  addRows(refe, rx, ry, A, b);
  const double pull = 1e-9 * (A[0][0] + A[1][1] + A[2][2]) / 3.0;
  const double at[3] = {prior.x, prior.y, prior.z};
  for (int i = 0; i < 3; ++i) {
    A[i][i] += pull;
    b[i] += pull * at[i];
  }
  return solve3(A, b);
}

}  // namespace

std::string calibrationFile() { return beside("_D_Calibr.dat"); }
std::string deformationFile() { return beside("_D_Deform.dat"); }

bool for_calibration(zel::imagesList& list, bool showErrors) {
  const zel::vurStr& project = get_vur();
  if (project.sens_camera_file.empty())
    return refuse("for_calibration: Sens_Camera_File is absent", showErrors);
  if (project.refe_camera_file.empty())
    return refuse("for_calibration: Refe_Camera_File is absent", showErrors);
  if (project.geometry_markers_file.empty())
    return refuse("for_calibration: Geometry_Mark_File is absent", showErrors);
  const zel::markersArray model = geometryMarkers(list);
  const cameraView views[] = {
      {wind_off_sens, "SENS_OFF Camera/Image\n", "for_calibration: Wind_Off_Sens Markers are Absent",
       get_sens_cam},
      {wind_off_refe, "REFE_OFF Camera/Image\n", "for_calibration: Wind_Off_Refe Markers are Absent",
       get_refe_cam}};
  std::string file, info;
  bool ok = true;
  for (const cameraView& view : views)
    if (ok) ok = calibrationBlock(list, model, view, showErrors, file, info);
  if (!writeText(calibrationFile(), file))
    return refuse("for_calibration: Can't open output calibration coefficients file", showErrors);
  if (ok && showErrors) message(info, false);
  return ok;
}

bool for_deformation(zel::imagesList& list, bool showErrors) {
  std::string file = "    X0       Y0       Z0           dX       dY       dZ          |dR|\n";
  const std::pair<const char*, const char*> needed[] = {
      {wind_off_sens, "for_deformation: Wind_Off_Sens Markers are Absent"},
      {wind_on_sens, "for_deformation: Wind_On_Sens Markers are Absent"},
      {wind_off_refe, "for_deformation: Wind_Off_Refe Markers are Absent"},
      {wind_on_refe, "for_deformation: Wind_On_Refe Markers are Absent"}};
  auto stop = [&](const char* text) {
    if (!writeText(deformationFile(), file))
      return refuse("for_deformation: Can't open output 3D_vector file", showErrors);
    return refuse(text, showErrors);
  };
  for (const auto& [name, absent] : needed) {
    const zel::image* img = list.find(name);
    if (!img || img->markers.count() == 0) return stop(absent);
  }
  const zel::markersArray& offSens = list.find(wind_off_sens)->markers;
  const zel::markersArray& onSens = list.find(wind_on_sens)->markers;
  const zel::markersArray& offRefe = list.find(wind_off_refe)->markers;
  const zel::markersArray& onRefe = list.find(wind_on_refe)->markers;
  const zel::markersArray model = geometryMarkers(list);
  if (onSens.count() != offSens.count() || onRefe.count() != offRefe.count())
    return stop("for_deformation: Different number of 2D-2D markers");
  if (offSens.count() != model.count() || offRefe.count() != model.count())
    return stop("for_deformation: Different number of 2D-3D markers");
  const auto sens = fittedProjection(offSens, model, get_sens_cam());
  const auto refe = fittedProjection(offRefe, model, get_refe_cam());
  if (!sens || !refe) return stop("Resection: Can not calculate transformation coeffitients");
  for (int i = 0; i < model.count(); ++i) {
    const marker& m = model.items[static_cast<std::size_t>(i)];
    const std::size_t k = static_cast<std::size_t>(i);
    const vec3 off = meetingPoint(*sens, offSens.items[k].x, offSens.items[k].y, *refe,
                                  offRefe.items[k].x, offRefe.items[k].y, m);
    const vec3 on = meetingPoint(*sens, onSens.items[k].x, onSens.items[k].y, *refe,
                                 onRefe.items[k].x, onRefe.items[k].y, m);
    const double dx = on.x - off.x, dy = on.y - off.y, dz = on.z - off.z;
    char row[200];
    std::snprintf(row, sizeof row, "%f %f %f   %f %f %f   %f\n", off.x, off.y, off.z, dx, dy, dz,
                  std::sqrt(dx * dx + dy * dy + dz * dz));
    file += row;
  }
  if (!writeText(deformationFile(), file))
    return refuse("for_deformation: Can't open output 3D_vector file", showErrors);
  return true;
}

}  // namespace tamble
