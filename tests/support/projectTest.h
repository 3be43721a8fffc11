// Commands run on projects as a user would: the command fixture with a fresh
// folder of its own, in which the test writes images and project files; the
// project library and the session are reset afterwards.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <string>

#include "api/image.h"
#include "host/platform.h"
#include "host/project.h"
#include "tests/support/commandTest.h"

namespace tamble::testing {

class projectTest : public commandTest {
 protected:
  void SetUp() override {
    commandTest::SetUp();
    std::string pattern =
        (std::filesystem::temp_directory_path() / "tamble-project-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir = pattern;
  }
  void TearDown() override {
    session().reset();
    clear_vur();
    make_available_vur_project(true);
    std::filesystem::remove_all(dir);
    commandTest::TearDown();
  }

  // A path inside the folder.
  std::string path(const std::string& name) const { return (dir / name).string(); }

  // An image file of `v` everywhere, 6 by 4 pixels unless told; answers `file`.
  std::string image(const std::string& file, float v, int w = 6, int h = 4) const {
    zel::image img(w, h);
    img.fillField(v);
    write_image(path(file), img);
    return file;
  }

  std::filesystem::path dir;
};

}  // namespace tamble::testing
