// A stand-in plug-in for the command line's tests: its commands ask for what
// the real table's commands do not yet (parameters, yes/no answers, files)
// and one fails with an image-model error.
#include <fstream>
#include <memory>

#include "api/errors.h"
#include "api/imagesList.h"
#include "host/command.h"
#include "host/hostUi.h"
#include "host/interaction.h"
#include "host/paramRecord.h"
#include "plugin/frame.h"

namespace {

struct scaleParams {
  float m_factor = 2.0f;
  int m_steps = 1;
  static const tamble::recordDescriptor<scaleParams>& descriptor();
};

scaleParams scale;

const tamble::recordDescriptor<scaleParams> scaleDescriptor{
    "scaleParams",
    "StubScale",
    "Scale Values",
    {{{"m_factor", tamble::paramType::Float, std::pair{0.5, 8.0}, "Factor"},
      &scaleParams::m_factor},
     {{"m_steps", tamble::paramType::Int, std::pair{1.0, 4.0}, "Steps"}, &scaleParams::m_steps}}};

const tamble::recordDescriptor<scaleParams>& scaleParams::descriptor() { return scaleDescriptor; }

// Multiplies by factor, steps times; refuses images narrower than 2 pixels.
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

// Shows the first line of the file chosen: a named pipe keeps the command
// running until something writes into it (the Python package's tests).
bool readLine(zel::imagesList&) {
  std::ifstream in(tamble::hostUi().chooseFile("Read Line", "Text (*.txt)|*.txt||", false));
  std::string line;
  std::getline(in, line);
  message("line: " + line, false);
  return true;
}

bool fail(zel::imagesList&) { zel::raise<zel::StateError>("stub failure"); }

std::unique_ptr<tamble::paramRecord> scaleRecord() {
  auto record = std::make_unique<tamble::ownedRecord<scaleParams>>();
  record->values() = scale;
  return record;
}

tamble::commandDescriptor command(const char* name, const char* label,
                                  bool (*handler)(zel::imagesList&),
                                  tamble::availabilityTest enabled,
                                  std::vector<tamble::recordMaker> records = {}) {
  const char* help = "stub.chm::/html/stub.htm";
  return {name, "Stub", label, "A stub command", help, enabled, std::move(records), handler};
}

const tamble::commandDescriptor commands[] = {
    command("scale-values", "Scale Values...", scaleValues, {"image_is_present", image_is_present},
            {scaleRecord}),
    command("ask-twice", "Ask Twice", askTwice, {"always", always}),
    command("pick-files", "Pick Files...", pickFiles, {"always", always}),
    command("fail", "Fail", fail, {"always", always}),
    command("read-line", "Read Line...", readLine, {"always", always})};

std::vector<tamble::menuEntry> menu() {
  std::vector<tamble::menuEntry> entries;
  for (const auto& c : commands) entries.push_back({&c, "Stub"});
  entries.insert(entries.begin() + 1, {nullptr, "Stub"});  // a separator after the first
  return entries;
}

const bool registered = (tamble::registerMenu(menu), true);

plg2dapiFormatInfo row(const tamble::commandDescriptor& d) {
  plg2dapiFormatInfo info;
  info.group = d.group;
  info.label = d.label;
  info.tooltip = d.tooltip;
  info.handler = d.handler;
  info.enabled = d.enabled.test;
  info.helpTopic = d.helpTopic;
  return info;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) plg2dapiInfo* GetInfo2DAPI() {
  (void)registered;
  static plg2dapiInfo info;
  info.name = "Stub";
  info.commands.clear();
  for (const tamble::menuEntry& e : menu())
    info.commands.push_back(e.command ? row(*e.command) : separator_2d(e.group));
  return &info;
}
