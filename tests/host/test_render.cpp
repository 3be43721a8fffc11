#include <gtest/gtest.h>
#include <omp.h>
#include <png.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "api/image.h"
#include "host/render.h"

namespace {

namespace fs = std::filesystem;
using tamble::renderOptions;
using tamble::renderPng;

struct rgb {
  int r, g, b;
  bool operator==(const rgb&) const = default;
};
std::ostream& operator<<(std::ostream& os, const rgb& c) {
  return os << '(' << c.r << ',' << c.g << ',' << c.b << ')';
}

constexpr rgb black{0, 0, 0}, white{255, 255, 255}, background{40, 40, 40};
constexpr rgb magenta{255, 0, 255}, inactive{160, 160, 160}, text{230, 230, 230};

// A PNG read back with libpng, refusing anything but 8-bit RGB.
struct picture {
  int width = 0, height = 0;
  std::vector<unsigned char> bytes;
  rgb at(int x, int y) const {
    const unsigned char* p = &bytes[(static_cast<std::size_t>(y) * width + x) * 3];
    return {p[0], p[1], p[2]};
  }
};

picture readPng(const fs::path& path) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  picture pic;
  if (!png_image_begin_read_from_file(&image, path.c_str())) {
    ADD_FAILURE() << "unreadable " << path << ": " << image.message;
    return pic;
  }
  EXPECT_EQ(image.format, static_cast<png_uint_32>(PNG_FORMAT_RGB)) << "not 8-bit RGB";
  image.format = PNG_FORMAT_RGB;
  pic.width = static_cast<int>(image.width);
  pic.height = static_cast<int>(image.height);
  pic.bytes.resize(PNG_IMAGE_SIZE(image));
  EXPECT_TRUE(png_image_finish_read(&image, nullptr, pic.bytes.data(), 0, nullptr));
  return pic;
}

// A one-row image holding `values`.
zel::image row(const std::vector<float>& values) {
  zel::image img(static_cast<int>(values.size()), 1);
  for (std::size_t x = 0; x < values.size(); ++x) img.field()(static_cast<int>(x), 0) = values[x];
  return img;
}

renderOptions plain(const std::string& map = "grey") {
  renderOptions o;
  o.colormap = map;
  o.colorbar = false;
  o.markers = false;
  return o;
}

double luminance(const rgb& c) { return 0.2126 * c.r + 0.7152 * c.g + 0.0722 * c.b; }

class RenderFixture : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    dir = fs::temp_directory_path() /
          ("tamble_render_" + std::string(info->name()) + "_" + std::to_string(::getpid()));
    fs::create_directories(dir);
  }
  void TearDown() override { fs::remove_all(dir); }

  picture render(const zel::image& img, const renderOptions& options) {
    renderPng(out().string(), img, options);
    return readPng(out());
  }
  fs::path out() const { return dir / "quick.png"; }
  std::size_t filesInDir() const {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(dir), {}));
  }

  fs::path dir;
};

using RenderColours = RenderFixture;
using RenderMasks = RenderFixture;
using RenderRange = RenderFixture;
using RenderColorbar = RenderFixture;
using RenderMarkers = RenderFixture;
using RenderRefusals = RenderFixture;
using RenderThreads = RenderFixture;

// First, middle and last colours from each map's definition: viridis #440154,
// #21908C, #FDE725; Moreland's cool-warm ends around its light grey centre.
TEST_F(RenderColours, MinimumMiddleAndMaximumTakeTheMapsDefiningColours) {
  EXPECT_EQ(tamble::colormapNames(),
            (std::vector<std::string>{"grey", "jet", "viridis", "coolwarm"}));
  struct stops {
    const char* map;
    rgb first, middle, last;
  };
  for (const stops& e : {stops{"grey", black, {128, 128, 128}, white},
                         stops{"jet", {0, 0, 128}, {128, 255, 128}, {128, 0, 0}},
                         stops{"viridis", {68, 1, 84}, {33, 144, 140}, {253, 231, 37}},
                         stops{"coolwarm", {59, 76, 192}, {221, 221, 221}, {180, 4, 38}}}) {
    const picture pic = render(row({-2, 0, 2}), plain(e.map));
    ASSERT_EQ(pic.width, 3);
    ASSERT_EQ(pic.height, 1);
    EXPECT_EQ(pic.at(0, 0), e.first) << e.map;
    EXPECT_EQ(pic.at(1, 0), e.middle) << e.map;
    EXPECT_EQ(pic.at(2, 0), e.last) << e.map;
  }
}

TEST_F(RenderColours, SequentialMapsGrowBrighterAndCoolwarmTurnsFromBlueToRed) {
  std::vector<float> ramp(256);
  for (int i = 0; i < 256; ++i) ramp[i] = static_cast<float>(i);
  for (const char* map : {"grey", "viridis"}) {
    const picture pic = render(row(ramp), plain(map));
    // Every 8 steps, well above the rounding of the channels.
    for (int x = 8; x < 256; x += 8)
      ASSERT_GT(luminance(pic.at(x, 0)), luminance(pic.at(x - 8, 0))) << map << " at " << x;
  }
  const picture pic = render(row(ramp), plain("coolwarm"));
  for (int x = 0; x < 256; ++x) {
    const rgb c = pic.at(x, 0);
    if (x < 120) {
      EXPECT_GT(c.b, c.r) << x;
    } else if (x > 136) {
      EXPECT_GT(c.r, c.b) << x;
    }
  }
}

TEST_F(RenderMasks, BackgroundIsDarkGreyOutsideRoiHalfBrightAndLimitsUseValidPixels) {
  const float inf = std::numeric_limits<float>::infinity();
  zel::image img = row({0, 1000, 10, -1000, 10, NAN, inf});
  img.bkgr()(1, 0) = true;
  img.ROI()(2, 0) = false;
  img.ROI()(3, 0) = false;
  const picture pic = render(img, plain());
  // The range is 0..10: background, outside-ROI, NaN and infinite pixels do not set it.
  EXPECT_EQ(pic.at(0, 0), black);
  EXPECT_EQ(pic.at(1, 0), background);
  EXPECT_EQ(pic.at(2, 0), (rgb{127, 127, 127}));
  EXPECT_EQ(pic.at(3, 0), black);
  EXPECT_EQ(pic.at(4, 0), white);
  EXPECT_EQ(pic.at(5, 0), background);
  EXPECT_EQ(pic.at(6, 0), white);
}

TEST_F(RenderMasks, ImageWithoutMasksUsesEveryPixel) {
  zel::image img;
  img.makeLayers({2, 1}, true, false, false);
  img.field()(0, 0) = -4.0f;
  img.field()(1, 0) = 4.0f;
  const picture pic = render(img, plain());
  EXPECT_EQ(pic.at(0, 0), black);
  EXPECT_EQ(pic.at(1, 0), white);
}

TEST_F(RenderMasks, WithoutAnyValidPixelThePictureIsBackground) {
  zel::image img = row({1, 2, 3});
  img.bkgr()(0, 0) = true;
  img.ROI()(1, 0) = false;
  img.field()(2, 0) = NAN;
  renderOptions o = plain();
  o.colorbar = true;
  const picture pic = render(img, o);
  ASSERT_EQ(pic.width, 3 + 108);
  for (int y = 0; y < pic.height; ++y)
    for (int x = 0; x < pic.width; ++x) ASSERT_EQ(pic.at(x, y), background) << x << "," << y;
}

TEST_F(RenderRange, GivenEndsClampAndFlatRangesMapToTheMiddle) {
  renderOptions o = plain();
  o.low = 0;
  o.high = 10;
  const picture pic = render(row({-5, 0, 5, 10, 15}), o);
  EXPECT_EQ(pic.at(0, 0), black);
  EXPECT_EQ(pic.at(1, 0), black);
  EXPECT_NEAR(pic.at(2, 0).r, 127.5, 0.5);
  EXPECT_EQ(pic.at(3, 0), white);
  EXPECT_EQ(pic.at(4, 0), white);

  const picture flat = render(row({3, 3, 3}), plain());
  for (int x = 0; x < 3; ++x) EXPECT_NEAR(flat.at(x, 0).r, 127.5, 0.5);
}

TEST_F(RenderRange, OneGivenEndBeyondTheDataPutsAllPixelsOnOneSide) {
  renderOptions below = plain(), above = plain();
  below.low = 5;    // every value lies below the low end
  above.high = -1;  // every value lies above the high end
  for (renderOptions o : {below, above}) {
    const rgb side = o.low ? black : white;
    picture pic = render(row({0, 1, 3}), o);
    for (int x = 0; x < 3; ++x) EXPECT_EQ(pic.at(x, 0), side) << x;
    // The range collapses onto the given end: the bar's two labels read alike.
    o.colorbar = true;
    pic = render(row({0, 1, 3}), o);
    ASSERT_EQ(pic.height, 32);
    for (int y = 0; y < 7; ++y)
      for (int x = 3 + 40; x < pic.width; ++x)
        ASSERT_EQ(pic.at(x, y), pic.at(x, y + 25)) << x << "," << y;
  }
}

TEST_F(RenderColorbar, BarWidensThePictureAndRunsFromHighAtTopToLowAtBottom) {
  zel::image img(40, 40);
  img.field()(0, 0) = 1.0f;
  renderOptions o = plain("jet");
  o.colorbar = true;
  const picture pic = render(img, o);
  ASSERT_EQ(pic.width, 40 + 108);
  ASSERT_EQ(pic.height, 40);
  const int barX = 40 + 16 + 10, textX = 40 + 40;
  EXPECT_EQ(pic.at(barX, 0), (rgb{128, 0, 0}));
  EXPECT_EQ(pic.at(barX, 39), (rgb{0, 0, 128}));
  for (int x = 40; x < 56; ++x) EXPECT_EQ(pic.at(x, 20), background) << x;
  // Labels stand beside the ends only.
  auto textInRows = [&](int y0, int y1) {
    int n = 0;
    for (int y = y0; y <= y1; ++y)
      for (int x = textX; x < pic.width; ++x) n += pic.at(x, y) == text;
    return n;
  };
  EXPECT_GT(textInRows(0, 6), 0);
  EXPECT_EQ(textInRows(7, 32), 0);
  EXPECT_GT(textInRows(33, 39), 0);
}

TEST_F(RenderColorbar, ShortImagesArePaddedToTheMinimumHeight) {
  renderOptions o = plain();
  o.colorbar = true;
  const picture pic = render(row({0, 1, 2, 3, 4}), o);
  ASSERT_EQ(pic.width, 5 + 108);
  ASSERT_EQ(pic.height, 32);
  EXPECT_EQ(pic.at(4, 0), white);
  for (int y = 1; y < 32; ++y) EXPECT_EQ(pic.at(4, y), background) << y;
  EXPECT_EQ(pic.at(5 + 26, 0), white);
  EXPECT_EQ(pic.at(5 + 26, 31), black);
}

TEST_F(RenderColorbar, LabelsCarryFourSignificantDigits) {
  renderOptions o = plain();
  o.colorbar = true;
  o.low = 0;
  o.high = 12345.678;  // "1.235e+04": nine characters of six columns
  const picture pic = render(zel::image(10, 40), o);
  const int textX = 10 + 40;
  auto rightmostText = [&](int y0, int y1) {
    int right = -1;
    for (int y = y0; y <= y1; ++y)
      for (int x = textX; x < pic.width; ++x)
        if (pic.at(x, y) == text) right = std::max(right, x);
    return right - textX;
  };
  const int high = rightmostText(0, 6), low = rightmostText(33, 39);
  EXPECT_GE(high, 8 * 6);
  EXPECT_LT(high, 9 * 6);
  EXPECT_GE(low, 0);  // "0": one character
  EXPECT_LT(low, 6);
}

TEST_F(RenderMarkers, RingsSurroundTheRoundedPositionInTheirStateColour) {
  zel::image img(30, 30);                               // flat: mid grey everywhere
  img.markers.add(marker{10.4, 10.5, 0, 0, true, 0});   // centre (10, 11)
  img.markers.add(marker{20.5, 20.2, 0, 0, false, 0});  // centre (21, 20)
  renderOptions o = plain();
  o.markers = true;
  const picture pic = render(img, o);
  const rgb grey = pic.at(0, 0);
  EXPECT_EQ(pic.at(14, 11), magenta);
  EXPECT_EQ(pic.at(6, 11), magenta);
  EXPECT_EQ(pic.at(10, 7), magenta);
  EXPECT_EQ(pic.at(10, 15), magenta);
  EXPECT_EQ(pic.at(10, 11), grey);  // the value at the marker stays visible
  EXPECT_EQ(pic.at(15, 11), grey);
  EXPECT_EQ(pic.at(25, 20), inactive);
  EXPECT_EQ(pic.at(21, 16), inactive);

  o.markers = false;
  const picture bare = render(img, o);
  EXPECT_EQ(bare.at(14, 11), grey);
  EXPECT_EQ(bare.at(25, 20), grey);
}

TEST_F(RenderMarkers, MarkersOutsideThePictureAreClipped) {
  zel::image img(20, 12);
  for (const auto& [x, y] : {std::pair{-100.0, -100.0},
                             {23.0, 5.0},
                             {-2.0, 8.0},
                             {NAN, 3.0},
                             {1e300, -1e300},
                             {10.0, 14.0}})
    img.markers.add(marker{x, y, 0, 0, true, 0});
  renderOptions o = plain();
  o.markers = true;
  o.colorbar = true;
  const picture pic = render(img, o);
  EXPECT_EQ(pic.at(19, 5), magenta);      // left edge of the ring at x = 23
  EXPECT_EQ(pic.at(3, 8), magenta);       // trunc(-1.5) = -1: right edge of the ring at x = -1
  EXPECT_EQ(pic.at(10, 10), magenta);     // top edge of the ring at y = 14
  EXPECT_EQ(pic.at(14, 12), background);  // the ring goes on, but not into the padding
  for (int y = 0; y < pic.height; ++y)
    for (int x = 20; x < 20 + 16; ++x) ASSERT_EQ(pic.at(x, y), background) << x << "," << y;
}

TEST_F(RenderRefusals, UnknownMapAndBadEndsLeaveThePreviousFile) {
  { std::ofstream(out()) << "previous"; }
  auto check = [&](const renderOptions& o, const char* expected) {
    try {
      renderPng(out().string(), row({1, 2}), o);
      ADD_FAILURE() << "accepted " << expected;
    } catch (const zel::AlgoError& e) {
      EXPECT_NE(std::string(e.message).find(expected), std::string::npos) << e.message;
    }
    std::ifstream in(out());
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "previous");
    EXPECT_EQ(filesInDir(), 1u);
  };
  check(plain("rainbow"), "unknown colour map 'rainbow'; one of: grey, jet, viridis, coolwarm");
  renderOptions o = plain();
  o.low = 3;
  o.high = 2;
  check(o, "low end");
  o.low = NAN;
  check(o, "finite");
  o.low.reset();
  o.high = std::numeric_limits<double>::infinity();
  check(o, "finite");
}

TEST_F(RenderRefusals, ImagesThatCannotBeDrawnAndUnwritablePathsWriteNothing) {
  const std::string path = out().string();
  EXPECT_THROW(renderPng(path, zel::image(), {}), zel::AlgoError);
  EXPECT_THROW(renderPng(path, zel::image(0, 4), {}), zel::AlgoError);
  zel::image masksOnly;
  masksOnly.makeLayers({2, 2}, false, true, true);
  EXPECT_THROW(renderPng(path, masksOnly, {}), zel::AlgoError);
  zel::image odd(3, 3);
  odd.bkgr() = zel::arrayStore<bool, 2>(2, 2);
  EXPECT_THROW(renderPng(path, odd, {}), zel::DimError);
  EXPECT_EQ(filesInDir(), 0u);
  EXPECT_THROW(renderPng((dir / "missing" / "q.png").string(), row({1}), {}), zel::FileError);
  EXPECT_EQ(filesInDir(), 0u);
}

TEST_F(RenderThreads, OneAndFourThreadsWriteTheSameBytes) {
  zel::image img(400, 300);  // above the threshold for parallel rows
  for (int y = 0; y < 300; ++y)
    for (int x = 0; x < 400; ++x) {
      img.field()(x, y) = std::sin(0.05f * x) * std::cos(0.03f * y) * 100.0f;
      img.bkgr()(x, y) = (x + y) % 97 == 0;
      img.ROI()(x, y) = x < 350;
    }
  img.markers.add(marker{200, 150, 0, 0, true, 0});
  renderOptions o;
  o.colormap = "jet";
  auto bytesWith = [&](int threads) {
    omp_set_num_threads(threads);
    renderPng(out().string(), img, o);
    std::ifstream in(out(), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  };
  const int before = omp_get_max_threads();
  const std::string one = bytesWith(1), four = bytesWith(4);
  omp_set_num_threads(before);
  EXPECT_FALSE(one.empty());
  EXPECT_TRUE(one == four);
}

}  // namespace
