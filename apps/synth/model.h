// The model of a synthetic run and how the camera sees it: a body with a
// swept wing, its surface pressure and temperature fields and the thickness
// of its paint; a pinhole camera with a radial lens distortion; and the
// motion of the model's picture between wind-off and wind-on.
//
// Lengths on the model are in millimetres: X runs downstream from the nose,
// Y along the span (positive on the right wing), Z up. Pixel positions are
// column and row with pixel (i, j) centred on (i, j).
#pragma once

namespace tamble::synth {

struct vec2 {
  double x = 0.0;
  double y = 0.0;
};

struct vec3 {
  double x = 0.0;
  double y = 0.0;
  double z = 0.0;
};

// The parts of the model a point can lie on.
enum class modelPart { none, wing, body };

// A point of the model's surface with the coordinates its fields use.
struct surfacePoint {
  vec3 at;
  modelPart part = modelPart::none;
  double chord = 0.0;  // wing: fraction of the local chord from the leading edge
  double span = 0.0;   // wing: |Y| over the semi-span; body: X over its length
};

// A body of revolution (flattened to a height field) with a low, swept,
// tapered wing through it. The surface is Z = height(X, Y) over the whole
// plane: beyond the model's outline the formulas go on smoothly, so that a
// ray always meets the surface and the outline is where the met point leaves
// the planform.
class windTunnelModel {
 public:
  static constexpr double bodyLength = 900.0;
  static constexpr double bodyRadius = 55.0;
  static constexpr double semiSpan = 420.0;
  static constexpr double rootChord = 300.0;
  static constexpr double taper = 0.35;
  static constexpr double rootLeadingEdge = 330.0;  // X of the leading edge at Y = 0
  static constexpr double sweep = 0.57735026918962576;  // tan 30 degrees

  double height(double X, double Y) const;
  // What the surface point above (X, Y) belongs to.
  surfacePoint locate(double X, double Y) const;

  // The pressure coefficient of the wind-on flow: a stagnation point and a
  // suction peak at the wing's leading edge, a plateau ended by a shock
  // (a steep rise a few millimetres wide) and a recovery towards the
  // trailing edge; on the body a stagnation at the nose and a mild suction.
  double cp(const surfacePoint& p) const;
  // The wind-on surface temperature in degrees Celsius: laminar flow ahead
  // of a transition front, warmer turbulent flow behind it, a turbulent
  // wedge behind a roughness on the right wing, a warm leading edge.
  double temperature(const surfacePoint& p) const;
  // The relative thickness of the paint (about 0.87 to 1.13): spraying
  // leaves broad waves and faint stripes.
  double paintThickness(const surfacePoint& p) const;

  // The wing's chord and leading edge at |Y|.
  static double chordAt(double absY);
  static double leadingEdgeAt(double absY);
  static double bodyRadiusAt(double X);
};

// Radial lens distortion around the optical centre (pixels): a camera pixel
// at offset e from the centre shows what an ideal lens puts at
// e / s(|e|^2), s(r2) = 1 + a2 r2 + a4 r2^2.
struct lensDistortion {
  vec2 centre;
  double a2 = 0.0;
  double a4 = 0.0;

  double factor(double r2) const { return a4 * r2 * r2 + a2 * r2 + 1.0; }
  vec2 undistort(vec2 camera) const;
  // The inverse, by the fixed-point iteration e = d s(|e|^2).
  vec2 distort(vec2 ideal) const;
  // Coefficients that move the frame corner farthest from the centre by
  // `shift` pixels towards it (positive, pincushion) or away (negative,
  // barrel), four fifths of it by a2 and one fifth by a4.
  static lensDistortion forShift(vec2 centre, double cornerRadius, double shift);
};

// A pinhole camera looking down at the model from above its left side.
class pinholeCamera {
 public:
  // A frame of width by height pixels; the shorter side spans 13.312 mm of
  // sensor (2048 pixels of 6.5 um) behind a 25 mm lens.
  pinholeCamera(int width, int height);

  int width = 0;
  int height = 0;
  double focus = 25.0;  // mm
  double pitch = 0.0;   // mm per pixel
  vec2 centre;          // the optical centre, pixels
  vec3 position;        // mm
  double rotation[3][3] = {};  // rows: the camera's x, y and z axes in model coordinates

  // Ideal (undistorted) pixel of a model point.
  vec2 project(const vec3& point) const;
  // The model point that the ideal pixel sees: the ray met with the surface.
  vec3 cast(const windTunnelModel& model, vec2 ideal) const;
};

// The picture of the model moves between wind-off and wind-on: a rotation
// about the model's centre, a translation and a smooth bending that grows
// towards the wing tips (a polynomial of the third order). `apply` takes an
// ideal wind-off pixel to the ideal wind-on pixel of the same model point.
class modelMotion {
 public:
  modelMotion() = default;
  // Scaled so that no point of the model moves by more than `largest`
  // pixels; `modelPixels` are ideal wind-off pixels of the model, `centre`
  // and `halfSize` its middle and half extent in pixels.
  modelMotion(vec2 centre, double halfSize, double largest, const vec2* modelPixels, int count);

  // True when the model stays where it was: the wind-on picture is then
  // the wind-off one, bit for bit.
  bool still() const { return !moving; }
  vec2 apply(vec2 windOff) const;
  // The wind-off pixel that moves to `windOn`.
  vec2 invert(vec2 windOn) const;

  double angle = 0.0;  // radians
  vec2 shift;          // pixels
  double bendX = 0.0, bendY = 0.0, shear = 0.0;  // pixels at the tips
  vec2 centre;
  double halfSize = 1.0;

 private:
  bool moving = false;
  double cosAngle = 1.0, sinAngle = 0.0;
  void setAngle(double a);
};

}  // namespace tamble::synth
