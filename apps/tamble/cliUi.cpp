#include "apps/tamble/cliUi.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "api/log.h"
#include "apps/tamble/failure.h"
#include "apps/tamble/output.h"
#include "apps/tamble/session.h"
#include "host/paramRecord.h"

namespace tamble::cli {
namespace {

const std::string entrySeparator = "  -  ";

std::string listed(const std::vector<std::string>& items) {
  std::string out;
  for (const std::string& item : items) out += (out.empty() ? "" : ", ") + item;
  return out.empty() ? "(none)" : out;
}

}  // namespace

std::string entryName(const std::string& entry) {
  return entry.substr(0, entry.find(entrySeparator));
}

void cliUi::startRun(runAnswers given) {
  pending = std::move(given);
  dialogs = 0;
  shownDialogs.clear();
}

void cliUi::finishRun(const std::string& label) {
  flushNotices();
  std::vector<std::string> unused;
  const bool paramsUnused = dialogs == 0 && !pending.params.empty();
  if (paramsUnused)
    for (const auto& [key, value] : pending.params) unused.push_back(key + "=" + value);
  for (const std::string& name : pending.images) unused.push_back(answerWord("image", name));
  for (const std::string& path : pending.files) unused.push_back(answerWord("file", path));
  for (bool answer : pending.answers) unused.push_back(answerWord("answer", answer ? "yes" : "no"));
  pending = {};
  if (!unused.empty())
    throw stepError("'" + label + "' ran without asking for " + listed(unused) +
                    (paramsUnused ? " (it showed no parameter dialog)" : ""));
}

void cliUi::tell(const std::string& kind, const std::string& text) {
  if (say)
    say(kind, text);
  else
    printBlock(stdout, kind + ": ", text);
}

void cliUi::flushNotices() {
  if (heldCount == 0) return;
  const std::string times = heldCount > 1 ? " (" + std::to_string(heldCount) + " times)" : "";
  tell("notice", heldNotice + times);
  heldNotice.clear();
  heldCount = 0;
}

bool cliUi::message(const std::string& text, bool ask, bool) {
  if (!ask && noticeTaker && noticeTaker(text)) return true;
  if (!ask) {
    if (heldCount > 0 && text == heldNotice) {
      ++heldCount;
      return true;
    }
    flushNotices();
    heldNotice = text;
    heldCount = 1;
    return true;
  }
  flushNotices();
  bool answer = policy == unansweredPolicy::yes;
  std::string how;
  if (!pending.answers.empty()) {
    answer = pending.answers.front();
    pending.answers.pop_front();
  } else if (policy == unansweredPolicy::error) {
    throw stepError("unanswered question: " + text);
  } else {
    how = " (--unanswered)";
  }
  tell("question", text);
  tell("answer", (answer ? "yes" : "no") + how);
  return answer;
}

// The values come from the store first (the plug-in loads them); the step's
// words go over them and must pass the same range check as OK in a dialog.
bool cliUi::editRecord(paramRecord& record) {
  ++dialogs;
  // A dialog of shown values only is a report: its lines are printed.
  const std::vector<paramInfo>& fields = record.fields();
  const bool report =
      !fields.empty() &&
      std::all_of(fields.begin(), fields.end(), [](const paramInfo& f) { return f.shownOnly; });
  if (report) {
    flushNotices();
    std::string text = record.title();
    for (const paramInfo& f : fields) text += "\n" + f.caption;
    tell("report", text);
  }
  // The step's key=value words are the inputs of the command's dialog, not
  // of the report that follows it.
  if (!report)
    for (const auto& [key, value] : pending.params)
      if (auto complaint = assignParam(record, key, value)) throw stepError(*complaint);
  if (auto complaint = checkRecord(record)) throw stepError(*complaint);
  zel::get_log().level(4).write("tamble: parameters " + describeRecord(record));
  shownDialogs.emplace_back(record.title(), describeRecord(record));
  // A report's OK saves its lines where the dialog offers to ("Save Data"):
  // pressed only when the step gave a file for it.
  return !report || !pending.files.empty();
}

int cliUi::chooseImage(const std::string& title, const std::vector<std::string>& entries, int) {
  if (pending.images.empty())
    throw stepError("the command asks to choose an image (" + title + "); give " +
                    answerWord("image", "NAME"));
  const std::string name = pending.images.front();
  pending.images.pop_front();
  std::vector<std::string> names;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (entryName(entries[i]) == name) return static_cast<int>(i);
    names.push_back(entryName(entries[i]));
  }
  throw stepError("no image named '" + name + "' to choose (" + title + "); the choices are " +
                  listed(names));
}

std::string cliUi::takeFile(const std::string& title, bool save) {
  if (pending.files.empty())
    throw stepError("the command asks for a file (" + title + "); give " +
                    answerWord("file", "PATH"));
  std::string path = pending.files.front();
  pending.files.pop_front();
  if (save)
    inputs.checkWritable(path);
  else
    inputs.add(path);
  return path;
}

std::string cliUi::chooseFile(const std::string& title, const std::string&, bool save,
                              const std::string& proposed) {
  if (pending.files.empty() && !proposed.empty())
    throw stepError("the command asks for a file (" + title + ", proposing " + proposed +
                    "); give " + answerWord("file", "PATH"));
  return takeFile(title, save);
}

std::vector<std::string> cliUi::chooseFiles(const std::string& title, const std::string&) {
  std::vector<std::string> paths{takeFile(title, false)};
  while (!pending.files.empty()) paths.push_back(takeFile(title, false));
  return paths;
}

// Only for a person watching: a file or pipe gets no progress lines.
void cliUi::progress(const std::string& what, int percent) {
  if (say || !isatty(STDERR_FILENO)) return;
  std::fprintf(stderr, "\r%s %3d%%%s", what.c_str(), percent, percent >= 100 ? "\n" : "");
  std::fflush(stderr);
}

}  // namespace tamble::cli
