// A test fixture with a fresh temporary folder of its own, removed afterwards.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

namespace tamble::testing {

class tempFolderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "tamble-test-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir = pattern;
  }
  void TearDown() override { std::filesystem::remove_all(dir); }
  // A path inside the folder.
  std::string path(const std::string& name) const { return (dir / name).string(); }

  std::filesystem::path dir;
};

}  // namespace tamble::testing
