#include "apps/synth/scene.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "api/parallel.h"
#include "apps/synth/portableMath.h"

namespace tamble::synth {
namespace {

// The frames a run can have, each with a stream of random numbers of its own
// whatever the paint, so that a frame does not change with the others.
struct frameKind {
  const char* name;
  bool windOn;
  bool reference;  // of the reference paint (its light, its flat level)
  enum { camera, dark, flat } role;
};

constexpr frameKind frameKinds[] = {
    {"wind_off_sens", false, false, frameKind::camera},
    {"wind_on_sens", true, false, frameKind::camera},
    {"wind_off_refe", false, true, frameKind::camera},
    {"wind_on_refe", true, true, frameKind::camera},
    {"wind_off_dark_sens", false, false, frameKind::dark},
    {"wind_on_dark_sens", true, false, frameKind::dark},
    {"wind_off_dark_refe", false, true, frameKind::dark},
    {"wind_on_dark_refe", true, true, frameKind::dark},
    {"flat_sens", false, false, frameKind::flat},
    {"flat_refe", false, true, frameKind::flat},
};

// A single paint has no reference images and no frames for them, but both
// flats: the flat correction asks for the pair whatever the paint.
bool frameWanted(const frameKind& k, paintKind paint) {
  return paint == paintKind::doublePaint || !k.reference || k.role == frameKind::flat;
}

struct pixelView {
  vec2 ideal;  // in the ideal wind-off picture
  surfacePoint point;
  bool onModel = false;
};

pixelView view(const syntheticRun& run, vec2 pixel, bool windOn) {
  pixelView v;
  const vec2 ideal = run.lens.undistort(pixel);
  v.ideal = windOn && !run.motion.still() ? run.motion.invert(ideal) : ideal;
  const vec3 at = run.camera.cast(run.model, v.ideal);
  v.point = run.model.locate(at.x, at.y);
  v.onModel = v.point.part != modelPart::none;
  return v;
}

// The light reaching each pixel of the frames of one state, relative; and
// on the wind-off pass the true fields.
struct stateLight {
  std::vector<double> sensor;
  std::vector<double> reference;
  std::vector<char> offModel;  // the pixel is wholly off the model
};

const referencePlate* plateAt(const syntheticRun& run, int x, int y) {
  for (const referencePlate& p : run.plates)
    if (p.holds(x, y)) return &p;
  return nullptr;
}

struct truthPlanes {
  zel::image* pressure = nullptr;
  zel::image* cp = nullptr;
  zel::image* temperature = nullptr;
  zel::image* ratio = nullptr;
};

// Rows of pixel views computed once each: a thread takes a block of rows
// and keeps the views of the row before and after the one it renders.
class viewRows {
 public:
  viewRows(const syntheticRun& r, bool on) : run(r), windOn(on) {}

  // The views of row y - 1, y and y + 1 (the outer two empty beyond the frame).
  void start(int y) {
    fill(rows[0], y - 1);
    fill(rows[1], y);
    fill(rows[2], y + 1);
  }
  void advance(int y) {  // to y + 1, when y was the centre
    std::swap(rows[0], rows[1]);
    std::swap(rows[1], rows[2]);
    fill(rows[2], y + 2);
  }
  const std::vector<pixelView>& row(int offset) const { return rows[offset + 1]; }

 private:
  void fill(std::vector<pixelView>& out, int y) {
    out.clear();
    if (y < 0 || y >= run.options.height) return;
    out.resize(static_cast<std::size_t>(run.options.width));
    for (int x = 0; x < run.options.width; ++x)
      out[static_cast<std::size_t>(x)] = view(run, {double(x), double(y)}, windOn);
  }
  const syntheticRun& run;
  bool windOn;
  std::vector<pixelView> rows[3];
};

// Whether the model's outline may cross the pixel: a neighbour's centre
// (of the eight) lies on the other side. A straight outline through a
// pixel always parts its centre from one of them.
bool onOutline(const viewRows& rows, int x, int width) {
  const bool here = rows.row(0)[static_cast<std::size_t>(x)].onModel;
  for (int dy = -1; dy <= 1; ++dy) {
    const std::vector<pixelView>& r = rows.row(dy);
    if (r.empty()) continue;
    for (int dx = -1; dx <= 1; ++dx) {
      const int n = x + dx;
      if (n >= 0 && n < width && r[static_cast<std::size_t>(n)].onModel != here) return true;
    }
  }
  return false;
}

constexpr int rowBlock = 32;

// A pixel of the model's outline or of a marker is the mean of n by n
// samples; the paint's fields are taken at its centre.
constexpr int edgeSamples = 8;
constexpr int markerSamples = 16;

stateLight renderState(const syntheticRun& run, const markerCoverage& coverage, bool windOn,
                       const truthPlanes* truth) {
  const int w = run.options.width, h = run.options.height;
  const bool withReference = run.options.paint == paintKind::doublePaint;
  const bool temperaturePaint = run.options.paint == paintKind::temperaturePaint;
  const paintPhysics& paint = run.paint;
  stateLight light;
  light.sensor.resize(static_cast<std::size_t>(w) * h);
  if (withReference) light.reference.resize(light.sensor.size());
  light.offModel.resize(light.sensor.size());

  auto renderPixel = [&](const viewRows& rows, int x, int y) {
    const std::size_t at = static_cast<std::size_t>(y) * w + x;
    const pixelView& centre = rows.row(0)[static_cast<std::size_t>(x)];
    const bool edge = onOutline(rows, x, w);
    const bool marked = coverage.near(centre.ideal, 1.5);
    double paintWeight = centre.onModel ? 1.0 : 0.0;
    double backWeight = 1.0 - paintWeight;
    bool whole = centre.onModel;
    if (edge || marked) {
      const int n = marked ? markerSamples : edgeSamples;
      int onModel = 0;
      paintWeight = backWeight = 0.0;
      for (int sy = 0; sy < n; ++sy)
        for (int sx = 0; sx < n; ++sx) {
          const vec2 sample{x - 0.5 + (sx + 0.5) / n, y - 0.5 + (sy + 0.5) / n};
          bool on = centre.onModel;
          vec2 ideal;
          if (edge) {
            const pixelView v = view(run, sample, windOn);
            on = v.onModel;
            ideal = v.ideal;
          } else {
            const vec2 u = run.lens.undistort(sample);
            ideal = windOn && !run.motion.still() ? run.motion.invert(u) : u;
          }
          if (on) {
            ++onModel;
            paintWeight += marked ? coverage.factor(ideal) : 1.0;
          } else {
            backWeight += 1.0;
          }
        }
      paintWeight /= n * n;
      backWeight /= n * n;
      whole = onModel == n * n;
    }

    const double cp = temperaturePaint ? 0.0 : run.model.cp(centre.point);
    const double pressure = paint.flow.P_static + cp * paint.flow.P_dynamic;
    const double temperature =
        temperaturePaint ? run.model.temperature(centre.point) : paint.flow.T_wind_on;
    const double ratio = windOn ? paint.windOnRatio(pressure, temperature) : paint.windOffRatio;
    const double thickness = run.model.paintThickness(centre.point);
    const double excited = excitation(run, x, y, windOn);
    // Behind the model: the dark tunnel, or a plate of reference paint.
    const double back =
        backWeight * (plateAt(run, x, y) ? paint.referenceLight() : backgroundLevel);
    if (!light.offModel.empty()) light.offModel[at] = paintWeight == 0.0;
    light.sensor[at] =
        excited * (paintWeight * thickness * paintPhysics::sensorLight(ratio) + back);
    if (withReference)
      light.reference[at] = excited * (paintWeight * thickness * paint.referenceLight() + back);

    if (!truth) return;
    auto put = [&](zel::image* img, double value) {
      if (!img) return;
      img->field()(x, y) = whole ? static_cast<float>(value) : 0.0f;
      img->bkgr()(x, y) = !whole;
      img->ROI()(x, y) = whole;
    };
    put(truth->pressure, pressure);
    put(truth->cp, cp);
    put(truth->temperature, temperature);
    put(truth->ratio, paint.windOnRatio(pressure, temperature) / paint.windOffRatio);
  };

  const int blocks = (h + rowBlock - 1) / rowBlock;
  zel::forEachRow(blocks, light.sensor.size(), [&](int block) {
    viewRows rows(run, windOn);
    const int first = block * rowBlock, last = std::min(h, first + rowBlock);
    rows.start(first);
    for (int y = first; y < last; ++y) {
      for (int x = 0; x < w; ++x) renderPixel(rows, x, y);
      if (y + 1 < last) rows.advance(y);
    }
  });
  return light;
}

// Ideal wind-off pixels of the model on a coarse grid of the frame.
std::vector<vec2> modelSamples(const syntheticRun& run, int step) {
  std::vector<vec2> samples;
  for (int y = 0; y < run.options.height; y += step)
    for (int x = 0; x < run.options.width; x += step) {
      const pixelView v = view(run, {double(x), double(y)}, false);
      if (v.onModel) samples.push_back(v.ideal);
    }
  return samples;
}

double cornerRadius(const pinholeCamera& camera) {
  double most = 0.0;
  for (double x : {0.0, camera.width - 1.0})
    for (double y : {0.0, camera.height - 1.0}) {
      const double dx = x - camera.centre.x, dy = y - camera.centre.y;
      most = std::max(most, std::sqrt(dx * dx + dy * dy));
    }
  return most;
}

bool onFrame(const syntheticRun& run, vec2 p, double margin) {
  return p.x >= margin && p.y >= margin && p.x <= run.options.width - 1 - margin &&
         p.y <= run.options.height - 1 - margin;
}

void placeTaps(syntheticRun& run) {
  const paintPhysics& paint = run.paint;
  for (const tapStation& s : tapStations()) {
    const double Y = s.span * windTunnelModel::semiSpan;
    const double X = windTunnelModel::leadingEdgeAt(Y) + s.chord * windTunnelModel::chordAt(Y);
    const surfacePoint point = run.model.locate(X, Y);
    const vec2 windOff = run.lens.distort(run.camera.project(point.at));
    if (!onFrame(run, windOff, 0.0)) continue;
    run.taps.push_back(
        {point.at, windOff, paint.flow.P_static + run.model.cp(point) * paint.flow.P_dynamic});
  }
}

void placeMarkers(syntheticRun& run, const std::vector<vec2>& modelPixels) {
  const runOptions& o = run.options;
  if (o.markers == 0 || modelPixels.empty()) return;
  const double radius = o.diameter / 2.0;
  const double clearance = radius + std::max(o.diameter, 4.0);  // paint all round a marker
  auto windOn = [&](vec2 c) { return run.motion.still() ? c : run.motion.apply(c); };
  auto allowed = [&](vec2 c) {
    if (!onFrame(run, run.lens.distort(c), clearance) ||
        !onFrame(run, run.lens.distort(windOn(c)), clearance))
      return false;
    for (int k = 0; k <= 8; ++k) {
      const double a = k * pi / 4.0;
      const vec2 p =
          k == 8 ? c : vec2{c.x + clearance * portableCos(a), c.y + clearance * portableSin(a)};
      const vec3 at = run.camera.cast(run.model, p);
      if (run.model.locate(at.x, at.y).part == modelPart::none) return false;
    }
    return true;
  };
  vec2 low = modelPixels.front(), high = low;
  for (const vec2& p : modelPixels) {
    low = {std::min(low.x, p.x), std::min(low.y, p.y)};
    high = {std::max(high.x, p.x), std::max(high.y, p.y)};
  }
  std::vector<vec2> taps;
  for (const pressureTap& t : run.taps) taps.push_back(run.camera.project(t.model));
  randomStream random(o.seed, markerStream, 0);
  const std::vector<vec2> centres =
      spreadCentres(o.markers, low, high, 2.0 * o.diameter + 2.0, taps, allowed, random);
  for (const vec2& c : centres) {
    const vec3 at = run.camera.cast(run.model, c);
    run.markers.push_back({c, at, run.lens.distort(c), run.lens.distort(windOn(c))});
  }
  // Numbered along the rows of the wind-off frames.
  std::sort(run.markers.begin(), run.markers.end(), [](const markerSpot& a, const markerSpot& b) {
    return a.windOff.y != b.windOff.y ? a.windOff.y < b.windOff.y : a.windOff.x < b.windOff.x;
  });
}

// Square plates near the frame's corners (top left, top right, bottom
// left, bottom right), where the model never comes.
void placePlates(syntheticRun& run) {
  const int w = run.options.width, h = run.options.height, s = std::min(w, h);
  const int side = std::max(3, static_cast<int>(std::lround(0.08 * s)));
  const int margin = static_cast<int>(std::lround(0.06 * s));
  const int corners[4][2] = {{margin, margin},
                             {w - margin - side, margin},
                             {margin, h - margin - side},
                             {w - margin - side, h - margin - side}};
  for (int i = 0; i < run.options.plates; ++i)
    run.plates.push_back(
        {corners[i][0], corners[i][1], corners[i][0] + side, corners[i][1] + side});
}

// The plates' pixels that no part of the model touches in either state.
void markPlateRegions(syntheticRun& run, const std::vector<char>& offModelOff,
                      const std::vector<char>& offModelOn) {
  if (run.plates.empty()) return;
  const int w = run.options.width, h = run.options.height;
  run.plateRegions = zel::arrayStore<bool, 2>(w, h);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const std::size_t at = static_cast<std::size_t>(y) * w + x;
      run.plateRegions(x, y) = plateAt(run, x, y) && offModelOff[at] && offModelOn[at];
    }
}

// The pixels within `margin` of the model, as a user draws the region of
// interest around it: true inside.
zel::arrayStore<bool, 2> modelRegion(const std::vector<char>& offModel, int w, int h, int margin) {
  zel::arrayStore<bool, 2> region(w, h);
  std::fill(region.data, region.data + region.count, false);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      if (offModel[static_cast<std::size_t>(y) * w + x]) continue;
      for (int v = std::max(0, y - margin); v <= std::min(h - 1, y + margin); ++v)
        for (int u = std::max(0, x - margin); u <= std::min(w - 1, x + margin); ++u)
          region(u, v) = true;
    }
  return region;
}

std::unique_ptr<zel::image> truthImage(int w, int h, const std::string& name) {
  auto img = std::make_unique<zel::image>(w, h);
  img->setFieldName("truth_" + name);
  return img;
}

double quantised(double v, bool floatFrames) { return floatFrames ? v : std::nearbyint(v); }

}  // namespace

const frame* syntheticRun::find(const std::string& name) const {
  for (const frame& f : frames)
    if (f.name == name) return &f;
  return nullptr;
}

const truthMap* syntheticRun::findTruth(const std::string& name) const {
  for (const truthMap& t : truth)
    if (t.name == name) return &t;
  return nullptr;
}

double excitation(const syntheticRun& run, int x, int y, bool windOn) {
  const double w = run.options.width, h = run.options.height, s = std::min(w, h);
  if (run.options.light == lightKind::plane) {
    const double u = 2.0 * x / (w - 1.0) - 1.0, v = 2.0 * y / (h - 1.0) - 1.0;
    const double a = planeLight[0], b = planeLight[1], c = planeLight[2];
    if (!windOn) return a + b * u + c * v;
    return run.lamp * (a + (b + run.lampTilt * a) * u + c * v);
  }
  auto lampAt = [&](double cx, double cy, double reach, double strength) {
    const double r2 = ((x - cx) * (x - cx) + (y - cy) * (y - cy)) / (reach * reach);
    return strength / ((1.0 + r2) * std::sqrt(1.0 + r2));
  };
  double light = lampAt(0.30 * w, 0.25 * h, 0.75 * s, 0.62) +
                 lampAt(0.75 * w, 0.80 * h, 0.70 * s, 0.52) + 0.08;
  if (windOn) light *= run.lamp * (1.0 + run.lampTilt * (2.0 * x / (w - 1.0) - 1.0));
  return light;
}

std::unique_ptr<syntheticRun> makeRun(const runOptions& options) {
  auto run = std::make_unique<syntheticRun>(options);
  const runOptions& o = run->options;
  const int w = o.width, h = o.height;
  const double radius = cornerRadius(run->camera);
  if (std::fabs(o.distortion) > 0.05 * radius)
    throw optionError("distortion: " + std::to_string(o.distortion) +
                      " pixels is more than 5 % of the distance from the optical centre to the far "
                      "corner (" +
                      std::to_string(0.05 * radius) + ")");
  run->lens = lensDistortion::forShift(run->camera.centre, radius, o.distortion);
  run->lamp = o.lampRatio();
  // A double paint's reference cancels a tilt of the wind-on light; a single
  // paint's plane approximation follows a tilted plane of light.
  run->lampTilt = o.paint == paintKind::doublePaint || o.light == lightKind::plane ? 0.012 : 0.0;
  placePlates(*run);

  const std::vector<vec2> modelPixels = modelSamples(*run, std::max(1, std::min(w, h) / 128));
  const vec2 middle = run->camera.project({windTunnelModel::bodyLength / 2.0, 0.0, 0.0});
  double halfSize = 1.0;
  for (const vec2& p : modelPixels)
    halfSize = std::max(halfSize, std::sqrt((p.x - middle.x) * (p.x - middle.x) +
                                            (p.y - middle.y) * (p.y - middle.y)));
  run->motion = modelMotion(middle, halfSize, o.motion, modelPixels.data(),
                            static_cast<int>(modelPixels.size()));
  placeTaps(*run);
  placeMarkers(*run, modelPixels);
  const markerCoverage coverage(run->markers, o.diameter, o.sign);

  // The true fields, on the wind-off frames.
  truthPlanes planes;
  const bool temperaturePaint = o.paint == paintKind::temperaturePaint;
  auto addTruth = [&](const std::string& name) {
    run->truth.push_back({name, truthImage(w, h, name)});
    return run->truth.back().image.get();
  };
  if (!temperaturePaint) {
    planes.pressure = addTruth("Pressure");
    planes.cp = addTruth("Cp");
  } else {
    planes.temperature = addTruth("T");
  }
  planes.ratio = addTruth("Irefe_Isens");

  stateLight lights[2] = {renderState(*run, coverage, false, &planes),
                          renderState(*run, coverage, true, nullptr)};
  markPlateRegions(*run, lights[0].offModel, lights[1].offModel);
  for (int state = 0; state < 2; ++state)
    run->modelRegions[state] = modelRegion(lights[state].offModel, w, h, modelMargin);
  const floatPlane gain = gainPattern(run->camera, o.seed);
  const floatPlane dark = darkPattern(w, h, o.seed);

  // The exposure puts the brightest camera image's brightest pixel at the
  // peak signal.
  std::vector<double> rowPeak(static_cast<std::size_t>(h), 0.0);
  zel::forEachRow(h, gain.count, [&](int y) {
    for (const stateLight& l : lights)
      for (const std::vector<double>* plane : {&l.sensor, &l.reference})
        for (int x = 0; x < w && !plane->empty(); ++x)
          rowPeak[static_cast<std::size_t>(y)] =
              std::max(rowPeak[static_cast<std::size_t>(y)],
                       gain(x, y) * (*plane)[static_cast<std::size_t>(y) * w + x]);
  });
  run->countsPerLight = peakSignal / *std::max_element(rowPeak.begin(), rowPeak.end());

  for (std::size_t k = 0; k < std::size(frameKinds); ++k) {
    const frameKind& kind = frameKinds[k];
    if (!frameWanted(kind, o.paint)) continue;
    frame f{kind.name, floatPlane(w, h)};
    const stateLight& l = lights[kind.windOn ? 1 : 0];
    const std::vector<double>& light = kind.reference ? l.reference : l.sensor;
    const double darkRise = kind.windOn ? sensorTraits::windOnDarkRise : 0.0;
    const double flatLevel = kind.reference ? referenceFlatLevel : sensorFlatLevel;
    zel::forEachRow(h, f.values.count, [&](int y) {
      randomStream random(o.seed, frameStream + k, static_cast<std::uint64_t>(y));
      float* row = f.values.row(y);
      for (int x = 0; x < w; ++x) {
        double v = 0.0;
        switch (kind.role) {
          case frameKind::camera:
            v = exposePixel(
                run->countsPerLight * gain(x, y) * light[static_cast<std::size_t>(y) * w + x],
                dark(x, y) + darkRise, o.noise, random);
            break;
          case frameKind::dark: v = exposePixel(0.0, dark(x, y) + darkRise, o.noise, random); break;
          case frameKind::flat: v = flatPixel(flatLevel, gain(x, y), o.noise, random); break;
        }
        row[x] = static_cast<float>(quantised(v, o.floatFrames));
      }
    });
    f.values.name = kind.name;
    run->frames.push_back(std::move(f));
  }
  return run;
}

}  // namespace tamble::synth
