// Image and mask files (see docs/file-formats.md). TIFF and PNG pictures give
// an image's field; the .imp container, a multi-page TIFF, keeps the field with
// its background and region of interest, and a mask file is a container with
// one 8-bit page.
#include <fcntl.h>
#include <png.h>
#include <tiffio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cfloat>
#include <climits>
#include <cmath>
#include <csetjmp>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <memory>
#include <source_location>
#include <string>
#include <vector>

#include "api/errors.h"
#include "api/log.h"
#include "api/paths.h"
#include "host/atomicFile.h"
#include "host/platform.h"

namespace {

namespace fs = std::filesystem;
using FloatPlane = zel::arrayStore<float, 2>;
using BoolPlane = zel::arrayStore<bool, 2>;

// More pixels than this can only come from a damaged or hostile header.
constexpr std::uint64_t maxPixels = std::uint64_t{1} << 31;
// Bounds one tile buffer, whatever the header claims.
constexpr std::uint64_t maxTilePixels = std::uint64_t{1} << 26;
constexpr std::uint16_t maxSamples = 16;
// A container has at most three pages; a long chain is a damaged file.
constexpr std::size_t maxPages = 64;
// Classic TIFF offsets end at 4 GiB; larger files are written as BigTIFF.
constexpr std::uint64_t bigTiffBytes = std::uint64_t{3} << 30;
// Bytes that one byte of zlib data can give at most (1032), with a margin.
constexpr std::uint64_t zlibExpansion = 1100;

const std::string fieldPage = "field";
const std::string bkgrPage = "bkgr";
const std::string roiPage = "ROI";

[[noreturn]] void fail(const std::string& path, const std::string& what,
                       std::source_location where = std::source_location::current()) {
  zel::raise<zel::FileError>(path + ": " + what, where);
}

std::string sizeText(std::uint64_t width, std::uint64_t height) {
  return std::to_string(width) + "x" + std::to_string(height);
}

void checkExtent(const std::string& path, std::uint64_t width, std::uint64_t height) {
  if (width == 0 || height == 0)
    fail(path, "zero width or height (" + sizeText(width, height) + ")");
  if (width > INT_MAX || height > INT_MAX || width * height > maxPixels)
    fail(path, "size " + sizeText(width, height) + " is too large (more than 2^31 pixels)");
}

// ---- Telling the format -------------------------------------------------

enum class Format { tiff, png, container };

Format formatToRead(const std::string& path) {
  const std::string ext = zel::lower(zel::extension(path));
  if (ext == "tif" || ext == "tiff") return Format::tiff;
  if (ext == "png") return Format::png;
  if (ext == "imp") return Format::container;
  fail(path, "unknown image file extension \"" + ext + "\" (.tif, .tiff, .png or .imp)");
}

bool tiffSignature(const unsigned char* head, std::streamsize length) {
  if (length < 4) return false;
  if (head[0] == 'I' && head[1] == 'I') return (head[2] == 42 || head[2] == 43) && head[3] == 0;
  if (head[0] == 'M' && head[1] == 'M') return head[2] == 0 && (head[3] == 42 || head[3] == 43);
  return false;
}

// Names a missing, empty or foreign file as such before a decoder sees it.
// Answers the file's size.
std::uint64_t checkFile(const std::string& path, Format format) {
  std::error_code ec;
  const fs::file_status status = fs::status(path, ec);
  if (status.type() == fs::file_type::not_found) fail(path, "file not found");
  if (ec) fail(path, "cannot be examined (" + ec.message() + ")");
  if (!fs::is_regular_file(status)) fail(path, "not a regular file");
  const std::uintmax_t size = fs::file_size(path, ec);
  if (ec) fail(path, "cannot be examined (" + ec.message() + ")");
  if (size == 0) fail(path, "the file is empty");
  std::ifstream in(path, std::ios::binary);
  if (!in) fail(path, std::string("cannot be opened (") + std::strerror(errno) + ")");
  unsigned char head[8] = {};
  in.read(reinterpret_cast<char*>(head), sizeof head);
  const std::streamsize length = in.gcount();
  if (format == Format::png) {
    if (length < 8 || png_sig_cmp(head, 0, 8) != 0) fail(path, "not a PNG file");
  } else if (!tiffSignature(head, length)) {
    fail(path, "not a TIFF file");
  }
  return size;
}

// ---- libtiff handles ----------------------------------------------------

// libtiff's complaints about one file, kept for the error text instead of
// being printed.
struct TiffMessages {
  std::string path;
  std::string error;  // the first: later ones tend to be its consequences
};

std::string formatted(const char* module, const char* format, va_list args) {
  char text[400];
  std::vsnprintf(text, sizeof text, format, args);
  return module && *module ? std::string(module) + ": " + text : std::string(text);
}

int onTiffError(TIFF*, void* user, const char* module, const char* format, va_list args) {
  auto& messages = *static_cast<TiffMessages*>(user);
  try {
    if (messages.error.empty()) messages.error = formatted(module, format, args);
  } catch (...) {  // nothing may be thrown across libtiff
  }
  return 1;  // handled: nothing reaches stderr
}

int onTiffWarning(TIFF*, void* user, const char* module, const char* format, va_list args) {
  const auto& messages = *static_cast<const TiffMessages*>(user);
  try {
    zel::get_log().level(4).write(messages.path + ": " + formatted(module, format, args));
  } catch (...) {
  }
  return 1;
}

std::string complaint(const TiffMessages& messages) {
  return messages.error.empty() ? "libtiff gave no detail" : messages.error;
}

struct TiffCloser {
  void operator()(TIFF* tif) const { TIFFClose(tif); }
};
using TiffHandle = std::unique_ptr<TIFF, TiffCloser>;

// `messages` must outlive the handle.
TiffHandle openTiff(const std::string& name, const char* mode, TiffMessages& messages) {
  TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
  if (!options) fail(messages.path, "out of memory");
  TIFFOpenOptionsSetErrorHandlerExtR(options, onTiffError, &messages);
  TIFFOpenOptionsSetWarningHandlerExtR(options, onTiffWarning, &messages);
  TIFF* tif = TIFFOpenExt(name.c_str(), mode, options);
  TIFFOpenOptionsFree(options);
  return TiffHandle(tif);
}

// Not memory-mapped: a file cut short by another process must give an
// error, not a bus error.
TiffHandle openTiffToRead(const std::string& path, TiffMessages& messages) {
  TiffHandle tif = openTiff(path, "rm", messages);
  if (!tif) fail(path, "cannot be read as TIFF (" + complaint(messages) + ")");
  return tif;
}

std::string textTag(TIFF* tif, std::uint32_t tag) {
  char* text = nullptr;
  return TIFFGetField(tif, tag, &text) && text ? std::string(text) : std::string();
}

// ---- Reading TIFF pages -------------------------------------------------

struct PageLayout;
// Turns `count` pixels of raw samples into floats.
using RowConverter = void (*)(const unsigned char* raw, const PageLayout& page, float* out,
                              std::uint32_t count);

struct PageLayout {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint16_t samples = 1;  // per pixel, extra samples included
  bool rgb = false;           // the value is the luminance of the first three
  bool floating = false;
  bool tiled = false;
  std::uint32_t tileWidth = 0;
  std::uint32_t tileHeight = 0;
  RowConverter convert = nullptr;
};

// A double beyond the float range becomes an infinity (and so background)
// instead of an undefined conversion.
float narrow(double value) {
  if (value > FLT_MAX) return std::numeric_limits<float>::infinity();
  if (value < -FLT_MAX) return -std::numeric_limits<float>::infinity();
  return static_cast<float>(value);
}

float luminance(double r, double g, double b) { return narrow(0.299 * r + 0.587 * g + 0.114 * b); }

template <class T>
double sampleAt(const unsigned char* raw, std::size_t index) {
  T value;
  std::memcpy(&value, raw + index * sizeof(T), sizeof(T));  // rows need not be aligned
  return static_cast<double>(value);
}

template <class T>
void convertRow(const unsigned char* raw, const PageLayout& page, float* out, std::uint32_t count) {
  const std::size_t step = page.samples;
  if (page.rgb) {
    for (std::uint32_t i = 0; i < count; ++i) {
      const std::size_t s = i * step;
      out[i] = luminance(sampleAt<T>(raw, s), sampleAt<T>(raw, s + 1), sampleAt<T>(raw, s + 2));
    }
  } else {
    for (std::uint32_t i = 0; i < count; ++i) out[i] = narrow(sampleAt<T>(raw, i * step));
  }
}

RowConverter converterFor(const std::string& path, std::uint16_t format, std::uint16_t bits) {
  const std::string size = std::to_string(bits) + "-bit ";
  switch (format) {
    case SAMPLEFORMAT_UINT:
      if (bits == 8) return convertRow<std::uint8_t>;
      if (bits == 16) return convertRow<std::uint16_t>;
      if (bits == 32) return convertRow<std::uint32_t>;
      fail(path, size + "integer samples are not supported (8, 16 or 32 bits)");
    case SAMPLEFORMAT_INT:
      if (bits == 8) return convertRow<std::int8_t>;
      if (bits == 16) return convertRow<std::int16_t>;
      if (bits == 32) return convertRow<std::int32_t>;
      fail(path, size + "integer samples are not supported (8, 16 or 32 bits)");
    case SAMPLEFORMAT_IEEEFP:
      if (bits == 32) return convertRow<float>;
      if (bits == 64) return convertRow<double>;
      fail(path, size + "floating-point samples are not supported (32 or 64 bits)");
    case SAMPLEFORMAT_COMPLEXINT:
    case SAMPLEFORMAT_COMPLEXIEEEFP: fail(path, "complex samples are not supported");
    default:
      fail(path, "samples of unknown type (SampleFormat " + std::to_string(format) +
                     ") are not supported");
  }
}

// Whether the pixels are RGB colour or single values; other colour models
// are refused.
bool isColour(TIFF* tif, const std::string& path, std::uint16_t samples) {
  std::uint16_t photometric = 0;
  if (!TIFFGetField(tif, TIFFTAG_PHOTOMETRIC, &photometric)) return samples >= 3;
  switch (photometric) {
    case PHOTOMETRIC_MINISBLACK:
    case PHOTOMETRIC_MINISWHITE: return false;
    case PHOTOMETRIC_RGB:
      if (samples < 3) fail(path, "RGB page with fewer than three samples per pixel");
      return true;
    case PHOTOMETRIC_PALETTE: fail(path, "palette colour is not supported");
    case PHOTOMETRIC_YCBCR: fail(path, "YCbCr colour is not supported");
    case PHOTOMETRIC_SEPARATED: fail(path, "CMYK colour is not supported");
    default:
      fail(path, "colour model (Photometric " + std::to_string(photometric) + ") is not supported");
  }
}

std::uint64_t blockBytes(TIFF* tif, const PageLayout& page, std::uint32_t index,
                         std::uint32_t rowsPerStrip) {
  if (page.tiled) return TIFFTileSize64(tif);
  const std::uint64_t first = std::uint64_t{index} * rowsPerStrip;
  const std::uint64_t rows = std::min<std::uint64_t>(rowsPerStrip, page.height - first);
  return TIFFVStripSize64(tif, static_cast<std::uint32_t>(rows));
}

// The most bytes one compressed byte can give: deflate's limit is 1032,
// LZW's about 3640, PackBits' 64. 0 where no bound is known.
std::uint64_t maxExpansion(std::uint16_t compression) {
  switch (compression) {
    case COMPRESSION_NONE: return 1;
    case COMPRESSION_ADOBE_DEFLATE:
    case COMPRESSION_DEFLATE: return zlibExpansion;
    case COMPRESSION_LZW: return 3700;
    case COMPRESSION_PACKBITS: return 64;
    default: return 0;
  }
}

// Every data block must lie inside the file and be large enough for its
// pixels, as far as the compression allows to tell: a truncated file or a
// lying header is refused here, before any pixel memory is taken.
void checkBlocks(TIFF* tif, const PageLayout& page, const TiffMessages& messages,
                 std::uint64_t fileSize, std::uint16_t compression) {
  const std::uint32_t blocks = page.tiled ? TIFFNumberOfTiles(tif) : TIFFNumberOfStrips(tif);
  const std::uint64_t expansion = maxExpansion(compression);
  const std::uint64_t slack = expansion > 1 ? 1024 : 0;  // headers of the compressed stream
  std::uint32_t rowsPerStrip = page.height;
  TIFFGetFieldDefaulted(tif, TIFFTAG_ROWSPERSTRIP, &rowsPerStrip);
  for (std::uint32_t i = 0; i < blocks; ++i) {
    int error = 0;
    const std::uint64_t offset = TIFFGetStrileOffsetWithErr(tif, i, &error);
    const std::uint64_t bytes = TIFFGetStrileByteCountWithErr(tif, i, &error);
    if (error) fail(messages.path, "damaged table of data blocks (" + complaint(messages) + ")");
    const std::string block = "truncated: data block " + std::to_string(i);
    if (offset > fileSize || bytes > fileSize - offset)
      fail(messages.path, block + " ends beyond the end of the file");
    const std::uint64_t needed = blockBytes(tif, page, i, rowsPerStrip);
    if (expansion && needed > bytes * expansion + slack)
      fail(messages.path, block + " holds " + std::to_string(bytes) + " bytes, too few for " +
                              std::to_string(needed) + " bytes of pixels");
  }
}

void inspectTiles(TIFF* tif, const std::string& path, PageLayout& page) {
  TIFFGetField(tif, TIFFTAG_TILEWIDTH, &page.tileWidth);
  TIFFGetField(tif, TIFFTAG_TILELENGTH, &page.tileHeight);
  const std::uint64_t area = std::uint64_t{page.tileWidth} * page.tileHeight;
  if (area == 0 || area > maxTilePixels)
    fail(path, "tiles of " + sizeText(page.tileWidth, page.tileHeight) + " are not supported");
}

// The current page's layout; what cannot be read as plain samples is refused
// with a text saying what it is.
PageLayout inspectPage(TIFF* tif, const TiffMessages& messages, std::uint64_t fileSize) {
  const std::string& path = messages.path;
  PageLayout page;
  if (!TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &page.width) ||
      !TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &page.height))
    fail(path, "page without width or height");
  checkExtent(path, page.width, page.height);
  std::uint16_t bits = 1, format = SAMPLEFORMAT_UINT, planar = PLANARCONFIG_CONTIG;
  std::uint16_t compression = COMPRESSION_NONE;
  TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLESPERPIXEL, &page.samples);
  TIFFGetFieldDefaulted(tif, TIFFTAG_BITSPERSAMPLE, &bits);
  TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLEFORMAT, &format);
  TIFFGetFieldDefaulted(tif, TIFFTAG_PLANARCONFIG, &planar);
  TIFFGetFieldDefaulted(tif, TIFFTAG_COMPRESSION, &compression);
  if (page.samples == 0 || page.samples > maxSamples)
    fail(path, std::to_string(page.samples) + " samples per pixel are not supported");
  page.convert = converterFor(path, format, bits);
  page.floating = format == SAMPLEFORMAT_IEEEFP;
  page.rgb = isColour(tif, path, page.samples);
  if (planar == PLANARCONFIG_SEPARATE && page.samples > 1)
    fail(path, "colour in separate planes is not supported (only contiguous samples)");
  if (!TIFFIsCODECConfigured(compression))
    fail(path, "compression scheme " + std::to_string(compression) + " is not available");
  page.tiled = TIFFIsTiled(tif);
  if (page.tiled) inspectTiles(tif, path, page);
  checkBlocks(tif, page, messages, fileSize, compression);
  return page;
}

[[noreturn]] void failData(const TiffMessages& messages,
                           std::source_location where = std::source_location::current()) {
  fail(messages.path, "damaged or truncated data (" + complaint(messages) + ")", where);
}

// Sink: (y, first x, values, count), called once per row or row of a tile.
template <class Sink>
void decodeStrips(TIFF* tif, const PageLayout& page, const TiffMessages& messages, Sink& sink) {
  const tmsize_t rowBytes = TIFFScanlineSize(tif);
  if (rowBytes <= 0) failData(messages);
  std::vector<unsigned char> raw(static_cast<std::size_t>(rowBytes));
  std::vector<float> values(page.width);
  for (std::uint32_t y = 0; y < page.height; ++y) {
    if (TIFFReadScanline(tif, raw.data(), y, 0) < 0) failData(messages);
    page.convert(raw.data(), page, values.data(), page.width);
    sink(y, 0, values.data(), page.width);
  }
}

template <class Sink>
void decodeTiles(TIFF* tif, const PageLayout& page, const TiffMessages& messages, Sink& sink) {
  const tmsize_t tileBytes = TIFFTileSize(tif);
  const tmsize_t rowBytes = TIFFTileRowSize(tif);
  if (tileBytes <= 0 || rowBytes <= 0) failData(messages);
  std::vector<unsigned char> raw(static_cast<std::size_t>(tileBytes));
  std::vector<float> values(page.tileWidth);
  for (std::uint32_t ty = 0; ty < page.height; ty += page.tileHeight)
    for (std::uint32_t tx = 0; tx < page.width; tx += page.tileWidth) {
      if (TIFFReadTile(tif, raw.data(), tx, ty, 0, 0) < 0) failData(messages);
      const std::uint32_t rows = std::min(page.tileHeight, page.height - ty);
      const std::uint32_t cols = std::min(page.tileWidth, page.width - tx);
      for (std::uint32_t r = 0; r < rows; ++r) {
        page.convert(raw.data() + static_cast<std::size_t>(r) * rowBytes, page, values.data(),
                     cols);
        sink(ty + r, tx, values.data(), cols);
      }
    }
}

template <class Sink>
void decodePage(TIFF* tif, const PageLayout& page, const TiffMessages& messages, Sink sink) {
  if (page.tiled)
    decodeTiles(tif, page, messages, sink);
  else
    decodeStrips(tif, page, messages, sink);
}

void readValues(TIFF* tif, const PageLayout& page, const TiffMessages& messages,
                FloatPlane& field) {
  decodePage(tif, page, messages,
             [&field](std::uint32_t y, std::uint32_t x0, const float* values, std::uint32_t n) {
               std::copy(values, values + n, field.row(static_cast<int>(y)) + x0);
             });
}

void readFlags(TIFF* tif, const PageLayout& page, const TiffMessages& messages, BoolPlane& mask) {
  decodePage(tif, page, messages,
             [&mask](std::uint32_t y, std::uint32_t x0, const float* values, std::uint32_t n) {
               bool* out = mask.row(static_cast<int>(y)) + x0;
               for (std::uint32_t i = 0; i < n; ++i) out[i] = values[i] != 0.0f;
             });
}

// Non-finite values mark pixels that hold no measurement: they become
// background with value 0, so that arithmetic and limits stay finite.
void markNonFinite(const std::string& path, zel::image& img) {
  FloatPlane& field = img.field();
  BoolPlane& bkgr = img.bkgr();
  std::uint64_t marked = 0;
  for (int y = 0; y < field.height(); ++y) {
    float* values = field.row(y);
    bool* background = bkgr.row(y);
    for (int x = 0; x < field.width(); ++x) {
      if (std::isfinite(values[x])) continue;
      values[x] = 0.0f;
      background[x] = true;
      ++marked;
    }
  }
  if (marked)
    zel::get_log().level(3).write(path + ": " + std::to_string(marked) +
                                  " NaN or infinite pixels read as background");
}

std::unique_ptr<zel::image> newImage(const PageLayout& page) {
  return std::make_unique<zel::image>(static_cast<int>(page.width), static_cast<int>(page.height));
}

std::unique_ptr<zel::image> readTiff(const std::string& path, std::uint64_t fileSize) {
  TiffMessages messages{path, {}};
  TiffHandle tif = openTiffToRead(path, messages);
  const PageLayout page = inspectPage(tif.get(), messages, fileSize);
  std::unique_ptr<zel::image> img = newImage(page);
  readValues(tif.get(), page, messages, img->field());
  img->setFieldName(zel::base_name(path));
  if (page.floating) markNonFinite(path, *img);
  return img;
}

// ---- The container ------------------------------------------------------

struct PageEntry {
  tdir_t index = 0;
  std::string name;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  bool mask = false;  // one unsigned 8-bit sample per pixel
};

PageEntry describePage(TIFF* tif) {
  PageEntry page;
  page.index = TIFFCurrentDirectory(tif);
  page.name = textTag(tif, TIFFTAG_PAGENAME);
  TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &page.width);
  TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &page.height);
  std::uint16_t samples = 1, bits = 1, format = SAMPLEFORMAT_UINT;
  TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLESPERPIXEL, &samples);
  TIFFGetFieldDefaulted(tif, TIFFTAG_BITSPERSAMPLE, &bits);
  TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLEFORMAT, &format);
  page.mask = samples == 1 && bits == 8 && format == SAMPLEFORMAT_UINT;
  return page;
}

std::vector<PageEntry> listPages(TIFF* tif, const TiffMessages& messages) {
  std::vector<PageEntry> pages;
  for (;;) {
    pages.push_back(describePage(tif));
    if (TIFFLastDirectory(tif)) return pages;
    if (pages.size() >= maxPages)
      fail(messages.path, "more than " + std::to_string(maxPages) + " pages");
    if (!TIFFReadDirectory(tif))
      fail(messages.path, "damaged page list (" + complaint(messages) + ")");
  }
}

const PageEntry* findPage(const std::vector<PageEntry>& pages, const std::string& name,
                          const std::string& path) {
  const PageEntry* found = nullptr;
  for (const PageEntry& page : pages) {
    if (page.name != name) continue;
    if (found) fail(path, "two pages named \"" + name + "\"");
    found = &page;
  }
  return found;
}

PageLayout selectPage(TIFF* tif, const PageEntry& page, const TiffMessages& messages,
                      std::uint64_t fileSize) {
  if (!TIFFSetDirectory(tif, page.index))
    fail(messages.path, "page \"" + page.name + "\" cannot be read (" + complaint(messages) + ")");
  return inspectPage(tif, messages, fileSize);
}

std::unique_ptr<zel::image> readContainer(const std::string& path, std::uint64_t fileSize) {
  TiffMessages messages{path, {}};
  TiffHandle tif = openTiffToRead(path, messages);
  const std::vector<PageEntry> pages = listPages(tif.get(), messages);
  const PageEntry* field = findPage(pages, fieldPage, path);
  if (!field) fail(path, "holds only a mask (no \"field\" page); read it as a mask");
  const PageEntry* bkgr = findPage(pages, bkgrPage, path);
  const PageEntry* roi = findPage(pages, roiPage, path);
  for (const PageEntry* layer : {bkgr, roi})
    if (layer && (layer->width != field->width || layer->height != field->height))
      fail(path, "page \"" + layer->name + "\" is " + sizeText(layer->width, layer->height) +
                     " but the field page is " + sizeText(field->width, field->height));

  const PageLayout page = selectPage(tif.get(), *field, messages, fileSize);
  std::unique_ptr<zel::image> img = newImage(page);
  readValues(tif.get(), page, messages, img->field());
  const std::string stored = textTag(tif.get(), TIFFTAG_IMAGEDESCRIPTION);
  img->setFieldName(stored.empty() ? zel::base_name(path) : stored);
  if (bkgr)
    readFlags(tif.get(), selectPage(tif.get(), *bkgr, messages, fileSize), messages, img->bkgr());
  if (roi)
    readFlags(tif.get(), selectPage(tif.get(), *roi, messages, fileSize), messages, img->ROI());
  if (page.floating) markNonFinite(path, *img);
  return img;
}

// ---- PNG ----------------------------------------------------------------

// One PNG file being decoded. libpng reports failures by longjmp, so the
// functions that call into it hold no object that needs destroying.
struct PngReader {
  std::FILE* file = nullptr;
  png_structp png = nullptr;
  png_infop info = nullptr;
  char error[256] = {};

  PngReader() = default;
  PngReader(const PngReader&) = delete;
  PngReader& operator=(const PngReader&) = delete;
  ~PngReader() {
    if (png) png_destroy_read_struct(&png, &info, nullptr);
    if (file) std::fclose(file);
  }
};

void onPngError(png_structp png, png_const_charp text) {
  auto* reader = static_cast<PngReader*>(png_get_error_ptr(png));
  std::snprintf(reader->error, sizeof reader->error, "%s", text);
  png_longjmp(png, 1);
}

void onPngWarning(png_structp, png_const_charp) {}

struct PngShape {
  png_uint_32 width = 0;
  png_uint_32 height = 0;
  png_size_t storedRowBytes = 0;  // of a row as the file holds it
  int depth = 0;                  // bits per sample once expanded: 8 or 16
  int channels = 0;
  bool interlaced = false;
};

// Palettes become RGB and grey below 8 bits one byte per pixel, values kept.
bool startPng(PngReader& reader, PngShape& shape) {
  if (setjmp(png_jmpbuf(reader.png))) return false;
  png_init_io(reader.png, reader.file);
  png_read_info(reader.png, reader.info);
  shape.width = png_get_image_width(reader.png, reader.info);
  shape.height = png_get_image_height(reader.png, reader.info);
  shape.interlaced = png_get_interlace_type(reader.png, reader.info) != PNG_INTERLACE_NONE;
  shape.storedRowBytes = png_get_rowbytes(reader.png, reader.info);
  if (png_get_color_type(reader.png, reader.info) == PNG_COLOR_TYPE_PALETTE)
    png_set_palette_to_rgb(reader.png);
  if (png_get_bit_depth(reader.png, reader.info) < 8) png_set_packing(reader.png);
  png_read_update_info(reader.png, reader.info);
  shape.depth = png_get_bit_depth(reader.png, reader.info);
  shape.channels = png_get_channels(reader.png, reader.info);
  return true;
}

bool readPngRow(PngReader& reader, unsigned char* row) {
  if (setjmp(png_jmpbuf(reader.png))) return false;
  png_read_row(reader.png, row, nullptr);
  return true;
}

template <class Sample>
void pngValues(Sample sample, std::size_t step, bool rgb, float* out, png_uint_32 count) {
  for (png_uint_32 i = 0; i < count; ++i) {
    const std::size_t s = i * step;
    out[i] =
        rgb ? luminance(sample(s), sample(s + 1), sample(s + 2)) : static_cast<float>(sample(s));
  }
}

void pngRowToFloat(const unsigned char* raw, const PngShape& shape, float* out, png_uint_32 count) {
  const auto step = static_cast<std::size_t>(shape.channels);
  const bool rgb = shape.channels >= 3;
  if (shape.depth == 16)  // big-endian in the file
    pngValues([raw](std::size_t i) { return double(raw[2 * i] << 8 | raw[2 * i + 1]); }, step, rgb,
              out, count);
  else
    pngValues([raw](std::size_t i) { return double(raw[i]); }, step, rgb, out, count);
}

// Where the rows of each pass land: one pass for a plain file; for an
// interlaced one the seven Adam7 passes, each a small image of its own, so
// that no buffer of the whole image is needed.
struct PngPass {
  png_uint_32 rows = 0, cols = 0, firstRow = 0, firstCol = 0;
  int rowShift = 0, colShift = 0;
};

std::vector<PngPass> passesOf(const PngShape& shape) {
  if (!shape.interlaced) return {PngPass{shape.height, shape.width, 0, 0, 0, 0}};
  std::vector<PngPass> passes;
  for (int p = 0; p < PNG_INTERLACE_ADAM7_PASSES; ++p) {
    PngPass pass;
    pass.rows = PNG_PASS_ROWS(shape.height, p);
    pass.cols = PNG_PASS_COLS(shape.width, p);
    pass.firstRow = PNG_PASS_START_ROW(p);
    pass.firstCol = PNG_PASS_START_COL(p);
    pass.rowShift = PNG_PASS_ROW_SHIFT(p);
    pass.colShift = PNG_PASS_COL_SHIFT(p);
    if (pass.rows && pass.cols) passes.push_back(pass);  // libpng skips empty passes too
  }
  return passes;
}

[[noreturn]] void failPng(const std::string& path, const PngReader& reader,
                          std::source_location where = std::source_location::current()) {
  fail(path, std::string("damaged or truncated PNG data (") + reader.error + ")", where);
}

std::unique_ptr<zel::image> readPng(const std::string& path, std::uint64_t fileSize) {
  PngReader reader;
  reader.file = std::fopen(path.c_str(), "rb");
  if (!reader.file) fail(path, std::string("cannot be opened (") + std::strerror(errno) + ")");
  reader.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &reader, onPngError, onPngWarning);
  if (reader.png) reader.info = png_create_info_struct(reader.png);
  if (!reader.info) fail(path, "libpng could not start (out of memory)");
  PngShape shape;
  if (!startPng(reader, shape)) failPng(path, reader);
  checkExtent(path, shape.width, shape.height);
  // A file too small for the pixels its header claims is refused before they
  // are allocated.
  if (std::uint64_t{shape.height} * shape.storedRowBytes > fileSize * zlibExpansion + 1024)
    fail(path,
         "truncated: the file is too small for " + sizeText(shape.width, shape.height) + " pixels");

  auto img =
      std::make_unique<zel::image>(static_cast<int>(shape.width), static_cast<int>(shape.height));
  FloatPlane& field = img->field();
  std::vector<unsigned char> raw(png_get_rowbytes(reader.png, reader.info));
  std::vector<float> values(shape.width);
  for (const PngPass& pass : passesOf(shape))
    for (png_uint_32 r = 0; r < pass.rows; ++r) {
      if (!readPngRow(reader, raw.data())) failPng(path, reader);
      pngRowToFloat(raw.data(), shape, values.data(), pass.cols);
      float* out = field.row(static_cast<int>(pass.firstRow + (r << pass.rowShift)));
      for (png_uint_32 i = 0; i < pass.cols; ++i)
        out[pass.firstCol + (i << pass.colShift)] = values[i];
    }
  img->setFieldName(zel::base_name(path));
  return img;
}

// ---- Writing ------------------------------------------------------------

[[noreturn]] void failWrite(const TiffMessages& messages,
                            std::source_location where = std::source_location::current()) {
  fail(messages.path, "cannot be written (" + complaint(messages) + ")", where);
}

// libtiff closes its file without syncing it; the data must be on disk
// before the rename makes it the file.
void syncToDisk(const std::string& temporary, const std::string& path) {
  const int fd = ::open(temporary.c_str(), O_RDONLY | O_CLOEXEC);
  const bool synced = fd >= 0 && ::fsync(fd) == 0;
  const int error = errno;
  if (fd >= 0) ::close(fd);
  if (!synced) fail(path, std::string("cannot be written (") + std::strerror(error) + ")");
}

// Writes the pages into a temporary file beside `path` and renames it into
// place; on any failure the temporary file goes and `path` keeps its old
// contents.
void writeTiffAtomically(const std::string& path, std::uint64_t bytes,
                         const std::function<void(TIFF*, const TiffMessages&)>& writePages) {
  const fs::path folder = fs::path(path).parent_path();
  std::error_code ec;
  if (!folder.empty() && !fs::is_directory(folder, ec))
    fail(path, "the folder " + folder.string() + " does not exist");
  const std::string temporary = tamble::temporaryNameFor(path);
  try {
    TiffMessages messages{path, {}};
    {
      TiffHandle tif = openTiff(temporary, bytes > bigTiffBytes ? "w8" : "w", messages);
      if (!tif) fail(path, "cannot be created (" + complaint(messages) + ")");
      writePages(tif.get(), messages);
      if (!TIFFFlush(tif.get())) failWrite(messages);
    }
    syncToDisk(temporary, path);
  } catch (...) {
    tamble::discardTemporary(temporary);
    throw;
  }
  tamble::commitAtomically(temporary, path);
}

struct PageTags {
  std::uint16_t bits = 8;
  std::uint16_t format = SAMPLEFORMAT_UINT;
  std::string pageName;     // none if empty
  std::string description;  // none if empty
  bool multiPage = false;
  bool compressed = true;   // Deflate where libtiff has it
};

void startPage(TIFF* tif, const TiffMessages& messages, int width, int height,
               const PageTags& tags) {
  const int compression = tags.compressed && TIFFIsCODECConfigured(COMPRESSION_ADOBE_DEFLATE)
                              ? COMPRESSION_ADOBE_DEFLATE
                              : COMPRESSION_NONE;
  bool ok = TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(width)) &&
            TIFFSetField(tif, TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(height)) &&
            TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, 1) &&
            TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, tags.bits) &&
            TIFFSetField(tif, TIFFTAG_SAMPLEFORMAT, tags.format) &&
            TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK) &&
            TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) &&
            TIFFSetField(tif, TIFFTAG_COMPRESSION, compression) &&
            TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(tif, 0));
  if (tags.multiPage) ok = ok && TIFFSetField(tif, TIFFTAG_SUBFILETYPE, FILETYPE_PAGE);
  if (!tags.pageName.empty()) ok = ok && TIFFSetField(tif, TIFFTAG_PAGENAME, tags.pageName.c_str());
  if (!tags.description.empty())
    ok = ok && TIFFSetField(tif, TIFFTAG_IMAGEDESCRIPTION, tags.description.c_str());
  if (!ok) failWrite(messages);
}

// Rows go through a buffer of our own: libtiff may change what it is given.
template <class Out, class In, class Convert>
void writePage(TIFF* tif, const TiffMessages& messages, const zel::arrayStore<In, 2>& plane,
               const PageTags& tags, Convert convert) {
  startPage(tif, messages, plane.width(), plane.height(), tags);
  std::vector<Out> row(static_cast<std::size_t>(plane.width()));
  for (int y = 0; y < plane.height(); ++y) {
    std::transform(plane.row(y), plane.row(y) + plane.width(), row.begin(), convert);
    if (TIFFWriteScanline(tif, row.data(), static_cast<std::uint32_t>(y), 0) < 0)
      failWrite(messages);
  }
  if (!TIFFWriteDirectory(tif)) failWrite(messages);
}

void writeField(TIFF* tif, const TiffMessages& messages, const FloatPlane& field,
                const PageTags& tags) {
  writePage<float>(tif, messages, field, tags, [](float v) { return v; });
}

void writeFlags(TIFF* tif, const TiffMessages& messages, const BoolPlane& flags,
                const PageTags& tags) {
  writePage<std::uint8_t>(tif, messages, flags, tags,
                          [](bool b) { return static_cast<std::uint8_t>(b ? 1 : 0); });
}

PageTags flagTags(const std::string& name, bool multiPage) {
  return PageTags{8, SAMPLEFORMAT_UINT, name, {}, multiPage};
}

// A value of a 16-bit frame: the nearest whole number (halves to even), or
// -1 when it lies outside 0 to 65535 or is NaN.
long frameValue(float v) {
  if (!(v >= -0.5f && v <= 65535.5f)) return -1;
  const long n = std::lrint(v);
  return n >= 0 && n <= 65535 ? n : -1;
}

}  // namespace

std::unique_ptr<zel::image> read_image(const std::string& path) {
  const Format format = formatToRead(path);
  const std::uint64_t size = checkFile(path, format);
  std::unique_ptr<zel::image> img;
  switch (format) {
    case Format::tiff: img = readTiff(path, size); break;
    case Format::png: img = readPng(path, size); break;
    case Format::container: img = readContainer(path, size); break;
  }
  img->fileInfo.name = path;
  return img;
}

void write_image(const std::string& path, const zel::image& img) {
  const std::string ext = zel::lower(zel::extension(path));
  const bool container = ext == "imp";
  if (!container && ext != "tif" && ext != "tiff")
    fail(path, "unsupported format for writing (.imp, .tif or .tiff)");
  if (!img.hasField()) fail(path, "the image has no field layer to write");
  const FloatPlane& field = img.field();
  if (field.empty()) fail(path, "the image is empty");
  const BoolPlane* bkgr = container && img.hasBkgr() ? &img.bkgr() : nullptr;
  const BoolPlane* roi = container && img.hasROI() ? &img.ROI() : nullptr;
  for (const BoolPlane* layer : {bkgr, roi})
    if (layer && !layer->sameExtent(field))
      fail(path, "layer \"" + layer->name + "\" is " + sizeText(layer->width(), layer->height()) +
                     " but the field is " + sizeText(field.width(), field.height()));

  const std::uint64_t bytes = field.count * (sizeof(float) + (bkgr ? 1 : 0) + (roi ? 1 : 0));
  writeTiffAtomically(path, bytes, [&](TIFF* tif, const TiffMessages& messages) {
    const PageTags tags{32, SAMPLEFORMAT_IEEEFP, container ? fieldPage : std::string(),
                        img.fieldName(), container};
    writeField(tif, messages, field, tags);
    if (bkgr) writeFlags(tif, messages, *bkgr, flagTags(bkgrPage, true));
    if (roi) writeFlags(tif, messages, *roi, flagTags(roiPage, true));
  });
}

void read_array(const std::string& path, zel::arrayStore<bool, 2>& mask) {
  if (zel::lower(zel::extension(path)) != "imp") fail(path, "masks are read from .imp files only");
  const std::uint64_t size = checkFile(path, Format::container);
  TiffMessages messages{path, {}};
  TiffHandle tif = openTiffToRead(path, messages);
  const std::vector<PageEntry> pages = listPages(tif.get(), messages);
  const auto found = std::find_if(pages.begin(), pages.end(), [](const PageEntry& page) {
    return page.mask && page.name != fieldPage;
  });
  if (found == pages.end()) fail(path, "holds no 8-bit mask page");
  const auto width = static_cast<std::uint32_t>(mask.width());
  const auto height = static_cast<std::uint32_t>(mask.height());
  if (!mask.empty() && (width != found->width || height != found->height))
    fail(path, "the mask page is " + sizeText(found->width, found->height) +
                   " but the mask to fill is " + sizeText(width, height));

  const PageLayout page = selectPage(tif.get(), *found, messages, size);
  BoolPlane loaded(static_cast<int>(page.width), static_cast<int>(page.height));
  readFlags(tif.get(), page, messages, loaded);
  loaded.name = found->name.empty() ? "mask" : found->name;
  mask = loaded;  // only now: a failure above leaves the mask as it was
}

void write_array(const std::string& path, const zel::arrayStore<bool, 2>& mask) {
  if (zel::lower(zel::extension(path)) != "imp")
    fail(path, "unsupported format for writing a mask (.imp only)");
  if (mask.empty()) fail(path, "the mask is empty");
  writeTiffAtomically(path, mask.count, [&](TIFF* tif, const TiffMessages& messages) {
    writeFlags(tif, messages, mask, flagTags(mask.name.empty() ? "mask" : mask.name, false));
  });
}

std::uint64_t write_tiff16(const std::string& path, const zel::arrayStore<float, 2>& field,
                           tiff16Range range, const std::string& description) {
  const std::string ext = zel::lower(zel::extension(path));
  if (ext != "tif" && ext != "tiff") fail(path, "a 16-bit frame is written as .tif or .tiff");
  if (field.empty()) fail(path, "the image is empty");
  std::uint64_t outside = 0;
  for (std::uint64_t i = 0; i < field.count; ++i)
    if (frameValue(field.data[i]) < 0) ++outside;
  if (outside != 0 && range == tiff16Range::refuse)
    fail(path, outside == 1 ? std::string("1 value lies outside 0 to 65535")
                            : std::to_string(outside) + " values lie outside 0 to 65535");
  writeTiffAtomically(path, field.count * 2, [&](TIFF* tif, const TiffMessages& messages) {
    const PageTags tags{16, SAMPLEFORMAT_UINT, {}, description, false, false};
    writePage<std::uint16_t>(tif, messages, field, tags, [](float v) {
      const long n = frameValue(v);
      if (n >= 0) return static_cast<std::uint16_t>(n);
      return static_cast<std::uint16_t>(v > 0.0f ? 65535 : 0);  // NaN fails the test: 0
    });
  });
  return outside;
}
