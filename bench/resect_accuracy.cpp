// The accuracy table of the resection on cameras with a known truth: for
// each camera, noise level and number of points, the reprojection error of
// Resect 1 and Resect 2 with and without the calibration solver, beside
// OpenCV's calibrateCamera on the same points when it is installed; the
// focal length, pose and lens recovered against the true ones; the solver's
// time. Run by hand: build/<dir>/bench/resect_accuracy
//
// "fit" is the RMS distance in pixels between the projected and the
// measured points used; "truth" the RMS distance between the projection and
// the noise-free image of 300 other points of the same volume: what the
// camera would make of the rest of the model.
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "api/report.h"
#include "bench/cameraScenes.h"
#include "bench/silentReport.h"
#include "resect/cameraCalibration.h"
#include "resect/cameraPose.h"

#ifdef TAMBLE_BENCH_OPENCV
#include <opencv2/calib3d.hpp>
#endif

namespace {

using namespace tamble;
using namespace tamble::camerabench;

struct outcome {
  bool ok = false;
  double fit = 0.0, truth = 0.0;
  double focus = 0.0;        // mm
  double position = 0.0;     // distance from the true camera centre, mm
  double angle = 0.0;        // rotation error, degrees
  double cornerShift = 0.0;  // the lens's shift at the frame's corner, pixels
  double centreError = 0.0;  // of the optical centre, pixels
  double seconds = 0.0;
};

struct scene {
  trueCamera truth;
  pointSet used, fresh;
  zel::cameraFeatures file;  // nominal centre, half the lens
};

double rms(const std::vector<double>& d2) {
  double s = 0.0;
  for (double v : d2) s += v;
  return d2.empty() ? 0.0 : std::sqrt(s / d2.size());
}

template <class Project>
double rmsOver(const pointSet& s, Project project) {
  std::vector<double> d2;
  for (int i = 0; i < s.size(); ++i) {
    double x = 0, y = 0;
    project(s.X[i], s.Y[i], s.Z[i], x, y);
    d2.push_back((x - s.x[i]) * (x - s.x[i]) + (y - s.y[i]) * (y - s.y[i]));
  }
  return rms(d2);
}

double rotationError(const double a[3][3], const vec3 b[3]) {
  double trace = 0.0;  // of a b^T
  for (int i = 0; i < 3; ++i) trace += a[i][0] * b[i].x + a[i][1] * b[i].y + a[i][2] * b[i].z;
  return std::acos(std::max(-1.0, std::min(1.0, (trace - 1.0) / 2.0))) * 180.0 / 3.14159265358979;
}

// Shift at the corner in pixels of a lens in the projection form.
double cornerShift(const lensTerms& lens, double R, double pitch) {
  return (R - R / (1.0 + lens.k1 * R * R + lens.k2 * R * R * R * R)) / pitch;
}

outcome ours(const scene& s, int type, bool optimize, bool centre = false) {
  zel::markersArray image, model;
  for (int i = 0; i < s.used.size(); ++i) {
    image.add({s.used.x[i], s.used.y[i], 0, 0, true, 0});
    model.add({s.used.X[i], s.used.Y[i], s.used.Z[i], 0, true, 0});
  }
  outcome o;
  const auto start = std::chrono::steady_clock::now();
  const calibrationOutcome c =
      calibrateFromMarkers(image, model, s.file, type, optimize, centre, "bench");
  o.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  o.ok = c.solved;
  if (!o.ok) return o;
  const cameraProjection& p = c.projection;
  const auto project = [&](double X, double Y, double Z, double& x, double& y) {
    p.project(X, Y, Z, x, y);
  };
  o.fit = rmsOver(s.used, project);
  o.truth = rmsOver(s.fresh, project);
  cameraPose pose;
  if (poseOf(p.coefficients, pose)) {
    o.focus = 0.5 * (pose.fx + pose.fy);
    o.position = std::sqrt(std::pow(pose.position[0] - s.truth.position.x, 2) +
                           std::pow(pose.position[1] - s.truth.position.y, 2) +
                           std::pow(pose.position[2] - s.truth.position.z, 2));
    o.angle = rotationError(pose.axes, s.truth.axes);
  }
  o.cornerShift = cornerShift(p.lens, s.truth.radius(), s.truth.pitch);
  o.centreError = std::hypot(c.camera.cx - s.truth.cx, c.camera.cy - s.truth.cy);
  return o;
}

#ifdef TAMBLE_BENCH_OPENCV
// calibrateCamera on the one view, from the camera file's focal length and
// centre, with k1 and k2 free (k3 and the tangential terms fixed at 0).
outcome opencv(const scene& s) {
  std::vector<cv::Point3f> object;
  std::vector<cv::Point2f> picture;
  for (int i = 0; i < s.used.size(); ++i) {
    object.emplace_back(float(s.used.X[i]), float(s.used.Y[i]), float(s.used.Z[i]));
    picture.emplace_back(float(s.used.x[i]), float(s.used.y[i]));
  }
  const double f = s.file.focus / s.file.dx;
  cv::Mat K = (cv::Mat_<double>(3, 3) << f, 0, s.file.cx, 0, f, s.file.cy, 0, 0, 1);
  cv::Mat dist = cv::Mat::zeros(1, 5, CV_64F);
  std::vector<cv::Mat> rvecs, tvecs;
  outcome o;
  const auto start = std::chrono::steady_clock::now();
  try {
    cv::calibrateCamera(
        std::vector<std::vector<cv::Point3f>>{object},
        std::vector<std::vector<cv::Point2f>>{picture}, cv::Size(s.truth.width, s.truth.height), K,
        dist, rvecs, tvecs,
        cv::CALIB_USE_INTRINSIC_GUESS | cv::CALIB_FIX_K3 | cv::CALIB_ZERO_TANGENT_DIST);
  } catch (const cv::Exception&) {
    return o;
  }
  o.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  o.ok = true;
  const auto project = [&](double X, double Y, double Z, double& x, double& y) {
    std::vector<cv::Point3d> in{{X, Y, Z}};
    std::vector<cv::Point2d> out;
    cv::projectPoints(in, rvecs[0], tvecs[0], K, dist, out);
    x = out[0].x;
    y = out[0].y;
  };
  o.fit = rmsOver(s.used, project);
  o.truth = rmsOver(s.fresh, project);
  const double fx = K.at<double>(0, 0), fy = K.at<double>(1, 1);
  o.focus = 0.5 * (fx + fy) * s.file.dx;
  cv::Mat R;
  cv::Rodrigues(rvecs[0], R);
  double axes[3][3];
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) axes[i][j] = R.at<double>(i, j);
  cv::Mat C = -R.t() * tvecs[0];
  o.position = std::sqrt(std::pow(C.at<double>(0) - s.truth.position.x, 2) +
                         std::pow(C.at<double>(1) - s.truth.position.y, 2) +
                         std::pow(C.at<double>(2) - s.truth.position.z, 2));
  o.angle = rotationError(axes, s.truth.axes);
  const double rn = s.truth.radius() / s.file.dx / (0.5 * (fx + fy));
  const double k1 = dist.at<double>(0), k2 = dist.at<double>(1);
  o.cornerShift = -(k1 * rn * rn + k2 * rn * rn * rn * rn) * s.truth.radius() / s.file.dx;
  o.centreError = std::hypot(K.at<double>(0, 2) - s.truth.cx, K.at<double>(1, 2) - s.truth.cy);
  return o;
}
#endif

std::string cell(const outcome& o) {
  if (!o.ok) return "failed";
  char text[64];
  std::snprintf(text, sizeof text, "%.3f / %.3f", o.fit, o.truth);
  return text;
}

std::string pose(const outcome& o) {
  if (!o.ok) return "failed | | | | ";
  char text[128];
  std::snprintf(text, sizeof text, "%.3f | %.1f | %.3f | %.2f | %.2f", o.focus, o.position, o.angle,
                o.cornerShift, o.centreError);
  return text;
}

}  // namespace

int main(int argc, char** argv) {
  tamble::bench::silentReport sink;
  zel::setReport(&sink);
  struct cameraCase {
    const char* name;
    trueCamera (*make)();
  } cameras[] = {{"overhead 25 mm", overheadCamera}, {"wide 12 mm", wideCamera}};
  const double noises[] = {0.0, 0.1, 0.5};
  std::vector<int> counts = {9, 20, 100, 500};
  if (argc > 1) counts.assign(1, std::atoi(argv[1]));
  std::printf(
      "Reprojection error, pixels RMS: fit (the points used) / truth (300 other points).\n"
      "The camera file has the frame's middle as its centre and no lens terms.\n\n");
  std::printf(
      "| camera | noise px | points | Resect 1 | Resect 1 + solver | Resect 2 | "
      "Resect 2 + solver | Resect 2 + solver + centre | OpenCV calibrateCamera | "
      "time s: R2 + solver, + centre, OpenCV |\n");
  std::printf("|---|---|---|---|---|---|---|---|---|---|\n");
  std::vector<std::string> poses;
  for (const cameraCase& c : cameras) {
    for (double noise : noises)
      for (int count : counts) {
        scene s;
        s.truth = c.make();
        s.used = scatter(s.truth, count, noise, 1000u + count);
        s.fresh = scatter(s.truth, 300, 0.0, 77u);
        s.file = s.truth.file((s.truth.width - 1) / 2.0, (s.truth.height - 1) / 2.0, {});
        const outcome r1 = ours(s, 0, false), r1s = ours(s, 0, true);
        const outcome r2 = ours(s, 1, false), r2s = ours(s, 1, true), r2c = ours(s, 1, true, true);
        outcome cv;
#ifdef TAMBLE_BENCH_OPENCV
        cv = opencv(s);
#endif
        std::printf("| %s | %.1f | %d | %s | %s | %s | %s | %s | %s | %.2f, %.2f, %.4f |\n", c.name,
                    noise, count, cell(r1).c_str(), cell(r1s).c_str(), cell(r2).c_str(),
                    cell(r2s).c_str(), cell(r2c).c_str(), cv.ok ? cell(cv).c_str() : "not run",
                    r2s.seconds, r2c.seconds, cv.seconds);
        if (count != 100 || noise != 0.1) continue;
        char line[512];
        std::snprintf(line, sizeof line, "| %s | truth | %.3f | 0 | 0 | %.2f | 0 |\n", c.name,
                      s.truth.focus, cornerShift(s.truth.lens, s.truth.radius(), s.truth.pitch));
        poses.push_back(line);
        const char* names[] = {"Resect 1",          "Resect 1 + solver",          "Resect 2",
                               "Resect 2 + solver", "Resect 2 + solver + centre", "OpenCV"};
        const outcome* all[] = {&r1, &r1s, &r2, &r2s, &r2c, &cv};
        for (int m = 0; m < 6; ++m) {
          std::snprintf(line, sizeof line, "| %s | %s | %s |\n", c.name, names[m],
                        pose(*all[m]).c_str());
          poses.push_back(line);
        }
      }
  }
  std::printf(
      "\nRecovered camera (100 points, noise 0.1 px): focal length mm, distance of the "
      "camera centre from the truth mm, rotation error degrees, the lens's shift at the "
      "frame's corner px (positive: towards the middle), optical centre error px\n\n");
  std::printf(
      "| camera | method | focal length | position error | angle error | corner shift | "
      "centre error |\n|---|---|---|---|---|---|---|\n");
  for (const std::string& line : poses) std::printf("%s", line.c_str());
  return 0;
}
