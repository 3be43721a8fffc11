// A fixture for running commands as a user would: a private parameter store,
// a fresh session, a scripted user and an images list.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "api/imagesList.h"
#include "host/store.h"
#include "plugin/session.h"
#include "tests/support/scriptedUi.h"

namespace tamble::testing {

class commandTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
    store = ::testing::TempDir() + "store_" + test->test_suite_name() + "_" + test->name() + "_" +
            std::to_string(::getpid()) + ".ini";
    std::remove(store.c_str());
    useStore(store);
    // A fresh session, whose report sink carries the routines' notices to
    // the scripted user.
    session().reset();
  }
  void TearDown() override { std::remove(store.c_str()); }

  // An image named `name` (file "name.tif") whose value is x + 10 y.
  zel::image& addRamp(int w, int h, const char* name = "ramp") {
    auto* img = new zel::image(w, h);
    img->setFieldName(name);
    img->fileInfo.name = std::string(name) + ".tif";
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) img->field()(x, y) = static_cast<float>(x + 10 * y);
    list.addImage(img);
    return *img;
  }
  // What the user types into the next dialogs.
  void params(std::vector<std::pair<std::string, std::string>> values) {
    user.ui.dialogValues = std::move(values);
  }

  std::string store;
  installedUi user;
  zel::imagesList list;
};

}  // namespace tamble::testing
