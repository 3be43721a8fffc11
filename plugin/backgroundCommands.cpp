#include "plugin/backgroundCommands.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

#include "api/errors.h"
#include "api/imagesList.h"
#include "api/log.h"
#include "api/numbers.h"
#include "api/paths.h"
#include "host/hostUi.h"
#include "host/interaction.h"
#include "host/platform.h"
#include "plugin/availability.h"
#include "plugin/catalogue.h"
#include "plugin/frame.h"
#include "plugin/projectState.h"

namespace tamble {

namespace {

constexpr const char* impFilter = "Extended Data (*.imp)|*.imp||";

// The sources of a double paint in the order the stage works; a single
// paint has the last two.
constexpr const char* sources[] = {names::wind_on_refe, names::wind_off_refe,
                                   names::wind_on_sens, names::wind_off_sens};

std::span<const char* const> sourcesOf(const std::string& kind) {
  if (kind == "double") return sources;
  if (kind == "single" || kind == "Tsingle") return std::span(sources).subspan(2);
  return {};
}

bool holdsFalse(const bgMask& mask) {
  return std::find(mask.data, mask.data + mask.count, false) != mask.data + mask.count;
}

// The values the stage runs with, for the log (a user is not shown them).
std::string valuesText(const CBG_Dlg& r) {
  auto num = [](float v) { return zel::numberText(v); };
  return "select " + std::to_string(r.m_check_select) + " compens " +
         std::to_string(r.m_check_compensate) + " r1 " + std::to_string(r.r1) + " r2 " +
         std::to_string(r.r2) + " thr " + num(r.m_1_threshold) + " aver " +
         num(r.m_1_average) + " relat " + num(r.m_1_relative);
}

// The file choice of both file commands: an .imp file, asked again as long
// as the user picks another kind and wants to try again. Empty: cancelled.
// The dialog proposes the image's file with "_BG.imp" for its extension.
std::string chooseImpFile(const zel::image& img, bool save) {
  const std::string& own = img.fileInfo.name;
  const std::string stem = own.empty() ? img.fieldName()
                                       : (std::filesystem::path(own).parent_path() /
                                          zel::base_name(own)).string();
  for (;;) {
    const std::string file =
        hostUi().chooseFile(backgroundFileTitle, impFilter, save, stem + "_BG.imp");
    if (file.empty() || zel::lower(zel::extension(file)) == "imp") return file;
    if (!message(onlyImpQuestion, true)) return {};
  }
}

const char* resetGuard(const zel::image& img) {
  return holdsTrue(img.bkgr()) ? nullptr : "No BackGround. Operation terminated";
}

// A command of the snapshot-only form that rewrites the two masks pixel by pixel.
template <class PerPixel>
bool runOnMasks(zel::imagesList& list, PerPixel perPixel) {
  operation op;
  op.snapshotOnly = true;
  op.routine = [perPixel](zel::image& img) {
    bgMask& bkgr = img.bkgr();
    bgMask& roi = img.ROI();
    for (std::uint64_t i = 0; i < bkgr.count; ++i) perPixel(bkgr.data[i], roi.data[i]);
  };
  return runStandard(list, op);
}

}  // namespace

backgroundParams backgroundParamsOf(const CBG_Dlg& r) {
  backgroundParams p;
  p.select = r.m_check_select;
  p.compensate = r.m_check_compensate;
  p.r1 = r.r1;
  p.r2 = r.r2;
  p.threshold = r.m_1_threshold;
  p.scale = r.m_1_average;
  p.relative = r.m_1_relative;
  p.value = r.m_2_value;
  p.side2 = r.m_2_2side;
  p.indent4 = r.m_2_4side_indent;
  p.width4 = r.m_2_4side_width;
  p.roiPresent = p.bkgrPresent = true;
  return p;
}

bool BackgroundWork(zel::imagesList& list, bool interactive) {
  CBG_Dlg dialog = session().remembered<CBG_Dlg>();
  boundRecord<CBG_Dlg> record(CBG_Dlg::descriptor(), dialog);
  if (interactive) {
    if (!showDialog(record)) return false;
    session().remembered<CBG_Dlg>() = dialog;
    list.snapshot();
  } else {
    loadRecord(record);
  }
  zel::get_log().level(4).write("Background Work: " + valuesText(dialog));
  const backgroundParams p = backgroundParamsOf(dialog);
  bool told = false;
  for (const char* name : sourcesOf(paintKind())) {
    zel::image* img = list.find(name);
    if (!img) continue;
    const backgroundFault fault = selectAndCompensate(img->field(), img->bkgr(), img->ROI(), p);
    if (fault != backgroundFault::none && !told) message(backgroundFaultText(fault), false);
    told = told || fault != backgroundFault::none;
  }
  markSourceFlags(list, true);
  refreshList(list);
  return true;
}

bool BackgroundWorkStageCommand(zel::imagesList& list) {
  return runStage(list, BackgroundWork, afterStage::selectLast);
}

bool BackgroundCommand(zel::imagesList& list) {
  CBG_Dlg dialog = session().remembered<CBG_Dlg>();
  boundRecord<CBG_Dlg> record(CBG_Dlg::descriptor(), dialog);
  operation op;
  op.dialog = &record;
  // Strips that the image cannot hold are refused before anything changes.
  op.guardAfterDialog = [&dialog](const zel::image& img) -> const char* {
    const backgroundFault fault =
        backgroundParameterFault(backgroundParamsOf(dialog), img.width(), img.height());
    return fault == backgroundFault::none ? nullptr : backgroundFaultText(fault);
  };
  op.remember = [&dialog] { session().remembered<CBG_Dlg>() = dialog; };
  op.routine = [&dialog](zel::image& img) {
    backgroundParams p = backgroundParamsOf(dialog);
    p.roiPresent = holdsFalse(img.ROI());  // a ROI the user drew
    selectAndCompensate(img.field(), img.bkgr(), img.ROI(), p);
  };
  return runStandard(list, op);
}

// The file is read whole before anything changes: a damaged file, or a mask
// of another size, leaves the image and "UnDo" as they were.
bool OpenBackground(zel::imagesList& list) {
  zel::image* img = list.current();
  if (!img) zel::raise<zel::AlgoError>();
  const std::string file = chooseImpFile(*img, false);
  if (file.empty()) return true;
  wait_cursor(true);
  try {
    bgMask loaded(img->width(), img->height());  // sized: read_array refuses another size
    read_array(file, loaded);
    if (!loaded.sameExtent(img->field()))
      zel::raise<zel::FileError>(file + ": the mask does not fit the image");
    list.snapshot();
    list.saveCurrent(true, "");
    const std::string name = img->bkgr().name;
    img->bkgr() = loaded;
    img->bkgr().name = name;
  } catch (const zel::FileError& e) {
    message(e.message, false);
  }
  wait_cursor(false);
  return true;
}

bool SaveBackgroundAs(zel::imagesList& list) {
  const zel::image* img = list.current();
  if (!img) zel::raise<zel::AlgoError>();
  const std::string file = chooseImpFile(*img, true);
  if (file.empty()) return true;
  try {
    write_array(file, img->bkgr());
  } catch (const zel::FileError& e) {
    message(e.message, false);
  }
  return true;
}

bool ResetBackground(zel::imagesList& list) {
  operation op;
  op.guard = resetGuard;
  op.routine = [](zel::image& img) { img.bkgr().fill(false); };
  return runStandard(list, op);
}

bool InvertBackground(zel::imagesList& list) {
  return runOnMasks(list, [](bool& bkgr, bool&) { bkgr = !bkgr; });
}

// The background becomes the ROI's regions (ROI false), and is cleared.
bool BackgroundToROI(zel::imagesList& list) {
  return runOnMasks(list, [](bool& bkgr, bool& roi) { roi = !bkgr, bkgr = false; });
}

// The ROI's regions become the background, and the ROI is the whole image.
bool ROIToBackground(zel::imagesList& list) {
  return runOnMasks(list, [](bool& bkgr, bool& roi) { bkgr = !roi, roi = true; });
}

namespace {
constexpr const char* backgroundTopic = "BackGround.chm::/html/BackGround_background.htm";
constexpr const char* resetTopic = "BackGround.chm::/html/BackGround_resetbg.htm";

const commandRegistration commands[] = {
    commandRegistration({"background-work", "B Convert", "Background Work...", "1",
                         "BConvert.chm::/html/BConvert_bg.htm", available::project_images_present,
                         {rememberedRecord<CBG_Dlg>}, BackgroundWorkStageCommand}),
    commandRegistration({"background", "Tools", "BackGround...",
                         "Performs Image BackGround Build/Select and Subtract/Compensate",
                         backgroundTopic, available::image_is_present,
                         {rememberedRecord<CBG_Dlg>}, BackgroundCommand}),
    commandRegistration({"open-background", "Tools", "Open BackGround...",
                         "Opens Image BackGround from IMP File", backgroundTopic,
                         available::image_is_present, {}, OpenBackground,
                         {{userChoice::kind::file, backgroundFileTitle},
                          {userChoice::kind::question, onlyImpQuestion}}}),
    commandRegistration({"save-background-as", "Tools", "Save BackGround As...",
                         "Saves Image BackGround to IMP File", backgroundTopic,
                         available::bkgr_is_set, {}, SaveBackgroundAs,
                         {{userChoice::kind::file, backgroundFileTitle},
                          {userChoice::kind::question, onlyImpQuestion}}}),
    commandRegistration({"reset-background", "Tools", "Reset BackGround",
                         "Destroys BackGround Regions on Image", resetTopic,
                         available::bkgr_is_set, {}, ResetBackground}),
    commandRegistration({"invert-background", "Tools", "Invert BackGround",
                         "Inverts BackGround Regions on Image", resetTopic,
                         available::bkgr_is_set, {}, InvertBackground}),
    commandRegistration({"background-to-roi", "Tools", "BackGround->ROI",
                         "Moves BackGround Regions to ROI ones", resetTopic,
                         available::bkgr_is_set, {}, BackgroundToROI}),
    commandRegistration({"roi-to-background", "Tools", "ROI->BackGround",
                         "Moves ROI Regions to BackGround ones", resetTopic,
                         available::roi_is_set, {}, ROIToBackground}),
};
}  // namespace

}  // namespace tamble
