#include "apps/tamble/campaignSubmit.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "apps/tamble/campaignScript.h"
#include "apps/tamble/campaignStatus.h"
#include "apps/tamble/convertList.h"
#include "apps/tamble/failure.h"
#include "apps/tamble/session.h"
#include "host/atomicFile.h"
#include "host/store.h"

extern char** environ;

namespace tamble::cli {
namespace {

namespace fs = std::filesystem;

const char* policyWord(unansweredPolicy p) {
  return p == unansweredPolicy::yes ? "yes" : p == unansweredPolicy::no ? "no" : "error";
}

// The program the tasks run: --tamble's, else this very one.
std::string taskProgram(const std::string& given) {
  std::error_code ec;
  const fs::path program =
      given.empty() ? fs::read_symlink("/proc/self/exe", ec) : fs::absolute(given, ec);
  if (ec || access(program.c_str(), X_OK) != 0)
    throw usageError("convert: '" + (given.empty() ? "/proc/self/exe" : given) +
                     "' is not a program the tasks can run");
  return program.lexically_normal().string();
}

// A partition name, or several separated by commas, as Slurm spells them.
void checkPartition(const std::string& partition) {
  for (char c : partition)
    if (!std::isalnum(static_cast<unsigned char>(c)) && c != '_' && c != '-' && c != '.' &&
        c != ',')
      throw usageError("convert: '" + partition + "' is not a partition name");
}

// "20261124-044800-1234": the submission's own name for its script and store.
std::string submissionStamp() {
  char when[32];
  const std::time_t now = std::time(nullptr);
  std::strftime(when, sizeof when, "%Y%m%d-%H%M%S", std::gmtime(&now));
  return std::string(when) + "-" + std::to_string(getpid());
}

std::string fileText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

void writeText(const std::string& path, const std::string& text) {
  writeAtomically(path, [&text](std::FILE* out) {
    return std::fwrite(text.data(), 1, text.size(), out) == text.size();
  });
}

// Runs sbatch on the script and answers the job id it printed; its error
// output goes to the user's.
std::string runSbatch(const std::string& script) {
  int pipeEnds[2];
  if (pipe(pipeEnds) != 0) throw stepError("convert: cannot make a pipe for sbatch");
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_adddup2(&files, pipeEnds[1], STDOUT_FILENO);
  posix_spawn_file_actions_addclose(&files, pipeEnds[0]);
  std::string program = "sbatch", parsable = "--parsable", path = script;
  char* argv[] = {program.data(), parsable.data(), path.data(), nullptr};
  std::fflush(stdout);
  pid_t pid = 0;
  const int failed = posix_spawnp(&pid, "sbatch", &files, nullptr, argv, environ);
  posix_spawn_file_actions_destroy(&files);
  close(pipeEnds[1]);
  std::string out;
  char buffer[256];
  for (ssize_t n; !failed && (n = read(pipeEnds[0], buffer, sizeof buffer)) > 0;)
    out.append(buffer, static_cast<std::size_t>(n));
  close(pipeEnds[0]);
  if (failed)
    throw stepError("convert: cannot run sbatch (" + std::string(std::strerror(failed)) +
                    "): is Slurm's client installed and on the PATH?");
  int status = 0;
  waitpid(pid, &status, 0);
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
    throw stepError("convert: sbatch refused the campaign's script '" + script + "'");
  // "1234" or "1234;cluster", then a line end.
  return out.substr(0, out.find_first_of(";\r\n"));
}

}  // namespace

void submitCampaign(session& s, const campaignOptions& o) {
  std::vector<std::string> projects = readProjectList(o.list);
  for (std::string& p : projects) p = fs::path(p).lexically_normal().string();
  const std::string folder = campaignFolderOf(o.list);
  checkSlurmPath(folder);
  checkPartition(o.partition);
  checkStageWords(s, o.words);
  campaignPlan plan;
  plan.tamble = taskProgram(o.tamble);
  if (o.onlyMissing) projects = projectsNotDone(projects, folder);
  if (projects.empty()) {
    std::printf("every project of %s is done: nothing submitted\n", o.list.c_str());
    return;
  }
  const std::string stamp = submissionStamp();
  plan.projects = projects;
  plan.words = o.words;
  plan.store = folder + "/store-" + stamp + ".ini";
  plan.unanswered = policyWord(s.ui.policy);
  plan.folder = folder;
  plan.jobName = jobNameOf(o.list);
  plan.partition = o.partition;
  plan.maxParallel = o.maxParallel;
  const std::string script = folder + "/campaign-" + stamp + ".sh";
  std::error_code ec;
  fs::create_directories(folder, ec);
  if (ec) throw stepError("convert: cannot make the campaign folder '" + folder + "'");
  writeText(plan.store, fileText(storePath()));
  const std::string text = batchScript(plan);
  writeText(script, text);
  if (o.dryRun) {
    std::fputs(text.c_str(), stdout);
    std::fprintf(stderr, "convert: dry run, nothing submitted; sbatch %s submits it\n",
                 script.c_str());
    return;
  }
  std::string job;
  try {
    job = runSbatch(script);
  } catch (...) {  // nothing submitted: nothing left behind
    fs::remove(script, ec);
    fs::remove(plan.store, ec);
    throw;
  }
  std::printf("%s\n", job.c_str());
  std::fprintf(stderr, "convert: %zu project%s submitted as Slurm job %s; script %s\n",
               projects.size(), projects.size() == 1 ? "" : "s", job.c_str(), script.c_str());
}

}  // namespace tamble::cli
