#include "apps/synth/cameraEffects.h"

#include <cmath>
#include <vector>

#include "api/parallel.h"
#include "apps/synth/portableMath.h"

namespace tamble::synth {

floatPlane darkPattern(int width, int height, std::uint64_t seed) {
  floatPlane dark(width, height);
  std::vector<double> columns(static_cast<std::size_t>(width));
  randomStream columnRandom(seed, columnStream, 0);
  for (double& c : columns) c = sensorTraits::columnSpread * columnRandom.normal();
  zel::forEachRow(height, dark.count, [&](int y) {
    randomStream pixels(seed, pixelStream, static_cast<std::uint64_t>(y));
    randomStream hot(seed, hotPixelStream, static_cast<std::uint64_t>(y));
    float* row = dark.row(y);
    for (int x = 0; x < width; ++x) {
      double v = sensorTraits::darkLevel + columns[static_cast<std::size_t>(x)] +
                 sensorTraits::pixelSpread * pixels.normal();
      if (hot.uniform() < sensorTraits::hotFraction) v += 40.0 + 360.0 * hot.uniform();
      row[x] = static_cast<float>(std::nearbyint(v));
    }
  });
  return dark;
}

floatPlane gainPattern(const pinholeCamera& camera, std::uint64_t seed) {
  floatPlane gain(camera.width, camera.height);
  const double f2 = camera.focus * camera.focus;
  zel::forEachRow(camera.height, gain.count, [&](int y) {
    randomStream pixels(seed, gainStream, static_cast<std::uint64_t>(y));
    float* row = gain.row(y);
    for (int x = 0; x < camera.width; ++x) {
      const double dx = (x - camera.centre.x) * camera.pitch, dy = (y - camera.centre.y) * camera.pitch;
      const double c2 = f2 / (f2 + dx * dx + dy * dy);  // cos^2 of the angle off the axis
      row[x] = static_cast<float>(c2 * c2 * (1.0 + sensorTraits::pixelGainSpread * pixels.normal()));
    }
  });
  return gain;
}

double exposePixel(double signal, double dark, double noise, randomStream& random) {
  if (noise == 0.0) return dark + signal;
  double light = signal;
  if (signal > 0.0) {
    const double electrons = signal / sensorTraits::countsPerElectron;
    light = (electrons + noise * (random.poisson(electrons) - electrons)) *
            sensorTraits::countsPerElectron;
  }
  return dark + light + noise * sensorTraits::readNoise * random.normal();
}

double flatPixel(double level, double gain, double noise, randomStream& random) {
  const double signal = level * gain;
  if (noise == 0.0) return signal;
  const double electrons = signal / sensorTraits::countsPerElectron;
  const double spread = std::sqrt(electrons * sensorTraits::countsPerElectron *
                                      sensorTraits::countsPerElectron +
                                  sensorTraits::readNoise * sensorTraits::readNoise) /
                        std::sqrt(sensorTraits::flatFrames);
  return signal + noise * spread * random.normal();
}

}  // namespace tamble::synth
