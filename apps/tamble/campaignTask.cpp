#include "apps/tamble/campaignTask.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>

#include "api/log.h"
#include "apps/tamble/campaignStatus.h"
#include "apps/tamble/convertList.h"
#include "apps/tamble/failure.h"
#include "host/atomicFile.h"
#include "host/store.h"

namespace tamble::cli {
namespace {

namespace fs = std::filesystem;

// Standard output and error, and the program's log, from here on go to
// `path`, emptied first: one file per task holds everything it said, and
// tasks on several nodes never append to one shared file.
void writeOutputTo(const std::string& path) {
  std::fflush(stdout);
  std::fflush(stderr);
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND, 0644);
  if (fd < 0)
    throw stepError("convert: cannot write the task's log '" + path + "': " + std::strerror(errno));
  dup2(fd, STDOUT_FILENO);
  dup2(fd, STDERR_FILENO);
  close(fd);
  zel::log_sink().setFile(path, false);
}

std::string environmentValue(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

void printHeader(const std::string& project) {
  char host[256] = "?";
  gethostname(host, sizeof host - 1);
  char when[32];
  const std::time_t now = std::time(nullptr);
  std::strftime(when, sizeof when, "%Y-%m-%d %H:%M:%S UTC", std::gmtime(&now));
  std::printf("project: %s\n", project.c_str());
  const std::string job = environmentValue("SLURM_ARRAY_JOB_ID");
  if (!job.empty())
    std::printf("%s%s_%s\n", jobLineStart, job.c_str(),
                environmentValue("SLURM_ARRAY_TASK_ID").c_str());
  std::printf("host: %s\nstarted: %s\n", host, when);
  std::fflush(stdout);
}

// A copy of the process's store in the temporary folder, used for the
// task's run and removed afterwards.
class privateStore {
 public:
  privateStore() : given(storePath()) {
    std::string pattern = (fs::temp_directory_path() / "tamble-task-store-XXXXXX").string();
    const int fd = mkstemp(pattern.data());
    if (fd < 0)
      throw stepError("convert: cannot make a temporary store: " +
                      std::string(std::strerror(errno)));
    close(fd);
    copy = pattern;
    std::error_code ec;
    if (fs::exists(given, ec)) fs::copy_file(given, copy, fs::copy_options::overwrite_existing, ec);
    if (ec) {
      fs::remove(copy, ec);
      throw stepError("convert: cannot copy the store '" + given + "'");
    }
    useStore(copy);
  }
  ~privateStore() {
    useStore(given);
    std::error_code ec;
    fs::remove(copy, ec);
  }
  privateStore(const privateStore&) = delete;
  privateStore& operator=(const privateStore&) = delete;

 private:
  std::string given;
  std::string copy;
};

}  // namespace

void convertTask(session& s, const std::string& project, const std::vector<std::string>& words) {
  const std::string absolute = fs::absolute(project).lexically_normal().string();
  const taskFiles files = taskFilesOf(absolute);
  writeOutputTo(files.log);
  printHeader(absolute);
  privateStore store;
  const std::string report = convertOne(s, absolute, words);
  writeAtomically(files.report, [&report](std::FILE* out) {
    return std::fprintf(out, "%s\n", report.c_str()) > 0;
  });
  zel::log_sink().flush();  // the log's lines before the outcome
  std::printf("%s\n", outcomeDone);
  std::fflush(stdout);
}

}  // namespace tamble::cli
