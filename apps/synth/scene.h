// A synthetic run in memory: the scene (model, camera, lens, motion, paint,
// markers, taps), the light that reaches each pixel in the wind-off and
// wind-on states, the camera frames made from it and the true fields.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "api/image.h"
#include "apps/synth/cameraEffects.h"
#include "apps/synth/markerLayout.h"
#include "apps/synth/model.h"
#include "apps/synth/options.h"
#include "apps/synth/paint.h"

namespace tamble::synth {

// One frame of the run under its name in a project ("wind_on_sens", ...).
struct frame {
  std::string name;
  floatPlane values;
};

// A true field on the wind-off frames: its values on the model, 0 off it;
// bkgr marks the pixels not wholly on the model, ROI the others.
struct truthMap {
  std::string name;  // "Pressure", "Cp", "T", "Irefe_Isens"
  std::unique_ptr<zel::image> image;
};

// A reference plate on the tunnel wall, a rectangle of the frame: reference
// paint that does not respond to the flow, lit as the model is.
struct referencePlate {
  int x0, y0, x1, y1;  // the pixels x0 <= x < x1, y0 <= y < y1
  bool holds(int x, int y) const { return x >= x0 && x < x1 && y >= y0 && y < y1; }
};

struct syntheticRun {
  explicit syntheticRun(const runOptions& o) : options(o) {}

  runOptions options;
  windTunnelModel model;
  pinholeCamera camera{options.width, options.height};
  lensDistortion lens;
  modelMotion motion;
  paintPhysics paint{options.paint};
  double lamp = 1.0;      // wind-on over wind-off excitation
  double lampTilt = 0.0;  // wind-on: the excitation changes by +-lampTilt across the frame
  std::vector<markerSpot> markers;
  std::vector<pressureTap> taps;
  std::vector<referencePlate> plates;
  // The pixels wholly on a plate, wind-off and wind-on: the reference
  // regions of a single paint, true inside (the ROI a user draws). Empty
  // without plates.
  zel::arrayStore<bool, 2> plateRegions;
  // The pixels within modelMargin of the model, wind-off and wind-on: the
  // region of interest a user draws around it (true inside).
  zel::arrayStore<bool, 2> modelRegions[2];
  double countsPerLight = 0.0;  // the camera's exposure: counts for a unit of light at gain 1

  std::vector<frame> frames;  // camera images, dark frames, flat frames
  std::vector<truthMap> truth;

  const frame* find(const std::string& name) const;
  const truthMap* findTruth(const std::string& name) const;
};

// Makes the whole run; the same options give the same bits on any machine
// and with any number of threads.
std::unique_ptr<syntheticRun> makeRun(const runOptions& options);

// The excitation at a pixel of a frame, relative: two lamps, wind-off; the
// wind-on light is `lamp` times it, tilted by +-lampTilt across the frame.
// A plane of light (light=plane) is a + b u + c v, u and v running from -1
// to 1 across the frame; wind-on it is lamp (a + (b + lampTilt a) u + c v),
// a plane again.
double excitation(const syntheticRun& run, int x, int y, bool windOn);
// How far the region of interest reaches beyond the model, pixels.
inline constexpr int modelMargin = 3;
// What the dark tunnel around the model sends, relative to the paint.
inline constexpr double backgroundLevel = 0.03;
// The brightest signal of a camera image, in counts above its dark signal.
inline constexpr double peakSignal = 12500.0;
// What a reference plate sends, relative to the sensor paint's wind-off
// light: the reference paint of a double paint.
inline constexpr double plateBrightness = 0.85;
// The plane of light, wind-off: a, b, c.
inline constexpr double planeLight[3] = {0.55, 0.25, -0.15};
// The levels of the two flat frames, in counts at gain 1.
inline constexpr double sensorFlatLevel = 10000.0;
inline constexpr double referenceFlatLevel = 8000.0;

}  // namespace tamble::synth
