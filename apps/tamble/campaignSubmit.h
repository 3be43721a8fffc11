// `tamble convert --list FILE --slurm`: a campaign's batch script written
// beside the list and handed to Slurm's sbatch.
#pragma once

#include <string>
#include <vector>

namespace tamble::cli {

class session;

struct campaignOptions {
  std::string list;
  std::vector<std::string> words;  // key=value stage parameters
  std::string partition;
  int maxParallel = 0;  // 0: no throttle
  bool dryRun = false;
  bool onlyMissing = false;
  std::string tamble;  // the program the tasks run; empty: this one
};

// Writes the script and a copy of the store into the campaign folder and
// submits the script with `sbatch --parsable`, printing the job id; a dry
// run prints the script instead. With onlyMissing the projects that are
// done are left out, and nothing is written when all are.
void submitCampaign(session& s, const campaignOptions& options);

}  // namespace tamble::cli
