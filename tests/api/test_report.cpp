#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "api/report.h"

namespace {

// Records what reaches it; quiet on request.
class recordingSink : public zel::reportSink {
 public:
  void notice(const std::string& text) override { notices.push_back(text); }
  void progress(const std::string& what, int percent) override {
    steps.emplace_back(what, percent);
  }
  bool quiet() const override { return silent; }

  std::vector<std::string> notices;
  std::vector<std::pair<std::string, int>> steps;
  bool silent = false;
};

// Installs a recording sink for one test and the default again after it.
class Report : public ::testing::Test {
 protected:
  void SetUp() override {
    previous = &zel::report();
    zel::setReport(&sink);
  }
  void TearDown() override { zel::setReport(previous); }

  recordingSink sink;
  zel::reportSink* previous = nullptr;
};

// Notices and progress reach the installed sink.
TEST_F(Report, NoticesAndProgressReachTheInstalledSink) {
  zel::report().notice("first");
  zel::noticeUnlessQuiet("second");
  zel::report().progress("3D Filter", 40);
  EXPECT_EQ(sink.notices, (std::vector<std::string>{"first", "second"}));
  EXPECT_EQ(sink.steps, (std::vector<std::pair<std::string, int>>{{"3D Filter", 40}}));
}

// Quiet drops only the notices of low-level routines.
TEST_F(Report, QuietDropsOnlyTheNoticesOfLowLevelRoutines) {
  sink.silent = true;
  zel::noticeUnlessQuiet("dropped");
  zel::report().notice("shown all the same");
  EXPECT_EQ(sink.notices, std::vector<std::string>{"shown all the same"});
}

// Uninstalling puts the default sink back.
TEST_F(Report, UninstallingPutsTheDefaultBack) {
  zel::setReport(nullptr);
  EXPECT_NE(&zel::report(), &sink);
  zel::report().notice("to the log");
  EXPECT_TRUE(sink.notices.empty());
}

}  // namespace
