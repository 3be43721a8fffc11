#include "apps/synth/modelMesh.h"

#include <algorithm>
#include <cmath>

#include "apps/synth/scene.h"

namespace tamble::synth {
namespace {

using W = windTunnelModel;

// The wings start where the body's full radius ends them.
constexpr double wingRoot = W::bodyRadius;
// The body block keeps this share of the radius, so that its side nodes
// stay inside the outline.
constexpr double bodyReach = 0.995;

int atLeast2(double n) { return std::max(2, static_cast<int>(std::lround(n))); }

// Node (i, j) of an ni by nj block from the surface point (X, Y) it maps to.
template <class Place>
zel::meshBlock surfaceBlock(int ni, int nj, Place place) {
  const W model;
  zel::meshBlock b{ni, nj, 1, {}};
  b.nodes.reserve(static_cast<std::size_t>(ni) * nj);
  for (int j = 0; j < nj; ++j)
    for (int i = 0; i < ni; ++i) {
      double X = 0, Y = 0;
      place(i, j, X, Y);
      b.nodes.emplace_back(X, Y, model.height(X, Y));
    }
  return b;
}

// Fractions strictly inside (0, 1): cell centres, so that no node falls on
// the nose, the tail or an edge of the wing where rounding could take it off.
double inside(int i, int n) { return (i + 0.5) / n; }
double across(int j, int n) { return static_cast<double>(j) / (n - 1); }

double wingArea() {
  return (W::chordAt(wingRoot) + W::chordAt(W::semiSpan)) / 2.0 * (W::semiSpan - wingRoot);
}

}  // namespace

std::vector<zel::meshBlock> modelGrid(int nodes) {
  const double bodyArea = W::bodyLength * 2.0 * W::bodyRadius * 0.8;
  const double h = std::sqrt((bodyArea + 2.0 * wingArea()) / nodes);
  const int bi = atLeast2(W::bodyLength / h), bj = atLeast2(2.0 * W::bodyRadius / h);
  const double meanChord = wingArea() / (W::semiSpan - wingRoot);
  const int wi = atLeast2(meanChord / h), wj = atLeast2((W::semiSpan - wingRoot) / h);
  std::vector<zel::meshBlock> blocks;
  blocks.push_back(surfaceBlock(bi, bj, [&](int i, int j, double& X, double& Y) {
    X = W::bodyLength * inside(i, bi);
    Y = (2.0 * across(j, bj) - 1.0) * bodyReach * W::bodyRadiusAt(X);
  }));
  for (double side : {1.0, -1.0})
    blocks.push_back(surfaceBlock(wi, wj, [&](int i, int j, double& X, double& Y) {
      // j runs to the right on both wings.
      const double t = side > 0 ? across(j, wj) : 1.0 - across(j, wj);
      const double absY = wingRoot + t * (W::semiSpan - wingRoot);
      Y = side * absY;
      X = W::leadingEdgeAt(absY) + inside(i, wi) * W::chordAt(absY);
    }));
  return blocks;
}

zel::field_data<double> modelData(const syntheticRun& run) {
  zel::field_data<double> d;
  d.name = "synthetic model";
  d.lengthUnit = "mm";
  const int nodes = run.options.meshNodes();
  if (nodes > 0) d.blocks = modelGrid(nodes);
  d.meshMarkers = modelPositions(run.markers);
  d.meshMarkers.lengthUnit = "mm";
  d.imageMarkers = frameCentres(run.markers, false);
  d.imageMarkers.lengthUnit.clear();
  const paintPhysics& p = run.paint;
  const bool temperature = run.options.paint == paintKind::temperaturePaint;
  const std::vector<std::string> names =
      temperature ? std::vector<std::string>{"T"} : std::vector<std::string>{"Pressure", "Cp"};
  for (const std::string& n : names) d.addFunction(n);
  for (std::size_t b = 0; b < d.blocks.size(); ++b)
    for (std::size_t n = 0; n < d.blocks[b].count(); ++n) {
      const auto& at = d.blocks[b].nodes[n];
      const surfacePoint s = run.model.locate(at.x, at.y);
      if (temperature) {
        d.functions[0].values[b][n] = run.model.temperature(s);
      } else {
        const double cp = run.model.cp(s);
        d.functions[0].values[b][n] = p.flow.P_static + cp * p.flow.P_dynamic;
        d.functions[1].values[b][n] = cp;
      }
    }
  return d;
}

}  // namespace tamble::synth
