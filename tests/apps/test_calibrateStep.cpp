// tamble calibrate on marker files of a camera with a known truth: the
// improved camera file holds the true focal length, the lens and (with
// centre=on) the optical centre; every refusal says why and writes nothing.
#include <cmath>
#include <cstdio>
#include <string>

#include "api/camera.h"
#include "bench/cameraScenes.h"
#include "tests/apps/cliHarness.h"

namespace {

using namespace tamble::camerabench;
using tamble::testing::cliResult;
using tamble::testing::cliTest;
using tamble::testing::readText;
using tamble::testing::writeText;

class CliCalibrate : public cliTest {
 protected:
  // 40 exact pairs of the overhead camera (a lens moving the corner by 8
  // pixels) as image.mpt and model.mpt, and cam.cam with its pitch and frame
  // and the given centre, without lens terms.
  void SetUp() override {
    cliTest::SetUp();
    const pointSet s = scatter(truth, 40, 0.0, 3);
    std::string image, model;
    char line[128];
    for (int i = 0; i < s.size(); ++i) {
      std::snprintf(line, sizeof line, "%.17g %.17g 0\n", s.x[i], s.y[i]);
      image += line;
      std::snprintf(line, sizeof line, "%.17g %.17g %.17g\n", s.X[i], s.Y[i], s.Z[i]);
      model += line;
    }
    writeText(dir / "image.mpt", image);
    writeText(dir / "model.mpt", model);
  }
  void camera(double cx, double cy) {
    zel::cameraFeatures f = truth.file(cx, cy, {});
    f.focus = 20.0;
    ASSERT_TRUE(zel::write_camera(path("cam.cam"), f));
  }
  zel::cameraFeatures written(const std::string& name) {
    zel::cameraFeatures f;
    zel::read_camera(path(name), f);
    return f;
  }

  const trueCamera truth = overheadCamera();
};

// The measured offset m of an ideal corner offset rho, corrected with the
// file's a2 and a4, comes back to rho within a tenth of a pixel.
double correctionError(const zel::cameraFeatures& f, const trueCamera& t) {
  const double rho = 0.9 * t.radius(), r2 = rho * rho;
  const double m = rho / (1 + t.lens.k1 * r2 + t.lens.k2 * r2 * r2);
  return std::fabs(m * (1 + f.a2 * m * m + f.a4 * m * m * m * m) - rho) / t.pitch;
}

TEST_F(CliCalibrate, WritesTheCameraTheMarkersShow) {
  const struct {
    const char* options;
    bool trueCentre;
  } cases[] = {
      {"", true}, {"method=2", true}, {"method=2 centre=on", false}, {"method=1 centre=on", false}};
  for (const auto& c : cases) {
    camera(c.trueCentre ? truth.cx : 1023.5, c.trueCentre ? truth.cy : 1023.5);
    const cliResult r =
        tamble(std::string("calibrate image.mpt model.mpt cam.cam out.cam ") + c.options);
    ASSERT_EQ(r.status, 0) << c.options << r.err;
    EXPECT_NE(r.out.find("Initial Tsai or Brelin Method"), std::string::npos);
    const std::size_t at = r.out.find("x Max error = ");
    ASSERT_NE(at, std::string::npos);
    EXPECT_LT(std::stod(r.out.substr(at + 14)), 1e-3) << c.options << "\n" << r.out;
    const zel::cameraFeatures f = written("out.cam");
    EXPECT_NEAR(f.focus, truth.focus, 1e-3) << c.options;
    EXPECT_LT(correctionError(f, truth), 0.1) << c.options;
    EXPECT_NEAR(f.cx, truth.cx, 0.05) << c.options;
    EXPECT_NEAR(f.cy, truth.cy, 0.05) << c.options;
    EXPECT_EQ(f.camera_ID, "synthetic");
    EXPECT_EQ(f.ncx, truth.width);
    EXPECT_EQ(f.dy, truth.pitch);
    EXPECT_EQ(written("cam.cam").focus, 20.0) << "the input changed";
  }
}

// Each refusal names its reason; out.cam, there before, stays as it was.
TEST_F(CliCalibrate, RefusalsSayWhyAndWriteNothing) {
  camera(truth.cx, truth.cy);
  writeText(dir / "few.mpt", readText(dir / "image.mpt").substr(0, 200));
  zel::cameraFeatures flat = truth.file(truth.cx, truth.cy, {});
  flat.dx = 0;
  ASSERT_TRUE(zel::write_camera(path("flat.cam"), flat));
  writeText(dir / "out.cam", "before");
  const struct {
    const char* arguments;
    int status;
    const char* said;
  } cases[] = {
      {"few.mpt model.mpt cam.cam out.cam", 1,
       "Different count of the Geometry and Image markers\nerror: no camera was calibrated; "
       "out.cam is not written"},
      {"image.mpt model.mpt flat.cam out.cam", 1, "The camera has no pixel scale"},
      {"image.mpt model.mpt cam.cam cam.cam", 1, "'cam.cam' was read as input"},
      {"image.mpt model.mpt cam.cam out.cam method=0", 2, "method: '0' is neither 1 (Tsai) nor 2"},
      {"image.mpt model.mpt cam.cam out.cam solver=yes", 2, "solver: 'yes' is neither on nor off"},
      {"image.mpt none.mrk cam.cam out.cam", 1, "none.mrk: file not found"},
      {"image.mpt model.txt cam.cam out.cam", 2, "model.txt: not a marker file"},
  };
  for (const auto& c : cases) {
    const cliResult r = tamble(std::string("calibrate ") + c.arguments);
    EXPECT_EQ(r.status, c.status) << c.arguments;
    EXPECT_NE((r.out + r.err).find(c.said), std::string::npos) << c.arguments << "\n"
                                                               << r.out << r.err;
    EXPECT_EQ(readText(dir / "out.cam"), "before") << c.arguments;
  }
}

}  // namespace
