#include "apps/synth/options.h"

#include <algorithm>
#include <charconv>

#include "api/numbers.h"

namespace tamble::synth {
namespace {

using zel::numberText;

[[noreturn]] void refuse(const std::string& key, const std::string& value, const std::string& what) {
  throw optionError(key + ": '" + value + "' " + what);
}

double number(const std::string& key, const std::string& text, double low, double high) {
  const auto v = zel::parseNumber(text);
  if (!v) refuse(key, text, "is not a number");
  if (*v < low || *v > high)
    refuse(key, text, "lies outside " + numberText(low) + " to " + numberText(high));
  return *v;
}

long whole(const std::string& key, const std::string& text, long low, long high) {
  long v = 0;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
  if (ec != std::errc() || end != text.data() + text.size())
    refuse(key, text, "is not a whole number");
  if (v < low || v > high)
    refuse(key, text, "lies outside " + std::to_string(low) + " to " + std::to_string(high));
  return v;
}

constexpr int smallest = 64, largest = 8192;

void parseSize(const std::string& text, runOptions& o) {
  const std::size_t by = text.find('x');
  if (by == std::string::npos) {
    o.width = o.height = static_cast<int>(whole("size", text, smallest, largest));
    return;
  }
  o.width = static_cast<int>(whole("size", text.substr(0, by), smallest, largest));
  o.height = static_cast<int>(whole("size", text.substr(by + 1), smallest, largest));
}

struct optionKey {
  const char* key;
  const char* help;
};

const optionKey keys[] = {
    {"paint", "double | single | temperature (double)"},
    {"size", "N or WxH pixels, 64 to 8192 (1024)"},
    {"noise", "photon and read noise times the camera's, 0 to 10; 0 is none (1)"},
    {"markers", "number of markers, 0 to 1000 (48)"},
    {"diameter", "marker diameter in pixels, 2 to 40 (7)"},
    {"sign", "dark | bright markers (dark)"},
    {"motion", "largest wind-on move of the model in pixels, 0 to 50 (4)"},
    {"distortion", "lens distortion: move of the far frame corner in pixels, -50 to 50; 0 is none (2)"},
    {"lamp", "wind-on over wind-off excitation, 0.5 to 1.5 (0.97 double, 1 single)"},
    {"seed", "seed of the random numbers, a whole number (1)"},
    {"depth", "16 | float: 16-bit frames, or 32-bit floats without rounding (16)"},
    {"plates", "reference plates on the tunnel wall, in the frame's corners, 0 to 4 (0)"},
    {"light", "lamps | plane: two lamps, or a plane of light whose wind-on tilt differs (lamps)"},
    {"mesh", "auto | off | N: nodes of the model's surface grid, 500 to 4000000; auto is about "
             "100000 at 2048x2048 and as many per pixel at other sizes, at least 2000 (auto)"},
};

}  // namespace

double runOptions::lampRatio() const {
  if (lamp >= 0.0) return lamp;
  return paint == paintKind::doublePaint ? 0.97 : 1.0;
}

int runOptions::meshNodes() const {
  if (mesh < 0) return 0;
  if (mesh > 0) return mesh;
  const double pixels = static_cast<double>(width) * height;
  return std::max(2000, static_cast<int>(100000.0 * pixels / (2048.0 * 2048.0) + 0.5));
}

const char* paintName(paintKind kind) {
  switch (kind) {
    case paintKind::doublePaint: return "double";
    case paintKind::singlePaint: return "single";
    case paintKind::temperaturePaint: return "temperature";
  }
  return "";
}

runOptions parseRunOptions(const std::vector<std::string>& words) {
  runOptions o;
  for (const std::string& word : words) {
    const std::size_t equals = word.find('=');
    if (equals == std::string::npos || equals == 0)
      throw optionError("'" + word + "' is not of the form key=value");
    const std::string key = word.substr(0, equals), value = word.substr(equals + 1);
    if (key == "paint") {
      if (value == "double") o.paint = paintKind::doublePaint;
      else if (value == "single") o.paint = paintKind::singlePaint;
      else if (value == "temperature") o.paint = paintKind::temperaturePaint;
      else refuse(key, value, "is none of double, single, temperature");
    } else if (key == "size") {
      parseSize(value, o);
    } else if (key == "noise") {
      o.noise = number(key, value, 0.0, 10.0);
    } else if (key == "markers") {
      o.markers = static_cast<int>(whole(key, value, 0, 1000));
    } else if (key == "diameter") {
      o.diameter = number(key, value, 2.0, 40.0);
    } else if (key == "sign") {
      if (value == "dark") o.sign = markerSign::dark;
      else if (value == "bright") o.sign = markerSign::bright;
      else refuse(key, value, "is neither dark nor bright");
    } else if (key == "motion") {
      o.motion = number(key, value, 0.0, 50.0);
    } else if (key == "distortion") {
      o.distortion = number(key, value, -50.0, 50.0);
    } else if (key == "lamp") {
      o.lamp = number(key, value, 0.5, 1.5);
    } else if (key == "seed") {
      std::uint64_t v = 0;
      const auto [end, ec] = std::from_chars(value.data(), value.data() + value.size(), v);
      if (ec != std::errc() || end != value.data() + value.size())
        refuse(key, value, "is not a whole number from 0 to 18446744073709551615");
      o.seed = v;
    } else if (key == "depth") {
      if (value == "16") o.floatFrames = false;
      else if (value == "float") o.floatFrames = true;
      else refuse(key, value, "is neither 16 nor float");
    } else if (key == "plates") {
      o.plates = static_cast<int>(whole(key, value, 0, 4));
    } else if (key == "light") {
      if (value == "lamps") o.light = lightKind::lamps;
      else if (value == "plane") o.light = lightKind::plane;
      else refuse(key, value, "is neither lamps nor plane");
    } else if (key == "mesh") {
      if (value == "auto") o.mesh = 0;
      else if (value == "off") o.mesh = -1;
      else o.mesh = static_cast<int>(whole(key, value, 500, 4000000));
    } else {
      std::string known;
      for (const optionKey& k : keys) known += (known.empty() ? "" : ", ") + std::string(k.key);
      throw optionError("unknown option '" + key + "'; the options are " + known);
    }
  }
  return o;
}

std::vector<std::string> optionWords(const runOptions& o) {
  std::vector<std::string> words{"paint=" + std::string(paintName(o.paint)),
          "size=" + std::to_string(o.width) + "x" + std::to_string(o.height),
          "noise=" + numberText(o.noise),
          "markers=" + std::to_string(o.markers),
          "diameter=" + numberText(o.diameter),
          std::string("sign=") + (o.sign == markerSign::dark ? "dark" : "bright"),
          "motion=" + numberText(o.motion),
          "distortion=" + numberText(o.distortion),
          "lamp=" + numberText(o.lampRatio()),
          "seed=" + std::to_string(o.seed),
          std::string("depth=") + (o.floatFrames ? "float" : "16")};
  // Named only when asked for, so that the runs made before they existed
  // keep their text.
  if (o.plates != 0) words.push_back("plates=" + std::to_string(o.plates));
  if (o.light == lightKind::plane) words.push_back("light=plane");
  if (o.mesh != 0) words.push_back("mesh=" + (o.mesh < 0 ? std::string("off") : std::to_string(o.mesh)));
  return words;
}

std::string optionsHelp() {
  std::string text;
  for (const optionKey& k : keys) text += std::string(k.key) + "=" + k.help + "\n";
  return text;
}

}  // namespace tamble::synth
