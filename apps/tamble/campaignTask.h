// One task of a campaign: `tamble convert --task PROJECT [key=value...]`, as
// the batch script runs it on a node.
#pragma once

#include <string>
#include <vector>

namespace tamble::cli {

class session;

// Converts the project as `tamble convert` does, its output and the
// program's log going to the task's log beside the project, and its store being a private copy of
// the one given (tasks on one node must not share a store file: opening a project writes its
// parameters there). When the conversion went through, the stage report is written atomically
// beside the project and the log ends "outcome: done"; otherwise the error is raised as usual and
// its "error: " line ends the log.
void convertTask(session& s, const std::string& project, const std::vector<std::string>& words);

}  // namespace tamble::cli
