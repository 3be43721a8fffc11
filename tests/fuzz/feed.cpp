#include "tests/fuzz/feed.h"

#include <stdlib.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

#include "api/camera.h"
#include "api/errors.h"
#include "api/iniFile.h"
#include "api/markerFiles.h"
#include "tests/fuzz/feedSupport.h"

namespace fs = std::filesystem;

// Read by LeakSanitizer at start-up, in the fuzz targets and in the sanitizer
// build of the unit tests that replay their inputs. Xerces-C 3.2's DTD
// scanner leaks the content model it was building (a few hundred bytes, in
// DTDScanner::scanMixed) when a document's internal DTD is malformed, whether
// or not the error handler throws. That is inside the library, not ours to
// fix; tests/fuzz/regressions/mrk/ keeps an input that shows it.
extern "C" const char* __lsan_default_suppressions() { return "leak:libxerces-c\n"; }

namespace tamble::fuzz {
namespace {

// A rewrite changes the one key it sets; the first keys of the file are
// checked (all of them would make large inputs slow).
void checkRewrite(const zel::zel_ini_file& before, const zel::zel_ini_file& after) {
  int checked = 0;
  for (const auto& line : before.lines()) {
    if (line.kind != zel::zel_ini_file::lineKind::key || line.section.empty()) continue;
    if (line.section == "camera" && line.key == "focus") continue;
    require(after.get(line.section, line.key) == before.get(line.section, line.key),
            "an ini rewrite changed a key it did not set");
    if (++checked == 100) break;
  }
}

void iniRoundTrip(const std::string& path) {
  zel::zel_ini_file before;
  before.open(path, true);
  zel::zel_ini_file rw;
  rw.open(path, false);
  rw.set("camera", "focus", "42");
  rw.save();
  zel::zel_ini_file after;
  after.open(path, true);
  require(after.get("camera", "focus") == "42", "an ini key set and saved does not read back");
  require(after.lines().size() == rw.lines().size(), "an ini rewrite changed the number of lines");
  checkRewrite(before, after);
}

bool sameOrNotFinite(double a, double b) {
  return !std::isfinite(a) || !std::isfinite(b) || a == b;
}

// Doubles go through text with 16 digits: equal to that precision.
bool closeEnough(double a, double b) {
  return sameOrNotFinite(a, b) || std::fabs(a - b) <= 1e-15 * std::max(std::fabs(a), std::fabs(b));
}

}  // namespace

void feedCamera(const std::uint8_t* data, std::size_t size) {
  zel::cameraFeatures read;
  try {
    zel::read_camera(put("in.cam", data, size), read);
  } catch (const zel::FileError&) {
    return;
  }
  const std::string copy = scratch("copy.cam");
  std::filesystem::remove(copy);
  // The writer refuses a text it could not read back, and only that: a line
  // break inside a name.
  const auto breaks = [](const std::string& s) { return s.find_first_of("\r\n") != s.npos; };
  const bool writable = !breaks(read.camera_ID) && !breaks(read.camera_name) &&
                        !breaks(read.default_length_unit) && !breaks(read.flat_file);
  const bool written = zel::write_camera(copy, read);
  require(written == writable, "a camera is written exactly when its texts have no line break");
  if (!written) return;
  zel::cameraFeatures back;
  zel::read_camera(copy, back);
  require(back.camera_ID == read.camera_ID && back.camera_name == read.camera_name &&
              back.default_length_unit == read.default_length_unit &&
              back.flat_file == read.flat_file,
          "a camera written reads back other texts");
  require(back.ncx == read.ncx && back.ncy == read.ncy && back.nfx == read.nfx &&
              back.nfy == read.nfy,
          "a camera written reads back other sizes");
  for (auto member : {&zel::cameraFeatures::focus, &zel::cameraFeatures::dx,
                      &zel::cameraFeatures::dy, &zel::cameraFeatures::cx, &zel::cameraFeatures::cy,
                      &zel::cameraFeatures::a2, &zel::cameraFeatures::a4})
    require(closeEnough(back.*member, read.*member), "a camera written reads back other numbers");
}

void feedIni(const std::uint8_t* data, std::size_t size) {
  const std::string path = put("in.ini", data, size);
  try {
    (void)zel::ini_read(path, "camera", "focus", "no key");
    zel::cameraFeatures camera;
    zel::read_camera(path, camera);
    iniRoundTrip(path);
  } catch (const zel::FileError&) {
  }
}

void feedMrk(const std::uint8_t* data, std::size_t size) {
  const std::string path = put("in.mrk", data, size);
  zel::markersArray read;
  try {
    zel::read_mrk(path, read);
  } catch (const zel::FileError&) {
    return;
  }
  require(static_cast<std::size_t>(read.count()) <= size, "more markers than bytes");
  if (read.count() == 0 || !read.lengthUnit.empty()) return;  // the unit line does not read
  const std::string copy = scratch("copy.mrk");
  zel::write_mrk(copy, read);
  zel::markersArray back;
  zel::read_mrk(copy, back);
  require(back.count() == read.count(), "a written .mrk reads back with another count");
  require(back.functionName == read.functionName, "the function name did not read back");
  for (int i = 0; i < read.count(); ++i)
    require(back[i].id == read[i].id && back[i].active == read[i].active,
            "ids or active flags did not read back");
}

void feedTextMarkers(const std::uint8_t* data, std::size_t size) {
  const int height = 1000;
  zel::markersArray mpt, inm, apm;
  try {
    zel::load_markers(put("in.mpt", data, size), mpt, height);
    zel::load_markers(put("in.inm", data, size), inm, height);
    zel::read_inm(put("in.apm", data, size), apm, height);
  } catch (const zel::FileError&) {
    return;
  }
  for (const zel::markersArray* a : {&mpt, &inm, &apm}) {
    require(static_cast<std::size_t>(a->count()) <= size, "more markers than bytes");
    for (int i = 0; i < a->count(); ++i) require((*a)[i].id == i + 1, "markers numbered wrongly");
  }
  require(inm.count() == apm.count(), ".inm and .apm read different counts");
  for (int i = 0; i < inm.count(); ++i)
    require(sameOrNotFinite(inm[i].y, height - apm[i].y - 1.0) && inm[i].active == apm[i].active,
            ".inm is not .apm with the rows turned");
}

}  // namespace tamble::fuzz
