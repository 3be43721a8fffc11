#include "plugin/sourceStages.h"

#include <filesystem>

#include "align/undistort.h"
#include "api/imagesList.h"
#include "convert/foreground.h"
#include "dialogs/alignmentDialog.h"
#include "dialogs/backgroundDialogs.h"
#include "dialogs/conversionDialogs.h"
#include "filters/circleFilters.h"
#include "host/interaction.h"
#include "host/project.h"
#include "plugin/alignByRecord.h"
#include "plugin/availability.h"
#include "plugin/catalogue.h"
#include "plugin/frame.h"
#include "plugin/projectState.h"

namespace tamble {

namespace {

using namespace names;

bool finish(zel::imagesList& list, bool result) {
  markSourceFlags(list, true);
  refreshList(list);
  return result;
}

template <class Record>
bool gaussStage(zel::imagesList& list, bool interactive, int (*odd)(int),
                const std::vector<const char*>& targets) {
  Record values;
  boundRecord<Record> record(Record::descriptor(), values);
  if (!stageParameters(list, record, interactive)) return false;
  const float diameter = static_cast<float>(odd(values.m_diameter)) + 0.001f;
  for (const char* name : targets)
    if (zel::image* img = list.find(name))
      GaussSeparable(img->field(), img->bkgr(), img->ROI(), values.m_iter, diameter);
  return true;
}

// Makes Irefe_Isens current when it is there; else the list is redrawn.
void showRatio(zel::imagesList& list) {
  if (!setCurrentByName(list, Irefe_Isens)) refreshList(list);
}

void undistort(zel::image* img, const zel::cameraFeatures& camera) {
  // Without a lens model the correction is the identity: nothing to resample.
  if (!img || (camera.a2 == 0.0 && camera.a4 == 0.0)) return;
  UndistortImage(img->field(), img->bkgr(), img->ROI(), img->markers, camera.cx, camera.cy,
                 camera.a2, camera.a4);
}

// The list's batch mode and the routines' notices as "Show INFO" wants them
// for the stage, restored at its end whatever happens.
class alignmentQuiet {
 public:
  explicit alignmentQuiet(bool info) : saved(state().batchMode), notices(info) {
    if (!info) state().batchMode = true;
  }
  ~alignmentQuiet() { state().batchMode = saved; }
  alignmentQuiet(const alignmentQuiet&) = delete;
  alignmentQuiet& operator=(const alignmentQuiet&) = delete;

 private:
  bool saved;
  infoScope notices;
};

}  // namespace

int sourceFilterDiameter(int d) { return d % 2 == 0 ? d - 1 : d; }
int resultFilterDiameter(int d) { return d % 2 == 0 ? d + 1 : d; }

bool Filtering(zel::imagesList& list, bool interactive) {
  const bool ok =
      gaussStage<CGaussBS>(list, interactive, sourceFilterDiameter, paintSourceNames(paintKind()));
  return finish(list, ok);
}

bool FilterOutputFields(zel::imagesList& list, bool interactive) {
  const bool ok =
      gaussStage<CGaussFBS>(list, interactive, resultFilterDiameter, paintResultNames(paintKind()));
  markSourceFlags(list, true);
  showRatio(list);
  return ok;
}

bool ForegroundThinningOfResults(zel::imagesList& list, bool interactive) {
  CThinning values;
  boundRecord<CThinning> record(CThinning::descriptor(), values);
  if (!stageParameters(list, record, interactive)) return finish(list, false);
  saveRecord(record);
  for (const char* name : paintResultNames(paintKind()))
    if (zel::image* img = list.find(name))
      ForegroundThinning(img->field(), img->bkgr(), img->ROI(), values.m_depth);
  markSourceFlags(list, true);
  showRatio(list);
  return true;
}

bool DistortionCorrection(zel::imagesList& list, bool interactive) {
  if (interactive) list.snapshot();
  if (paintKind() == "double") {
    undistort(list.find(wind_on_refe), get_refe_cam());
    undistort(list.find(wind_off_refe), get_refe_cam());
  }
  if (!paintSourceNames(paintKind()).empty()) {
    undistort(list.find(wind_on_sens), get_sens_cam());
    undistort(list.find(wind_off_sens), get_sens_cam());
  }
  return finish(list, true);
}

std::string displacementFileOf(const std::string& projectFile, const std::string& image) {
  const std::filesystem::path project(projectFile);
  const char* suffix = image == wind_on_sens   ? "_displacement_snsf.txt"
                       : image == wind_on_refe ? "_displacement_rnsf.txt"
                                               : "_displacement_rfsf.txt";
  return (project.parent_path() / project.stem()).string() + suffix;
}

bool AlignmentOfImages(zel::imagesList& list, bool interactive) {
  CAlignment values;
  boundRecord<CAlignment> record(CAlignment::descriptor(), values);
  if (!stageParameters(list, record, interactive)) return finish(list, false);
  saveRecord(record);
  rememberAlignment(values);
  const zel::image* reference = list.find(wind_off_sens);
  std::vector<const char*> aligned = {wind_on_sens, wind_on_refe, wind_off_refe};
  if (paintKind() != "double") aligned.resize(1);
  const alignmentQuiet quiet(values.m_info != 0);
  for (const char* name : aligned) {
    zel::image* img = list.find(name);
    if (!img || !reference) continue;
    const recordAlignment done = alignByRecord(*img, *reference, values);
    if (done.failed) return false;
    if (values.m_QPED)
      writeDisplacement(displacementFileOf(get_vur().project_file, name), *img, values,
                        done.source);
  }
  markSourceFlags(list, true);
  return true;
}

namespace {

bool FilteringCommand(zel::imagesList& list) {
  return runStage(list, Filtering, afterStage::selectLast);
}
bool FilterOutputFieldsCommand(zel::imagesList& list) {
  return runStage(list, FilterOutputFields, afterStage::selectLast);
}
bool ForegroundThinningStageCommand(zel::imagesList& list) {
  return runStage(list, ForegroundThinningOfResults, afterStage::selectLast);
}
bool DistortionCorrectionCommand(zel::imagesList& list) {
  return runStage(list, DistortionCorrection, afterStage::selectLast);
}
bool AlignmentOfImagesCommand(zel::imagesList& list) {
  return runStage(list, AlignmentOfImages, afterStage::selectLastOnSuccess);
}

constexpr const char* finalfilt = "BConvert.chm::/html/BConvert_finalfilt.htm";

const commandRegistration commands[] = {
    commandRegistration({"filtering",
                         "B Convert",
                         "Filtering...",
                         "1",
                         "BConvert.chm::/html/BConvert_filter.htm",
                         available::project_images_present,
                         {freshRecord<CGaussBS>},
                         FilteringCommand}),
    commandRegistration({"distortion-correction",
                         "B Convert",
                         "Distortion Correction",
                         "1",
                         "BConvert.chm::/html/BConvert_distortion.htm",
                         available::source_markers_present,
                         {},
                         DistortionCorrectionCommand}),
    commandRegistration({"alignment-of-images",
                         "B Convert",
                         "Alignment of Images...",
                         "1",
                         "BConvert.chm::/html/BConvert_alignment.htm",
                         available::project_images_present,
                         {freshRecord<CAlignment>},
                         AlignmentOfImagesCommand}),
    commandRegistration({"b-convert/foreground-thinning",
                         "B Convert",
                         "ForeGround Thinning...",
                         "1",
                         finalfilt,
                         available::output_fields_present,
                         {freshRecord<CThinning>},
                         ForegroundThinningStageCommand}),
    commandRegistration({"filter-output-fields",
                         "B Convert",
                         "Filter Output Fields...",
                         "1",
                         finalfilt,
                         available::output_fields_present,
                         {freshRecord<CGaussFBS>},
                         FilterOutputFieldsCommand}),
};

}  // namespace

}  // namespace tamble
