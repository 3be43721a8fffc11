#include "resect/meshSampling.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "api/field.h"

namespace tamble {

namespace {

using vec = zel::xyzVec<double>;

// A surface hides a node when it lies nearer the camera by more than this
// share of the node's depth (the depth buffer holds floats).
constexpr double depthTolerance = 1e-4;
// Seen at less than 6 degrees, a surface smears across its pixels.
constexpr double grazingCosine = 0.1;

struct projected {
  double x = 0.0, y = 0.0;
  double depth = 0.0;  // along the camera's axis, in the units of the record; > 0 in front
};

class projector {
 public:
  projector(const cameraProjection& p, double frontSign) : p(p), sign(frontSign) {}

  projected operator()(const vec& n) const {
    projected out;
    p.project(n.x, n.y, n.z, out.x, out.y);
    out.depth = sign * denominator(p.coefficients, n);
    return out;
  }
  static double denominator(const resectCoefficients& c, const vec& n) {
    return c.ax[4] + c.ax[5] * n.x + c.ax[6] * n.y + c.ax[7] * n.z;
  }

 private:
  const cameraProjection& p;
  double sign;
};

// The sign of the depth denominator over most nodes: the model lies in front
// of the camera.
double frontSign(const zel::field_data<double>& mesh, const resectCoefficients& c) {
  long balance = 0;
  for (const auto& b : mesh.blocks)
    for (const vec& n : b.nodes) balance += projector::denominator(c, n) >= 0.0 ? 1 : -1;
  return balance >= 0 ? 1.0 : -1.0;
}

// The camera's centre: the point where both numerators and the denominator
// vanish. `finite` is false for a camera at infinity (then `centre` is the
// direction towards it).
struct cameraCentre {
  vec centre;
  bool finite = false;
};

double det3(double a, double b, double c, double d, double e, double f, double g, double h,
            double i) {
  return a * (e * i - f * h) - b * (d * i - f * g) + c * (d * h - e * g);
}

cameraCentre centreOf(const resectCoefficients& c) {
  // Rows: x numerator, y numerator, denominator; columns X, Y, Z, 1.
  const double m[3][4] = {{c.ax[1], c.ax[2], c.ax[3], c.ax[0]},
                          {c.ay[1], c.ay[2], c.ay[3], c.ay[0]},
                          {c.ax[5], c.ax[6], c.ax[7], c.ax[4]}};
  auto minor = [&](int skip) {
    double r[3][3];
    for (int row = 0; row < 3; ++row)
      for (int col = 0, k = 0; col < 4; ++col)
        if (col != skip) r[row][k++] = m[row][col];
    return det3(r[0][0], r[0][1], r[0][2], r[1][0], r[1][1], r[1][2], r[2][0], r[2][1], r[2][2]);
  };
  const double X = minor(0), Y = -minor(1), Z = minor(2), W = -minor(3);
  cameraCentre out;
  const double scale = std::max({std::fabs(X), std::fabs(Y), std::fabs(Z)});
  out.finite = std::fabs(W) > 1e-12 * scale;
  out.centre = out.finite ? vec(X / W, Y / W, Z / W) : vec(X, Y, Z);
  return out;
}

vec minus(const vec& a, const vec& b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
double dot(const vec& a, const vec& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }

// The nodes' unit normals of a surface block (nk = 1): the cross product of
// the grid's i and j directions. Volume blocks and lines get none.
std::vector<vec> blockNormals(const zel::meshBlock& b) {
  if (b.nk != 1 || b.ni < 2 || b.nj < 2) return {};
  return zel::surfaceNormals(b.nodes.data(), b.ni, b.nj);
}

// Nearest surface per pixel, as the inverse depth (larger is nearer).
class depthBuffer {
 public:
  depthBuffer(int w, int h) : w(w), h(h), near(static_cast<std::size_t>(w) * h, 0.0f) {}

  void triangle(const projected& a, const projected& b, const projected& c) {
    if (a.depth <= 0.0 || b.depth <= 0.0 || c.depth <= 0.0) return;
    const double area = (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
    if (area == 0.0 || !std::isfinite(area)) return;
    const int x0 = std::max(0, static_cast<int>(std::ceil(std::min({a.x, b.x, c.x}))));
    const int x1 = std::min(w - 1, static_cast<int>(std::floor(std::max({a.x, b.x, c.x}))));
    const int y0 = std::max(0, static_cast<int>(std::ceil(std::min({a.y, b.y, c.y}))));
    const int y1 = std::min(h - 1, static_cast<int>(std::floor(std::max({a.y, b.y, c.y}))));
    const double ia = 1.0 / a.depth, ib = 1.0 / b.depth, ic = 1.0 / c.depth;
    for (int y = y0; y <= y1; ++y)
      for (int x = x0; x <= x1; ++x) {
        // Barycentric weights of the pixel centre.
        const double wa = ((b.x - x) * (c.y - y) - (b.y - y) * (c.x - x)) / area;
        const double wb = ((c.x - x) * (a.y - y) - (c.y - y) * (a.x - x)) / area;
        const double wc = 1.0 - wa - wb;
        if (wa < 0.0 || wb < 0.0 || wc < 0.0) continue;
        float& cell = near[static_cast<std::size_t>(y) * w + x];
        cell = std::max(cell, static_cast<float>(wa * ia + wb * ib + wc * ic));
      }
  }
  // Whether a surface lies clearly in front of a point of this depth at each
  // of the four pixels around (x, y). A surface through the point itself is
  // at the point's depth or behind it at one of them at least (its depth
  // across the cell is nearly linear), however steeply it is seen.
  bool hides(double x, double y, double depth) const {
    const int i0 = std::clamp(static_cast<int>(std::floor(x)), 0, w - 1);
    const int j0 = std::clamp(static_cast<int>(std::floor(y)), 0, h - 1);
    const int i1 = std::min(i0 + 1, w - 1), j1 = std::min(j0 + 1, h - 1);
    const float nearest = std::min({at(i0, j0), at(i1, j0), at(i0, j1), at(i1, j1)});
    return nearest > (1.0 + depthTolerance) / depth;
  }

 private:
  float at(int i, int j) const { return near[static_cast<std::size_t>(j) * w + i]; }

  int w, h;
  std::vector<float> near;
};

// The quads of a block's outer surfaces as corner indices: the sheet of a
// surface block, the six faces of a volume block.
template <class Quad>
void forEachFace(const zel::meshBlock& b, Quad quad) {
  auto sheet = [&](int na, int nb, auto index) {
    for (int q = 0; q + 1 < nb; ++q)
      for (int p = 0; p + 1 < na; ++p)
        quad(index(p, q), index(p + 1, q), index(p + 1, q + 1), index(p, q + 1));
  };
  if (b.nk == 1) {
    sheet(b.ni, b.nj, [&](int i, int j) { return b.at(i, j, 0); });
    return;
  }
  for (int k : {0, b.nk - 1}) sheet(b.ni, b.nj, [&](int i, int j) { return b.at(i, j, k); });
  for (int j : {0, b.nj - 1}) sheet(b.ni, b.nk, [&](int i, int k) { return b.at(i, j, k); });
  for (int i : {0, b.ni - 1}) sheet(b.nj, b.nk, [&](int j, int k) { return b.at(i, j, k); });
}

enum class verdict : unsigned char { seen, outside, hidden, facingAway, unusable };

}  // namespace

bool maskedBilinear(const zel::image& img, double x, double y, double& value) {
  const auto& field = img.field();
  const auto& bkgr = img.bkgr();
  const int w = field.width(), h = field.height();
  const int i0 = static_cast<int>(std::floor(x)), j0 = static_cast<int>(std::floor(y));
  const double fx = x - i0, fy = y - j0;
  double sum = 0.0, weight = 0.0;
  for (int dj = 0; dj < 2; ++dj)
    for (int di = 0; di < 2; ++di) {
      const int i = i0 + di, j = j0 + dj;
      if (i < 0 || j < 0 || i >= w || j >= h) continue;
      const double wgt = (di ? fx : 1.0 - fx) * (dj ? fy : 1.0 - fy);
      const float v = field(i, j);
      if (wgt == 0.0 || bkgr(i, j) || !std::isfinite(v)) continue;
      sum += wgt * v;
      weight += wgt;
    }
  if (weight <= 0.0) return false;
  value = sum / weight;
  return true;
}

samplingCounts sampleMesh(const zel::field_data<double>& mesh,
                          const cameraProjection& projection, const zel::image& img,
                          std::vector<std::vector<double>>& values) {
  const projector project(projection, frontSign(mesh, projection.coefficients));
  const int w = img.width(), h = img.height();
  std::vector<std::vector<projected>> points(mesh.blocks.size());
  for (std::size_t b = 0; b < mesh.blocks.size(); ++b) {
    const auto& nodes = mesh.blocks[b].nodes;
    points[b].resize(nodes.size());
    const long n = static_cast<long>(nodes.size());
#pragma omp parallel for schedule(static)
    for (long k = 0; k < n; ++k) points[b][k] = project(nodes[k]);
  }
  depthBuffer depth(w, h);
  for (std::size_t b = 0; b < mesh.blocks.size(); ++b) {
    const auto& p = points[b];
    forEachFace(mesh.blocks[b], [&](std::size_t a, std::size_t c, std::size_t d, std::size_t e) {
      depth.triangle(p[a], p[c], p[d]);
      depth.triangle(p[a], p[d], p[e]);
    });
  }
  const cameraCentre camera = centreOf(projection.coefficients);
  samplingCounts counts;
  values.assign(mesh.blocks.size(), {});
  for (std::size_t b = 0; b < mesh.blocks.size(); ++b) {
    const zel::meshBlock& block = mesh.blocks[b];
    const std::vector<vec> normals = blockNormals(block);
    const long n = static_cast<long>(block.count());
    std::vector<verdict> verdicts(block.count(), verdict::outside);
    std::vector<signed char> facing(block.count(), 0);  // sign of the normal towards the camera
    values[b].assign(block.count(), zel::field_data<double>::missing);
#pragma omp parallel for schedule(static)
    for (long k = 0; k < n; ++k) {
      const projected& q = points[b][k];
      if (!(q.depth > 0.0) || !(q.x >= 0.0 && q.x <= w - 1 && q.y >= 0.0 && q.y <= h - 1))
        continue;
      if (depth.hides(q.x, q.y, q.depth)) {
        verdicts[k] = verdict::hidden;
        continue;
      }
      verdicts[k] = verdict::seen;
      // A node without a normal (a collapsed cell) is not judged by it.
      if (normals.empty() || dot(normals[k], normals[k]) == 0.0) continue;
      const vec view = camera.finite ? minus(camera.centre, block.nodes[k]) : camera.centre;
      const double len = std::sqrt(dot(normals[k], normals[k]) * dot(view, view));
      const double cosine = len > 0.0 ? dot(normals[k], view) / len : 0.0;
      facing[k] = cosine >= 0.0 ? 1 : -1;
      if (std::fabs(cosine) < grazingCosine) verdicts[k] = verdict::facingAway;
    }
    // The side of the block that the camera sees is the side most of its
    // seen nodes turn to it.
    long balance = 0;
    for (long k = 0; k < n; ++k)
      if (verdicts[k] == verdict::seen) balance += facing[k];
    const signed char front = balance >= 0 ? 1 : -1;
#pragma omp parallel for schedule(static)
    for (long k = 0; k < n; ++k) {
      if (verdicts[k] != verdict::seen) continue;
      if (facing[k] != 0 && facing[k] != front) {
        verdicts[k] = verdict::facingAway;
        continue;
      }
      if (!maskedBilinear(img, points[b][k].x, points[b][k].y, values[b][k]))
        verdicts[k] = verdict::unusable;
    }
    for (verdict v : verdicts) {
      ++counts.nodes;
      switch (v) {
        case verdict::seen: ++counts.seen; break;
        case verdict::outside: ++counts.outside; break;
        case verdict::hidden: ++counts.hidden; break;
        case verdict::facingAway: ++counts.facingAway; break;
        case verdict::unusable: ++counts.unusable; break;
      }
    }
  }
  return counts;
}

}  // namespace tamble
