// Whole files as text, for tests that write their inputs and read outputs.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace tamble::testing {

// The file's bytes; empty when it cannot be read.
inline std::string readText(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

// Writes `text` byte for byte, making the folders on the way.
inline void writeText(const std::filesystem::path& path, const std::string& text) {
  if (path.has_parent_path()) std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << text;
}

}  // namespace tamble::testing
