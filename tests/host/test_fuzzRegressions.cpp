// The inputs kept from fuzzing (tests/fuzz/regressions/<target>/) replay
// without a crash, a broken invariant or another exception under the
// ordinary build, through the same feeds as the fuzz targets.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>

#include "tests/fuzz/feed.h"
#include "tests/fuzz/feedHost.h"
#include "tests/support/textFile.h"

namespace {

namespace fs = std::filesystem;
using namespace tamble::fuzz;

TEST(FuzzRegressions, KeptInputsReplayCleanly) {
  using feedFn = void (*)(const std::uint8_t*, std::size_t);
  const std::pair<const char*, feedFn> targets[] = {
      {"ini", feedIni},   {"mrk", feedMrk},   {"text_markers", feedTextMarkers},
      {"camera", feedCamera}, {"tiff", feedTiff}, {"png", feedPng},
      {"imp", feedImp},   {"mask", feedMask}, {"project", feedProject},
      {"plot3d", feedPlot3d},
  };
  int replayed = 0;
  ::testing::internal::CaptureStderr();
  for (const auto& [name, feed] : targets) {
    const fs::path folder = fs::path(TAMBLE_FUZZ_REGRESSIONS) / name;
    ASSERT_TRUE(fs::is_directory(folder)) << folder;
    for (const auto& entry : fs::directory_iterator(folder)) {
      if (!entry.is_regular_file() || entry.path().filename() == "README") continue;
      const std::string input = tamble::testing::readText(entry.path());
      feed(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
      ++replayed;
    }
  }
  ::testing::internal::GetCapturedStderr();
  RecordProperty("replayed", replayed);
}

}  // namespace
