// Carrying an image onto the mesh: exact values where pixels and nodes
// coincide, and the missing value for nodes the camera cannot see.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <vector>

#include "api/image.h"
#include "resect/meshSampling.h"

namespace {

using namespace tamble;
using vec = zel::xyzVec<double>;
constexpr double missing = zel::field_data<double>::missing;

// A surface block of ni x nj nodes at surface(i, j).
zel::meshBlock sheet(int ni, int nj, const std::function<vec(int, int)>& surface) {
  zel::meshBlock b;
  b.ni = ni;
  b.nj = nj;
  b.nk = 1;
  for (int j = 0; j < nj; ++j)
    for (int i = 0; i < ni; ++i) b.nodes.push_back(surface(i, j));
  return b;
}

// A projection with no lens: pixel = (scale X, scale Y), seen straight down
// the Z axis from infinitely far (every node at one depth).
cameraProjection headOn(double scale) {
  cameraProjection p;
  p.coefficients.ax = {0, scale, 0, 0, 1, 0, 0, 0};
  p.coefficients.ay = {0, 0, scale, 0, 1, 0, 0, 0};
  return p;
}

// A pinhole at (0, 0, -D) looking along +Z, focal length f pixels, optical
// centre (cx, cy).
cameraProjection pinhole(double f, double D, double cx, double cy) {
  cameraProjection p;
  p.coefficients.ax = {cx * D, f, 0, cx, D, 0, 0, 1};
  p.coefficients.ay = {cy * D, 0, f, cy, D, 0, 0, 1};
  return p;
}

zel::image rampImage(int w, int h) {
  zel::image img(w, h);
  img.bkgr().fill(false);
  img.ROI().fill(true);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) img.field()(x, y) = static_cast<float>(x + 1000 * y);
  return img;
}

TEST(MeshSampling, AFlatPlateHeadOnTakesThePixelValues) {
  const zel::image img = rampImage(40, 30);
  zel::field_data<double> mesh;
  // Nodes on whole pixels, on half pixels, and one row off the image.
  mesh.blocks.push_back(sheet(40, 31, [](int i, int j) { return vec(i * 0.5, j * 0.5, 0.0); }));
  std::vector<std::vector<double>> values;
  const samplingCounts counts = sampleMesh(mesh, headOn(2.0), img, values);
  const zel::meshBlock& b = mesh.blocks[0];
  for (int j = 0; j < b.nj; ++j)
    for (int i = 0; i < b.ni; ++i) {
      const double v = values[0][b.at(i, j, 0)];
      if (j == 30) {
        EXPECT_EQ(v, missing) << i;  // y = 30 is past the last row
        continue;
      }
      EXPECT_EQ(v, static_cast<double>(i + 1000 * j)) << i << "," << j;
    }
  EXPECT_EQ(counts.seen, 40u * 30u);
  EXPECT_EQ(counts.outside, 40u);

  // Between pixels, the bilinear mean; background and NaN pixels drop out.
  zel::image masked = rampImage(40, 30);
  masked.bkgr()(11, 5) = true;
  masked.field()(20, 5) = std::numeric_limits<float>::quiet_NaN();
  struct row {
    double X, Y, expected;
  };
  const row rows[] = {
      {5.25, 1.5, 10.5 + 3000.0},                          // between two pixels of a row
      {5.25, 2.75, (10.0 + 5000 + 10 + 6000 + 11 + 6000) / 3.0},  // (11, 5) is background
      {9.75, 2.5, 19.0 + 5000.0},                          // (20, 5) is NaN
      {9.75, 2.75, (19.0 + 5000 + 19 + 6000 + 20 + 6000) / 3.0},
      {5.5, 2.5, missing},  // on the background pixel itself: nothing usable
  };
  zel::field_data<double> points;
  points.blocks.push_back(sheet(5, 1, [&](int i, int) { return vec(rows[i].X, rows[i].Y, 0.0); }));
  sampleMesh(points, headOn(2.0), masked, values);
  for (int i = 0; i < 5; ++i) EXPECT_DOUBLE_EQ(values[0][i], rows[i].expected) << i;
}

TEST(MeshSampling, NodesBehindTheModelKeepTheMissingValue) {
  // A small near plate in front of a large far one, seen by a pinhole.
  const zel::image img = rampImage(200, 200);
  zel::field_data<double> mesh;
  mesh.blocks.push_back(sheet(11, 11, [](int i, int j) { return vec(i - 5.0, j - 5.0, 0.0); }));
  mesh.blocks.push_back(
      sheet(41, 41, [](int i, int j) { return vec((i - 20) * 0.5, (j - 20) * 0.5, 10.0); }));
  const cameraProjection p = pinhole(100.0, 100.0, 100.0, 100.0);
  std::vector<std::vector<double>> values;
  const samplingCounts counts = sampleMesh(mesh, p, img, values);
  for (double v : values[0]) EXPECT_NE(v, missing);  // the near plate is seen whole
  const zel::meshBlock& far = mesh.blocks[1];
  std::size_t hidden = 0;
  for (std::size_t k = 0; k < far.count(); ++k) {
    const vec& n = far.nodes[k];
    // Where the ray to the node passes the near plate's plane.
    const double s = 100.0 / 110.0;
    // Within a pixel of the near plate's edge a node may count as seen.
    const bool behind = std::fabs(n.x * s) < 4.0 && std::fabs(n.y * s) < 4.0;
    const bool clear = std::fabs(n.x * s) > 5.1 || std::fabs(n.y * s) > 5.1;
    if (behind) {
      EXPECT_EQ(values[1][k], missing) << n.x << "," << n.y;
    }
    if (clear) {
      EXPECT_NE(values[1][k], missing) << n.x << "," << n.y;
    }
    hidden += values[1][k] == missing;
  }
  EXPECT_EQ(counts.hidden, hidden);
}

TEST(MeshSampling, NodesFacingAwayKeepTheMissingValue) {
  // A closed tube around the y axis, seen from the side: the back half faces
  // away and lies behind the front.
  const zel::image img = rampImage(300, 300);
  zel::field_data<double> mesh;
  const double pi = 3.14159265358979;
  mesh.blocks.push_back(sheet(73, 11, [&](int i, int j) {
    const double a = 2.0 * pi * i / 72.0;
    return vec(10.0 * std::cos(a), j - 5.0, 10.0 * std::sin(a));
  }));
  const cameraProjection p = pinhole(300.0, 200.0, 150.0, 150.0);
  std::vector<std::vector<double>> values;
  const samplingCounts counts = sampleMesh(mesh, p, img, values);
  const zel::meshBlock& b = mesh.blocks[0];
  for (int i = 0; i < b.ni; ++i)
    for (int j = 0; j < b.nj; ++j) {
      const vec& n = b.nodes[b.at(i, j, 0)];
      // The outward normal (x, 0, z) against the view towards (0, y, -200).
      const vec view(-n.x, -n.y, -200.0 - n.z);
      const double cosine = (n.x * view.x + n.z * view.z) /
                            (10.0 * std::sqrt(view.x * view.x + view.y * view.y + view.z * view.z));
      const double v = values[0][b.at(i, j, 0)];
      if (cosine < 0.05) {
        EXPECT_EQ(v, missing) << i << "," << j;
      }
      if (cosine > 0.15) {
        EXPECT_NE(v, missing) << i << "," << j;
      }
    }
  EXPECT_GT(counts.facingAway + counts.hidden, counts.nodes / 3);
  EXPECT_GT(counts.seen, counts.nodes / 3);
}

}  // namespace
