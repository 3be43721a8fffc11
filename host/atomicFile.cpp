#include "atomicFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <thread>

#include "api/errors.h"

namespace tamble {
namespace {

[[noreturn]] void fail(const std::string& path, const char* what) {
  zel::raise<zel::FileError>(path + ": cannot write: " + what);
}

}  // namespace

// Unique per process and thread, so that two writers never share one.
std::string temporaryNameFor(const std::string& path) {
  const std::filesystem::path target(path);
  const std::size_t thread = std::hash<std::thread::id>{}(std::this_thread::get_id());
  std::string name = "." + target.filename().string() + ".tmp" + std::to_string(::getpid()) + "_" +
                     std::to_string(thread % 1000000);
  return (target.parent_path() / name).string();
}

void discardTemporary(const std::string& temporary) {
  std::error_code ec;
  std::filesystem::remove(temporary, ec);
}

void commitAtomically(const std::string& temporary, const std::string& path) {
  // A file that is replaced keeps its permissions.
  struct stat old {};
  if (::stat(path.c_str(), &old) == 0) ::chmod(temporary.c_str(), old.st_mode & 07777);
  if (std::rename(temporary.c_str(), path.c_str()) != 0) {
    const int err = errno;
    discardTemporary(temporary);
    fail(path, std::strerror(err));
  }
}

void writeAtomically(const std::string& path, const std::function<bool(std::FILE*)>& write) {
  const std::string temporary = temporaryNameFor(path);
  std::FILE* out = std::fopen(temporary.c_str(), "wb");
  if (!out) fail(path, std::strerror(errno));
  bool ok = false;
  try {
    ok = write(out);
  } catch (...) {
    std::fclose(out);
    discardTemporary(temporary);
    throw;
  }
  ok = ok && std::fflush(out) == 0 && ::fsync(fileno(out)) == 0;
  const int err = errno;
  if (std::fclose(out) != 0) ok = false;
  if (!ok) {
    discardTemporary(temporary);
    fail(path, err ? std::strerror(err) : "write failed");
  }
  commitAtomically(temporary, path);
}

}  // namespace tamble
