// Cameras and model points with a known truth, for the resection's tests and
// its accuracy table: a pinhole camera of given focal length, pixel pitch,
// principal point and pose, a radial lens, and non-planar sets of points on
// a wind-tunnel model's volume, projected and given Gaussian noise.
#pragma once

#include <cmath>
#include <random>
#include <vector>

#include "api/camera.h"
#include "resect/resectCoefficients.h"

namespace tamble::camerabench {

struct vec3 {
  double x = 0.0, y = 0.0, z = 0.0;
};

inline vec3 operator-(vec3 a, vec3 b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
inline double dot(vec3 a, vec3 b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline vec3 cross(vec3 a, vec3 b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline vec3 unit(vec3 a) {
  const double n = std::sqrt(dot(a, a));
  return {a.x / n, a.y / n, a.z / n};
}

// How a lens bends the picture. `projection`: the ideal sensor offset u
// (length units) shows at u / (1 + k1 r^2 + k2 r^4), r = |u|: the
// resection's own model. `polynomial`: it shows at u (1 + k1 r^2 + k2 r^4),
// the model most calibration libraries use, which the resection only
// approximates.
enum class lensForm { projection, polynomial };

struct trueCamera {
  double focus = 25.0;    // mm
  double pitch = 0.0065;  // mm per pixel
  int width = 2048, height = 2048;
  double cx = 1023.5, cy = 1023.5;  // principal point, pixels
  vec3 position;
  vec3 axes[3];  // the camera's x (right), y (down) and z (forward) in model coordinates
  lensTerms lens;
  lensForm form = lensForm::projection;

  // Aimed from `from` at `target`, turned by `rollDegrees` about its axis.
  void aim(vec3 from, vec3 target, double rollDegrees) {
    position = from;
    const vec3 z = unit(target - from);
    const vec3 x0 = unit(cross(z, {0.0, 0.0, 1.0}));
    const vec3 y0 = cross(z, x0);
    const double r = rollDegrees * 3.14159265358979323846 / 180.0;
    const double c = std::cos(r), s = std::sin(r);
    axes[0] = {c * x0.x + s * y0.x, c * x0.y + s * y0.y, c * x0.z + s * y0.z};
    axes[1] = cross(z, axes[0]);
    axes[2] = z;
  }

  // Half the sensor's diagonal, mm.
  double radius() const { return 0.5 * pitch * std::hypot(width, height); }

  // Lens terms that move the frame's corner by `shift` pixels towards the
  // centre (barrel), four fifths by k1 and one fifth by k2.
  void bend(double shift, lensForm how) {
    form = how;
    const double R = radius(), moved = R - shift * pitch;
    const double total = how == lensForm::projection ? R / moved - 1.0 : moved / R - 1.0;
    lens = {0.8 * total / (R * R), 0.2 * total / (R * R * R * R)};
  }

  // The point in camera coordinates.
  vec3 toCamera(vec3 p) const {
    const vec3 d = p - position;
    return {dot(axes[0], d), dot(axes[1], d), dot(axes[2], d)};
  }

  // The image point of a model point; false behind the camera.
  bool project(vec3 p, double& x, double& y) const {
    const vec3 c = toCamera(p);
    if (c.z <= 0.0) return false;
    double u = focus * c.x / c.z, v = focus * c.y / c.z;
    const double r2 = u * u + v * v, g = 1.0 + lens.k1 * r2 + lens.k2 * r2 * r2;
    const double s = form == lensForm::projection ? 1.0 / g : g;
    x = cx + s * u / pitch;
    y = cy + s * v / pitch;
    return true;
  }

  // Its camera file: the true pitch and frame, the centre and lens terms as
  // given (the correction terms of a lens the file describes).
  zel::cameraFeatures file(double centreX, double centreY, lensTerms correction) const {
    zel::cameraFeatures f;
    f.camera_ID = "synthetic";
    f.default_length_unit = "mm";
    f.focus = focus;
    f.dx = f.dy = pitch;
    f.ncx = f.nfx = width;
    f.ncy = f.nfy = height;
    f.cx = centreX;
    f.cy = centreY;
    f.a2 = correction.k1;
    f.a4 = correction.k2;
    return f;
  }
  // The file of a camera known exactly: its centre and its lens (for the
  // resection's own lens form; zero otherwise).
  zel::cameraFeatures exactFile() const {
    return file(cx, cy, form == lensForm::projection ? cameraLens(lens, radius()) : lensTerms{});
  }
};

// The camera of the synthetic runs: 25 mm on a 2048 square of 6.5 um pixels,
// above the model's left side, with a mild barrel lens.
inline trueCamera overheadCamera() {
  trueCamera c;
  c.cx = 1029.7;
  c.cy = 1017.2;
  c.aim({450.0, -900.0, 1800.0}, {450.0, 0.0, 0.0}, 2.0);
  c.bend(8.0, lensForm::projection);
  return c;
}

// A short wide lens close to the model, from the right and ahead of it, on
// a 1600 by 1200 frame of 5.5 um pixels, with a strong barrel.
inline trueCamera wideCamera() {
  trueCamera c;
  c.focus = 12.0;
  c.pitch = 0.0055;
  c.width = 1600;
  c.height = 1200;
  c.cx = 796.0;
  c.cy = 604.5;
  c.aim({-150.0, 750.0, 800.0}, {500.0, 0.0, 50.0}, -4.0);
  c.bend(30.0, lensForm::projection);
  return c;
}

// Pairs of model points (mm) and their image points (pixels).
struct pointSet {
  std::vector<double> X, Y, Z, x, y;
  int size() const { return static_cast<int>(X.size()); }
};

// `count` points of the model's volume (900 mm long, 840 mm span, 220 mm
// high) that the camera sees at least 20 pixels inside its frame, with
// Gaussian noise of `noise` pixels on each image coordinate.
inline pointSet scatter(const trueCamera& camera, int count, double noise, unsigned seed) {
  std::mt19937_64 random(seed);
  std::uniform_real_distribution<double> along(0.0, 900.0), span(-420.0, 420.0), up(-60.0, 160.0);
  std::normal_distribution<double> gauss(0.0, 1.0);
  pointSet s;
  while (s.size() < count) {
    const vec3 p{along(random), span(random), up(random)};
    double x = 0.0, y = 0.0;
    if (!camera.project(p, x, y) || x < 20 || y < 20 || x > camera.width - 21 ||
        y > camera.height - 21)
      continue;
    s.X.push_back(p.x);
    s.Y.push_back(p.y);
    s.Z.push_back(p.z);
    s.x.push_back(x + noise * gauss(random));
    s.y.push_back(y + noise * gauss(random));
  }
  return s;
}

}  // namespace tamble::camerabench
