// The batch script of a campaign: one Slurm job array whose tasks each
// convert one project of a list with `tamble convert --task`.
#pragma once

#include <string>
#include <vector>

namespace tamble::cli {

// What the script is made of; every path absolute.
struct campaignPlan {
  std::vector<std::string> projects;  // one array task each, in this order
  std::vector<std::string> words;     // key=value stage parameters for every task
  std::string tamble;                 // the program the tasks run
  std::string store;                  // the store the tasks start from
  std::string unanswered = "error";   // their --unanswered
  std::string folder;                 // the campaign's folder: Slurm's own output files
  std::string jobName;
  std::string partition;  // empty: the cluster's default
  int maxParallel = 0;    // tasks at once; 0: as many as the scheduler gives
};

// `text` between single quotes for bash, a quote inside written '\''.
std::string shellQuoted(const std::string& text);

// The folder beside a list file that holds its campaigns' scripts, store
// copies and Slurm output: "runs.txt" gives "runs.campaign".
std::string campaignFolderOf(const std::string& listFile);

// A job name Slurm shows in its queue: "tamble-" and the list's name, its
// characters outside [A-Za-z0-9._-] replaced by '_'.
std::string jobNameOf(const std::string& listFile);

// Refuses (stepError) a campaign folder whose path an #SBATCH line cannot
// carry: Slurm splits options at white space and reads '%' and '\' in
// output paths as patterns.
void checkSlurmPath(const std::string& folder);

// The bash script: #SBATCH lines for the array and its throttle, the
// projects as a quoted bash array, and the one line each task runs.
std::string batchScript(const campaignPlan& plan);

}  // namespace tamble::cli
