// The sampling and the mask rules are those of the bilinear warp engine;
// this file only tells it, row piece by row piece, where each output pixel
// looks in the camera image. Each position depends on its pixel alone, so
// the engine may run the pieces on any thread.
#include "align/undistort.h"

#include <cmath>

#include "geometry/warp.h"

namespace tamble {
namespace {

struct radialModel {
  double cx, cy, a2, a4;

  double factor(double r2) const { return radialFactor(a2, a4, r2); }

  // The factor s with e = d * s(|e|^2) for the output offset (dx, dy).
  double sourceFactor(double dx, double dy) const {
    double s = factor(dx * dx + dy * dy);
    if (std::fabs(s - 1.0) <= 1e-6) return s;
    for (int step = 0; step < 99; ++step) {
      const double ex = s * dx, ey = s * dy;
      const double next = factor(ex * ex + ey * ey);
      const bool settled = std::fabs(next - s) <= 1e-6;
      s = next;
      if (settled) break;
    }
    return s;
  }

  void sourceRow(int y, int x0, int n, double* xs, double* ys) const {
    const double dy = y - cy;
    for (int i = 0; i < n; ++i) {
      const double dx = (x0 + i) - cx;
      const double s = sourceFactor(dx, dy);
      xs[i] = s * dx + cx;
      ys[i] = s * dy + cy;
    }
  }

  void moveMarker(marker& m) const {
    const double dx = m.x - cx, dy = m.y - cy;
    const double s = factor(dx * dx + dy * dy);
    if (s == 0.0) return;
    m.x = cx + dx / s;
    m.y = cy + dy / s;
  }
};

}  // namespace

double radialFactor(double a2, double a4, double r2) { return a4 * r2 * r2 + a2 * r2 + 1.0; }

void UndistortImage(zel::arrayStore<float, 2>& field, zel::arrayStore<bool, 2>& bkgr,
                    zel::arrayStore<bool, 2>& ROI, zel::markersArray& markers, double centreX,
                    double centreY, double a2, double a4) {
  const radialModel model{centreX, centreY, a2, a4};
  // The engine checks the layers before it changes anything; the markers
  // move only after it.
  WarpBilinearMSBy(field, bkgr, ROI, [&model](int y, int x0, int n, double* xs, double* ys) {
    model.sourceRow(y, x0, n, xs, ys);
  });
  for (marker& m : markers.items) model.moveMarker(m);
}

}  // namespace tamble
