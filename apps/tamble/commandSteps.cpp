// The steps on the plug-in's commands: listing, describing, running, and the
// host's own undo.
#include <algorithm>
#include <cstdio>
#include <memory>

#include "api/errors.h"
#include "api/log.h"
#include "apps/tamble/failure.h"
#include "apps/tamble/output.h"
#include "apps/tamble/session.h"
#include "apps/tamble/steps.h"
#include "host/paramRecord.h"

namespace tamble::cli {
namespace {

bool available(const commandDescriptor& d, const zel::imagesList& list) {
  return !d.enabled.test || d.enabled.test(list);
}

std::string quoted(const std::string& text) { return "\"" + text + "\""; }

struct tableWidths {
  std::size_t name = 0;
  std::size_t label = 0;
};

tableWidths widthsOf(const std::vector<menuEntry>& menu) {
  tableWidths w;
  for (const menuEntry& e : menu) {
    if (!e.command) continue;
    w.name = std::max(w.name, std::string(e.command->name).size());
    w.label = std::max(w.label, quoted(e.command->label).size());
  }
  return w;
}

// Each record as the next opening shows it: the remembered values with the
// store's read over them.
void describeRecords(const commandDescriptor& d) {
  for (recordMaker make : d.records) {
    const std::unique_ptr<paramRecord> record = make();
    loadRecord(*record);
    printBlock(stdout, "  dialog:    ", describeRecord(*record));
  }
  for (const userChoice& c : d.asks) {
    if (c.what == userChoice::kind::image) printBlock(stdout, "  image:     ", std::string(c.title) + " (--image NAME)");
    if (c.what == userChoice::kind::file) printBlock(stdout, "  file:      ", std::string(c.title) + " (--file PATH)");
    if (c.what == userChoice::kind::question)
      printBlock(stdout, "  question:  ", std::string(c.title) + " (--answer yes|no)");
  }
  if (d.records.empty() && d.asks.empty()) std::puts("  asks:      nothing");
}


}  // namespace

runAnswers answersOf(const stepArgs& a) {
  runAnswers given;
  for (const std::string& word : a.words) given.params.push_back(splitPair(word, "key=value"));
  given.images.assign(a.images.begin(), a.images.end());
  given.files.assign(a.files.begin(), a.files.end());
  for (const std::string& answer : a.answers) given.answers.push_back(answer == "yes");
  return given;
}

void commandsStep(session& s, const stepArgs&) {
  const std::vector<menuEntry>& menu = s.plugin().menu();
  const tableWidths w = widthsOf(menu);
  const std::string rule = "  " + std::string(w.name + w.label + 7, '-');
  const char* group = nullptr;
  for (const menuEntry& e : menu) {
    const char* entryGroup = e.command ? e.command->group : e.group;
    if (!group || std::string(group) != entryGroup) std::printf("%s\n", entryGroup);
    group = entryGroup;
    if (!e.command) {
      std::puts(rule.c_str());
      continue;
    }
    std::printf("  %-*s  %-*s  %s\n", static_cast<int>(w.name), e.command->name,
                static_cast<int>(w.label), quoted(e.command->label).c_str(),
                available(*e.command, s.list) ? "yes" : "no");
  }
}

void describeStep(session& s, const stepArgs& a) {
  const commandDescriptor& d = s.plugin().names().resolve(a.command);
  std::printf("%s  %s\n", d.name, quoted(d.label).c_str());
  printBlock(stdout, "  group:     ", d.group);
  printBlock(stdout, "  tooltip:   ", d.tooltip);
  printBlock(stdout, "  help:      ", d.helpTopic);
  printBlock(stdout, "  available: ",
             available(d, s.list) ? "yes" : "no (" + std::string(d.enabled.name) + ")");
  describeRecords(d);
}

void runStep(session& s, const stepArgs& a) {
  const commandDescriptor& d = s.plugin().names().resolve(a.command);
  runAnswers given = answersOf(a);
  if (!available(d, s.list))
    throw stepError("'" + std::string(d.label) + "' is not available: " + d.enabled.name);
  zel::get_log().level(4).write("tamble: run " + std::string(d.group) + "/" + d.label);
  s.ui.startRun(std::move(given));
  d.handler(s.list);
  s.ui.finishRun(d.label);
}
namespace {

std::string rangeText(const paramInfo& f) {
  if (!f.choices.empty()) {
    std::string text;
    for (const radioChoice& c : f.choices)
      text += (text.empty() ? "" : ", ") + std::to_string(c.value) + " \"" + c.label + "\"";
    return text;
  }
  if (!f.range) return "any";
  return paramNumberText(f, f.range->first) + " to " + paramNumberText(f, f.range->second);
}

void referenceRecord(const paramRecord& record) {
  std::printf("\nRecord `%s`, \"%s\", %s:\n\n", record.className().c_str(),
              record.title().c_str(),
              record.section().empty() ? "kept for the session only"
                                       : ("stored in section [" + record.section() + "]").c_str());
  std::puts("| Key | Type | Default | Accepted | Caption |");
  std::puts("|---|---|---|---|---|");
  for (const paramInfo& f : record.fields())
    std::printf("| `%s` | %s%s | %s | %s | %s |\n", f.key.c_str(), paramTypeName(f.type),
                f.shownOnly                           ? ", shown only"
                : f.stored || record.section().empty() ? ""
                                                       : ", not stored",
                paramNumberText(f, f.defaultValue).c_str(), rangeText(f).c_str(),
                f.caption.empty() ? "" : ("\"" + f.caption + "\"").c_str());
}

const char* choiceName(userChoice::kind k) {
  switch (k) {
    case userChoice::kind::image: return "an image";
    case userChoice::kind::file: return "a file";
    case userChoice::kind::question: return "a question";
  }
  return "";
}

void referenceCommand(const commandDescriptor& d) {
  std::printf("\n### `%s`: \"%s\"\n\n", d.name, d.label);
  std::printf("- tooltip: \"%s\"\n- available when: `%s`\n- help topic: `%s`\n", d.tooltip,
              d.enabled.name, d.helpTopic);
  for (const userChoice& c : d.asks)
    std::printf("- asks for %s: \"%s\"\n", choiceName(c.what), c.title);
  for (recordMaker make : d.records) referenceRecord(*make());
}

}  // namespace

void referenceStep(session& s, const stepArgs&) {
  std::puts("# Command reference");
  std::puts("");
  std::puts("Every command of the plug-in's menus, as its descriptor states it: the name");
  std::puts("to type (`tamble run NAME`), the menu label, when it is available, and the");
  std::puts("parameter records its dialogs show, with each key's compiled-in default and");
  std::puts("the values the dialog accepts. `tamble reference` prints this page; a test");
  std::puts("checks that it agrees with the program.");
  const char* group = nullptr;
  for (const menuEntry& e : s.plugin().menu()) {
    if (!e.command) continue;
    if (!group || std::string(group) != e.command->group)
      std::printf("\n## %s\n", e.command->group);
    group = e.command->group;
    referenceCommand(*e.command);
  }
}

void projectStep(session& s, const stepArgs& a) {
  stepArgs open;
  open.command = "Open Project...";
  open.files = {a.file};
  open.words = a.words;
  runStep(s, open);
  // The command has said why when the images are no paint's.
  if (!s.list.find("wind_off_sens") || !s.list.find("wind_on_sens"))
    throw stepError("'" + a.file + "' was not opened as a project");
  // A single paint's kind came from a question: when the step did not
  // answer it, say which answer was taken (the store's, from the last time).
  const bool answered = std::any_of(a.words.begin(), a.words.end(), [](const std::string& w) {
    return w.rfind("m_type=", 0) == 0 || w.rfind("type=", 0) == 0;
  });
  for (const auto& [title, values] : s.ui.shownDialogs) {
    const std::size_t at = values.find("m_type=");
    if (title != "SingleLayer Paint Type" || answered || at == std::string::npos) continue;
    const bool temperature = values.compare(at, 8, "m_type=1") == 0;
    s.ui.tell("note", std::string("a single paint, taken as ") +
                          (temperature ? "temperature" : "pressure") +
                          " paint (m_type=" + (temperature ? 'T' : 'P') +
                          ", the stored answer); give m_type=P or m_type=T to choose");
  }
}

void closeProjectStep(session& s, const stepArgs&) {
  stepArgs close;
  close.command = "Close Project";
  runStep(s, close);
}

void undoStep(session& s, const stepArgs&) {
  if (s.list.actions().empty()) throw stepError("nothing to undo");
  s.list.undo();
}

}  // namespace tamble::cli
