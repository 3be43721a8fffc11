#include "apps/tamble/campaignStatus.h"

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "apps/tamble/campaignScript.h"
#include "apps/tamble/convertList.h"
#include "apps/tamble/failure.h"
#include "apps/tamble/steps.h"

namespace tamble::cli {
namespace {

namespace fs = std::filesystem;

bool startsWith(const std::string& text, const std::string& start) {
  return text.rfind(start, 0) == 0;
}

// What a task's log tells: its job, and its outcome if it has one.
struct logSummary {
  std::string job;    // "12_3": the array job and the task
  bool done = false;  // "outcome: done"
  std::string error;  // the last error, without "error: "
};

logSummary readLog(const std::string& path) {
  logSummary summary;
  std::ifstream in(path);
  for (std::string line; std::getline(in, line);) {
    if (startsWith(line, jobLineStart) && summary.job.empty())
      summary.job = line.substr(std::string(jobLineStart).size());
    if (line == outcomeDone) summary.done = true;
    if (startsWith(line, errorStart)) summary.error = line.substr(std::string(errorStart).size());
  }
  return summary;
}

// The last line in which Slurm tells that it ended the task
// ("*** JOB 12 ON node CANCELLED AT ... DUE TO TIME LIMIT ***").
std::string slurmEnding(const std::string& campaignFolder, const std::string& job) {
  if (campaignFolder.empty() || job.empty()) return {};
  std::ifstream in(fs::path(campaignFolder) / ("task-" + job + ".out"));
  std::string found;
  for (std::string line; std::getline(in, line);)
    if (line.find("*** ") != std::string::npos) found = line;
  return found;
}

projectStatus unfinished(const taskFiles& files, const logSummary& log,
                         const std::string& campaignFolder) {
  const std::string ending = slurmEnding(campaignFolder, log.job);
  if (!ending.empty()) return {taskState::unfinished, ending + " (log: " + files.log + ")"};
  return {taskState::unfinished,
          "the task (Slurm job " + (log.job.empty() ? "?" : log.job) +
              ") has not finished: still running, or stopped (log: " + files.log + ")"};
}

const char* stateWord(taskState state) {
  switch (state) {
    case taskState::done: return "done";
    case taskState::failed: return "FAILED";
    case taskState::unfinished: return "running?";
    case taskState::notRun: return "not run";
  }
  return "";
}

}  // namespace

taskFiles taskFilesOf(const std::string& project) {
  fs::path base(project);
  base.replace_extension();
  return {base.string() + ".campaign.log", base.string() + ".report.txt"};
}

projectStatus statusOf(const std::string& project, const std::string& campaignFolder) {
  const taskFiles files = taskFilesOf(project);
  std::error_code ec;
  const bool reported = fs::is_regular_file(files.report, ec);
  if (!fs::exists(files.log, ec)) {
    // A task cannot log beside a project whose folder is not there.
    if (!reported && !fs::exists(project, ec))
      return {taskState::failed, "the project file '" + project + "' is not there"};
    return {reported ? taskState::done : taskState::notRun, {}};
  }
  const logSummary log = readLog(files.log);
  if (!log.error.empty()) return {taskState::failed, log.error + " (log: " + files.log + ")"};
  if (log.done && reported) return {taskState::done, {}};
  return unfinished(files, log, campaignFolder);
}

std::vector<std::string> projectsNotDone(const std::vector<std::string>& projects,
                                         const std::string& campaignFolder) {
  std::vector<std::string> missing;
  for (const std::string& project : projects)
    if (statusOf(project, campaignFolder).state != taskState::done) missing.push_back(project);
  return missing;
}

void campaignStatusStep(session&, const stepArgs& a) {
  if (!std::ifstream(a.file))
    throw stepError("campaign-status: cannot read the list '" + a.file + "'");
  const std::vector<std::string> projects = readProjectList(a.file);
  const std::string folder = campaignFolderOf(a.file);
  int counts[4] = {0, 0, 0, 0};
  for (const std::string& project : projects) {
    const projectStatus status = statusOf(project, folder);
    ++counts[static_cast<int>(status.state)];
    std::printf("%-9s %s%s\n", stateWord(status.state), project.c_str(),
                status.reason.empty() ? "" : (": " + status.reason).c_str());
  }
  std::printf("%d done, %d failed, %d not finished, %d not run (of %zu)\n", counts[0], counts[1],
              counts[2], counts[3], projects.size());
  std::fflush(stdout);
  const std::size_t notDone = projects.size() - static_cast<std::size_t>(counts[0]);
  if (notDone > 0)
    throw stepError(std::to_string(notDone) + " of " + std::to_string(projects.size()) +
                    " projects are not done");
}

}  // namespace tamble::cli
