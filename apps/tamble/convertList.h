// Converting many projects: each in a process of its own, `jobs` at once,
// with a progress bar on a terminal and one line per project otherwise. A
// failed project is reported and the others go on.
#pragma once

#include <string>
#include <vector>

namespace tamble::cli {

class session;

// The projects a list file names, one per line; blank lines and lines
// starting with '#' are skipped, and relative paths are taken from the list
// file's folder.
std::vector<std::string> readProjectList(const std::string& file);

// Converts every project with the same key=value words; a stepError naming
// the failed ones when any failed.
void convertMany(session& s, const std::vector<std::string>& projects,
                 const std::vector<std::string>& words, int jobs);

// A usage error when a key=value word fits no stage, several, or not its
// value; the store is read, not changed (convertStep.cpp).
void checkStageWords(session& s, const std::vector<std::string>& words);

// One project in this process (convertStep.cpp); the stage report.
std::string convertOne(session& s, const std::string& project,
                       const std::vector<std::string>& words);

// The project open in `s` converted with the stage parameters of `words`
// (key=value, "Section.key=value") written to the store first, and its
// results saved. Answers the stage report; a stepError naming `project` when
// the run stopped before its end, a usageError for a word no stage takes.
std::string convertOpened(session& s, const std::string& project,
                          const std::vector<std::string>& words);

}  // namespace tamble::cli
