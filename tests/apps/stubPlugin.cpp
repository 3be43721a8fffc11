// A stand-in plug-in for the command line's tests: its commands ask for what
// the real table's commands do not yet (parameters, yes/no answers, files)
// and one fails with an image-model error.
#include "api/errors.h"
#include "api/imagesList.h"
#include "host/hostUi.h"
#include "host/paramRecord.h"
#include "host/platform.h"
#include "plugin/frame.h"

namespace {

struct scaleParams {
  float m_factor = 2.0f;
  int m_steps = 1;
};

scaleParams scale;

const tamble::recordDescriptor<scaleParams> scaleDescriptor{
    "scaleParams",
    "StubScale",
    "Scale Values",
    {{{"m_factor", tamble::paramType::Float, 2.0, std::pair{0.5, 8.0}, "Factor"},
      &scaleParams::m_factor},
     {{"m_steps", tamble::paramType::Int, 1.0, std::pair{1.0, 4.0}, "Steps"},
      &scaleParams::m_steps}}};

// Multiplies the current image by factor, steps times; refuses images
// narrower than 2 pixels before its dialog.
bool scaleValues(zel::imagesList& list) {
  static tamble::boundRecord<scaleParams> record(scaleDescriptor, scale);
  tamble::operation op;
  op.guard = [](const zel::image& img) { return img.width() < 2 ? "Image Too Small" : nullptr; };
  op.dialog = &record;
  op.routine = [](zel::image& img) {
    for (int i = 0; i < scale.m_steps; ++i) img *= scale.m_factor;
  };
  return tamble::runStandard(list, op);
}

bool askTwice(zel::imagesList&) {
  const bool first = message("Proceed?\nThe values will change.", true);
  const bool second = message("Keep going?", true);
  message(std::string("answers: ") + (first ? "yes" : "no") + " " + (second ? "yes" : "no"), false);
  return true;
}

bool pickFiles(zel::imagesList&) {
  const std::string in = tamble::hostUi().chooseFile("Open Table", "Table (*.txt)|*.txt||", false);
  const std::string out = tamble::hostUi().chooseFile("Save Table", "Table (*.txt)|*.txt||", true);
  message("read " + in + ", write " + out, false);
  return true;
}

bool fail(zel::imagesList&) { zel::raise<zel::StateError>("stub failure"); }

plg2dapiFormatInfo row(const char* label, bool (*handler)(zel::imagesList&),
                       bool (*enabled)(const zel::imagesList&)) {
  plg2dapiFormatInfo info;
  info.group = "Stub";
  info.label = label;
  info.tooltip = std::string("Tooltip of ") + label;
  info.handler = handler;
  info.enabled = enabled;
  info.helpTopic = "stub.chm::/html/stub.htm";
  return info;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) plg2dapiInfo* GetInfo2DAPI() {
  static plg2dapiInfo info;
  info.name = "Stub";
  info.commands = {row("Scale Values...", scaleValues, image_is_present),
                   separator_2d("Stub"),
                   row("Ask Twice", askTwice, always),
                   row("Pick Files...", pickFiles, always),
                   row("Fail", fail, always),
                   row("Never", askTwice, never)};
  return &info;
}
