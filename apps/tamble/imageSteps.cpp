// The steps on images alone: making, reading, listing, writing, looking.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>

#include "apps/tamble/failure.h"
#include "apps/tamble/output.h"
#include "apps/tamble/session.h"
#include "apps/tamble/steps.h"
#include "host/platform.h"
#include "host/render.h"

namespace tamble::cli {
namespace {

double numberOf(const std::string& key, const std::string& text) {
  const auto value = parseNumber(text);
  if (!value) throw usageError(key + ": '" + text + "' is not a number");
  return *value;
}

// A pixel's value in the test patterns. ramp: the pixel's index, row after
// row; gauss: a bell of height 1000 in the middle, sigma a sixth of the
// shorter side; checker: squares of 8 pixels, 0 and 1 (0 at the origin).
float patternValue(const std::string& pattern, int x, int y, int width, int height) {
  if (pattern == "ramp") return static_cast<float>(x + static_cast<double>(y) * width);
  if (pattern == "checker") return static_cast<float>((x / 8 + y / 8) % 2);
  const double sigma = std::max(std::min(width, height) / 6.0, 0.5);
  const double dx = x - (width - 1) / 2.0;
  const double dy = y - (height - 1) / 2.0;
  return static_cast<float>(1000.0 * std::exp(-(dx * dx + dy * dy) / (2 * sigma * sigma)));
}

void fillImage(zel::image& img, const std::vector<std::string>& words) {
  if (words.size() > 1) throw usageError("give one of fill=V and pattern=NAME");
  if (words.empty()) return;
  const auto [key, text] = splitPair(words.front(), "fill=V or pattern=NAME");
  if (key == "fill") return img.fillField(static_cast<float>(numberOf(key, text)));
  if (key != "pattern") throw usageError("unknown '" + key + "'; give fill=V or pattern=NAME");
  if (text != "ramp" && text != "gauss" && text != "checker")
    throw usageError("pattern: '" + text + "' is none of ramp, gauss, checker");
  for (int y = 0; y < img.height(); ++y)
    for (int x = 0; x < img.width(); ++x)
      img.field()(x, y) = patternValue(text, x, y, img.width(), img.height());
}

zel::arrayStore<bool, 2>& layerOf(zel::image& img, const std::string& layer) {
  return layer == "bkgr" ? img.bkgr() : img.ROI();
}

bool onOff(const std::string& key, const std::string& text) {
  if (text == "on") return true;
  if (text == "off") return false;
  throw usageError(key + ": '" + text + "' is neither on nor off");
}

const std::string& colormapOf(const std::string& text) {
  const std::vector<std::string>& names = colormapNames();
  if (std::find(names.begin(), names.end(), text) != names.end()) return text;
  std::string known;
  for (const std::string& n : names) known += (known.empty() ? "" : ", ") + n;
  throw usageError("colormap: '" + text + "' is none of " + known);
}

renderOptions renderOptionsOf(const std::vector<std::string>& words) {
  renderOptions options;
  for (const std::string& word : words) {
    const auto [key, text] = splitPair(word, "key=value");
    if (key == "colormap")
      options.colormap = colormapOf(text);
    else if (key == "low")
      options.low = numberOf(key, text);
    else if (key == "high")
      options.high = numberOf(key, text);
    else if (key == "bar")
      options.colorbar = onOff(key, text);
    else if (key == "markers")
      options.markers = onOff(key, text);
    else
      throw usageError("unknown render option '" + key +
                       "'; the options are colormap, low, high, bar, markers");
  }
  return options;
}

// Far-off coordinates are clamped: they lie outside every image all the same.
int pixelIndex(double v, const char* axis) {
  if (v != std::floor(v)) throw usageError(std::string(axis) + " must be a whole number");
  return static_cast<int>(std::clamp(v, -1.0, 1e9));
}

// A mask's flag at a pixel, "-" for an image without that layer.
const char* flagAt(const zel::arrayStore<bool, 2>* layer, int x, int y) {
  if (!layer) return "-";
  return (*layer)(x, y) ? "1" : "0";
}

}  // namespace

void newStep(session& s, const stepArgs& a) {
  s.checkNewName(a.name);
  auto img = std::make_unique<zel::image>(a.width, a.height);
  img->setFieldName(a.name);
  img->fileInfo.name = a.name + ".tif";
  fillImage(*img, a.words);
  s.addImage(std::move(img), "new " + a.name);
}

void openStep(session& s, const stepArgs& a) {
  for (const std::string& word : a.words) {
    const std::size_t equals = word.find('=');
    const bool named = equals != std::string::npos;
    s.openImage(named ? word.substr(equals + 1) : word, named ? word.substr(0, equals) : "");
  }
}

void selectStep(session& s, const stepArgs& a) { s.list.select(s.image(a.name).fieldName()); }

void imagesStep(session& s, const stepArgs&) {
  if (s.list.size() == 0) std::puts("(no images)");
  int nameWidth = 0;
  int fileWidth = 0;
  for (int i = 0; i < s.list.size(); ++i) {
    nameWidth = std::max(nameWidth, static_cast<int>(s.list[i]->fieldName().size()));
    fileWidth = std::max(fileWidth, static_cast<int>(s.list[i]->fileInfo.name.size()));
  }
  for (int i = 0; i < s.list.size(); ++i) {
    const zel::image& img = *s.list[i];
    const std::string size = sizeText(img.width(), img.height());
    const int markers = img.markers.count();
    std::printf("%d %c %-*s  %-11s  %-*s  %d marker%s%s\n", i, i == s.list.currentIndex ? '*' : ' ',
                nameWidth, img.fieldName().c_str(), size.c_str(), fileWidth,
                img.fileInfo.name.c_str(), markers, markers == 1 ? "" : "s",
                img.converted ? ", converted" : "");
  }
}

void saveStep(session& s, const stepArgs& a) {
  for (const std::string& word : a.words) {
    const auto [name, path] = splitPair(word, "NAME=FILE");
    s.saveImage(name, path);
  }
}

void saveMaskStep(session& s, const stepArgs& a) {
  zel::image& img = s.image(a.name);
  s.inputs.checkWritable(a.file);
  write_array(a.file, layerOf(img, a.layer));
}

// Read whole before the layer changes, so that a failed read leaves it.
void loadMaskStep(session& s, const stepArgs& a) {
  zel::image& img = s.image(a.name);
  zel::arrayStore<bool, 2> mask;
  read_array(a.file, mask);
  s.inputs.add(a.file);
  if (mask.width() != img.width() || mask.height() != img.height())
    throw stepError(a.file + ": the mask is " + sizeText(mask.width(), mask.height()) +
                    " but image '" + a.name + "' is " + sizeText(img.width(), img.height()));
  s.list.saveImage(&img, true, "load-mask " + a.file);
  zel::arrayStore<bool, 2>& layer = layerOf(img, a.layer);
  const std::string keep = layer.name;
  layer = mask;
  layer.name = keep;
}

void renderStep(session& s, const stepArgs& a) {
  const auto [name, path] = splitPair(a.file, "NAME=FILE.png");
  const renderOptions options = renderOptionsOf(a.words);
  const zel::image& img = s.image(name);
  s.inputs.checkWritable(path);
  renderPng(path, img, options);
}

void valueStep(session& s, const stepArgs& a) {
  const zel::image& img = s.image(a.name);
  const int x = pixelIndex(a.x, "x");
  const int y = pixelIndex(a.y, "y");
  if (x < 0 || y < 0 || x >= img.width() || y >= img.height())
    throw stepError("pixel (" + std::to_string(x) + ", " + std::to_string(y) + ") lies outside '" +
                    a.name + "' (" + sizeText(img.width(), img.height()) + ")");
  std::printf("field=%s bkgr=%s ROI=%s\n", numberText(img.field()(x, y)).c_str(),
              flagAt(img.hasBkgr() ? &img.bkgr() : nullptr, x, y),
              flagAt(img.hasROI() ? &img.ROI() : nullptr, x, y));
}

void markStep(session& s, const stepArgs& a) {
  zel::image& img = s.image(a.name);
  s.list.saveImage(&img, true, "mark " + a.name);
  marker m;
  m.x = a.x;
  m.y = a.y;
  m.active = true;
  img.markers.add(m);
}

}  // namespace tamble::cli
