#include "host/render.h"

#include <png.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <csetjmp>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "api/errors.h"
#include "api/parallel.h"
#include "host/atomicFile.h"

namespace tamble {
namespace {

struct rgb {
  std::uint8_t r = 0, g = 0, b = 0;
};

constexpr rgb backgroundColour{40, 40, 40};
constexpr rgb textColour{230, 230, 230};
constexpr rgb activeMarkerColour{255, 0, 255};
constexpr rgb inactiveMarkerColour{160, 160, 160};

// Colour bar geometry: gap, bar, gap, labels of up to 11 characters
// ("-1.235e-100"), right edge. The sum is colorbarMargin.
constexpr int barGap = 16;
constexpr int barWidth = 20;
constexpr int labelGap = 4;
constexpr int labelChars = 11;
constexpr int glyphWidth = 5, glyphHeight = 7, glyphAdvance = 6;
static_assert(barGap + barWidth + labelGap + labelChars * glyphAdvance + 2 == colorbarMargin);

// Markers are rings of radius 4: the pixels whose distance from the centre
// rounds to 4, i.e. 12.25 <= dx*dx + dy*dy < 20.25.
constexpr int ringRadius = 4;
constexpr int ringInner2 = 13, ringOuter2 = 20;

// libpng refuses larger pictures unless told otherwise.
constexpr std::int64_t maxPngSide = 1000000;

// ---- colour maps ----------------------------------------------------------

// An odd size puts an entry on the exact middle of every map, and with 256
// steps every anchor of a 9-anchor map lands on an entry of its own.
constexpr int paletteSize = 257;
using palette = std::array<rgb, paletteSize>;

// Each map is a list of evenly spaced anchor colours, interpolated linearly.
struct colormapDefinition {
  const char* name;
  std::vector<rgb> anchors;
};

const std::vector<colormapDefinition>& colormaps() {
  static const std::vector<colormapDefinition> maps = {
      {"grey", {{0, 0, 0}, {255, 255, 255}}},
      // Dark blue, blue, cyan, yellow, red, dark red at 0, 1/8, 3/8, 5/8, 7/8,
      // 1: anchors every 1/8 so the spacing stays even.
      {"jet",
       {{0, 0, 128},
        {0, 0, 255},
        {0, 128, 255},
        {0, 255, 255},
        {128, 255, 128},
        {255, 255, 0},
        {255, 128, 0},
        {255, 0, 0},
        {128, 0, 0}}},
      // Nine samples of viridis, dark purple through blue and green to yellow.
      {"viridis",
       {{0x44, 0x01, 0x54},
        {0x47, 0x2D, 0x7B},
        {0x3B, 0x52, 0x8B},
        {0x2C, 0x72, 0x8E},
        {0x21, 0x90, 0x8C},
        {0x27, 0xAD, 0x81},
        {0x5D, 0xC8, 0x63},
        {0xAA, 0xDC, 0x32},
        {0xFD, 0xE7, 0x25}}},
      // Moreland's diverging cool-warm map, blue through light grey to red.
      {"coolwarm",
       {{59, 76, 192},
        {98, 130, 234},
        {141, 176, 254},
        {184, 208, 249},
        {221, 221, 221},
        {245, 196, 173},
        {244, 154, 123},
        {222, 96, 77},
        {180, 4, 38}}},
  };
  return maps;
}

palette makePalette(const std::vector<rgb>& anchors) {
  const int segments = static_cast<int>(anchors.size()) - 1;
  auto mix = [](std::uint8_t a, std::uint8_t b, double f) {
    return static_cast<std::uint8_t>(std::lround(a + (b - a) * f));
  };
  palette colours;
  for (int i = 0; i < paletteSize; ++i) {
    // Exact at both ends: position 0 and position `segments`.
    const double position = static_cast<double>(i * segments) / (paletteSize - 1);
    const int k = std::min(static_cast<int>(position), segments - 1);
    const double f = position - k;
    const rgb &a = anchors[k], &b = anchors[k + 1];
    colours[i] = {mix(a.r, b.r, f), mix(a.g, b.g, f), mix(a.b, b.b, f)};
  }
  return colours;
}

palette paletteNamed(const std::string& name) {
  for (const colormapDefinition& map : colormaps())
    if (name == map.name) return makePalette(map.anchors);
  std::string known;
  for (const std::string& n : colormapNames()) known += (known.empty() ? "" : ", ") + n;
  zel::raise<zel::AlgoError>("unknown colour map '" + name + "'; one of: " + known);
}

// ---- value range ----------------------------------------------------------

// The values spread over the palette. Without a range nothing can be coloured.
struct valueRange {
  double low = 0.0;
  double high = 0.0;
  bool known = false;

  // Palette index of a value that is not NaN; clamped at both ends. A flat
  // range puts its own value in the middle and splits the rest at it.
  int index(double v) const {
    const double span = high - low;
    if (!(span > 0.0)) return v < low ? 0 : v > low ? paletteSize - 1 : paletteSize / 2;
    double t = (v - low) / span;
    if (!(t > 0.0)) t = 0.0;  // also NaN from an infinite span
    if (t > 1.0) t = 1.0;
    return static_cast<int>(t * (paletteSize - 1) + 0.5);
  }
};

bool isValid(float v, const bool* bkgr, const bool* roi, int x) {
  return !(bkgr && bkgr[x]) && !(roi && !roi[x]) && std::isfinite(v);
}

// Minimum and maximum of the valid, finite pixels; low > high when none.
std::pair<double, double> validExtremes(const zel::image& img) {
  const auto& field = img.field();
  const auto* bkgr = img.hasBkgr() ? &img.bkgr() : nullptr;
  const auto* roi = img.hasROI() ? &img.ROI() : nullptr;
  const int w = field.width(), h = field.height();
  double lo = std::numeric_limits<double>::infinity();
  double hi = -std::numeric_limits<double>::infinity();
  // Minimum and maximum do not depend on the order of the rows.
  // clang-format off
#pragma omp parallel for schedule(static) reduction(min : lo) reduction(max : hi) \
    if (field.count >= zel::parallelThreshold)
  // clang-format on
  for (int y = 0; y < h; ++y) {
    const float* v = field.row(y);
    const bool* b = bkgr ? bkgr->row(y) : nullptr;
    const bool* r = roi ? roi->row(y) : nullptr;
    for (int x = 0; x < w; ++x) {
      if (!isValid(v[x], b, r, x)) continue;
      lo = std::min(lo, static_cast<double>(v[x]));
      hi = std::max(hi, static_cast<double>(v[x]));
    }
  }
  return {lo, hi};
}

void checkEnds(const renderOptions& options) {
  for (const std::optional<double>& end : {options.low, options.high})
    if (end && !std::isfinite(*end)) zel::raise<zel::AlgoError>("colour range ends must be finite");
  if (options.low && options.high && *options.low > *options.high)
    zel::raise<zel::AlgoError>("colour range low end lies above its high end");
}

// Given ends win; a missing end comes from the valid pixels and, should it
// fall on the wrong side of the given one, is moved onto it.
valueRange rangeFor(const zel::image& img, const renderOptions& options) {
  checkEnds(options);
  if (options.low && options.high) return {*options.low, *options.high, true};
  const auto [lo, hi] = validExtremes(img);
  if (lo > hi) return {};
  valueRange range{options.low.value_or(lo), options.high.value_or(hi), true};
  if (options.low) range.high = std::max(range.high, range.low);
  if (options.high) range.low = std::min(range.low, range.high);
  return range;
}

// ---- canvas -----------------------------------------------------------------

struct canvas {
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> bytes;  // RGB, row after row

  canvas(int w, int h) : width(w), height(h), bytes(static_cast<std::size_t>(w) * h * 3) {
    for (std::size_t i = 0; i < bytes.size(); i += 3) put(i, backgroundColour);
  }
  std::uint8_t* row(int y) { return bytes.data() + static_cast<std::size_t>(y) * width * 3; }
  void put(std::size_t offset, rgb c) {
    bytes[offset] = c.r;
    bytes[offset + 1] = c.g;
    bytes[offset + 2] = c.b;
  }
  void put(int x, int y, rgb c) { put((static_cast<std::size_t>(y) * width + x) * 3, c); }
};

void colourImage(canvas& out, const zel::image& img, const palette& colours,
                 const valueRange& range) {
  const auto& field = img.field();
  const auto* bkgr = img.hasBkgr() ? &img.bkgr() : nullptr;
  const auto* roi = img.hasROI() ? &img.ROI() : nullptr;
  const int w = field.width();
  // Every picture row depends on its image row only.
  zel::forEachRow(field.height(), field.count, [&](int y) {
    const float* v = field.row(y);
    const bool* b = bkgr ? bkgr->row(y) : nullptr;
    const bool* r = roi ? roi->row(y) : nullptr;
    std::uint8_t* o = out.row(y);
    for (int x = 0; x < w; ++x, o += 3) {
      if ((b && b[x]) || std::isnan(v[x])) continue;  // the canvas is background already
      const rgb c = colours[range.index(v[x])];
      const int shift = (r && !r[x]) ? 1 : 0;  // outside the ROI: half brightness
      o[0] = c.r >> shift;
      o[1] = c.g >> shift;
      o[2] = c.b >> shift;
    }
  });
}

// ---- colour bar ---------------------------------------------------------------

// A 5x7 font for numbers; bit 4 of a row is its leftmost column.
const std::array<std::uint8_t, glyphHeight>* glyph(char c) {
  static const std::array<std::uint8_t, glyphHeight> digits[10] = {
      {0x0E, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0E}, {0x04, 0x0C, 0x04, 0x04, 0x04, 0x04, 0x0E},
      {0x0E, 0x11, 0x01, 0x02, 0x04, 0x08, 0x1F}, {0x1F, 0x02, 0x04, 0x02, 0x01, 0x11, 0x0E},
      {0x02, 0x06, 0x0A, 0x12, 0x1F, 0x02, 0x02}, {0x1F, 0x10, 0x1E, 0x01, 0x01, 0x11, 0x0E},
      {0x06, 0x08, 0x10, 0x1E, 0x11, 0x11, 0x0E}, {0x1F, 0x01, 0x02, 0x04, 0x08, 0x08, 0x08},
      {0x0E, 0x11, 0x11, 0x0E, 0x11, 0x11, 0x0E}, {0x0E, 0x11, 0x11, 0x0F, 0x01, 0x02, 0x0C}};
  static const std::array<std::uint8_t, glyphHeight> minus = {0, 0, 0, 0x1F, 0, 0, 0};
  static const std::array<std::uint8_t, glyphHeight> plus = {0, 0x04, 0x04, 0x1F, 0x04, 0x04, 0};
  static const std::array<std::uint8_t, glyphHeight> point = {0, 0, 0, 0, 0, 0x0C, 0x0C};
  static const std::array<std::uint8_t, glyphHeight> e = {0, 0, 0x0E, 0x11, 0x1F, 0x10, 0x0E};
  if (c >= '0' && c <= '9') return &digits[c - '0'];
  switch (c) {
    case '-': return &minus;
    case '+': return &plus;
    case '.': return &point;
    case 'e': return &e;
    default: return nullptr;
  }
}

void drawText(canvas& out, int x0, int y0, const std::string& text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto* rows = glyph(text[i]);
    if (!rows) continue;
    for (int dy = 0; dy < glyphHeight; ++dy)
      for (int dx = 0; dx < glyphWidth; ++dx) {
        const int x = x0 + static_cast<int>(i) * glyphAdvance + dx, y = y0 + dy;
        if (((*rows)[dy] >> (glyphWidth - 1 - dx) & 1) != 0 && x < out.width && y >= 0 &&
            y < out.height)
          out.put(x, y, textColour);
      }
  }
}

std::string label(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.4g", value);
  return text;
}

// The bar runs over the whole picture height, the high end at the top; the
// labels stand beside its ends.
void drawColorbar(canvas& out, int imageWidth, const palette& colours, const valueRange& range) {
  const int x0 = imageWidth + barGap;
  const int last = out.height - 1;
  for (int y = 0; y <= last; ++y) {
    const int i = static_cast<int>(static_cast<double>(last - y) * (paletteSize - 1) / last + 0.5);
    for (int x = x0; x < x0 + barWidth; ++x) out.put(x, y, colours[i]);
  }
  const int textX = x0 + barWidth + labelGap;
  drawText(out, textX, 0, label(range.high));
  drawText(out, textX, out.height - glyphHeight, label(range.low));
}

// ---- markers ------------------------------------------------------------------

// A ring clipped to the image part of the picture.
void drawRing(canvas& out, int w, int h, const marker& m, rgb colour) {
  if (!std::isfinite(m.x) || !std::isfinite(m.y)) return;
  const double cx = std::trunc(m.x + 0.5), cy = std::trunc(m.y + 0.5);
  // Far outside: nothing to draw, and no overflow converting to int.
  if (cx < -ringRadius || cy < -ringRadius || cx >= w + ringRadius || cy >= h + ringRadius) return;
  for (int dy = -ringRadius; dy <= ringRadius; ++dy)
    for (int dx = -ringRadius; dx <= ringRadius; ++dx) {
      const int d2 = dx * dx + dy * dy;
      const int x = static_cast<int>(cx) + dx, y = static_cast<int>(cy) + dy;
      if (d2 >= ringInner2 && d2 <= ringOuter2 && x >= 0 && x < w && y >= 0 && y < h)
        out.put(x, y, colour);
    }
}

// Inactive markers first, so that active ones stay on top where they overlap.
void drawMarkers(canvas& out, int w, int h, const zel::markersArray& markers) {
  for (const bool active : {false, true})
    for (const marker& m : markers.items)
      if (m.active == active)
        drawRing(out, w, h, m, active ? activeMarkerColour : inactiveMarkerColour);
}

// ---- PNG ------------------------------------------------------------------------

struct pngFailure {
  char text[200] = "";
};

void onPngError(png_structp png, png_const_charp message) {
  auto* failure = static_cast<pngFailure*>(png_get_error_ptr(png));
  std::snprintf(failure->text, sizeof failure->text, "%s", message);
  png_longjmp(png, 1);
}

void onPngWarning(png_structp, png_const_charp) {}

// libpng reports errors by a long jump back here; nothing between this frame
// and libpng has a destructor to skip.
bool writePng(std::FILE* file, int width, int height, png_bytep* rows, pngFailure& failure) {
  png_structp png =
      png_create_write_struct(PNG_LIBPNG_VER_STRING, &failure, onPngError, onPngWarning);
  if (!png) return false;
  png_infop info = png_create_info_struct(png);
  if (!info) {
    png_destroy_write_struct(&png, nullptr);
    return false;
  }
  if (setjmp(png_jmpbuf(png))) {
    png_destroy_write_struct(&png, &info);
    return false;
  }
  png_init_io(png, file);
  png_set_IHDR(png, info, width, height, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  png_write_image(png, rows);
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  return true;
}

void save(const std::string& path, canvas& picture) {
  std::vector<png_bytep> rows(picture.height);
  for (int y = 0; y < picture.height; ++y) rows[y] = picture.row(y);
  writeAtomically(path, [&](std::FILE* file) {
    pngFailure failure;
    if (writePng(file, picture.width, picture.height, rows.data(), failure)) return true;
    zel::raise<zel::FileError>("Cannot write " + path + ": " +
                               (failure.text[0] ? failure.text : "libpng failed"));
  });
}

// The picture's extent; refuses images it cannot draw before anything is done.
std::pair<int, int> pictureExtent(const std::string& path, const zel::image& img,
                                  const renderOptions& options) {
  if (!img.hasField())
    zel::raise<zel::AlgoError>("Cannot render " + path + ": the image has no field layer");
  const auto& field = img.field();
  if (field.empty()) zel::raise<zel::AlgoError>("Cannot render " + path + ": the image is empty");
  if ((img.hasBkgr() && !img.bkgr().sameExtent(field)) ||
      (img.hasROI() && !img.ROI().sameExtent(field)))
    zel::raise<zel::DimError>("Cannot render " + path + ": a mask differs in size from the field");
  std::int64_t w = field.width(), h = field.height();
  if (options.colorbar) {
    w += colorbarMargin;
    h = std::max<std::int64_t>(h, colorbarMinHeight);
  }
  if (w > maxPngSide || h > maxPngSide)
    zel::raise<zel::FileError>("Cannot write " + path + ": too large for a PNG picture");
  return {static_cast<int>(w), static_cast<int>(h)};
}

}  // namespace

const std::vector<std::string>& colormapNames() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> all;
    for (const colormapDefinition& map : colormaps()) all.emplace_back(map.name);
    return all;
  }();
  return names;
}

namespace {

canvas drawPicture(const std::string& what, const zel::image& img, const renderOptions& options) {
  const auto [width, height] = pictureExtent(what, img, options);
  const palette colours = paletteNamed(options.colormap);
  const valueRange range = rangeFor(img, options);
  canvas picture(width, height);
  const int w = img.field().width(), h = img.field().height();
  if (range.known) {
    colourImage(picture, img, colours, range);
    if (options.colorbar) drawColorbar(picture, w, colours, range);
  }
  if (options.markers) drawMarkers(picture, w, h, img.markers);
  return picture;
}

}  // namespace

void renderPng(const std::string& path, const zel::image& img, const renderOptions& options) {
  canvas picture = drawPicture(path, img, options);
  save(path, picture);
}

// The same encoder as the file, into a memory stream.
std::string renderPngBytes(const zel::image& img, const renderOptions& options) {
  canvas picture = drawPicture("the picture", img, options);
  std::vector<png_bytep> rows(picture.height);
  for (int y = 0; y < picture.height; ++y) rows[y] = picture.row(y);
  char* buffer = nullptr;
  std::size_t size = 0;
  std::FILE* stream = open_memstream(&buffer, &size);
  if (!stream) zel::raise<zel::FileError>("Cannot render the picture: no memory");
  pngFailure failure;
  const bool written = writePng(stream, picture.width, picture.height, rows.data(), failure);
  std::fclose(stream);
  std::string bytes(buffer, size);
  std::free(buffer);
  if (!written)
    zel::raise<zel::FileError>(std::string("Cannot render the picture: ") +
                               (failure.text[0] ? failure.text : "libpng failed"));
  return bytes;
}

}  // namespace tamble
