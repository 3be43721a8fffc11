#include "apps/tamble/campaignScript.h"

#include <filesystem>

#include "apps/tamble/failure.h"

namespace tamble::cli {
namespace {

namespace fs = std::filesystem;

std::string sbatchLine(const std::string& option, const std::string& value) {
  return "#SBATCH --" + option + "=" + value + "\n";
}

// "0-5", "0-5%2", or "0" for a single task.
std::string arrayIndices(const campaignPlan& plan) {
  const std::size_t last = plan.projects.size() - 1;
  std::string indices = last == 0 ? "0" : "0-" + std::to_string(last);
  if (plan.maxParallel > 0) indices += "%" + std::to_string(plan.maxParallel);
  return indices;
}

std::string taskLine(const campaignPlan& plan) {
  std::string line = "exec " + shellQuoted(plan.tamble) + " --store " + shellQuoted(plan.store) +
                     " --unanswered " + plan.unanswered +
                     " convert --task \"${projects[$SLURM_ARRAY_TASK_ID]}\"";
  for (const std::string& word : plan.words) line += " " + shellQuoted(word);
  return line + "\n";
}

}  // namespace

std::string shellQuoted(const std::string& text) {
  std::string quoted = "'";
  for (char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

std::string campaignFolderOf(const std::string& listFile) {
  const fs::path list = fs::absolute(listFile).lexically_normal();
  return (list.parent_path() / (list.stem().string() + ".campaign")).string();
}

std::string jobNameOf(const std::string& listFile) {
  std::string name = "tamble-" + fs::path(listFile).stem().string();
  for (char& c : name) {
    const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                       c == '.' || c == '_' || c == '-';
    if (!plain) c = '_';
  }
  return name;
}

void checkSlurmPath(const std::string& folder) {
  for (char c : folder)
    if (c == ' ' || c == '\t' || c == '\n' || c == '%' || c == '\\' || c == '"' || c == '\'')
      throw stepError("convert: the campaign folder '" + folder +
                      "' holds a character (space, quote, '%' or '\\') that Slurm's output "
                      "option cannot carry; move the list to a folder without them");
}

std::string batchScript(const campaignPlan& plan) {
  std::string script =
      "#!/bin/bash\n"
      "# A campaign of tamble conversions: array task i converts projects[i].\n"
      "# Written by `tamble convert --slurm`; `tamble campaign-status` reads\n"
      "# what the tasks leave beside the projects.\n";
  script += sbatchLine("job-name", plan.jobName);
  script += sbatchLine("array", arrayIndices(plan));
  if (!plan.partition.empty()) script += sbatchLine("partition", plan.partition);
  script += sbatchLine("ntasks", "1");
  script += sbatchLine("output", plan.folder + "/task-%A_%a.out");
  script += "set -u\nprojects=(\n";
  for (const std::string& project : plan.projects) script += "  " + shellQuoted(project) + "\n";
  script +=
      ")\n"
      "# The task's threads: the CPUs Slurm gave it, unless the user chose.\n"
      "export OMP_NUM_THREADS=\"${OMP_NUM_THREADS:-${SLURM_CPUS_PER_TASK:-"
      "${SLURM_CPUS_ON_NODE:-1}}}\"\n"
      "# Each task logs into its own file beside its project, not a shared one.\n"
      "export TAMBLE_LOG=\n";
  return script + taskLine(plan);
}

}  // namespace tamble::cli
