#include "apps/tamble/convertList.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <thread>

#include "apps/tamble/failure.h"
#include "apps/tamble/session.h"
#include "host/store.h"

extern char** environ;

namespace tamble::cli {
namespace {

namespace fs = std::filesystem;

std::string trimmed(const std::string& line) {
  const std::size_t first = line.find_first_not_of(" \t\r");
  if (first == std::string::npos) return {};
  return line.substr(first, line.find_last_not_of(" \t\r") - first + 1);
}

// One project's child process and what it leaves behind.
struct job {
  std::string project;
  fs::path output;  // its standard output and error
  fs::path store;   // a copy of the store of its own: children do not share one
  pid_t pid = 0;
  std::chrono::steady_clock::time_point start;
};

const char* policyWord(unansweredPolicy p) {
  return p == unansweredPolicy::yes ? "yes" : p == unansweredPolicy::no ? "no" : "error";
}

// Threads each child may use, so that the jobs share the cores.
std::string threadsPerJob(int jobs) {
  const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
  return std::to_string(std::max(1u, cores / static_cast<unsigned>(jobs)));
}

void startJob(job& j, const session& s, const std::vector<std::string>& words,
              const std::string& threads) {
  std::error_code ec;
  if (fs::exists(storePath(), ec)) fs::copy_file(storePath(), j.store, ec);
  std::vector<std::string> args = {
      "tamble",  "--store", j.store.string(), "--unanswered", policyWord(s.ui.policy),
      "convert", j.project};
  args.insert(args.end(), words.begin(), words.end());
  std::vector<char*> argv;
  for (std::string& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, j.output.c_str(),
                                   O_WRONLY | O_CREAT | O_TRUNC, 0644);
  posix_spawn_file_actions_adddup2(&files, STDOUT_FILENO, STDERR_FILENO);
  std::vector<std::string> env = {"OMP_NUM_THREADS=" + threads};
  for (char** e = environ; *e; ++e)
    if (std::string(*e).rfind("OMP_NUM_THREADS=", 0) != 0) env.emplace_back(*e);
  std::vector<char*> envp;
  for (std::string& e : env) envp.push_back(e.data());
  envp.push_back(nullptr);
  j.start = std::chrono::steady_clock::now();
  const int failed =
      posix_spawn(&j.pid, "/proc/self/exe", &files, nullptr, argv.data(), envp.data());
  posix_spawn_file_actions_destroy(&files);
  if (failed) throw stepError("convert: cannot start a process for " + j.project);
}

// The last "error: " line the child wrote, or its exit status.
std::string failureOf(const job& j, int status) {
  std::ifstream in(j.output);
  std::string line, last;
  while (std::getline(in, line))
    if (line.rfind("error: ", 0) == 0) last = line.substr(7);
  if (!last.empty()) return last;
  return WIFEXITED(status) ? "exit status " + std::to_string(WEXITSTATUS(status))
                           : "ended by signal " + std::to_string(WTERMSIG(status));
}

class progressLine {
 public:
  explicit progressLine(int total) : total(total), terminal(isatty(STDERR_FILENO)) { draw(); }
  // A project finished: its line, then the bar again.
  void done(const std::string& line) {
    ++finished;
    if (terminal) std::fprintf(stderr, "\r\033[K");
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
    draw();
  }
  ~progressLine() {
    if (terminal) std::fprintf(stderr, "\r\033[K");
  }
  progressLine(const progressLine&) = delete;
  progressLine& operator=(const progressLine&) = delete;

 private:
  void draw() const {
    if (!terminal) return;
    const int width = 30, filled = total ? width * finished / total : width;
    std::fprintf(stderr, "\r[%s%s] %d/%d projects", std::string(filled, '#').c_str(),
                 std::string(width - filled, ' ').c_str(), finished, total);
    std::fflush(stderr);
  }
  int total;
  int finished = 0;
  bool terminal;
};

std::string secondsText(std::chrono::steady_clock::time_point start) {
  const double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  char text[32];
  std::snprintf(text, sizeof text, "%.1f s", s);
  return text;
}

}  // namespace

std::vector<std::string> readProjectList(const std::string& file) {
  std::ifstream in(file);
  if (!in) throw stepError("convert: cannot read the list '" + file + "'");
  const fs::path folder = fs::absolute(file).parent_path();
  std::vector<std::string> projects;
  std::string line;
  while (std::getline(in, line)) {
    const std::string entry = trimmed(line);
    if (entry.empty() || entry.front() == '#') continue;
    projects.push_back(fs::path(entry).is_absolute() ? entry : (folder / entry).string());
  }
  if (projects.empty()) throw stepError("convert: the list '" + file + "' names no project");
  return projects;
}

void convertMany(session& s, const std::vector<std::string>& projects,
                 const std::vector<std::string>& words, int jobs) {
  const fs::path work = fs::temp_directory_path() / ("tamble-convert-" + std::to_string(getpid()));
  fs::create_directories(work);
  const std::string threads = threadsPerJob(jobs);
  std::vector<job> all(projects.size());
  std::map<pid_t, std::size_t> running;
  std::vector<std::string> failed;
  progressLine progress(static_cast<int>(projects.size()));
  std::size_t next = 0;
  while (next < all.size() || !running.empty()) {
    while (next < all.size() && static_cast<int>(running.size()) < jobs) {
      job& j = all[next];
      j.project = projects[next];
      j.output = work / ("project-" + std::to_string(next) + ".txt");
      j.store = work / ("store-" + std::to_string(next) + ".ini");
      startJob(j, s, words, threads);
      running[j.pid] = next++;
    }
    int status = 0;
    const pid_t pid = waitpid(-1, &status, 0);
    if (pid < 0) break;
    const auto it = running.find(pid);
    if (it == running.end()) continue;
    const job& j = all[it->second];
    running.erase(it);
    const bool ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    if (ok)
      progress.done("converted " + j.project + " (" + secondsText(j.start) + ")");
    else {
      progress.done("FAILED    " + j.project + ": " + failureOf(j, status) +
                    " (full output: " + j.output.string() + ")");
      failed.push_back(j.project);
    }
  }
  // The outputs of failed projects stay for the user to read.
  for (const job& j : all) {
    std::error_code ec;
    fs::remove(j.store, ec);
    if (std::find(failed.begin(), failed.end(), j.project) == failed.end())
      fs::remove(j.output, ec);
  }
  if (failed.empty()) {
    std::error_code ec;
    fs::remove(work, ec);
    return;
  }
  throw stepError(std::to_string(failed.size()) + " of " + std::to_string(projects.size()) +
                  " projects failed");
}

}  // namespace tamble::cli
