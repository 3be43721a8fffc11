// A seed gives the same files, bit for bit, whatever the number of threads;
// another seed gives another run.
#include <omp.h>

#include <cstring>
#include <filesystem>

#include <fstream>
#include <iterator>

#include "tests/synth/synthRunTest.h"

namespace {

using tamble::testing::synthRunTest;
using SynthReproducible = synthRunTest;

// The file's bytes; a marker file without its second line, which holds the
// time of writing.
std::string contentOf(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::string bytes{std::istreambuf_iterator<char>(in), {}};
  EXPECT_FALSE(bytes.empty()) << file;
  if (file.extension() == ".mrk") {
    const std::size_t first = bytes.find('\n'), second = bytes.find('\n', first + 1);
    EXPECT_EQ(bytes.substr(first + 1, 4), "<!--") << file << ": the line of the date";
    bytes.erase(first + 1, second - first);
  }
  return bytes;
}

bool sameBits(const tamble::synth::floatPlane& a, const tamble::synth::floatPlane& b) {
  return a.sameExtent(b) && std::memcmp(a.data, b.data, a.count * sizeof(float)) == 0;
}

// The same seed writes the same files; another seed other frames and
// markers, but the same model, flow and taps.
TEST_F(SynthReproducible, TheSeedFixesTheRun) {
  namespace fs = std::filesystem;
  const std::vector<std::string> words{"size=300x240", "markers=15", "seed=77"};
  const fs::path first = make(words, "first"), second = make(words, "second");
  const fs::path other = make({"size=300x240", "markers=15", "seed=78"}, "other");
  int files = 0;
  for (const auto& entry : fs::directory_iterator(first)) {
    EXPECT_TRUE(contentOf(entry.path()) == contentOf(second / entry.path().filename()))
        << entry.path();
    ++files;
  }
  EXPECT_EQ(std::distance(fs::directory_iterator(second), {}), files);
  for (const char* file : {"wind_off_sens.tif", "wind_off_dark_sens.tif", "flat_refe.tif",
                           "markers_model.mrk"})
    EXPECT_FALSE(contentOf(first / file) == contentOf(other / file)) << file;
  EXPECT_TRUE(contentOf(first / "ports.mrk") == contentOf(other / "ports.mrk"));
}

// The number of threads changes no bit of the frames, truths or truth text.
TEST_F(SynthReproducible, TheNumberOfThreadsChangesNoBit) {
  const auto options = tamble::synth::parseRunOptions({"size=320x256", "motion=6", "seed=12"});
  const int threads = omp_get_max_threads();
  omp_set_num_threads(1);
  const auto alone = tamble::synth::makeRun(options);
  omp_set_num_threads(3);
  const auto shared = tamble::synth::makeRun(options);
  omp_set_num_threads(threads);
  ASSERT_EQ(alone->frames.size(), shared->frames.size());
  for (std::size_t i = 0; i < alone->frames.size(); ++i)
    EXPECT_TRUE(sameBits(alone->frames[i].values, shared->frames[i].values))
        << alone->frames[i].name;
  ASSERT_EQ(alone->truth.size(), shared->truth.size());
  for (std::size_t i = 0; i < alone->truth.size(); ++i) {
    EXPECT_TRUE(sameBits(alone->truth[i].image->field(), shared->truth[i].image->field()))
        << alone->truth[i].name;
    EXPECT_EQ(std::memcmp(alone->truth[i].image->bkgr().data, shared->truth[i].image->bkgr().data,
                          alone->truth[i].image->bkgr().count),
              0);
  }
  EXPECT_EQ(tamble::synth::truthText(*alone), tamble::synth::truthText(*shared));
}

}  // namespace
