#include "atomicFile.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "api/errors.h"

namespace tamble {
namespace {

[[noreturn]] void fail(const std::string& path, const char* what) {
  zel::raise<zel::FileError>("Cannot write " + path + ": " + what);
}

}  // namespace

std::string temporaryNameFor(const std::string& path) {
  const std::filesystem::path target(path);
  std::string name = "." + target.filename().string() + ".tmp" + std::to_string(::getpid());
  return (target.parent_path() / name).string();
}

void discardTemporary(const std::string& temporary) {
  std::error_code ec;
  std::filesystem::remove(temporary, ec);
}

void commitAtomically(const std::string& temporary, const std::string& path) {
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
