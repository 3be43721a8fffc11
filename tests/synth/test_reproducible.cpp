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

TEST_F(SynthReproducible, TheSameSeedWritesTheSameFiles) {
  const std::vector<std::string> words{"size=300x240", "markers=15", "seed=77"};
  const std::string first = make(words, "first"), second = make(words, "second");
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(first)) {
    const auto name = entry.path().filename();
    EXPECT_EQ(contentOf(entry.path()), contentOf(std::filesystem::path(second) / name)) << name;
    ++files;
  }
  EXPECT_EQ(files, 21);  // 10 frames, 2 cameras, 4 marker files, 3 truths, truth.txt, run.vur
}

TEST_F(SynthReproducible, AnotherSeedGivesAnotherRun) {
  const std::string a = make({"size=256", "seed=1"}, "a"), b = make({"size=256", "seed=2"}, "b");
  for (const char* file : {"wind_off_sens.tif", "wind_off_dark_sens.tif", "flat_refe.tif",
                           "markers_model.mrk"})
    EXPECT_NE(contentOf(std::filesystem::path(a) / file), contentOf(std::filesystem::path(b) / file))
        << file;
  // The model, its flow and its taps are no matter of chance.
  EXPECT_EQ(contentOf(std::filesystem::path(a) / "ports.mrk"),
            contentOf(std::filesystem::path(b) / "ports.mrk"));
}

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
