// The two alignments built on the correlation: by shift alone, and by the
// Fourier-Mellin sequence (turn and scale from the polar-log spectra, then
// the shift). Both correlate gradients rather than intensities, so that a
// change of lighting between the images does not move the peak.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <sstream>

#include "align/correlation.h"
#include "api/report.h"
#include "filters/morphology.h"
#include "filters/spectra.h"
#include "geometry/transforms.h"

namespace tamble {
namespace {

constexpr int prewittKind = 8;
constexpr int dampedBicubic = 2;

// A work image: the field given, no background, all of it ROI.
struct workImage {
  correlationField field;
  zel::arrayStore<bool, 2> bkgr, ROI;
  explicit workImage(const correlationField& f) : field(f), bkgr(f.width(), f.height()),
                                                  ROI(f.width(), f.height()) {
    bkgr.fill(false);
    ROI.fill(true);
  }
  void gradients() { Gradients3x3(field, bkgr, ROI, prewittKind); }
};

// The field times the radial Blackman window (0 outside, held at 0 or more),
// less the mean of that product, and its gradients.
workImage windowedGradients(const correlationField& field) {
  workImage w(field);
  const radialWindow window(field.width(), field.height());
  for (int j = 0; j < field.height(); ++j)
    for (int i = 0; i < field.width(); ++i) {
      float b = 0.0f;
      w.field(i, j) = window.inside(i, j, b) ? field(i, j) * std::max(0.0f, b) : 0.0f;
    }
  const float mean = plainMean(w.field);
  for (std::uint64_t i = 0; i < w.field.count; ++i) w.field.data[i] -= mean;
  w.gradients();
  return w;
}

// The spectrum in dB, 40 dB below its peak and up, in polar-log coordinates.
void polarLogSpectrum(workImage& w, double& spectrumSeconds, double& polarSeconds) {
  using clock = std::chrono::steady_clock;
  auto start = clock::now();
  SpectrumImage(w.field, true, false, true);
  spectrumSeconds = std::chrono::duration<double>(clock::now() - start).count();
  w.bkgr.fill(false);
  w.ROI.fill(true);
  for (std::uint64_t i = 0; i < w.field.count; ++i)
    w.field.data[i] = std::max(w.field.data[i], -40.0f) + 40.0f;
  start = clock::now();
  PolarLogMap(w.field, w.bkgr);
  polarSeconds = std::chrono::duration<double>(clock::now() - start).count();
  w.bkgr.fill(false);
}

// The shift of `first` against `second` from two prepared work images.
shiftFound correlatedShift(const workImage& a, const workImage& b) {
  shiftFound s;
  correlationField surface(a.field.width(), a.field.height());
  surface.fill(0.0f);
  CrossCorrelation(a.field, b.field, surface, true, false, false, true, s.dx, s.dy);
  correlationShift(surface, s.dx, s.dy, s.sx, s.sy);
  return s;
}

void moveBy(zel::image& img, double scale, double alpha, double sx, double sy,
            polynomialState& map) {
  ScaleRotateShift(img.field(), img.bkgr(), img.ROI(), img.markers, scale, scale, alpha, sx, sy,
                   dampedBicubic, map);
}

}  // namespace

shiftFound ShiftOnlyAlign(zel::image& first, const zel::image& second, polynomialState& map) {
  if (!first.field().sameExtent(second.field())) {
    zel::report().notice(differentDimensions);
    return {};
  }
  workImage P(first.field()), Q(second.field());
  P.gradients();
  Q.gradients();
  const shiftFound s = correlatedShift(P, Q);
  moveBy(first, 1.0, 0.0, s.sx, s.sy, map);
  return s;
}

mellinFound MellinAlign(zel::image& first, const zel::image& second, polynomialState& map) {
  mellinFound m;
  if (!first.field().sameExtent(second.field())) {
    zel::report().notice(differentDimensions);
    return m;
  }
  using clock = std::chrono::steady_clock;
  const auto start = clock::now();
  const int W = first.width(), H = first.height();
  workImage I1 = windowedGradients(first.field());
  workImage I2 = windowedGradients(second.field());
  double spectrum2 = 0, polar2 = 0;
  polarLogSpectrum(I1, m.spectrum, m.polarLog);
  polarLogSpectrum(I2, spectrum2, polar2);
  auto step = clock::now();
  correlationField surface(W, H);
  surface.fill(0.0f);
  CrossCorrelation(I1.field, I2.field, surface, true, false, false, true, m.dR, m.dS);
  m.crossCorr = std::chrono::duration<double>(clock::now() - step).count();
  double rp = 0, sp = 0;
  correlationShift(surface, m.dR, m.dS, rp, sp);
  m.Rp = static_cast<float>(rp);
  m.Sp = static_cast<float>(sp);
  // A column of the polar-log map is pi/W of a turn; a row, a step of the
  // log radius over the H - 1 rows that span log(min(W, H)/2 - 1) + 1.
  m.alpha = m.Rp * 180.0f / static_cast<float>(W);
  const float span = std::log(static_cast<float>(std::min(W, H) / 2 - 1)) + 1.0f;
  m.scale = std::exp(-(span * m.Sp / static_cast<float>(H - 1)));
  step = clock::now();
  moveBy(first, m.scale, m.alpha, 0.0, 0.0, map);
  m.scaleRotate = std::chrono::duration<double>(clock::now() - step).count();
  m.shift = correlatedShift(windowedGradients(first.field()), windowedGradients(second.field()));
  moveBy(first, 1.0, 0.0, m.shift.sx, m.shift.sy, map);
  m.total = std::chrono::duration<double>(clock::now() - start).count();
  return m;
}

std::string shiftText(const shiftFound& s) {
  std::ostringstream t;
  t << " Shift dX= " << s.dx << "     dY= " << s.dy << "\n"
    << " Shift  X= " << s.sx << "      Y= " << s.sy << "\n";
  return t.str();
}

std::string mellinText(const mellinFound& m) {
  std::ostringstream t;
  t << " Rot dR= " << m.dR << "     Scale dS= " << m.dS << "\n"
    << " Rot  R= " << m.Rp << "     Scale  S= " << m.Sp << "\n\n"
    << " Alpha= " << m.alpha << "     Scale= " << m.scale << "  ( " << 1.0f / m.scale << " )\n\n"
    << " Shift dX= " << m.shift.dx << "     dY= " << m.shift.dy << "\n"
    << " Shift  X= " << m.shift.sx << "      Y= " << m.shift.sy << "\n\n"
    << "Spectrum: " << m.spectrum << " seconds\n"
    << "PolarLog: " << m.polarLog << " seconds\n"
    << "CrossCorr: " << m.crossCorr << " seconds\n"
    << "ScalRot: " << m.scaleRotate << " seconds\n\n\n"
    << "Mellin: " << m.total << " seconds\n";
  return t.str();
}

}  // namespace tamble
