// The project library: one wind-tunnel run described by a ".vur" file (an
// ini file, see docs/project-file.md), held once per process. What asks a
// person (the project dialog, the files list) is in host/projectDialogs.h.
//
// The record keeps every path as the file writes it: relative to the
// project's folder, or absolute. alt_path turns them between the two forms;
// the readers resolve relative paths against the folder themselves.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "api/camera.h"

namespace zel {
class imagesList;

// One value of the parameter block: the stage dialogs' values under their
// own sections and keys, as text in the store's form.
struct vurParameter {
  std::string section;
  std::string key;
  std::string value;
};

struct vurStr {
  std::string project_file;    // the .vur file; its folder is the base of relative paths
  bool absolutePaths = false;  // the form the paths below are in (see alt_path)

  // Camera images and their frames.
  std::string wind_on_refe_file, wind_off_refe_file, wind_on_sens_file, wind_off_sens_file;
  std::string wind_on_T_file, wind_off_T_file;
  std::string wind_on_dark_refe_file, wind_off_dark_refe_file;
  std::string wind_on_dark_sens_file, wind_off_dark_sens_file;
  std::string flat_refe_file, flat_sens_file;
  // A list project: one wind-on image file per run.
  std::vector<std::string> wind_on_refe_list, wind_on_sens_list;

  // Marker files (.mrk) of the sources and results.
  std::string wind_off_refe_markers_file, wind_on_refe_markers_file;
  std::string wind_off_sens_markers_file, wind_on_sens_markers_file;
  std::string Pressure_markers_file, P_Pstat_markers_file, Cp_markers_file, T_markers_file,
      Irefe_Isens_markers_file;
  // The pressure ports: x, y on the wind-off frames, the tap's pressure as
  // the third value (z) in the flow's pressure unit. They become the list's
  // own markers.
  std::string ports_markers_file;
  // ROI files (_ROI.imp).
  std::string wind_off_refe_ROI_file, wind_on_refe_ROI_file;
  std::string wind_off_sens_ROI_file, wind_on_sens_ROI_file;
  std::string wind_on_T_ROI_file, wind_off_T_ROI_file;
  std::string Pressure_ROI_file, P_Pstat_ROI_file, Cp_ROI_file, T_ROI_file, Irefe_Isens_ROI_file;
  // Result images (.imp).
  std::string Irefe_Isens_file, Pressure_file, P_Pstat_file, Cp_file, T_file;

  std::string sens_camera_file, refe_camera_file;  // .cam
  std::string reference_file;                      // reference regions of a single paint
  std::string resect_data_file;                    // resection field data
  std::string geometry_markers_file;               // marker positions on the model
  bool no_report = false;                          // no time report after an automatic conversion

  // The stage dialogs' parameters, in file order.
  std::vector<vurParameter> parameters;
  // The value of a parameter, or nullptr.
  const std::string* parameter(const std::string& section, const std::string& key) const;
  // Changes the value, or adds the parameter at the end.
  void setParameter(const std::string& section, const std::string& key, const std::string& value);
};

// The paint's calibration: value = A(s) + B(s) r + C(s) r^2 with
// A(s) = c[0] + c[1] s + c[2] s^2, B from c[3..5], C from c[6..8].
struct paintFeatures {
  double c[9] = {};
  std::string paintUnit = "pa";  // the pressure unit of the calibration
};

// The flow state of the run.
struct flowFeatures {
  double P_wind_off = 0.0;
  double P_static = 0.0;
  double P_dynamic = 0.0;
  double T_wind_off = 0.0;
  double T_wind_on = 0.0;
  std::string flowPressureUnit = "pa";
  std::string flowTemperatureUnit = "c";
};

}  // namespace zel

// True while no project is held: the held record names no project file.
bool empty_vur();
// Forgets the project: record, paint, flow and cameras back to their defaults.
void clear_vur();
zel::vurStr& get_vur();
zel::paintFeatures& get_paint();
zel::flowFeatures& get_flow();
zel::cameraFeatures& get_sens_cam();
zel::cameraFeatures& get_refe_cam();

// Reads a project file and holds it: the record, the paint, the flow and the
// two cameras' files. A missing or unreadable project file, image, marker,
// ROI or camera file, a malformed number or an unknown unit raises
// zel::FileError naming the project file, the line and the key, and the
// project held before stays as it was. Keys the format does not know are
// logged; when `interactive` (a person chose the file) their list also goes
// to `notice`, before the project is held. The form that shows it to the
// person is read_vur_data(path, interactive) of host/projectDialogs.h.
using vurNotice = std::function<void(const std::string&)>;
void read_vur_data(const std::string& path, bool interactive, const vurNotice& notice);
// Puts the held project's images into the list under their fixed names
// (wind_off_sens, flat_refe, ...), each with its marker and ROI files where
// the project names them, and its pressure ports into the list's own
// markers (with `replace` they take the place of the list's markers, and a
// project without ports leaves it none; without, only a list without
// markers takes them). A list project's wind-on pair is its own
// wind_on_*_file where set, else the first entry of its list. With `replace`
// an image of the same name already in the list is replaced in its place;
// without, it stays and the project's image is left out. Every file is read
// before the list changes: a missing or damaged one raises zel::FileError
// naming the project file, the key and the file, and the list stays as it
// was. Nothing happens while no project is held.
void read_vur_images(zel::imagesList& list, bool replace);
// The host's project window: whether a project may be opened now.
void make_available_vur_project(bool available);
bool vur_project_available();

// The record's strings and parameter block from a project file, and back.
// The reader replaces the whole record (project_file becomes the file's
// absolute path, the paths stay as written); on failure the record is
// unchanged. The writer changes only the lines whose meaning differs from
// the record, writing paths in the project-relative form where the file
// lies near the project; comments, unknown keys and sections stay, and the
// file is replaced atomically (a new one is made).
void read_vur_strings(const std::string& path, zel::vurStr& record);
void write_vur_strings(const std::string& path, const zel::vurStr& record);
// The same with the paint and flow sections: a whole project file.
void write_vur_data(const std::string& path, const zel::vurStr& record,
                    const zel::paintFeatures& paint, const zel::flowFeatures& flow);
// Turns every path of the record between the project-relative form and the
// absolute form (each call flips absolutePaths). Absolute: relative paths are
// taken against the folder of project_file. Relative: an absolute path
// becomes relative when the file lies under that folder or at most two
// folders above it ("../../x"); others stay absolute.
void alt_path(zel::vurStr& record);
