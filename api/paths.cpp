#include "api/paths.h"

#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <system_error>
#include <thread>

#include "api/log.h"

namespace fs = std::filesystem;

namespace zel {
namespace {

std::string::size_type lastFolderMark(const std::string& path) { return path.find_last_of("/\\"); }

std::string withSlashes(std::string path) {
  std::replace(path.begin(), path.end(), '\\', '/');
  return path;
}

}  // namespace

bool file_exists(const std::string& name) {
  std::error_code ec;
  if (!name.empty() && fs::exists(name, ec)) return true;
  get_log().level(1).write("File ").write(name).write(" not exists");
  return false;
}

std::string extension(const std::string& path) {
  const auto dot = path.rfind('.');
  if (dot == std::string::npos) return {};
  const auto mark = lastFolderMark(path);
  if (mark != std::string::npos && dot < mark) return {};
  return path.substr(dot + 1);
}

std::string base_name(const std::string& path) {
  const auto mark = lastFolderMark(path);
  std::string name = mark == std::string::npos ? path : path.substr(mark + 1);
  const auto dot = name.rfind('.');
  if (dot != std::string::npos && dot > 0) name.erase(dot);
  return name;
}

std::string time_stamp() {
  std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
  return text;
}

std::string lower(const std::string& text) {
  std::string out = text;
  std::transform(out.begin(), out.end(), out.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return out;
}

std::string resolve_path(const std::string& name, const std::string& alternate) {
  const fs::path given(withSlashes(name));
  if (given.is_absolute()) return name;
  std::error_code ec;
  fs::path base = fs::current_path(ec);
  if (!alternate.empty()) {
    const fs::path alt(withSlashes(alternate));
    if (fs::is_directory(alt, ec))
      base = fs::absolute(alt, ec);
    else
      get_log().write(alternate).write(" - wrong alternate path");
  }
  return (base / given).lexically_normal().string();
}

bool make_folder(const std::string& path) {
  const std::string folder = withSlashes(path);
  if (::chdir(folder.c_str()) == 0) return true;
  get_log().write("Directory  '").write(path).write("'  not found, creating");
  std::error_code ec;
  fs::create_directories(folder, ec);
  return ::chdir(folder.c_str()) == 0;
}

std::string temporary_name(const std::string& path) {
  const fs::path target(path);
  const std::size_t thread = std::hash<std::thread::id>{}(std::this_thread::get_id());
  std::string name = "." + target.filename().string() + ".tmp" + std::to_string(::getpid()) + "_" +
                     std::to_string(thread % 1000000);
  return (target.parent_path() / name).string();
}

void discard_temporary(const std::string& temporary) {
  std::error_code ec;
  fs::remove(temporary, ec);
}

namespace {

// Whether a temporary name of `prefix` was left by a process that is gone:
// one killed between writing and renaming.
bool leftByTheDead(const std::string& name, const std::string& prefix) {
  if (name.compare(0, prefix.size(), prefix) != 0) return false;
  const std::size_t end = name.find('_', prefix.size());
  if (end == std::string::npos || end == prefix.size()) return false;
  const std::string digits = name.substr(prefix.size(), end - prefix.size());
  if (!std::all_of(digits.begin(), digits.end(), [](unsigned char c) { return std::isdigit(c); }))
    return false;
  const long pid = std::strtol(digits.c_str(), nullptr, 10);
  return pid > 0 && pid != ::getpid() && ::kill(static_cast<pid_t>(pid), 0) != 0 && errno == ESRCH;
}

// Removes the temporaries of `path` whose writers died before the rename.
void removeStaleTemporaries(const std::string& path) {
  const fs::path target(path);
  const std::string prefix = "." + target.filename().string() + ".tmp";
  std::error_code ec;
  const fs::path folder = target.parent_path().empty() ? fs::path(".") : target.parent_path();
  for (const auto& entry : fs::directory_iterator(folder, ec)) {
    if (!leftByTheDead(entry.path().filename().string(), prefix)) continue;
    get_log().write("removing '").write(entry.path().string()).write("', left by a stopped writer");
    fs::remove(entry.path(), ec);
  }
}

}  // namespace

std::string commit_temporary(const std::string& temporary, const std::string& path) {
  struct stat old {};
  if (::stat(path.c_str(), &old) == 0) ::chmod(temporary.c_str(), old.st_mode & 07777);
  if (std::rename(temporary.c_str(), path.c_str()) == 0) {
    removeStaleTemporaries(path);
    return {};
  }
  const int err = errno;
  discard_temporary(temporary);
  return std::strerror(err);
}

std::string write_atomically(const std::string& path,
                             const std::function<bool(std::FILE*)>& write) {
  const std::string temporary = temporary_name(path);
  std::FILE* out = std::fopen(temporary.c_str(), "wb");
  if (!out) return std::strerror(errno);
  bool ok = false;
  errno = 0;
  try {
    ok = write(out);
  } catch (...) {
    std::fclose(out);
    discard_temporary(temporary);
    throw;
  }
  ok = ok && std::fflush(out) == 0 && ::fsync(fileno(out)) == 0;
  const int err = errno;
  if (std::fclose(out) != 0) ok = false;
  if (!ok) {
    discard_temporary(temporary);
    return err ? std::strerror(err) : "write failed";
  }
  return commit_temporary(temporary, path);
}

}  // namespace zel
