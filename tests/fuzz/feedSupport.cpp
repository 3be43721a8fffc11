#include "tests/fuzz/feedSupport.h"

#include <stdlib.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace fs = std::filesystem;

namespace tamble::fuzz {
namespace {

// One folder per process, removed at exit.
class scratchFolder {
 public:
  scratchFolder() {
    std::string pattern = (fs::temp_directory_path() / "tamble-fuzz-XXXXXX").string();
    if (!mkdtemp(pattern.data())) std::abort();
    path = pattern;
  }
  ~scratchFolder() {
    std::error_code ec;
    fs::remove_all(path, ec);
  }
  fs::path path;
};

}  // namespace

std::string scratch(const std::string& name) {
  static scratchFolder folder;
  return (folder.path / name).string();
}

std::string put(const std::string& name, const std::uint8_t* data, std::size_t size) {
  const std::string path = scratch(name);
  std::FILE* out = std::fopen(path.c_str(), "wb");
  if (!out || std::fwrite(data, 1, size, out) != size || std::fclose(out) != 0) std::abort();
  return path;
}

void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "broken invariant: %s\n", what);
  std::abort();
}

}  // namespace tamble::fuzz
