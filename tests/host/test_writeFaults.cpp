// Faults while a file is saved: a folder that has become read-only, a full
// disk (a file size limit), a process killed between writing its temporary
// file and renaming it. Every writer keeps the old file whole, names the file
// in its error, and leaves no temporary file behind after the next save.
#include <gtest/gtest.h>
#include <dlfcn.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "api/errors.h"
#include "api/image.h"
#include "api/markerFiles.h"
#include "host/platform.h"
#include "host/project.h"
#include "host/store.h"
#include "tests/support/tempFolder.h"

namespace {

std::atomic<bool> killAtRename{false};

}  // namespace

// Every rename of this program passes here: a writer that is told to die
// does so after its temporary file is complete and before it takes the name.
extern "C" int rename(const char* from, const char* to) {
  if (killAtRename) ::raise(SIGKILL);
  using renameFn = int (*)(const char*, const char*);
  static const auto real = reinterpret_cast<renameFn>(::dlsym(RTLD_NEXT, "rename"));
  return real(from, to);
}

namespace {

namespace fs = std::filesystem;

// One writer, `version` choosing its content; each version is larger than
// the file size limit below. The marker writer's error is the plain "File
// error!" of the marker files (the log and the command line's step name the
// file); the others name it in the error itself.
struct writer {
  const char* name;
  const char* file;
  std::function<void(const std::string& path, int version)> write;
  bool namesTheFile = true;
};

void writeImage(const std::string& path, int version) {
  zel::image img(300, 300);
  for (std::size_t i = 0; i < img.field().count; ++i)
    img.field()[i] = std::sin(float(i) * float(version)) * 1e6f;
  write_image(path, img);
}

void writeMask(const std::string& path, int version) {
  zel::arrayStore<bool, 2> mask(300, 300);
  for (std::size_t i = 0; i < mask.count; ++i) mask.data[i] = (i * 2654435761u * version) >> 31 & 1;
  write_array(path, mask);
}

void writeMarkers(const std::string& path, int version) {
  zel::markersArray markers;
  for (int i = 0; i < 200; ++i) markers.add({i * 1.5, version + i * 0.25, 0.0, 0.0, true, 0});
  zel::write_mrk(path, markers);
}

void writeProject(const std::string& path, int version) {
  zel::vurStr record;
  record.project_file = path;
  for (int i = 0; i < 100; ++i)
    record.setParameter("Section" + std::to_string(i), "m_value", std::to_string(version));
  write_vur_data(path, record, zel::paintFeatures{}, zel::flowFeatures{});
}

void writeStore(const std::string& path, int version) {
  tamble::iniStore(path).set("Dialog", "m_text", std::string(4000, char('a' + version)));
}

const writer writers[] = {{"image", "run.imp", writeImage},
                          {"mask", "roi.imp", writeMask},
                          {"markers", "run.mrk", writeMarkers, false},
                          {"project", "run.vur", writeProject},
                          {"store", "store.ini", writeStore}};

std::string slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

enum class fault { readOnlyFolder, fileSizeLimit, killedBeforeRename };

// Runs the writer in a child process under the fault; answers the error
// text it raised ("" when it raised none), or "killed".
std::string writeUnder(fault f, const writer& w, const std::string& path) {
  int pipeEnds[2];
  if (::pipe(pipeEnds) != 0) return "no pipe";
  const pid_t child = ::fork();
  if (child == 0) {
    ::close(pipeEnds[0]);
    if (f == fault::readOnlyFolder && ::geteuid() == 0) {
      // root writes anywhere: the child becomes nobody, for whom 0555 holds
      if (::setresgid(65534, 65534, 65534) != 0 || ::setresuid(65534, 65534, 65534) != 0)
        ::_exit(3);
    }
    if (f == fault::fileSizeLimit) {
      std::signal(SIGXFSZ, SIG_IGN);
      const rlimit small{1024, 1024};
      ::setrlimit(RLIMIT_FSIZE, &small);
    }
    killAtRename = f == fault::killedBeforeRename;
    std::string said;
    try {
      w.write(path, 2);
    } catch (const zel::GenericError& e) {
      said = e.message;
    }
    (void)!::write(pipeEnds[1], said.data(), said.size());
    ::_exit(0);
  }
  ::close(pipeEnds[1]);
  std::string said;
  char buffer[512];
  for (ssize_t n; (n = ::read(pipeEnds[0], buffer, sizeof buffer)) > 0;) said.append(buffer, n);
  ::close(pipeEnds[0]);
  int status = 0;
  ::waitpid(child, &status, 0);
  if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) return "killed";
  return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? said : "child failed";
}

std::vector<std::string> entries(const fs::path& folder) {
  std::vector<std::string> names;
  for (const auto& e : fs::directory_iterator(folder)) names.push_back(e.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

std::string testName(const writer& w, fault f) {
  static const char* const faults[] = {"ReadOnlyFolder", "FileSizeLimit", "KilledBeforeRename"};
  return std::string(w.name) + faults[static_cast<int>(f)];
}

class WriteFaults : public tamble::testing::tempFolderTest,
                    public ::testing::WithParamInterface<std::tuple<writer, fault>> {};

TEST_P(WriteFaults, KeepTheOldFileNameItAndLeaveNoTemporary) {
  const auto& [w, f] = GetParam();
  const fs::path folder = dir / "out";
  fs::create_directory(folder);
  const std::string path = (folder / w.file).string();
  w.write(path, 1);
  const std::string old = slurp(path);
  ASSERT_FALSE(old.empty());

  if (f == fault::readOnlyFolder) fs::permissions(folder, fs::perms(0555));
  const std::string said = writeUnder(f, w, path);
  fs::permissions(folder, fs::perms(0755));

  EXPECT_EQ(slurp(path), old) << w.name;
  if (f == fault::killedBeforeRename) {
    EXPECT_EQ(said, "killed") << w.name;
  } else {
    if (w.namesTheFile)
      EXPECT_NE(said.find(path), std::string::npos) << w.name << ": " << said;
    else
      EXPECT_EQ(said, "File error!");
    EXPECT_EQ(entries(folder), std::vector<std::string>{w.file}) << w.name;
  }
  // The next save succeeds and clears what a killed writer left.
  w.write(path, 3);
  EXPECT_NE(slurp(path), old) << w.name;
  EXPECT_EQ(entries(folder), std::vector<std::string>{w.file}) << w.name;
}

INSTANTIATE_TEST_SUITE_P(
    Writers, WriteFaults,
    ::testing::Combine(::testing::ValuesIn(writers),
                       ::testing::Values(fault::readOnlyFolder, fault::fileSizeLimit,
                                         fault::killedBeforeRename)),
    [](const auto& info) { return testName(std::get<0>(info.param), std::get<1>(info.param)); });

}  // namespace
