#include "apps/synth/model.h"

#include <algorithm>
#include <cmath>

#include "apps/synth/portableMath.h"

namespace tamble::synth {
namespace {

constexpr double wingBase = -10.0;       // Z of the wing's root chord line: a low wing
constexpr double dihedral = 0.05;        // rise of the wing per millimetre of span
constexpr double camber = 0.05;          // the wing's height above its chord line, per chord
constexpr double bodyFlatness = 0.5;     // the body's height over its radius
constexpr double noseLength = 0.3;       // of the body's length
constexpr double tailStart = 0.7;
constexpr double below = -1.0e9;         // no body here

double clamp01(double v) { return std::min(1.0, std::max(0.0, v)); }
double square(double v) { return v * v; }

vec3 cross(const vec3& a, const vec3& b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
vec3 normalised(const vec3& v) {
  const double n = std::sqrt(v.x * v.x + v.y * v.y + v.z * v.z);
  return {v.x / n, v.y / n, v.z / n};
}

double wingHeight(double X, double absY) {
  const double y = std::min(absY, windTunnelModel::semiSpan);
  const double c = windTunnelModel::chordAt(y);
  const double xi = clamp01((X - windTunnelModel::leadingEdgeAt(y)) / c);
  return wingBase + dihedral * y + 4.0 * camber * c * xi * (1.0 - xi);
}

double bodyHeight(double X, double Y) {
  const double r = windTunnelModel::bodyRadiusAt(X);
  if (r <= 0.0) return below;
  return bodyFlatness * r * (1.0 - square(Y / r));
}

// The wing's pressure coefficient at chord fraction xi and span fraction eta.
double wingCp(double xi, double eta) {
  const double shockAt = 0.58 - 0.10 * eta;
  const double behind = smoothStep((xi - shockAt) / 0.012);
  // The flow speeds up towards the shock, then recovers behind it.
  const double ahead = -0.50 - 0.12 * xi / shockAt;
  const double after = -0.12 + 0.32 * (xi - shockAt) / (1.0 - shockAt);
  const double plateau = (1.0 - behind) * ahead + behind * after;
  const double peak = -0.75 * portableExp(-square((xi - 0.05) / 0.045));
  const double stagnation = 1.65 * portableExp(-xi / 0.01);
  return (1.0 - 0.35 * eta * eta * eta) * (plateau + peak + stagnation);
}

double bodyCp(double x, double yOverRadius) {
  return 0.9 * portableExp(-x / 0.012) - 0.38 * portableExp(-square((x - 0.08) / 0.045)) - 0.06 -
         0.22 * portableExp(-square((x - 0.47) / 0.12)) + 0.15 * smoothStep((x - 0.9) / 0.03) -
         0.05 * yOverRadius * yOverRadius;
}

double wingTemperature(double xi, double eta, double Y, double chord) {
  const double front = 0.30 - 0.12 * eta;
  const double turbulent = smoothStep((xi - front) / 0.02);
  // A roughness at 55 % span, 8 % chord of the right wing trips a wedge of
  // turbulent flow that widens by 6 degrees to each side.
  const double tripY = 0.55 * windTunnelModel::semiSpan, tripAt = 0.08;
  const double downstream = (xi - tripAt) * chord;
  const double halfWidth = 0.105 * downstream + 2.0;
  const double wedge = Y > 0.0 ? smoothStep((halfWidth - std::fabs(Y - tripY)) / 1.5) *
                                     smoothStep(downstream / 3.0)
                               : 0.0;
  return 24.0 + 1.6 * portableExp(-xi / 0.04) + 2.4 * (turbulent + wedge * (1.0 - turbulent));
}

double bodyTemperature(double x) {
  return 25.0 + 1.2 * portableExp(-x / 0.03) + 0.9 * smoothStep((x - 0.2) / 0.04);
}

// A point off the model takes the fields of the part it lies nearer to, so
// that a pixel on the outline has finite values all through.
bool nearBody(const surfacePoint& p) {
  return p.part == modelPart::body ||
         (p.part == modelPart::none && std::fabs(p.at.y) < 1.5 * windTunnelModel::bodyRadius);
}

}  // namespace

double windTunnelModel::chordAt(double absY) {
  return rootChord * (1.0 - (1.0 - taper) * std::min(absY, semiSpan) / semiSpan);
}

double windTunnelModel::leadingEdgeAt(double absY) {
  return rootLeadingEdge + sweep * std::min(absY, semiSpan);
}

double windTunnelModel::bodyRadiusAt(double X) {
  const double x = X / bodyLength;
  if (x <= 0.0 || x >= 1.0) return 0.0;
  if (x < noseLength) return bodyRadius * (1.0 - square(1.0 - x / noseLength));
  if (x > tailStart) return bodyRadius * (1.0 - square((x - tailStart) / (1.0 - tailStart)));
  return bodyRadius;
}

double windTunnelModel::height(double X, double Y) const {
  return std::max(wingHeight(X, std::fabs(Y)), bodyHeight(X, Y));
}

surfacePoint windTunnelModel::locate(double X, double Y) const {
  surfacePoint p;
  p.at = {X, Y, height(X, Y)};
  const double absY = std::fabs(Y);
  const double chord = chordAt(absY);
  const double xi = (X - leadingEdgeAt(absY)) / chord;
  const bool inWing = absY <= semiSpan && xi >= 0.0 && xi <= 1.0;
  const double r = bodyRadiusAt(X);
  const bool inBody = r > 0.0 && absY <= r;
  if (inWing && (!inBody || wingHeight(X, absY) >= bodyHeight(X, Y))) {
    p.part = modelPart::wing;
  } else if (inBody) {
    p.part = modelPart::body;
  }
  if (p.part == modelPart::body || (p.part == modelPart::none && nearBody(p))) {
    p.chord = 0.0;
    p.span = clamp01(X / bodyLength);
  } else {
    p.chord = clamp01(xi);
    p.span = std::min(absY, semiSpan) / semiSpan;
  }
  return p;
}

double windTunnelModel::cp(const surfacePoint& p) const {
  if (nearBody(p)) {
    const double r = std::max(bodyRadiusAt(p.at.x), 1.0);
    return bodyCp(p.span, std::min(1.0, std::fabs(p.at.y) / r));
  }
  return wingCp(p.chord, p.span);
}

double windTunnelModel::temperature(const surfacePoint& p) const {
  if (nearBody(p)) return bodyTemperature(p.span);
  return wingTemperature(p.chord, p.span, p.at.y, chordAt(std::fabs(p.at.y)));
}

double windTunnelModel::paintThickness(const surfacePoint& p) const {
  const double X = p.at.x, Y = p.at.y;
  return 1.0 + 0.05 * portableCos(2.0 * pi * X / 240.0 + 0.6) * portableCos(2.0 * pi * Y / 180.0 - 0.3) +
         0.035 * (X - 450.0) / 450.0 - 0.03 * square(Y / semiSpan) +
         0.012 * portableCos(2.0 * pi * Y / 23.0 + X / 300.0);
}

// ---- Lens ------------------------------------------------------------------

vec2 lensDistortion::undistort(vec2 camera) const {
  const double ex = camera.x - centre.x, ey = camera.y - centre.y;
  const double s = factor(ex * ex + ey * ey);
  return {centre.x + ex / s, centre.y + ey / s};
}

vec2 lensDistortion::distort(vec2 ideal) const {
  const double dx = ideal.x - centre.x, dy = ideal.y - centre.y;
  double ex = dx, ey = dy;
  for (int i = 0; i < 200; ++i) {
    const double s = factor(ex * ex + ey * ey);
    const double nx = dx * s, ny = dy * s;
    const bool settled = std::fabs(nx - ex) < 1e-12 && std::fabs(ny - ey) < 1e-12;
    ex = nx;
    ey = ny;
    if (settled) break;
  }
  return {centre.x + ex, centre.y + ey};
}

lensDistortion lensDistortion::forShift(vec2 centre, double cornerRadius, double shift) {
  lensDistortion lens;
  lens.centre = centre;
  if (shift == 0.0) return lens;
  const double k = shift / (cornerRadius - shift);  // s - 1 at the corner
  const double r2 = cornerRadius * cornerRadius;
  lens.a2 = 0.8 * k / r2;
  lens.a4 = 0.2 * k / (r2 * r2);
  return lens;
}

// ---- Camera ----------------------------------------------------------------

pinholeCamera::pinholeCamera(int w, int h) : width(w), height(h) {
  const int shorter = std::min(w, h);
  pitch = 13.312 / shorter;
  centre = {(w - 1) / 2.0 + 0.011 * shorter, (h - 1) / 2.0 - 0.007 * shorter};
  position = {450.0, -480.0, 2000.0};
  const vec3 target{450.0, 0.0, 0.0};
  const vec3 z = normalised({target.x - position.x, target.y - position.y, target.z - position.z});
  const vec3 x0 = normalised({1.0 - z.x * z.x, -z.x * z.y, -z.x * z.z});
  const vec3 y0 = cross(z, x0);
  const double roll = 1.2 * pi / 180.0;
  const double c = portableCos(roll), s = portableSin(roll);
  const vec3 x{c * x0.x + s * y0.x, c * x0.y + s * y0.y, c * x0.z + s * y0.z};
  const vec3 y = cross(z, x);
  const vec3 axes[3] = {x, y, z};
  for (int i = 0; i < 3; ++i) {
    rotation[i][0] = axes[i].x;
    rotation[i][1] = axes[i].y;
    rotation[i][2] = axes[i].z;
  }
}

vec2 pinholeCamera::project(const vec3& point) const {
  const double d[3] = {point.x - position.x, point.y - position.y, point.z - position.z};
  double c[3];
  for (int i = 0; i < 3; ++i) c[i] = rotation[i][0] * d[0] + rotation[i][1] * d[1] + rotation[i][2] * d[2];
  const double f = focus / pitch;
  return {centre.x + f * c[0] / c[2], centre.y + f * c[1] / c[2]};
}

vec3 pinholeCamera::cast(const windTunnelModel& model, vec2 ideal) const {
  const double f = focus / pitch;
  const double cx = (ideal.x - centre.x) / f, cy = (ideal.y - centre.y) / f;
  vec3 dir;
  dir.x = rotation[0][0] * cx + rotation[1][0] * cy + rotation[2][0];
  dir.y = rotation[0][1] * cx + rotation[1][1] * cy + rotation[2][1];
  dir.z = rotation[0][2] * cx + rotation[1][2] * cy + rotation[2][2];
  // The ray meets the plane Z = z at (X, Y); the point of the surface there
  // is at height g(z) = height(X, Y), and the ray meets the surface where
  // g(z) = z. g is a contraction (the surface's slopes times the ray's tilt
  // stay well below 1), so z -> g(z) settles; a secant step through z and
  // g(z) speeds it up, kept only when it stays near the plain step.
  auto surfaceAt = [&](double z, double& X, double& Y) {
    const double t = (z - position.z) / dir.z;
    X = position.x + t * dir.x;
    Y = position.y + t * dir.y;
    return model.height(X, Y);
  };
  double X = 0.0, Y = 0.0;
  double z = 0.0;
  double step = surfaceAt(z, X, Y) - z;
  for (int i = 0; i < 60 && std::fabs(step) >= 1e-9; ++i) {
    const double plain = z + step;
    const double next = surfaceAt(plain, X, Y) - plain;
    const double bend = next - step;
    double z2 = plain;
    if (bend != 0.0) {
      const double secant = z - step * step / bend;
      if (std::fabs(secant - plain) <= 4.0 * std::fabs(step)) z2 = secant;
    }
    z = z2;
    step = surfaceAt(z, X, Y) - z;
  }
  return {X, Y, z + step};
}

// ---- Motion ----------------------------------------------------------------

void modelMotion::setAngle(double a) {
  angle = a;
  cosAngle = portableCos(a);
  sinAngle = portableSin(a);
}

modelMotion::modelMotion(vec2 middle, double half, double largest, const vec2* modelPixels,
                         int count)
    : centre(middle), halfSize(half) {
  if (!(largest > 0.0) || count == 0) return;
  moving = true;
  // The shape of the motion, in pixels at the model's edge; then scaled.
  setAngle(0.8 / halfSize);
  shift = {0.9, -0.6};
  bendX = 1.5;
  bendY = 0.5;
  shear = 0.4;
  double most = 0.0;
  for (int i = 0; i < count; ++i) {
    const vec2 moved = apply(modelPixels[i]);
    const double dx = moved.x - modelPixels[i].x, dy = moved.y - modelPixels[i].y;
    most = std::max(most, std::sqrt(dx * dx + dy * dy));
  }
  const double k = largest / most;
  setAngle(angle * k);
  shift = {shift.x * k, shift.y * k};
  bendX *= k;
  bendY *= k;
  shear *= k;
}

vec2 modelMotion::apply(vec2 p) const {
  const double dx = p.x - centre.x, dy = p.y - centre.y;
  const double u = dx / halfSize, v = dy / halfSize;
  return {centre.x + cosAngle * dx - sinAngle * dy + shift.x + bendX * v * v + shear * u * v,
          centre.y + sinAngle * dx + cosAngle * dy + shift.y + bendY * v * v * v};
}

vec2 modelMotion::invert(vec2 windOn) const {
  vec2 p = windOn;
  for (int i = 0; i < 100; ++i) {
    const vec2 moved = apply(p);
    const double ex = moved.x - windOn.x, ey = moved.y - windOn.y;
    p = {p.x - ex, p.y - ey};
    if (std::fabs(ex) < 1e-10 && std::fabs(ey) < 1e-10) break;
  }
  return p;
}

}  // namespace tamble::synth
