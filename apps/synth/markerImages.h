// Camera-like images of a painted model with marker spots at known sub-pixel
// centres, for the tests and benchmarks of the marker search: a bright model
// region over dark surroundings, uneven light, optics blur, photon and read
// noise, and on request dust specks, scratches and a seam across the model.
// Header only; drawn with the standard library's generators, so an image is
// the same on every run with one library (unlike the runs of scene.h, not
// across libraries).
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "api/arrayWorks.h"
#include "api/markers.h"

namespace tamble::synth::markerImages {

struct spot {
  double x, y;
};

struct markerScene {
  int W = 1024, H = 1024;
  double diameter = 7.0;
  int sign = -1;                   // -1 dark spots, 1 bright ones
  double spacing = 80.0;           // of the jittered grid of spots
  double light = 3000.0;           // model level at full light
  double surround = 150.0;         // level off the model
  double contrast = 0.6;           // a spot's depth (or height) as a share of the level
  double blur = 0.7;               // sigma of the optics, pixels
  double readNoise = 5.0;          // per pixel
  double electronsPerLevel = 1.0;  // photon noise: variance level/this
  double lightSlope = 0.4;         // the light falls by this share across the frame
  double vignette = 0.6;           // and by this share of the squared distance from the middle
  int dust = 0;                    // specks of 1 to 3 pixels
  int scratches = 0;               // thin lines 40 to 160 pixels long
  bool seam = false;               // a dark line across the model, one part darker
  unsigned seed = 1;
};

struct markerImage {
  zel::arrayStore<float, 2> field;
  zel::arrayStore<bool, 2> bkgr, ROI;
  zel::arrayStore<bool, 2> model;  // the model region
  std::vector<spot> spots;
  markerImage(int w, int h) : field(w, h), bkgr(w, h), ROI(w, h), model(w, h) {
    field.fill(0.0f);
    bkgr.fill(false);
    ROI.fill(true);
    model.fill(false);
  }
  int W() const { return field.width(); }
  int H() const { return field.height(); }
};

namespace scene {

// The model: an ellipse filling most of the frame. Positive inside, with
// roughly the distance to the outline in pixels near it.
inline double modelInside(const markerScene& s, double x, double y) {
  const double ax = 0.42 * s.W, ay = 0.36 * s.H;
  const double u = (x - 0.5 * s.W) / ax, v = (y - 0.5 * s.H) / ay;
  const double r = std::sqrt(u * u + v * v);
  return (1.0 - r) * std::min(ax, ay);
}

// The seam: a line across the model at x + 0.3 y = 0.55 W.
inline double seamDistance(const markerScene& s, double x, double y) {
  return (x + 0.3 * y - 0.55 * s.W) / std::sqrt(1.09);
}

inline double lightAt(const markerScene& s, double x, double y) {
  const double u = (x - 0.5 * s.W) / s.W, v = (y - 0.5 * s.H) / s.H;
  return s.light * (1.0 - s.vignette * (u * u + v * v)) * (1.0 - s.lightSlope * (x / s.W));
}

// The share of pixel (x, y) that lies within radius r of (cx, cy), from 8 by 8
// samples.
inline double diskCover(double cx, double cy, double r, int x, int y) {
  int in = 0;
  for (int j = 0; j < 8; ++j)
    for (int i = 0; i < 8; ++i) {
      const double dx = x - 0.5 + (i + 0.5) / 8 - cx, dy = y - 0.5 + (j + 0.5) / 8 - cy;
      in += dx * dx + dy * dy <= r * r;
    }
  return in / 64.0;
}

// Separable Gauss of sigma s with a reach of 3 s, renormalised at the edges.
inline void blur(std::vector<double>& img, int W, int H, double sigma) {
  if (sigma <= 0.0) return;
  const int R = static_cast<int>(std::ceil(3 * sigma));
  std::vector<double> k(2 * R + 1), tmp(img.size());
  for (int t = -R; t <= R; ++t) k[t + R] = std::exp(-0.5 * t * t / (sigma * sigma));
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x) {
      double s = 0, w = 0;
      for (int t = -R; t <= R; ++t)
        if (x + t >= 0 && x + t < W) {
          s += k[t + R] * img[static_cast<std::size_t>(y) * W + x + t];
          w += k[t + R];
        }
      tmp[static_cast<std::size_t>(y) * W + x] = s / w;
    }
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x) {
      double s = 0, w = 0;
      for (int t = -R; t <= R; ++t)
        if (y + t >= 0 && y + t < H) {
          s += k[t + R] * tmp[static_cast<std::size_t>(y + t) * W + x];
          w += k[t + R];
        }
      img[static_cast<std::size_t>(y) * W + x] = s / w;
    }
}

}  // namespace scene

inline markerImage makeMarkerImage(const markerScene& s) {
  markerImage out(s.W, s.H);
  std::mt19937 gen(s.seed);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  const double r = 0.5 * s.diameter;
  // The reflectance of the paint: 1 on the model, spots and defects below
  // (or above) it; off the model the dark surroundings.
  std::vector<double> paint(static_cast<std::size_t>(s.W) * s.H, 1.0);
  std::vector<double> cover(paint.size(), 0.0);  // of the model
  for (int y = 0; y < s.H; ++y)
    for (int x = 0; x < s.W; ++x) {
      const double d = scene::modelInside(s, x, y);
      double c = d > 1.5 ? 1.0 : d < -1.5 ? 0.0 : 0.0;
      if (d >= -1.5 && d <= 1.5) {
        int in = 0;
        for (int j = 0; j < 4; ++j)
          for (int i = 0; i < 4; ++i)
            in += scene::modelInside(s, x - 0.5 + (i + 0.5) / 4, y - 0.5 + (j + 0.5) / 4) > 0;
        c = in / 16.0;
      }
      cover[static_cast<std::size_t>(y) * s.W + x] = c;
      out.model(x, y) = c >= 0.5;
      if (s.seam && scene::seamDistance(s, x, y) > 0)
        paint[static_cast<std::size_t>(y) * s.W + x] = 0.75;
    }
  // Spots on a jittered grid, well inside the model and off the seam.
  const double keep = r + 12.0;
  for (double gy = 0.5 * s.spacing; gy < s.H; gy += s.spacing)
    for (double gx = 0.5 * s.spacing; gx < s.W; gx += s.spacing) {
      const spot p{gx + (unit(gen) - 0.5) * 0.3 * s.spacing,
                   gy + (unit(gen) - 0.5) * 0.3 * s.spacing};
      if (scene::modelInside(s, p.x, p.y) < keep) continue;
      if (s.seam && std::fabs(scene::seamDistance(s, p.x, p.y)) < keep) continue;
      out.spots.push_back(p);
    }
  const auto farFromSpots = [&](double x, double y, double gap) {
    for (const spot& p : out.spots)
      if (std::hypot(p.x - x, p.y - y) < gap) return false;
    return true;
  };
  for (const spot& p : out.spots) {
    const int x0 = static_cast<int>(p.x), y0 = static_cast<int>(p.y);
    const int reach = static_cast<int>(r) + 2;
    for (int y = y0 - reach; y <= y0 + reach; ++y)
      for (int x = x0 - reach; x <= x0 + reach; ++x)
        paint[static_cast<std::size_t>(y) * s.W + x] *=
            1.0 + s.sign * s.contrast * scene::diskCover(p.x, p.y, r, x, y);
  }
  // Dust: specks of 1 to 3 pixels, darker or brighter, away from the spots.
  for (int i = 0; i < s.dust; ++i) {
    const double x = 20 + unit(gen) * (s.W - 40), y = 20 + unit(gen) * (s.H - 40);
    const double size = 0.5 + unit(gen),
                 depth = (unit(gen) < 0.7 ? -1 : 1) * (0.2 + 0.4 * unit(gen));
    if (!farFromSpots(x, y, r + 8)) continue;
    for (int v = static_cast<int>(y) - 3; v <= static_cast<int>(y) + 3; ++v)
      for (int u = static_cast<int>(x) - 3; u <= static_cast<int>(x) + 3; ++u)
        paint[static_cast<std::size_t>(v) * s.W + u] *=
            1.0 + depth * scene::diskCover(x, y, size, u, v);
  }
  // Scratches: dark lines one pixel wide, away from the spots.
  for (int i = 0; i < s.scratches; ++i) {
    const double x = 40 + unit(gen) * (s.W - 80), y = 40 + unit(gen) * (s.H - 80);
    const double angle = unit(gen) * 3.14159265358979, length = 40 + 120 * unit(gen);
    const double depth = 0.25 + 0.25 * unit(gen);
    for (double t = 0; t <= length; t += 0.25) {
      const double px = x + t * std::cos(angle), py = y + t * std::sin(angle);
      if (px < 2 || py < 2 || px > s.W - 3 || py > s.H - 3 || !farFromSpots(px, py, r + 8))
        continue;
      const std::size_t at =
          static_cast<std::size_t>(py + 0.5) * s.W + static_cast<std::size_t>(px + 0.5);
      paint[at] = std::min(paint[at], 1.0 - depth);
    }
  }
  if (s.seam)
    for (int y = 0; y < s.H; ++y)
      for (int x = 0; x < s.W; ++x)
        if (std::fabs(scene::seamDistance(s, x, y)) < 1.0)
          paint[static_cast<std::size_t>(y) * s.W + x] *= 0.4;
  std::vector<double> img(paint.size());
  for (int y = 0; y < s.H; ++y)
    for (int x = 0; x < s.W; ++x) {
      const std::size_t i = static_cast<std::size_t>(y) * s.W + x;
      img[i] = cover[i] * scene::lightAt(s, x, y) * paint[i] + (1.0 - cover[i]) * s.surround;
    }
  scene::blur(img, s.W, s.H, s.blur);
  std::normal_distribution<double> normal(0.0, 1.0);
  for (std::size_t i = 0; i < img.size(); ++i) {
    const double photons = std::sqrt(std::max(img[i], 0.0) / s.electronsPerLevel);
    out.field.data[i] =
        static_cast<float>(img[i] + photons * normal(gen) + s.readNoise * normal(gen));
  }
  return out;
}

}  // namespace tamble::synth::markerImages
