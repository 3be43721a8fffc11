// The scene's geometry and paint law: the camera's rays meet the model
// where its projection came from, the lens and the motion invert, the
// distortion has the strength asked for, and the paint's ratio solves its
// law; the options refuse what they cannot do.
#include <gtest/gtest.h>

#include <cmath>

#include "apps/synth/model.h"
#include "apps/synth/options.h"
#include "apps/synth/paint.h"
#include "apps/synth/scene.h"

namespace {

using namespace tamble::synth;

// Rays meet the model where its points project; the model fits the frame.
TEST(SynthGeometry, RaysMeetTheModelWhereItsPointsProject) {
  const windTunnelModel model;
  const pinholeCamera camera(1024, 768);
  int seen = 0;
  for (double X = 20; X < 900; X += 37)
    for (double Y = -400; Y <= 400; Y += 29) {
      const surfacePoint p = model.locate(X, Y);
      if (p.part == modelPart::none) continue;
      ++seen;
      const vec3 back = camera.cast(model, camera.project(p.at));
      EXPECT_NEAR(back.x, p.at.x, 1e-6);
      EXPECT_NEAR(back.y, p.at.y, 1e-6);
      EXPECT_NEAR(back.z, p.at.z, 1e-6);
    }
  EXPECT_GT(seen, 100);
  // The whole model is on the frame, with a margin, at any aspect.
  for (const auto& [w, h] : {std::pair{640, 480}, std::pair{300, 800}}) {
    const pinholeCamera c(w, h);
    for (const vec3& tip : {vec3{0, 0, 0}, vec3{900, 0, 0}, vec3{700, 420, 0}, vec3{700, -420, 0}}) {
      const vec2 p = c.project(tip);
      EXPECT_GT(p.x, 0.03 * w);
      EXPECT_LT(p.x, 0.97 * w);
      EXPECT_GT(p.y, 0.03 * h);
      EXPECT_LT(p.y, 0.97 * h);
    }
  }
}

// Lens and motion invert and have the strength asked for.
TEST(SynthGeometry, LensAndMotionInvertAndHaveTheStrengthAskedFor) {
  const vec2 centre{530.2, 500.7};
  const double corner = std::hypot(530.2, 500.7);
  const lensDistortion lens = lensDistortion::forShift(centre, corner, 3.0);
  const vec2 farCorner = lens.undistort({0.0, 0.0});
  EXPECT_NEAR(std::hypot(farCorner.x - centre.x, farCorner.y - centre.y), corner - 3.0, 1e-9);
  EXPECT_NEAR(lens.a4 * corner * corner / lens.a2, 0.25, 1e-12);
  for (const vec2 p : {vec2{3, 7}, vec2{900, 40}, centre, vec2{512, 1000}}) {
    const vec2 back = lens.undistort(lens.distort(p));
    EXPECT_NEAR(back.x, p.x, 1e-9);
    EXPECT_NEAR(back.y, p.y, 1e-9);
  }

  std::vector<vec2> model;
  for (double x = 100; x <= 900; x += 50)
    for (double y = 200; y <= 800; y += 50) model.push_back({x, y});
  const modelMotion motion({500, 500}, 420, 5.0, model.data(), static_cast<int>(model.size()));
  EXPECT_FALSE(motion.still());
  double most = 0.0;
  for (const vec2& p : model) {
    const vec2 moved = motion.apply(p);
    most = std::max(most, std::hypot(moved.x - p.x, moved.y - p.y));
    const vec2 back = motion.invert(moved);
    EXPECT_NEAR(back.x, p.x, 1e-9);
    EXPECT_NEAR(back.y, p.y, 1e-9);
  }
  EXPECT_NEAR(most, 5.0, 0.01);
  // It bends: the move is not one of a rigid body.
  const vec2 a = motion.apply({500, 200}), b = motion.apply({500, 800}), c = motion.apply({500, 500});
  EXPECT_GT(std::fabs((a.x + b.x) / 2 - c.x), 0.5);
  EXPECT_TRUE(modelMotion({500, 500}, 420, 0.0, model.data(), 1).still());
}

// The paint's ratio solves its law at both states.
TEST(SynthPaint, TheRatioSolvesTheLawAtBothStates) {
  for (paintKind kind : {paintKind::doublePaint, paintKind::temperaturePaint}) {
    const paintPhysics paint(kind);
    const bool temperature = kind == paintKind::temperaturePaint;
    const double s0 = temperature ? paint.windOffPressure : paint.flow.T_wind_off;
    const double v0 = temperature ? paint.flow.T_wind_off : paint.flow.P_wind_off;
    EXPECT_NEAR(paint.law.value(s0, paint.windOffRatio), v0, 1e-9 * std::fabs(v0));
    EXPECT_GT(std::fabs(paint.law.C(s0)), 1e-3) << "a law without its square term is refused";
    for (double v : temperature ? std::vector<double>{20, 25, 31} : std::vector<double>{40e3, 9e4}) {
      const double r = temperature ? paint.windOnRatio(0, v) : paint.windOnRatio(v, 0);
      const double s1 = temperature ? paint.windOnPressure : paint.flow.T_wind_on;
      EXPECT_NEAR(paint.law.value(s1, r), v, 1e-9 * v);
    }
    // The coefficients are single-precision numbers, as the calculation reads them.
    for (double c : paint.law.c) EXPECT_EQ(c, static_cast<float>(c));
  }
  // Lower pressure, more light: the pressure paint is quenched by oxygen.
  const paintPhysics psp(paintKind::singlePaint);
  EXPECT_GT(paintPhysics::sensorLight(psp.windOnRatio(50e3, 0)),
            paintPhysics::sensorLight(psp.windOffRatio));
}

// Option words parse, read back, and are refused with the reason.
TEST(SynthOptions, WordsParseAndRefuseWithTheReason) {
  const runOptions o = parseRunOptions({"paint=temperature", "size=640x480", "noise=0.5",
                                        "markers=30", "diameter=9", "sign=bright", "motion=0",
                                        "distortion=-3", "lamp=1.1", "seed=18446744073709551615",
                                        "depth=float"});
  EXPECT_EQ(o.paint, paintKind::temperaturePaint);
  EXPECT_EQ(o.height, 480);
  EXPECT_EQ(o.seed, 18446744073709551615ull);
  EXPECT_TRUE(o.floatFrames);
  EXPECT_EQ(o.lampRatio(), 1.1);
  // The words of a run read back as the same run.
  const runOptions again = parseRunOptions(optionWords(o));
  EXPECT_EQ(optionWords(again), optionWords(o));
  EXPECT_EQ(parseRunOptions({"paint=single"}).lampRatio(), 1.0);

  auto refusal = [](const std::string& word) {
    try {
      parseRunOptions({word});
    } catch (const optionError& e) {
      return std::string(e.what());
    }
    return std::string("accepted");
  };
  EXPECT_EQ(refusal("paint=triple"), "paint: 'triple' is none of double, single, temperature");
  EXPECT_EQ(refusal("size=32"), "size: '32' lies outside 64 to 8192");
  EXPECT_EQ(refusal("size=100x"), "size: '' is not a whole number");
  EXPECT_EQ(refusal("diameter=big"), "diameter: 'big' is not a number");
  EXPECT_EQ(refusal("seed=-4"), "seed: '-4' is not a whole number from 0 to 18446744073709551615");
  EXPECT_EQ(refusal("colour=red").rfind("unknown option 'colour'; the options are paint, size", 0),
            0u);
  EXPECT_EQ(refusal("noise"), "'noise' is not of the form key=value");
  // A lens stronger than a twentieth of the frame's radius is refused.
  EXPECT_THROW(makeRun(parseRunOptions({"size=128", "distortion=10"})), optionError);
}

}  // namespace
