// What the tasks of a campaign leave beside each project, and what it says:
// done, failed (and why), not finished, or not run.
#pragma once

#include <string>
#include <vector>

namespace tamble::cli {

class session;
struct stepArgs;

// The files of a project's task: "run.vur" gives "run.campaign.log" (the
// task's output, truncated when a task starts) and "run.report.txt" (the
// stage report, written last and atomically by a task that succeeded).
struct taskFiles {
  std::string log;
  std::string report;
};
taskFiles taskFilesOf(const std::string& project);

// The lines of a task's log that tell its story: the Slurm job and task
// near its top; at its end "outcome: done" after the report was written,
// or the "error: " line of a task that failed.
constexpr const char* jobLineStart = "slurm job: ";
constexpr const char* outcomeDone = "outcome: done";
constexpr const char* errorStart = "error: ";

enum class taskState { done, failed, unfinished, notRun };

struct projectStatus {
  taskState state = taskState::notRun;
  std::string reason;  // failed: the task's error; unfinished: where to look
};

// A project is done when its report is there and its log, if any, does not
// tell of a later task that failed or has not finished. `campaignFolder`
// holds Slurm's own output of the tasks (for the reason of a task that
// Slurm ended, a time limit say); empty when unknown.
projectStatus statusOf(const std::string& project, const std::string& campaignFolder);

// The projects of a list that are not done, in the list's order.
std::vector<std::string> projectsNotDone(const std::vector<std::string>& projects,
                                         const std::string& campaignFolder);

// `tamble campaign-status FILE`: one line per project, then the counts; a
// stepError while any project is not done.
void campaignStatusStep(session& s, const stepArgs& a);

}  // namespace tamble::cli
