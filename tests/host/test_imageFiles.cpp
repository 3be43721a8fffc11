// Image and mask files. Input files are made with libtiff and libpng directly,
// so that the reader is checked against the libraries rather than against our
// own writer.
#include <gtest/gtest.h>
#include <png.h>
#include <sys/resource.h>
#include <tiffio.h>
#include <zlib.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <csetjmp>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "api/errors.h"
#include "api/image.h"
#include "host/platform.h"
#include "tests/support/tempFolder.h"

namespace fs = std::filesystem;

namespace {

using Bytes = std::vector<unsigned char>;
const float nan = std::numeric_limits<float>::quiet_NaN();
const float inf = std::numeric_limits<float>::infinity();

// A fresh folder per test, removed afterwards.
class ImageFiles : public tamble::testing::tempFolderTest {
 protected:
  std::string file(const std::string& name) const { return path(name); }
  std::vector<std::string> entries() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(dir))
      names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
  }
};

Bytes slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), {});
}

void spill(const std::string& path, const Bytes& bytes) {
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
}

template <class T>
Bytes bytesOf(const std::vector<T>& values) {
  Bytes bytes(values.size() * sizeof(T));
  if (!values.empty()) std::memcpy(bytes.data(), values.data(), bytes.size());
  return bytes;
}

// ---- Writing inputs with libtiff -----------------------------------------

struct TiffPage {
  std::uint32_t width = 3, height = 2;
  std::uint16_t bits = 8, format = SAMPLEFORMAT_UINT, samples = 1;
  std::uint16_t photometric = PHOTOMETRIC_MINISBLACK, compression = COMPRESSION_NONE;
  std::uint32_t tile = 0;  // tile side; strips of two rows if 0
  std::string name = {};
  Bytes pixels = {};  // rows of width * samples samples, packed
};

void addTiles(TIFF* tif, const TiffPage& p, std::size_t rowBytes) {
  TIFFSetField(tif, TIFFTAG_TILEWIDTH, p.tile);
  TIFFSetField(tif, TIFFTAG_TILELENGTH, p.tile);
  const std::size_t pixelBytes = p.samples * p.bits / 8u;
  for (std::uint32_t ty = 0; ty < p.height; ty += p.tile)
    for (std::uint32_t tx = 0; tx < p.width; tx += p.tile) {
      Bytes tile(static_cast<std::size_t>(TIFFTileSize(tif)));
      for (std::uint32_t y = ty; y < std::min(p.height, ty + p.tile); ++y)
        for (std::uint32_t x = tx; x < std::min(p.width, tx + p.tile); ++x)
          std::memcpy(&tile[((y - ty) * p.tile + (x - tx)) * pixelBytes],
                      &p.pixels[y * rowBytes + x * pixelBytes], pixelBytes);
      ASSERT_GE(TIFFWriteTile(tif, tile.data(), tx, ty, 0, 0), 0);
    }
}

void addPage(TIFF* tif, const TiffPage& p) {
  TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, p.width);
  TIFFSetField(tif, TIFFTAG_IMAGELENGTH, p.height);
  TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, p.bits);
  TIFFSetField(tif, TIFFTAG_SAMPLEFORMAT, p.format);
  TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, p.samples);
  TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, p.photometric);
  TIFFSetField(tif, TIFFTAG_COMPRESSION, p.compression);
  TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  const std::uint16_t alpha[] = {EXTRASAMPLE_UNASSALPHA};
  if (p.samples == 4) TIFFSetField(tif, TIFFTAG_EXTRASAMPLES, 1, alpha);
  if (!p.name.empty()) TIFFSetField(tif, TIFFTAG_PAGENAME, p.name.c_str());
  const std::size_t rowBytes = (p.width * p.samples * p.bits + 7) / 8;
  if (p.tile) {
    addTiles(tif, p, rowBytes);
  } else {
    TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, 2);
    for (std::uint32_t y = 0; y < p.height; ++y) {
      Bytes row(p.pixels.begin() + y * rowBytes, p.pixels.begin() + (y + 1) * rowBytes);
      ASSERT_GE(TIFFWriteScanline(tif, row.data(), y, 0), 0);
    }
  }
  ASSERT_TRUE(TIFFWriteDirectory(tif));
}

void writeTiff(const std::string& path, const std::vector<TiffPage>& pages) {
  TIFF* tif = TIFFOpen(path.c_str(), "w");
  ASSERT_NE(tif, nullptr);
  for (const TiffPage& page : pages) addPage(tif, page);
  TIFFClose(tif);
}

// A float page of 3 x 2 pixels (or `width` wide).
TiffPage floatPage(const std::vector<float>& values, std::uint32_t width = 3) {
  return {.width = width,
          .height = std::uint32_t(values.size() / width),
          .bits = 32,
          .format = SAMPLEFORMAT_IEEEFP,
          .pixels = bytesOf(values)};
}

// Writes six values as one page and expects each back as the nearest float.
template <class T>
void expectKindKept(const std::string& path, std::uint16_t format, const std::vector<T>& values) {
  SCOPED_TRACE(path);
  const TiffPage page{.bits = sizeof(T) * 8, .format = format, .pixels = bytesOf(values)};
  ASSERT_NO_FATAL_FAILURE(writeTiff(path, {page}));
  const auto img = read_image(path);
  ASSERT_EQ(img->width(), 3);
  ASSERT_EQ(img->height(), 2);
  for (std::size_t i = 0; i < values.size(); ++i)
    EXPECT_EQ(img->field()[i], static_cast<float>(values[i])) << "pixel " << i;
  EXPECT_EQ(img->fieldName(), fs::path(path).stem().string());
  EXPECT_EQ(img->fileInfo.name, path);
}

std::vector<float> fieldOf(const zel::image& img) {
  return std::vector<float>(img.field().data, img.field().data + img.field().count);
}
std::vector<bool> flagsOf(const zel::arrayStore<bool, 2>& plane) {
  return std::vector<bool>(plane.data, plane.data + plane.count);
}

// Hand-made little-endian TIFF: directory first, then one uncompressed
// 16-bit strip of `data` bytes whose byte count claims `claimed`.
Bytes handTiff(std::uint32_t width, std::uint32_t height, std::uint32_t claimed,
               std::uint32_t data) {
  const std::uint32_t entries[][2] = {
      {256 | 4u << 16, width}, {257 | 4u << 16, height}, {258 | 3u << 16, 16},
      {259 | 3u << 16, 1},     {262 | 3u << 16, 1},      {273 | 4u << 16, 8 + 2 + 9 * 12 + 4},
      {277 | 3u << 16, 1},     {278 | 4u << 16, height}, {279 | 4u << 16, claimed}};
  Bytes out = {'I', 'I', 42, 0, 8, 0, 0, 0, 9, 0};
  auto put32 = [&out](std::uint32_t v) {
    for (int i = 0; i < 4; ++i) out.push_back(static_cast<unsigned char>(v >> (8 * i)));
  };
  for (const auto& e : entries) {  // tag and type, count 1, value
    put32(e[0]);
    put32(1);
    put32(e[1]);
  }
  put32(0);
  for (std::uint32_t i = 0; i < data; ++i) out.push_back(static_cast<unsigned char>(i * 7));
  return out;
}

// ---- Writing inputs with libpng ------------------------------------------

struct PngLayout {
  png_uint_32 width = 3, height = 2;
  int colour = PNG_COLOR_TYPE_GRAY, depth = 8;
  bool interlaced = false;
  std::vector<png_color> palette = {};
};

// Rows packed as libpng wants them; false on a libpng error.
bool writePng(const std::string& path, const PngLayout& layout, const Bytes& rows) {
  std::FILE* out = std::fopen(path.c_str(), "wb");
  if (!out) return false;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  if (setjmp(png_jmpbuf(png))) {
    png_destroy_write_struct(&png, &info);
    std::fclose(out);
    return false;
  }
  png_init_io(png, out);
  png_set_IHDR(png, info, layout.width, layout.height, layout.depth, layout.colour,
               layout.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  if (!layout.palette.empty())
    png_set_PLTE(png, info, layout.palette.data(), static_cast<int>(layout.palette.size()));
  png_write_info(png, info);
  for (int pass = png_set_interlace_handling(png); pass > 0; --pass)
    for (png_uint_32 y = 0; y < layout.height; ++y)
      png_write_row(png, rows.data() + y * png_get_rowbytes(png, info));
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  return std::fclose(out) == 0;
}

Bytes bigEndian16(const std::vector<std::uint16_t>& values) {
  Bytes bytes;
  for (std::uint16_t v : values) bytes.insert(bytes.end(), {std::uint8_t(v >> 8), std::uint8_t(v)});
  return bytes;
}

// The FileError text that `action` raises, checking that nothing reached
// stderr on the way.
std::string fileErrorOf(const std::function<void()>& action) {
  testing::internal::CaptureStderr();
  std::string message = "(nothing raised)";
  try {
    action();
  } catch (const zel::FileError& e) {
    message = e.message;
  } catch (...) {
    message = "(another exception)";
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  return message;
}

void expectRefused(const std::function<void()>& action, const std::string& path,
                   const std::string& word) {
  const std::string message = fileErrorOf(action);
  EXPECT_NE(message.find(path), std::string::npos) << message;
  EXPECT_NE(message.find(word), std::string::npos) << message;
}

// 0.299 R + 0.587 G + 0.114 B of (10,20,30), (255,0,0), (0,255,0), (0,0,255),
// (255,255,255) and (100,100,100).
const Bytes rgbPixels = {10, 20, 30, 255, 0, 0, 0, 255, 0, 0, 0, 255, 255, 255, 255, 100, 100, 100};
const std::vector<float> rgbLuminance = {18.15f, 76.245f, 149.685f, 29.07f, 255.0f, 100.0f};

void expectLuminance(const zel::image& img) {
  ASSERT_EQ(img.field().count, rgbLuminance.size());
  for (std::size_t i = 0; i < rgbLuminance.size(); ++i)
    EXPECT_FLOAT_EQ(img.field()[i], rgbLuminance[i]) << "pixel " << i;
}

// ---- TIFF ----------------------------------------------------------------

// Every integer and float sample kind keeps its values.
TEST_F(ImageFiles, TiffEverySampleKindKeepsItsValues) {
  expectKindKept<std::uint8_t>(file("u8.TIF"), SAMPLEFORMAT_UINT, {0, 1, 127, 128, 254, 255});
  expectKindKept<std::int16_t>(file("s16.tif"), SAMPLEFORMAT_INT, {-32768, -1, 0, 1, 4000, 32767});
  expectKindKept<std::int32_t>(file("s32.tif"), SAMPLEFORMAT_INT,
                               {INT32_MIN, -5, 0, 7, 1 << 24, INT32_MAX});
  // 2^24 + 1 and 2^32 - 1 have no float of their own: the nearest is taken.
  expectKindKept<std::uint32_t>(file("u32.tif"), SAMPLEFORMAT_UINT,
                                {0, 1, 4000000, (1u << 24) + 1, 4000, UINT32_MAX});
  expectKindKept<float>(file("f32.tif"), SAMPLEFORMAT_IEEEFP,
                        {-1.5e-7f, 0.0f, 3.25f, -0.0f, FLT_MAX, FLT_TRUE_MIN});
  expectKindKept<double>(file("f64.tif"), SAMPLEFORMAT_IEEEFP, {1.0 / 3, -2.5, 1e-300, 1e20, 0, 7});
}

// Tiled TIFFs, partial edge tiles included, come back in place.
TEST_F(ImageFiles, TiffTilesAreReassembled) {
  // 40 x 20 in 16 x 16 tiles: the right and bottom tiles are partly outside.
  std::vector<float> values(40 * 20);
  for (std::size_t i = 0; i < values.size(); ++i)
    values[i] = float(i % 40) + 100.0f * float(i / 40) + 0.25f;
  TiffPage page = floatPage(values, 40);
  page.tile = 16;
  ASSERT_NO_FATAL_FAILURE(writeTiff(file("tiles.tif"), {page}));
  const auto img = read_image(file("tiles.tif"));
  ASSERT_EQ(img->width(), 40);
  EXPECT_EQ(fieldOf(*img), values);
}

// NaN, infinities and doubles beyond float become 0 and background.
TEST_F(ImageFiles, TiffNonFiniteValuesBecomeBackground) {
  ASSERT_NO_FATAL_FAILURE(writeTiff(file("nan.tif"), {floatPage({1, nan, 2, inf, -inf, 3})}));
  const auto img = read_image(file("nan.tif"));
  EXPECT_EQ(fieldOf(*img), (std::vector<float>{1, 0, 2, 0, 0, 3}));
  EXPECT_EQ(flagsOf(img->bkgr()), (std::vector<bool>{false, true, false, true, true, false}));
  EXPECT_EQ(flagsOf(img->ROI()), std::vector<bool>(6, true));
  // A double beyond the float range cannot be held either.
  const std::vector<double> wide = {1e300, 4, -1e300, 5, double(nan), 6};
  ASSERT_NO_FATAL_FAILURE(writeTiff(
      file("f64.tif"), {{.bits = 64, .format = SAMPLEFORMAT_IEEEFP, .pixels = bytesOf(wide)}}));
  const auto narrowed = read_image(file("f64.tif"));
  EXPECT_EQ(fieldOf(*narrowed), (std::vector<float>{0, 4, 0, 5, 0, 6}));
  EXPECT_EQ(flagsOf(narrowed->bkgr()), (std::vector<bool>{true, false, true, false, true, false}));
}

// ---- PNG -----------------------------------------------------------------

// Grey PNGs of 4 and 16 bits, with or without alpha, keep their stored numbers.
TEST_F(ImageFiles, PngGreyValuesAreKeptUnscaled) {
  ASSERT_TRUE(
      writePng(file("g16.png"), {.depth = 16}, bigEndian16({0, 1, 256, 4000, 40000, 65535})));
  const auto img = read_image(file("g16.png"));
  EXPECT_EQ(fieldOf(*img), (std::vector<float>{0, 1, 256, 4000, 40000, 65535}));
  EXPECT_EQ(img->fieldName(), "g16");
  // 4-bit grey 0 5 15 / 1 2 3, two pixels a byte: the stored numbers, not 0..255.
  ASSERT_TRUE(writePng(file("g4.png"), {.depth = 4}, {0x05, 0xF0, 0x12, 0x30}));
  EXPECT_EQ(fieldOf(*read_image(file("g4.png"))), (std::vector<float>{0, 5, 15, 1, 2, 3}));
  ASSERT_TRUE(writePng(file("ga.png"), {.colour = PNG_COLOR_TYPE_GRAY_ALPHA},
                       {7, 0, 8, 255, 9, 3, 10, 4, 11, 5, 12, 6}));
  EXPECT_EQ(fieldOf(*read_image(file("ga.png"))), (std::vector<float>{7, 8, 9, 10, 11, 12}));
}

// Colour becomes luminance in RGB and RGBA TIFFs (alpha ignored) and RGB and palette PNGs.
TEST_F(ImageFiles, ColourAndPaletteBecomeLuminanceAndAlphaIsIgnored) {
  TiffPage rgba{.samples = 4, .photometric = PHOTOMETRIC_RGB};
  PngLayout palette{.colour = PNG_COLOR_TYPE_PALETTE, .depth = 4};
  for (std::size_t i = 0; i < rgbPixels.size(); i += 3) {
    rgba.pixels.insert(rgba.pixels.end(), rgbPixels.begin() + i, rgbPixels.begin() + i + 3);
    rgba.pixels.push_back(static_cast<unsigned char>(i * 40));
    palette.palette.push_back({rgbPixels[i], rgbPixels[i + 1], rgbPixels[i + 2]});
  }
  ASSERT_NO_FATAL_FAILURE(writeTiff(
      file("rgb.tif"), {{.samples = 3, .photometric = PHOTOMETRIC_RGB, .pixels = rgbPixels}}));
  ASSERT_NO_FATAL_FAILURE(writeTiff(file("rgba.tif"), {rgba}));
  ASSERT_TRUE(writePng(file("rgb.png"), {.colour = PNG_COLOR_TYPE_RGB}, rgbPixels));
  // 4-bit indices 0 1 2 / 3 4 5 into a palette of the same colours.
  ASSERT_TRUE(writePng(file("palette.png"), palette, {0x01, 0x20, 0x34, 0x50}));
  for (const char* name : {"rgb.tif", "rgba.tif", "rgb.png", "palette.png"}) {
    SCOPED_TRACE(name);
    expectLuminance(*read_image(file(name)));
  }
}

// Interlaced PNG pixels land in their places.
TEST_F(ImageFiles, PngInterlacedPixelsLandInPlace) {
  std::vector<std::uint16_t> values;
  for (int y = 0; y < 11; ++y)
    for (int x = 0; x < 13; ++x) values.push_back(static_cast<std::uint16_t>(100 * x + y));
  const PngLayout layout{.width = 13, .height = 11, .depth = 16, .interlaced = true};
  ASSERT_TRUE(writePng(file("adam7.png"), layout, bigEndian16(values)));
  EXPECT_EQ(fieldOf(*read_image(file("adam7.png"))),
            std::vector<float>(values.begin(), values.end()));
}

// ---- The container -------------------------------------------------------

zel::image sampleImage() {
  zel::image img(5, 4);
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 5; ++x) img.field()(x, y) = float(x) - 2.5f * float(y);
  img.bkgr()(1, 1) = img.bkgr()(4, 3) = true;
  img.ROI()(0, 0) = img.ROI()(2, 3) = false;
  img.setFieldName("wind_on_sens");
  return img;
}

// What a plain TIFF reader finds on each page.
struct PlainPage {
  std::string name, description;
  std::uint16_t bits = 0, format = 0;
};

std::vector<PlainPage> plainPages(const std::string& path) {
  std::vector<PlainPage> pages;
  TIFF* tif = TIFFOpen(path.c_str(), "r");
  if (!tif) return pages;
  do {
    PlainPage page;
    char* text = nullptr;
    if (TIFFGetField(tif, TIFFTAG_PAGENAME, &text)) page.name = text;
    if (TIFFGetField(tif, TIFFTAG_IMAGEDESCRIPTION, &text)) page.description = text;
    TIFFGetFieldDefaulted(tif, TIFFTAG_BITSPERSAMPLE, &page.bits);
    TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLEFORMAT, &page.format);
    pages.push_back(page);
  } while (TIFFReadDirectory(tif));
  TIFFClose(tif);
  return pages;
}

// An .imp keeps field, masks and name, as named TIFF pages of the documented kinds.
TEST_F(ImageFiles, ContainerRoundTripKeepsLayersAndName) {
  const zel::image img = sampleImage();
  write_image(file("run.imp"), img);
  const auto back = read_image(file("run.imp"));
  EXPECT_EQ(back->fieldName(), "wind_on_sens");
  EXPECT_EQ(back->fileInfo.name, file("run.imp"));
  EXPECT_EQ(fieldOf(*back), fieldOf(img));
  EXPECT_EQ(flagsOf(back->bkgr()), flagsOf(img.bkgr()));
  EXPECT_EQ(flagsOf(back->ROI()), flagsOf(img.ROI()));

  const std::vector<PlainPage> pages = plainPages(file("run.imp"));
  ASSERT_EQ(pages.size(), 3u);
  EXPECT_EQ(pages[0].name, "field");
  EXPECT_EQ(pages[0].description, "wind_on_sens");
  EXPECT_EQ(pages[0].bits, 32);
  EXPECT_EQ(pages[0].format, SAMPLEFORMAT_IEEEFP);
  EXPECT_EQ(pages[1].name, "bkgr");
  EXPECT_EQ(pages[2].name, "ROI");
  EXPECT_EQ(pages[2].bits, 8);
}

// An image without masks writes one page and reads back with fresh masks.
TEST_F(ImageFiles, ContainerAbsentLayersStayFresh) {
  zel::image img;
  img.makeLayers({3, 2}, true, false, false);
  img.fillField(2.5f);
  write_image(file("bare.imp"), img);
  EXPECT_EQ(plainPages(file("bare.imp")).size(), 1u);
  const auto back = read_image(file("bare.imp"));
  EXPECT_EQ(fieldOf(*back), std::vector<float>(6, 2.5f));
  EXPECT_EQ(flagsOf(back->bkgr()), std::vector<bool>(6, false));
  EXPECT_EQ(flagsOf(back->ROI()), std::vector<bool>(6, true));
}

// Container pages are found by name in any order; unknown pages are ignored.
TEST_F(ImageFiles, ContainerPagesAreFoundByNameInAnyOrder) {
  const TiffPage roi{.name = "ROI", .pixels = {1, 0, 1, 1, 1, 7}};
  const TiffPage notes{.name = "notes", .pixels = Bytes(6, 1)};
  TiffPage field = floatPage({1, 2, nan, 4, 5, 6});
  field.name = "field";
  ASSERT_NO_FATAL_FAILURE(writeTiff(file("order.imp"), {roi, notes, field}));
  const auto img = read_image(file("order.imp"));
  EXPECT_EQ(img->fieldName(), "order");  // no stored name
  EXPECT_EQ(fieldOf(*img), (std::vector<float>{1, 2, 0, 4, 5, 6}));
  EXPECT_EQ(flagsOf(img->ROI()), (std::vector<bool>{true, false, true, true, true, true}));
  EXPECT_EQ(flagsOf(img->bkgr()), (std::vector<bool>{false, false, true, false, false, false}));
}

// ---- Masks ---------------------------------------------------------------

zel::arrayStore<bool, 2> sampleMask(const std::string& name) {
  zel::arrayStore<bool, 2> mask(5, 3);
  for (std::size_t i = 0; i < mask.count; ++i) mask[i] = i % 3 == 0;
  mask.name = name;
  return mask;
}

// A mask file keeps values and name, and fills a mask of the same size in place.
TEST_F(ImageFiles, MaskRoundTripKeepsValuesAndName) {
  const auto wing = sampleMask("wing");
  write_array(file("wing.imp"), wing);
  zel::arrayStore<bool, 2> empty;
  read_array(file("wing.imp"), empty);
  EXPECT_EQ(empty.width(), 5);
  EXPECT_EQ(empty.height(), 3);
  EXPECT_EQ(flagsOf(empty), flagsOf(wing));
  EXPECT_EQ(empty.name, "wing");

  // A mask of the same extent is filled in place, even one over a caller's block.
  write_array(file("unnamed.imp"), sampleMask(""));
  bool block[15];
  zel::arrayStore<bool, 2> view(5, 3, block, false);
  view.fill(true);
  read_array(file("unnamed.imp"), view);
  EXPECT_EQ(view.data, block);
  EXPECT_EQ(std::vector<bool>(block, block + 15), flagsOf(wing));
  EXPECT_EQ(view.name, "mask");
}

// Reading a mask from a full container gives its bkgr page.
TEST_F(ImageFiles, MaskFullContainerGivesItsFirstMaskPage) {
  write_image(file("full.imp"), sampleImage());
  zel::arrayStore<bool, 2> mask;
  read_array(file("full.imp"), mask);
  EXPECT_EQ(mask.name, "bkgr");
  EXPECT_EQ(flagsOf(mask), flagsOf(sampleImage().bkgr()));
}

// Mask files of another size, without a mask, or not .imp are refused; the mask stays.
TEST_F(ImageFiles, MaskRefusalsLeaveTheMaskAlone) {
  write_array(file("wing.imp"), sampleMask("wing"));
  zel::arrayStore<bool, 2> other(4, 3);
  other.fill(true);
  other.name = "mine";
  expectRefused([&] { read_array(file("wing.imp"), other); }, file("wing.imp"),
                "is 5x3 but the mask to fill is 4x3");
  EXPECT_EQ(other.width(), 4);
  EXPECT_EQ(flagsOf(other), std::vector<bool>(12, true));
  EXPECT_EQ(other.name, "mine");

  zel::image bare;
  bare.makeLayers({2, 2}, true, false, false);
  write_image(file("bare.imp"), bare);
  expectRefused([&] { read_array(file("bare.imp"), other); }, file("bare.imp"), "no 8-bit mask");
  expectRefused([&] { read_array(file("wing.tif"), other); }, file("wing.tif"), ".imp");
  expectRefused([&] { write_array(file("wing.tif"), other); }, file("wing.tif"), "unsupported");
  EXPECT_EQ(entries(), (std::vector<std::string>{"bare.imp", "wing.imp"}));
}

// ---- Refusals ------------------------------------------------------------

// Every unreadable file gives a FileError naming the file and the fault, printing nothing.
TEST_F(ImageFiles, BrokenFilesAreNamed) {
  Bytes noise;
  for (int i = 0; i < 200; ++i) noise.push_back(static_cast<unsigned char>(i * 37 + 11));
  spill(file("empty.tif"), {});
  for (const char* name : {"noise.tif", "noise.png", "picture.bmp"}) spill(file(name), noise);
  const std::pair<std::string, TiffPage> kinds[] = {
      {"1-bit", {.bits = 1, .pixels = {0x80, 0x40}}},
      {"complex", {.bits = 64, .format = SAMPLEFORMAT_COMPLEXIEEEFP, .pixels = Bytes(48, 0)}},
      {"16-bit floating", {.bits = 16, .format = SAMPLEFORMAT_IEEEFP, .pixels = Bytes(12, 0)}}};
  for (const auto& [word, page] : kinds)
    ASSERT_NO_FATAL_FAILURE(writeTiff(file(word + ".tif"), {page}));
  // Directory first, so that the cut takes data and leaves the header whole.
  spill(file("cut.tif"), handTiff(64, 64, 8192, 4096));
  // A header claiming 1.6e9 pixels in a strip of 16 bytes: refused, not allocated.
  spill(file("lying.tif"), handTiff(40000, 40000, 16, 16));
  spill(file("huge.tif"), handTiff(100000, 100000, 16, 16));

  // A compressed strip whose zlib header is spoilt.
  std::vector<float> ramp(64 * 8);
  for (std::size_t i = 0; i < ramp.size(); ++i) ramp[i] = std::sin(float(i));
  TiffPage page = floatPage(ramp, 64);
  page.compression = COMPRESSION_ADOBE_DEFLATE;
  ASSERT_NO_FATAL_FAILURE(writeTiff(file("spoilt.tif"), {page}));
  TIFF* tif = TIFFOpen(file("spoilt.tif").c_str(), "r");
  ASSERT_NE(tif, nullptr);
  const std::uint64_t offset = TIFFGetStrileOffset(tif, 2);
  TIFFClose(tif);
  Bytes bytes = slurp(file("spoilt.tif"));
  bytes[offset] = bytes[offset + 1] = 0xFF;
  spill(file("spoilt.tif"), bytes);

  std::vector<std::uint16_t> values(64 * 64);
  for (std::size_t i = 0; i < values.size(); ++i)
    values[i] = static_cast<std::uint16_t>(i * 2654435761u >> 7);
  ASSERT_TRUE(
      writePng(file("cut.png"), {.width = 64, .height = 64, .depth = 16}, bigEndian16(values)));
  bytes = slurp(file("cut.png"));
  bytes.resize(bytes.size() / 2);
  spill(file("cut.png"), bytes);

  // A header claiming 40000 x 40000 pixels (0x9C40) with its checksum fixed.
  ASSERT_TRUE(writePng(file("lying.png"), {}, Bytes(6, 9)));
  bytes = slurp(file("lying.png"));
  for (int at : {16, 20}) std::copy_n(Bytes{0, 0, 0x9C, 0x40}.begin(), 4, &bytes[at]);
  const uLong crc = crc32(0, &bytes[12], 17);  // over "IHDR" and its 13 bytes
  for (int i = 0; i < 4; ++i) bytes[29 + i] = static_cast<unsigned char>(crc >> (24 - 8 * i));
  spill(file("lying.png"), bytes);

  write_array(file("mask.imp"), sampleMask("wing"));
  TiffPage field = floatPage(std::vector<float>(12, 1.0f), 4);
  field.name = "field";
  const TiffPage bkgr{.width = 5, .height = 3, .name = "bkgr", .pixels = Bytes(15, 0)};
  ASSERT_NO_FATAL_FAILURE(writeTiff(file("sizes.imp"), {field, bkgr}));

  const std::pair<const char*, const char*> cases[] = {
      {"missing.tif", "not found"}, {"empty.tif", "empty"},
      {"noise.tif", "not a TIFF"},  {"noise.png", "not a PNG"},
      {"picture.bmp", "unknown"},   {"1-bit.tif", "1-bit"},
      {"complex.tif", "complex"},   {"16-bit floating.tif", "16-bit floating"},
      {"cut.tif", "truncated"},     {"lying.tif", "truncated"},
      {"huge.tif", "too large"},    {"spoilt.tif", "damaged"},
      {"cut.png", "truncated"},     {"lying.png", "too small"},
      {"mask.imp", "only a mask"},  {"sizes.imp", "is 5x3 but the field page is 4x3"}};
  for (const auto& [name, word] : cases) {
    SCOPED_TRACE(name);
    expectRefused([&] { read_image(file(name)); }, file(name), word);
  }
}

// ---- Atomic writing ------------------------------------------------------

// Refused writes name the file and leave every file and folder as it was.
TEST_F(ImageFiles, RefusedWritesLeaveFilesAsTheyWere) {
  const std::string lost = file("missing/run.imp");
  expectRefused([&] { write_image(lost, sampleImage()); }, lost, "does not exist");
  expectRefused([&] { write_array(lost, sampleMask("m")); }, lost, "does not exist");
  EXPECT_TRUE(entries().empty());
  write_image(file("run.imp"), sampleImage());
  const Bytes old = slurp(file("run.imp"));
  expectRefused([&] { write_image(file("run.imp"), zel::image()); }, file("run.imp"),
                "no field layer");
  expectRefused([&] { write_array(file("run.imp"), zel::arrayStore<bool, 2>()); }, file("run.imp"),
                "empty");
  expectRefused([&] { write_image(file("run.png"), sampleImage()); }, file("run.png"),
                "unsupported format for writing");
  // A folder in the way makes the final rename fail, after the data is written.
  fs::create_directories(dir / "taken.tif" / "inside");
  expectRefused([&] { write_image(file("taken.tif"), sampleImage()); }, file("taken.tif"),
                "taken.tif");
  EXPECT_TRUE(fs::is_directory(dir / "taken.tif" / "inside"));
  EXPECT_EQ(slurp(file("run.imp")), old);
  EXPECT_EQ(entries(), (std::vector<std::string>{"run.imp", "taken.tif"}));
}

// A write that fails halfway (file size limit) keeps the old file and no temporary.
TEST_F(ImageFiles, AFailureWhileWritingKeepsTheOldFile) {
  write_image(file("run.imp"), sampleImage());
  const Bytes old = slurp(file("run.imp"));
  // Values that do not compress, and a file size limit that stops libtiff halfway.
  zel::image noise(300, 300);
  for (std::size_t i = 0; i < noise.field().count; ++i)
    noise.field()[i] = std::sin(float(i)) * 1e6f;
  rlimit saved{};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &saved), 0);
  const auto oldSignal = std::signal(SIGXFSZ, SIG_IGN);
  rlimit small = saved;
  small.rlim_cur = 64 * 1024;
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
  const std::string message = fileErrorOf([&] { write_image(file("run.imp"), noise); });
  ::setrlimit(RLIMIT_FSIZE, &saved);
  std::signal(SIGXFSZ, oldSignal);
  EXPECT_NE(message.find(file("run.imp") + ": cannot be written"), std::string::npos) << message;
  EXPECT_EQ(slurp(file("run.imp")), old);
  EXPECT_EQ(entries(), std::vector<std::string>{"run.imp"});
}

// Successful writes, over old files too, leave no temporary files behind.
TEST_F(ImageFiles, SuccessfulWritesLeaveOnlyTheFiles) {
  write_image(file("a.imp"), sampleImage());
  write_image(file("a.imp"), sampleImage());  // over an existing file
  write_image(file("b.tiff"), sampleImage());
  write_array(file("c.imp"), sampleMask("m"));
  EXPECT_EQ(entries(), (std::vector<std::string>{"a.imp", "b.tiff", "c.imp"}));
}

}  // namespace
