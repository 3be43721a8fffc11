// Quick-look PNGs: colour maps, masks, given ends, the colour bar and markers,
// checked pixel by pixel in the PNG read back with libpng.
#include <gtest/gtest.h>
#include <png.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <iterator>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "api/image.h"
#include "host/render.h"
#include "tests/support/tempFolder.h"
#include "tests/support/textFile.h"

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

constexpr rgb black{0, 0, 0}, white{255, 255, 255}, background{40, 40, 40}, half{127, 127, 127};
constexpr rgb middle{128, 128, 128};  // the grey map's middle, as its definition gives it
constexpr rgb magenta{255, 0, 255}, inactive{160, 160, 160}, text{230, 230, 230};
const float inf = std::numeric_limits<float>::infinity();

// A PNG read back with libpng, refusing anything but 8-bit RGB.
struct picture {
  int width = 0, height = 0;
  std::vector<unsigned char> bytes;
  rgb at(int x, int y) const {
    const unsigned char* p = &bytes[(static_cast<std::size_t>(y) * width + x) * 3];
    return {p[0], p[1], p[2]};
  }
  std::vector<rgb> row(int y) const {
    std::vector<rgb> out;
    for (int x = 0; x < width; ++x) out.push_back(at(x, y));
    return out;
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

// A one-row image holding `values`, with bkgr set at `bkgr` and ROI cleared at `outside`.
zel::image row(const std::vector<float>& values, std::vector<int> bkgr = {},
               std::vector<int> outside = {}) {
  zel::image img(static_cast<int>(values.size()), 1);
  for (std::size_t x = 0; x < values.size(); ++x) img.field()(static_cast<int>(x), 0) = values[x];
  for (int x : bkgr) img.bkgr()(x, 0) = true;
  for (int x : outside) img.ROI()(x, 0) = false;
  return img;
}

renderOptions plain(const std::string& map = "grey", std::optional<double> low = {},
                    std::optional<double> high = {}, bool bar = false) {
  return {map, low, high, bar, false};
}

double luminance(const rgb& c) { return 0.2126 * c.r + 0.7152 * c.g + 0.0722 * c.b; }

class Render : public tamble::testing::tempFolderTest {
 protected:
  picture render(const zel::image& img, const renderOptions& options) {
    renderPng(out().string(), img, options);
    return readPng(out());
  }
  fs::path out() const { return dir / "quick.png"; }
  std::size_t filesInDir() const {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(dir), {}));
  }
  // Pixels of the colour-bar label colour in rows y0..y1 right of column x0: their count and
  // the rightmost one's offset from x0 (-1 if none).
  std::pair<int, int> textIn(const picture& pic, int x0, int y0, int y1) const {
    int n = 0, right = -1;
    for (int y = y0; y <= y1; ++y)
      for (int x = x0; x < pic.width; ++x)
        if (pic.at(x, y) == text) ++n, right = std::max(right, x - x0);
    return {n, right};
  }
};

// Minimum, middle and maximum take viridis's defining colours #440154, #21908C, #FDE725.
TEST_F(Render, MinimumMiddleAndMaximumTakeTheMapsDefiningColours) {
  const picture pic = render(row({-2, 0, 2}), plain("viridis"));
  ASSERT_EQ(pic.height, 1);
  EXPECT_EQ(pic.row(0), (std::vector<rgb>{{68, 1, 84}, {33, 144, 140}, {253, 231, 37}}));
}

// Viridis rises in luminance along a ramp: colours between the stops are interpolated.
TEST_F(Render, ViridisGrowsBrighterAlongARamp) {
  std::vector<float> ramp(256);
  for (int i = 0; i < 256; ++i) ramp[i] = static_cast<float>(i);
  const picture pic = render(row(ramp), plain("viridis"));
  // Every 8 steps, well above the rounding of the channels.
  for (int x = 8; x < 256; x += 8)
    ASSERT_GT(luminance(pic.at(x, 0)), luminance(pic.at(x - 8, 0))) << x;
}

// The range comes from the valid pixels or from the given ends, which clamp; background is dark.
TEST_F(Render, ColoursFollowTheValidRangeOrTheGivenEnds) {
  zel::image bare;  // no bkgr or ROI layer: every pixel counts
  bare.makeLayers({2, 1}, true, false, false);
  bare.field()(0, 0) = -4.0f;
  bare.field()(1, 0) = 4.0f;
  const struct {
    const char* name;
    zel::image img;
    renderOptions options;
    std::vector<rgb> expected;
  } rows[] = {
      {"masks and non-finite values",
       row({0, 1000, 10, -1000, 10, NAN, inf}, {1}, {2, 3}),
       plain(),
       {black, background, half, black, white, background, white}},
      {"no masks", std::move(bare), plain(), {black, white}},
      {"given ends clamp",
       row({-5, 0, 5, 10, 15}),
       plain("grey", 0, 10),
       {black, black, middle, white, white}},
      {"flat range", row({3, 3, 3}), plain(), {middle, middle, middle}},
      {"all below the low end", row({0, 1, 3}), plain("grey", 5), {black, black, black}},
  };
  for (const auto& r : rows) {
    SCOPED_TRACE(r.name);
    EXPECT_EQ(render(r.img, r.options).row(0), r.expected);
  }
}

// Without any valid pixel the whole picture, bar included, is background.
TEST_F(Render, WithoutAnyValidPixelThePictureIsBackground) {
  const picture pic = render(row({1, 2, NAN}, {0}, {1}), plain("grey", {}, {}, true));
  ASSERT_EQ(pic.width, 3 + 108);
  for (int y = 0; y < pic.height; ++y)
    for (int x = 0; x < pic.width; ++x) ASSERT_EQ(pic.at(x, y), background) << x << "," << y;
}

// One given end beyond the data collapses the range onto it: the bar's two labels read alike.
TEST_F(Render, OneGivenEndBeyondTheDataGivesEqualBarLabels) {
  for (const renderOptions& o : {plain("grey", 5, {}, true), plain("grey", {}, -1, true)}) {
    const picture pic = render(row({0, 1, 3}), o);
    ASSERT_EQ(pic.height, 32);
    for (int y = 0; y < 7; ++y)
      for (int x = 3 + 40; x < pic.width; ++x)
        ASSERT_EQ(pic.at(x, y), pic.at(x, y + 25)) << x << "," << y;
  }
}

// The bar widens the picture, runs from high (top) to low, and has labels beside its ends only.
TEST_F(Render, BarWidensThePictureAndRunsFromHighAtTopToLowAtBottom) {
  zel::image img(40, 40);
  img.field()(0, 0) = 1.0f;
  const picture pic = render(img, plain("jet", {}, {}, true));
  ASSERT_EQ(pic.width, 40 + 108);
  ASSERT_EQ(pic.height, 40);
  EXPECT_EQ(pic.at(40 + 16 + 10, 0), (rgb{128, 0, 0}));
  EXPECT_EQ(pic.at(40 + 16 + 10, 39), (rgb{0, 0, 128}));
  for (int x = 40; x < 56; ++x) EXPECT_EQ(pic.at(x, 20), background) << x;
  EXPECT_GT(textIn(pic, 80, 0, 6).first, 0);
  EXPECT_EQ(textIn(pic, 80, 7, 32).first, 0);
  EXPECT_GT(textIn(pic, 80, 33, 39).first, 0);
}

// Images shorter than the bar are padded below with background.
TEST_F(Render, BarShortImagesArePaddedToTheMinimumHeight) {
  const picture pic = render(row({0, 1, 2, 3, 4}), plain("grey", {}, {}, true));
  ASSERT_EQ(pic.width, 5 + 108);
  ASSERT_EQ(pic.height, 32);
  EXPECT_EQ(pic.at(4, 0), white);
  for (int y = 1; y < 32; ++y) EXPECT_EQ(pic.at(4, y), background) << y;
  EXPECT_EQ(pic.at(5 + 26, 0), white);
  EXPECT_EQ(pic.at(5 + 26, 31), black);
}

// Bar labels carry four significant digits: "1.235e+04" at the top, "0" at the bottom.
TEST_F(Render, BarLabelsCarryFourSignificantDigits) {
  const picture pic = render(zel::image(10, 40), plain("grey", 0, 12345.678, true));
  const int high = textIn(pic, 50, 0, 6).second, low = textIn(pic, 50, 33, 39).second;
  EXPECT_GE(high, 8 * 6);  // nine characters of six columns
  EXPECT_LT(high, 9 * 6);
  EXPECT_GE(low, 0);
  EXPECT_LT(low, 6);
}

// Marker rings surround the rounded position in their state colour, only when asked for.
TEST_F(Render, MarkerRingsSurroundTheRoundedPositionInTheirStateColour) {
  zel::image img(30, 30);                               // flat: mid grey everywhere
  img.markers.add(marker{10.4, 10.5, 0, 0, true, 0});   // centre (10, 11)
  img.markers.add(marker{20.5, 20.2, 0, 0, false, 0});  // centre (21, 20)
  renderOptions o = plain();
  o.markers = true;
  const picture pic = render(img, o);
  const picture bare = render(img, plain());
  const rgb grey = pic.at(0, 0);
  const struct {
    int x, y;
    rgb withMarkers, without;
  } points[] = {{14, 11, magenta, grey},
                {10, 7, magenta, grey},
                {10, 11, grey, grey},
                {15, 11, grey, grey},
                {25, 20, inactive, grey}};
  for (const auto& p : points) {
    EXPECT_EQ(pic.at(p.x, p.y), p.withMarkers) << p.x << "," << p.y;
    EXPECT_EQ(bare.at(p.x, p.y), p.without) << p.x << "," << p.y;
  }
}

// Rings of markers outside the picture are clipped to the image, not drawn into the bar.
TEST_F(Render, MarkersOutsideThePictureAreClipped) {
  zel::image img(20, 12);
  for (const auto& [x, y] : {std::pair{-100.0, -100.0},
                             {23.0, 5.0},
                             {-2.0, 8.0},
                             {NAN, 3.0},
                             {1e300, -1e300},
                             {10.0, 14.0}})
    img.markers.add(marker{x, y, 0, 0, true, 0});
  renderOptions o = plain("grey", {}, {}, true);
  o.markers = true;
  const picture pic = render(img, o);
  EXPECT_EQ(pic.at(19, 5), magenta);      // left edge of the ring at x = 23
  EXPECT_EQ(pic.at(3, 8), magenta);       // trunc(-1.5) = -1: right edge of the ring at x = -1
  EXPECT_EQ(pic.at(10, 10), magenta);     // top edge of the ring at y = 14
  EXPECT_EQ(pic.at(14, 12), background);  // the ring goes on, but not into the padding
  for (int y = 0; y < pic.height; ++y)
    for (int x = 20; x < 20 + 16; ++x) ASSERT_EQ(pic.at(x, y), background) << x << "," << y;
}

// An unknown map or bad ends raise with a text naming the fault and keep the previous file.
TEST_F(Render, UnknownMapAndBadEndsLeaveThePreviousFile) {
  tamble::testing::writeText(out(), "previous");
  const struct {
    renderOptions options;
    const char* named;
  } rows[] = {
      {plain("rainbow"), "unknown colour map 'rainbow'; one of: grey, jet, viridis, coolwarm"},
      {plain("grey", 3, 2), "low end"},
      {plain("grey", NAN, 2), "finite"},
  };
  for (const auto& r : rows) {
    SCOPED_TRACE(r.named);
    try {
      renderPng(out().string(), row({1, 2}), r.options);
      ADD_FAILURE() << "accepted";
    } catch (const zel::AlgoError& e) {
      EXPECT_NE(std::string(e.message).find(r.named), std::string::npos) << e.message;
    }
    EXPECT_EQ(tamble::testing::readText(out()), "previous");
    EXPECT_EQ(filesInDir(), 1u);
  }
}

// Images without a field or of mismatched layers, and unwritable paths, write nothing.
TEST_F(Render, ImagesThatCannotBeDrawnAndUnwritablePathsWriteNothing) {
  const std::string path = out().string();
  EXPECT_THROW(renderPng(path, zel::image(), {}), zel::AlgoError);
  EXPECT_THROW(renderPng(path, zel::image(0, 4), {}), zel::AlgoError);
  zel::image masksOnly;
  masksOnly.makeLayers({2, 2}, false, true, true);
  EXPECT_THROW(renderPng(path, masksOnly, {}), zel::AlgoError);
  zel::image odd(3, 3);
  odd.bkgr() = zel::arrayStore<bool, 2>(2, 2);
  EXPECT_THROW(renderPng(path, odd, {}), zel::DimError);
  EXPECT_THROW(renderPng((dir / "missing" / "q.png").string(), row({1}), {}), zel::FileError);
  EXPECT_EQ(filesInDir(), 0u);
}

}  // namespace
