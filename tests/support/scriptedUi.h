// A HostUi for tests: answers from queues and records every notice.
#pragma once

#include <deque>
#include <string>
#include <vector>

#include "host/hostUi.h"
#include "host/paramRecord.h"

namespace tamble::testing {

class scriptedUi : public HostUi {
public:
  std::vector<std::string> notices;    // every message text, in order
  std::deque<bool> answers;            // for yes/no questions
  std::deque<int> imageChoices;        // for the image choice (-1: Cancel)
  std::deque<bool> dialogOk;           // for parameter dialogs (false: Cancel)
  std::vector<std::pair<std::string, std::string>> dialogValues;  // key, text set on OK
  std::deque<std::string> fileChoices;                   // for chooseFile ("": Cancel)
  std::deque<std::vector<std::string>> fileListChoices;  // for chooseFiles ({}: Cancel)
  std::vector<std::string> proposedFiles;                // what each chooseFile proposed
  std::vector<std::string> fileFilters;  // the filter of every file question, in order
  int waitDepth = 0;

  bool message(const std::string& text, bool ask, bool) override {
    notices.push_back(text);
    if (!ask) return true;
    if (answers.empty()) return false;
    bool a = answers.front();
    answers.pop_front();
    return a;
  }
  bool editRecord(paramRecord& record) override {
    bool ok = dialogOk.empty() ? true : dialogOk.front();
    if (!dialogOk.empty()) dialogOk.pop_front();
    if (!ok) return false;
    for (const auto& [key, text] : dialogValues) assignParam(record, key, text);
    return !checkRecord(record);
  }
  int chooseImage(const std::string&, const std::vector<std::string>&, int) override {
    if (imageChoices.empty()) return -1;
    int c = imageChoices.front();
    imageChoices.pop_front();
    return c;
  }
  std::string chooseFile(const std::string&, const std::string& filter, bool,
                         const std::string& proposed) override {
    fileFilters.push_back(filter);
    proposedFiles.push_back(proposed);
    if (fileChoices.empty()) return {};
    std::string file = fileChoices.front();
    fileChoices.pop_front();
    return file;
  }
  std::vector<std::string> chooseFiles(const std::string&, const std::string& filter) override {
    fileFilters.push_back(filter);
    if (fileListChoices.empty()) return {};
    std::vector<std::string> files = fileListChoices.front();
    fileListChoices.pop_front();
    return files;
  }
  void waitCursor(bool on) override { waitDepth += on ? 1 : -1; }
};

// Installs a scripted UI for the life of a test.
struct installedUi {
  scriptedUi ui;
  installedUi() { setHostUi(&ui); }
  ~installedUi() { setHostUi(nullptr); }
};

}  // namespace tamble::testing
