// Resection: a source image or a result carried onto the model's mesh. The
// image's markers are matched to the standard image markers of the
// resection data and the image is warped onto them, the camera's projection
// is computed from the pairs and the mesh markers, and every node the camera
// sees takes the image's value at its projection (resect/meshSampling.h).
// The mesh keeps the result as a new function.
#pragma once

#include <string>

#include "api/camera.h"
#include "host/fieldData.h"
#include "resect/markerMatch.h"
#include "resect/meshSampling.h"

namespace zel {
class image;
class imagesList;
struct vurStr;
}  // namespace zel

namespace tamble {

struct CdlgResect;

// What ResectImage takes: the record's values as the run uses them.
struct resectRun {
  int resectType = 0;    // 0 "Resect 1", 1 "Resect 2"
  int matchingMode = 2;  // image alignment by the markers
  linkParameters link;
  bool optimize = true;
  zel::cameraFeatures camera;
};

// The run parameters of a record: polynomial order from the term count, the
// window doubled and one added, all markers fixed (4) with the identity map
// (order -1) under "All", the link mode 1, the reference camera.
resectRun resectRunOf(const CdlgResect& record, const zel::cameraFeatures& camera);

// The mesh function of an image of the project: its field name, " - (", the
// project's stem, ")".
std::string resectFunctionName(const std::string& fieldName, const std::string& projectFile);

// Carries fieldData.current onto the mesh. Each guard throws zel::AlgoError
// with its text ("ResectImage: bitmap  is undefined", "... mesh markers are
// undefined", "... image markers are undefined", "... mesh is empty"). Units
// of markers and camera that differ from the mesh's are converted when the
// user agrees (No stops). False when the user stops, the matching fails or
// the camera's projection cannot be computed.
bool ResectImage(zel::field_data<double>& fieldData, const resectRun& run, bool showInfo);

// The stage for one image: the dialog when `interactive` (which it clears,
// so that a run shows it once), else the stored values.
bool ResectCommand(zel::image& img, bool& interactive);

// The stages: the sources (wind_off_sens, wind_on_sens, wind_off_refe,
// wind_on_refe) and the results (Irefe_Isens, Pressure, P_Pstat, Cp, T),
// each that is present.
bool ResectImagesHandler(zel::imagesList& list, bool interactive);
bool ResectOutputHandler(zel::imagesList& list, bool interactive);

// Open Project's reading of the project's resection data into the host's
// mesh data set; false after "Error reading resect Data!" (the data set is
// then empty).
bool readProjectResection();
// Save Results' writing of complete resection data: `resect_data_file`, when
// empty, becomes the project's stem with ".dat"; the data set goes there
// with its functions, and the functions also as VTK beside it for ParaView.
void writeProjectResection(zel::vurStr& project);

// The counts of the last image carried onto the mesh.
const samplingCounts& lastResection();

}  // namespace tamble
