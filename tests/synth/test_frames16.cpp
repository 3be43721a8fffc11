// 16-bit camera frames (write_tiff16): whole counts, halves to even, values
// out of range clamped and counted or refused before anything is written,
// stored uncompressed.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>

#include "api/errors.h"
#include "host/platform.h"
#include "tests/support/tempFolder.h"

namespace {

using Frames16 = tamble::testing::tempFolderTest;

zel::arrayStore<float, 2> plane(std::initializer_list<float> values) {
  zel::arrayStore<float, 2> p(static_cast<int>(values.size()), 1);
  std::copy(values.begin(), values.end(), p.data);
  return p;
}

std::string bytesOf(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

// Values become whole counts, halves to even, stored uncompressed with the name.
TEST_F(Frames16, ValuesBecomeWholeCountsHalvesToEven) {
  const std::string file = path("frame.tif");
  EXPECT_EQ(write_tiff16(file, plane({0.0f, 2.5f, 3.5f, 1000.4999f, 65535.0f, 65535.4f, -0.4f}),
                         tiff16Range::refuse, "wind_on_sens"),
            0u);
  const auto back = read_image(file);
  const float want[] = {0, 2, 4, 1000, 65535, 65535, 0};
  for (int i = 0; i < 7; ++i) EXPECT_EQ(back->field()(i, 0), want[i]) << i;
  // Uncompressed: the samples as they are, the name in ImageDescription.
  const std::string bytes = bytesOf(file);
  EXPECT_LT(bytes.size(), 7u * 2 + 400);
  EXPECT_NE(bytes.find("wind_on_sens"), std::string::npos);
}

// Values out of range are clamped and counted, or refused before writing.
TEST_F(Frames16, OutOfRangeIsClampedAndCountedOrRefused) {
  const std::string file = path("frame.tiff");
  const auto wild = plane({-3.0f, 70000.0f, std::numeric_limits<float>::quiet_NaN(), 7.0f,
                           65535.6f});
  EXPECT_EQ(write_tiff16(file, wild, tiff16Range::clamp), 4u);
  const auto back = read_image(file);
  const float want[] = {0, 65535, 0, 7, 65535};
  for (int i = 0; i < 5; ++i) EXPECT_EQ(back->field()(i, 0), want[i]) << i;

  const std::string before = bytesOf(file);
  try {
    write_tiff16(file, plane({1.0f, -1.0f, 2.0f}), tiff16Range::refuse);
    FAIL() << "refused values were written";
  } catch (const zel::FileError& e) {
    EXPECT_EQ(std::string(e.message), file + ": 1 value lies outside 0 to 65535");
  }
  EXPECT_EQ(bytesOf(file), before);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir), {}), 1) << "no temporary left";
}

// Other file types and empty planes are refused.
TEST_F(Frames16, OtherFilesAndEmptyPlanesAreRefused) {
  EXPECT_THROW(write_tiff16(path("frame.png"), plane({1.0f}), tiff16Range::clamp), zel::FileError);
  EXPECT_THROW(write_tiff16(path("frame.tif"), zel::arrayStore<float, 2>(), tiff16Range::clamp),
               zel::FileError);
  EXPECT_FALSE(std::filesystem::exists(path("frame.tif")));
}

}  // namespace
