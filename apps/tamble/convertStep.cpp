// `tamble convert`: a project opened, its scenario run by "Automatic
// Convert..." with the store's stage parameters (and the step's key=value
// words over them), its results saved, the stage report printed. Several
// projects, or a list of them, are converted one process each
// (convertList.cpp).
#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "apps/tamble/campaignSubmit.h"
#include "apps/tamble/campaignTask.h"
#include "apps/tamble/convertList.h"
#include "apps/tamble/failure.h"
#include "apps/tamble/output.h"
#include "apps/tamble/session.h"
#include "apps/tamble/steps.h"
#include "host/paramRecord.h"
#include "host/project.h"

namespace tamble::cli {
namespace {

// The report that "Automatic Convert..." shows at the end of a run that
// went through: its first line names the first stage.
constexpr const char* reportStart = "Dark subtraction: ";

bool isParameter(const std::string& word) { return word.find('=') != std::string::npos; }

// Where a key=value word goes: the paint question of the project's opening
// (m_type), or a stage's record by its key, "Section.key" or "Class.key".
struct stageParameter {
  std::string record;  // qualifier as given, empty when none
  std::string key;
  std::string value;
};

stageParameter parameterOf(const std::string& word) {
  auto [key, value] = splitPair(word, "key=value");
  const std::size_t dot = key.find('.');
  if (dot == std::string::npos) return {"", key, value};
  return {key.substr(0, dot), key.substr(dot + 1), value};
}

bool forOpening(const stageParameter& p) {
  return p.record.empty() && (p.key == "m_type" || p.key == "type");
}

// The records of the "B Convert" commands, each once, in menu order.
std::vector<std::unique_ptr<paramRecord>> stageRecordsOf(session& s) {
  std::vector<std::unique_ptr<paramRecord>> records;
  for (const menuEntry& e : s.plugin().menu()) {
    if (!e.command || std::string(e.command->group) != "B Convert") continue;
    for (recordMaker make : e.command->records) {
      std::unique_ptr<paramRecord> record = make();
      const bool known = std::any_of(records.begin(), records.end(), [&](const auto& r) {
        return r->className() == record->className();
      });
      if (!known && !record->section().empty()) records.push_back(std::move(record));
    }
  }
  return records;
}

const paramInfo* fieldOf(const paramRecord& r, const stageParameter& p) {
  if (!p.record.empty() && p.record != r.section() && p.record != r.className()) return nullptr;
  for (const paramInfo& f : r.fields())
    if (f.key == p.key) return &f;
  return nullptr;
}

// The one record that holds the word's key.
paramRecord& holderOf(std::vector<std::unique_ptr<paramRecord>>& records, const stageParameter& p) {
  std::vector<paramRecord*> holders;
  const std::string word = (p.record.empty() ? "" : p.record + ".") + p.key;
  for (auto& r : records)
    if (const paramInfo* f = fieldOf(*r, p)) {
      if (!f->stored)
        throw usageError("'" + word + "' of " + r->section() +
                         " is not kept between runs: a conversion takes its default (" +
                         std::to_string(static_cast<long long>(f->defaultValue)) + ")");
      holders.push_back(r.get());
    }
  if (holders.empty()) throw usageError("'" + word + "': no stage of the conversion has this key");
  if (holders.size() > 1) {
    std::string names;
    for (const paramRecord* r : holders) names += " " + r->section() + "." + p.key;
    throw usageError("'" + word + "' is a key of several stages; name one:" + names);
  }
  return *holders.front();
}

// The word set in its record as read from the store; a usage error when the
// value does not fit.
paramRecord& assigned(std::vector<std::unique_ptr<paramRecord>>& records, const stageParameter& p) {
  paramRecord& record = holderOf(records, p);
  loadRecord(record);
  if (auto complaint = assignParam(record, p.key, p.value)) throw usageError(*complaint);
  if (auto complaint = checkRecord(record)) throw usageError(*complaint);
  return record;
}

// Writes the word into the store, in the one record that holds its key.
void storeParameter(std::vector<std::unique_ptr<paramRecord>>& records, const stageParameter& p) {
  saveRecord(assigned(records, p));
}

void runCommand(session& s, const char* name, std::vector<std::string> words = {},
                std::vector<std::string> files = {}) {
  stepArgs run;
  run.command = name;
  run.words = std::move(words);
  run.files = std::move(files);
  runStep(s, run);
}

// Runs the scenario and answers the report it shows at its end, which is
// taken here; empty when the run did not go through.
std::string runScenario(session& s) {
  zel::vurStr& project = get_vur();
  const bool noReport = project.no_report;
  project.no_report = false;  // the report tells that the run went through
  std::string report;
  s.ui.noticeTaker = [&report](const std::string& text) {
    if (text.rfind(reportStart, 0) != 0) return false;
    report = text;
    return true;
  };
  try {
    runCommand(s, "automatic-convert");
  } catch (...) {
    s.ui.noticeTaker = nullptr;
    project.no_report = noReport;
    throw;
  }
  s.ui.noticeTaker = nullptr;
  project.no_report = noReport;
  return report;
}

// Saving replaces the results of an earlier conversion of the run without
// asking, unless the user chose how questions are answered.
void saveResults(session& s) {
  const unansweredPolicy policy = s.ui.policy;
  if (policy == unansweredPolicy::error) s.ui.policy = unansweredPolicy::yes;
  try {
    runCommand(s, "save-results");
  } catch (...) {
    s.ui.policy = policy;
    throw;
  }
  s.ui.policy = policy;
}

}  // namespace

std::string convertOne(session& s, const std::string& project,
                       const std::vector<std::string>& words) {
  std::vector<std::string> opening, staged;
  for (const std::string& word : words)
    (forOpening(parameterOf(word)) ? opening : staged).push_back(word);
  stepArgs open;
  open.file = project;
  open.words = opening;
  projectStep(s, open);
  const std::string report = convertOpened(s, project, staged);
  s.ui.tell("report", report);
  return report;
}

std::string convertOpened(session& s, const std::string& project,
                          const std::vector<std::string>& words) {
  // After the opening, which gives the store the project's parameters.
  std::vector<std::unique_ptr<paramRecord>> records = stageRecordsOf(s);
  for (const std::string& word : words) storeParameter(records, parameterOf(word));
  const std::string report = runScenario(s);
  if (report.empty())
    throw stepError(project +
                    ": the conversion stopped before its end (a refused scenario or references, "
                    "or an image that could not be aligned; see above); nothing was saved");
  saveResults(s);
  return report;
}

void checkStageWords(session& s, const std::vector<std::string>& words) {
  std::vector<std::unique_ptr<paramRecord>> records = stageRecordsOf(s);
  for (const std::string& word : words)
    if (const stageParameter p = parameterOf(word); !forOpening(p)) assigned(records, p);
}

void convertStep(session& s, const stepArgs& a) {
  std::vector<std::string> projects, words;
  for (const std::string& w : a.words) (isParameter(w) ? words : projects).push_back(w);
  if (a.task) {
    if (projects.size() != 1) throw usageError("convert --task: name one project file (.vur)");
    convertTask(s, projects.front(), words);
    return;
  }
  if (a.slurm) {
    if (!projects.empty()) throw usageError("convert --slurm: the projects come from --list only");
    submitCampaign(s,
                   {a.file, words, a.partition, a.maxParallel, a.dryRun, a.onlyMissing, a.tamble});
    return;
  }
  if (!a.file.empty()) {
    const std::vector<std::string> listed = readProjectList(a.file);
    projects.insert(projects.end(), listed.begin(), listed.end());
  }
  if (projects.empty()) throw usageError("convert: name a project file (.vur) or --list FILE");
  if (projects.size() == 1 && a.file.empty() && a.jobs == 1) {
    convertOne(s, projects.front(), words);
    return;
  }
  convertMany(s, projects, words, a.jobs);
}

}  // namespace tamble::cli
