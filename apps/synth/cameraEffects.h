// What the camera adds to the light of the scene: its dark signal with a
// fixed pattern, its gain (lens vignetting times the pixels' own gain),
// photon and read noise, and the rounding to whole counts. The flat frames
// show exactly the gain the images carry.
#pragma once

#include <cstdint>

#include "api/arrayWorks.h"
#include "apps/synth/model.h"

namespace tamble::synth {

class randomStream;

// What each stream of random numbers is for; frames add their number.
enum streamUse : std::uint64_t {
  markerStream = 1,
  columnStream = 2,
  pixelStream = 3,
  hotPixelStream = 4,
  gainStream = 5,
  frameStream = 100,
};

struct sensorTraits {
  static constexpr double countsPerElectron = 0.5;
  static constexpr double readNoise = 2.2;       // counts rms
  static constexpr double darkLevel = 100.0;     // counts
  static constexpr double columnSpread = 2.5;    // counts rms, per column
  static constexpr double pixelSpread = 1.2;     // counts rms, per pixel
  static constexpr double hotFraction = 3e-4;    // of the pixels
  static constexpr double pixelGainSpread = 0.008;
  static constexpr double windOnDarkRise = 2.0;  // counts: the camera has warmed
  static constexpr double flatFrames = 16.0;     // frames averaged into a flat
};

using floatPlane = zel::arrayStore<float, 2>;

// The dark signal without noise, in whole counts: a level, a pattern of the
// columns and of the pixels, and a few hot pixels.
floatPlane darkPattern(int width, int height, std::uint64_t seed);
// Vignetting of the lens (the cos^4 law about the optical centre) times a
// gain of each pixel around 1.
floatPlane gainPattern(const pinholeCamera& camera, std::uint64_t seed);

// A pixel of a frame: the dark signal plus `signal` counts of light with
// photon noise (Poisson in electrons) and read noise, each `noise` times the
// camera's own. Without noise the value is exactly dark + signal.
double exposePixel(double signal, double dark, double noise, randomStream& random);
// A pixel of a flat frame, the mean of many dark-corrected frames of an
// even light: `level` times the gain, with the noise of that mean.
double flatPixel(double level, double gain, double noise, randomStream& random);

}  // namespace tamble::synth
