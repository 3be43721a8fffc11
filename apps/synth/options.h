// What a synthetic run is asked for: `tamble synth FOLDER key=value...`.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "apps/synth/paint.h"

namespace tamble::synth {

enum class markerSign { dark, bright };
// The excitation: two lamps, or a plane across the frame.
enum class lightKind { lamps, plane };

struct runOptions {
  paintKind paint = paintKind::doublePaint;
  int width = 1024;
  int height = 1024;
  double noise = 1.0;          // photon and read noise, times the camera's own (0: none)
  int markers = 48;            // markers wanted
  double diameter = 7.0;       // of a marker, pixels
  markerSign sign = markerSign::dark;
  double motion = 4.0;         // largest move of a model point at wind-on, pixels
  double distortion = 2.0;     // lens: move of the farthest frame corner, pixels (0: none)
  double lamp = -1.0;          // wind-on over wind-off excitation; below 0: the paint's default
  std::uint64_t seed = 1;
  bool floatFrames = false;    // 32-bit float frames without rounding instead of 16 bits
  int plates = 0;              // reference plates on the tunnel wall, 0 to 4
  lightKind light = lightKind::lamps;
  // Nodes of the model's surface grid: 0 for about 100 000 at 2048 x 2048
  // pixels and as many per pixel at other sizes, -1 for no grid.
  int mesh = 0;

  // The excitation ratio used: `lamp` when given, else 0.97 for a double
  // paint (its reference cancels the change) and 1 for a single paint.
  double lampRatio() const;
  // The nodes wanted in the surface grid; 0 for none.
  int meshNodes() const;
};

// A word that is not a known key=value, or a value out of its range.
class optionError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Parses key=value words over the defaults; raises optionError with the key,
// the value and what is allowed.
runOptions parseRunOptions(const std::vector<std::string>& words);
// The keys with their values, in the order of the documentation, as
// key=value words that parse back to the same options.
std::vector<std::string> optionWords(const runOptions& options);
// One line per key for the step's help.
std::string optionsHelp();

const char* paintName(paintKind kind);  // "double", "single", "temperature"

}  // namespace tamble::synth
