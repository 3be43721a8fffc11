#include "convert/pressurePorts.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "api/image.h"
#include "convert/planeFit.h"

namespace tamble {

const char* portsFaultText(portsFault fault) {
  switch (fault) {
    case portsFault::none: return "";
    case portsFault::noMarkers: return "Data Error. Markers Number equals Zero.";
    case portsFault::tooFewActive: return "Active markers number is less than 3 !";
    case portsFault::noImagePoints: return "Data Error. No Image Points Found.";
    case portsFault::tooFewPorts: return "Markers Number is less than 3 !";
    case portsFault::precisionFailed1: return "Data Error. Precision failed (1)";
    case portsFault::precisionFailed2: return "Data Error. Precision failed (2)";
    case portsFault::badOrder: return "Order of Approximation must be 0, 1 or 2";
    case portsFault::differentDimensions: return "Working Bitmaps Have Different Dimensions!";
  }
  return "";
}

namespace {

bool sameSize(const zel::arrayStore<float, 2>& f, const zel::arrayStore<bool, 2>& m) {
  return f.width() == m.width() && f.height() == m.height();
}

// The mean of the field over the port's circle: pixels in the image, within
// the circle, not background. False when there is none.
bool portMean(const zel::arrayStore<float, 2>& field, const zel::arrayStore<bool, 2>& bkgr,
              const marker& m, int r, double d2, double& mean) {
  // A position far outside any image has no pixel (and must not overflow).
  if (!(std::fabs(m.x) < 1e9 && std::fabs(m.y) < 1e9)) return false;
  const int x0 = static_cast<int>(m.x + 0.5), y0 = static_cast<int>(m.y + 0.5);
  double sum = 0.0;
  int count = 0;
  for (int dy = -r; dy <= r; ++dy)
    for (int dx = -r; dx <= r; ++dx) {
      const int x = x0 + dx, y = y0 + dy;
      if (x < 0 || y < 0 || x >= field.width() || y >= field.height()) continue;
      if (static_cast<double>(dx * dx + dy * dy) > d2 || bkgr(x, y)) continue;
      sum += field(x, y);
      ++count;
    }
  if (count == 0) return false;
  mean = sum / count;
  return true;
}

// Sums over the ports of the centred paint pressure and the tap pressure.
struct centred {
  double n = 0, pm = 0, tm = 0, Spp = 0, Spt = 0, Srms = 0;
};

centred centredSums(const std::vector<portRow>& ports) {
  centred c;
  c.n = static_cast<double>(ports.size());
  for (const portRow& p : ports) c.pm += p.Ppsp, c.tm += p.Ptaps, c.Srms += p.Ppsp * p.Ppsp;
  c.pm /= c.n, c.tm /= c.n;
  for (const portRow& p : ports) {
    c.Spp += (p.Ppsp - c.pm) * (p.Ppsp - c.pm);
    c.Spt += (p.Ppsp - c.pm) * (p.Ptaps - c.tm);
  }
  return c;
}

// The paint pressures spread too little to fit a slope: all equal to single
// precision.
bool noSpread(const centred& c) { return !(std::sqrt(c.Spp) > 1e-6 * std::sqrt(c.Srms)); }

double residualSquares(const portsFit& fit) {
  double s = 0.0;
  for (const portRow& p : fit.ports) {
    const double e = p.Ptaps - (fit.A0 + fit.A1 * p.Ppsp + fit.A2 * p.Ppsp * p.Ppsp);
    s += e * e;
  }
  return s;
}

// Residual variance with `freedom` degrees of freedom; 0 with none.
double residualVariance(const portsFit& fit, double freedom) {
  return freedom > 0.0 ? residualSquares(fit) / freedom : 0.0;
}

void fitOrder0(portsFit& fit) {
  double n = 0.0, sum = 0.0;
  for (const portRow& p : fit.ports) sum += p.Delta, ++n;
  fit.A0 = sum / n, fit.A1 = 1.0, fit.A2 = 0.0;
  fit.D0 = std::sqrt(residualVariance(fit, n - 1.0) / n);
}

portsFault fitOrder1(portsFit& fit) {
  const centred c = centredSums(fit.ports);
  if (noSpread(c)) return portsFault::precisionFailed1;
  fit.A1 = c.Spt / c.Spp;
  fit.A0 = c.tm - fit.A1 * c.pm;
  fit.A2 = 0.0;
  const double s2 = residualVariance(fit, c.n - 2.0);
  fit.D1 = std::sqrt(s2 / c.Spp);
  fit.D0 = std::sqrt(s2 * (1.0 / c.n + c.pm * c.pm / c.Spp));
  return portsFault::none;
}

// The inverse of a symmetric 3 by 3 matrix by its cofactors; false when
// singular.
bool inverse3(const double (&m)[3][3], double (&inv)[3][3]) {
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) {
      const int i1 = (i + 1) % 3, i2 = (i + 2) % 3, j1 = (j + 1) % 3, j2 = (j + 2) % 3;
      inv[j][i] = m[i1][j1] * m[i2][j2] - m[i1][j2] * m[i2][j1];
    }
  const double det = m[0][0] * inv[0][0] + m[0][1] * inv[1][0] + m[0][2] * inv[2][0];
  if (det == 0.0) return false;
  for (auto& row : inv)
    for (double& v : row) v /= det;
  return true;
}

// Order 2 in the centred and scaled paint pressure u = (Ppsp - pm) / h,
// with h the pressures' standard deviation, so that the single-precision
// normal equations stay well conditioned whatever the unit; the
// coefficients are then turned back to Ppsp.
portsFault fitOrder2(portsFit& fit) {
  const centred c = centredSums(fit.ports);
  if (noSpread(c)) return portsFault::precisionFailed2;
  const double h = std::sqrt(c.Spp / c.n);
  double S[5] = {}, V[3] = {};  // sums of u^k and of (Ptaps - tm) u^k
  for (const portRow& p : fit.ports) {
    const double u = (p.Ppsp - c.pm) / h, t = p.Ptaps - c.tm;
    double uk = 1.0;
    for (int k = 0; k < 5; ++k, uk *= u) {
      S[k] += uk;
      if (k < 3) V[k] += t * uk;
    }
  }
  const double N[3][3] = {{S[0], S[1], S[2]}, {S[1], S[2], S[3]}, {S[2], S[3], S[4]}};
  float a[3][3], b[3], x[3] = {};
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) a[i][j] = static_cast<float>(N[i][j] / c.n);
    b[i] = static_cast<float>(V[i] / c.n);
  }
  // A pivot lost to rounding means nearly coincident paint pressures: the
  // curvature would be noise, so that counts as singular here.
  const solveOutcome solved = solveCompletePivot(a, b, 3, x);
  if (!solved.solved || solved.significanceLost) return portsFault::precisionFailed2;
  // A = T b + (tm, 0, 0), the rows of T taking 1, u, u^2 back to 1, p, p^2.
  const double q = c.pm / h;
  const double T[3][3] = {
      {1.0, -q, q * q}, {0.0, 1.0 / h, -2.0 * q / h}, {0.0, 0.0, 1.0 / (h * h)}};
  double A[3] = {c.tm, 0.0, 0.0};
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) A[i] += T[i][j] * x[j];
  fit.A0 = A[0], fit.A1 = A[1], fit.A2 = A[2];
  // Cov(A) = s^2 T N^-1 T'.
  const double s2 = residualVariance(fit, c.n - 3.0);
  double inv[3][3];
  double* D[3] = {&fit.D0, &fit.D1, &fit.D2};
  const bool invertible = inverse3(N, inv);
  for (int k = 0; k < 3; ++k) {
    double v = 0.0;
    for (int i = 0; i < 3 && invertible; ++i)
      for (int j = 0; j < 3; ++j) v += T[k][i] * inv[i][j] * T[k][j];
    *D[k] = std::sqrt(std::max(0.0, s2 * v));
  }
  return portsFault::none;
}

// Ppsp,corr, D, the dispersions and the maximum deflection.
void summarise(portsFit& fit) {
  double before = 0.0, after = 0.0;
  fit.maxDeflection = -1.0;
  for (portRow& p : fit.ports) {
    p.PpspCorr =
        fit.order == 0 ? p.Ppsp + fit.A0 : fit.A0 + fit.A1 * p.Ppsp + fit.A2 * p.Ppsp * p.Ppsp;
    p.D = p.Ptaps - p.PpspCorr;
    before += p.Delta * p.Delta;
    after += p.D * p.D;
    if (std::fabs(p.D) > fit.maxDeflection) {
      fit.maxDeflection = std::fabs(p.D);
      fit.maxPort = p.n;
      fit.maxPressure = p.PpspCorr;
      fit.maxX = p.x, fit.maxY = p.y;
    }
  }
  const double n = static_cast<double>(fit.ports.size());
  fit.initialDispersion = std::sqrt(before / n);
  fit.finalDispersion = std::sqrt(after / n);
}

void applyFit(zel::arrayStore<float, 2>& field, const zel::arrayStore<bool, 2>& bkgr,
              const zel::arrayStore<bool, 2>& roi, const portsFit& fit) {
  const float A0 = static_cast<float>(fit.A0), A1 = static_cast<float>(fit.A1),
              A2 = static_cast<float>(fit.A2);
  for (int y = 0; y < field.height(); ++y) {
    float* v = field.row(y);
    const bool* b = bkgr.row(y);
    const bool* r = roi.row(y);
    for (int x = 0; x < field.width(); ++x) {
      if (b[x] || !r[x]) continue;
      const float p = v[x];
      v[x] = fit.order == 0 ? p + A0 : A0 + A1 * p + A2 * p * p;
    }
  }
}

}  // namespace

portsFault fitPorts(zel::arrayStore<float, 2>& field, const zel::arrayStore<bool, 2>& bkgr,
                    const zel::arrayStore<bool, 2>& roi, const zel::markersArray& ports,
                    portsFit& result, int order, bool correct, float diameter) {
  result = portsFit{};
  result.order = order;
  if (order < 0 || order > 2) return portsFault::badOrder;
  if (!sameSize(field, bkgr) || !sameSize(field, roi)) return portsFault::differentDimensions;
  const int r = static_cast<int>(diameter + 0.5f) / 2;
  const double d2 = (diameter * 0.5) * (diameter * 0.5);
  result.limited = ports.count() > portsCapacity;
  const int count = std::min(ports.count(), portsCapacity);
  if (count == 0) return portsFault::noMarkers;
  const auto active = std::count_if(ports.items.begin(), ports.items.begin() + count,
                                    [](const marker& m) { return m.active; });
  if (active < 3) return portsFault::tooFewActive;
  for (int i = 0; i < count; ++i) {
    const marker& m = ports[i];
    double mean = 0.0;
    if (!m.active || !portMean(field, bkgr, m, r, d2, mean)) continue;
    result.ports.push_back({i + 1, m.x, m.y, m.z, mean, m.z - mean, 0.0, 0.0});
  }
  if (result.ports.empty()) return portsFault::noImagePoints;
  if (result.ports.size() < 3) return portsFault::tooFewPorts;
  portsFault fault = portsFault::none;
  if (order == 0) fitOrder0(result);
  if (order == 1) fault = fitOrder1(result);
  if (order == 2) fault = fitOrder2(result);
  if (fault != portsFault::none) return fault;
  summarise(result);
  if (correct) applyFit(field, bkgr, roi, result);
  return portsFault::none;
}

namespace {

template <class... Args>
std::string formatted(const char* format, Args... args) {
  char text[512];
  std::snprintf(text, sizeof text, format, args...);
  return text;
}

}  // namespace

std::vector<std::string> portsReportLines(const portsFit& fit) {
  const std::string header =
      "  N     X      Y              Ptaps         Ppsp           Delta          Ppsp,corr      D";
  const std::string hyphens(header.size(), '-');
  std::vector<std::string> lines{header, hyphens};
  for (const portRow& p : fit.ports)
    lines.push_back(formatted("%3d  %6.2f  %6.2f  %14.8g  %14.8g  %14.8g  %14.8g  %14.8g", p.n, p.x,
                              p.y, p.Ptaps, p.Ppsp, p.Delta, p.PpspCorr, p.D));
  lines.push_back(hyphens);
  lines.push_back(formatted("Initial Dispersion=%g, Final Dispersion=%g", fit.initialDispersion,
                            fit.finalDispersion));
  if (fit.order == 0) {
    lines.push_back("Approximation   Ppsp,corr = Ppsp + A0(+-D0)  ");
    lines.push_back(formatted("Where A0=%f, D0=%f", fit.A0, fit.D0));
  } else if (fit.order == 1) {
    lines.push_back("Approximation   Ppsp,corr = A0(+-D0) + Ppsp * A1(+-D1) ");
    lines.push_back(formatted("Where A0=%f, D0=%f, A1=%f, D1=%f", fit.A0, fit.D0, fit.A1, fit.D1));
  } else {
    lines.push_back(
        "Approximation   Ppsp,corr = A0(+-D0) + Ppsp * A1(+-D1) + Ppsp * Ppsp * A2(+-D2) ");
    lines.push_back(formatted("Where A0=%f, D0=%f, A1=%f, D1=%f, A2=%f, D2=%f", fit.A0, fit.D0,
                              fit.A1, fit.D1, fit.A2, fit.D2));
  }
  lines.push_back(formatted("Maximum Deflection=%g, at N=%d with Ppsp,corr=%g, at X=%g & Y=%g",
                            fit.maxDeflection, fit.maxPort, fit.maxPressure, fit.maxX, fit.maxY));
  return lines;
}

// ---- Recomputing the other results ------------------------------------------

namespace {

bool sameExtent(const zel::image& a, const zel::image& b) {
  return a.width() == b.width() && a.height() == b.height();
}

// The target takes the source's masks; each calculated pixel gets `value` of
// the source's, all others 0.
template <class Value>
void recompute(const zel::image& source, zel::image& target, Value value) {
  std::copy_n(source.bkgr().data, source.bkgr().count, target.bkgr().data);
  std::copy_n(source.ROI().data, source.ROI().count, target.ROI().data);
  for (int y = 0; y < source.height(); ++y) {
    const float* in = source.field().row(y);
    const bool* b = source.bkgr().row(y);
    const bool* r = source.ROI().row(y);
    float* out = target.field().row(y);
    for (int x = 0; x < source.width(); ++x) out[x] = b[x] || !r[x] ? 0.0f : value(in[x]);
  }
}

}  // namespace

fieldFault pressureFromCp(const zel::image& cp, float P_static, float P_dynamic,
                          zel::image& target) {
  if (!sameExtent(cp, target)) return fieldFault::differentDimensions;
  if (std::fabs(static_cast<double>(P_dynamic)) < 1e-10) return fieldFault::dynamicTooSmall;
  recompute(cp, target, [&](float v) { return v * P_dynamic + P_static; });
  return fieldFault::none;
}

fieldFault pressureFromStaticRatio(const zel::image& ratio, float P_static, zel::image& target) {
  if (!sameExtent(ratio, target)) return fieldFault::differentDimensions;
  if (std::fabs(static_cast<double>(P_static)) < 1e-10) return fieldFault::staticTooSmall;
  recompute(ratio, target, [&](float v) { return v * P_static; });
  return fieldFault::none;
}

fieldFault fieldFromRatio(const zel::image& ratio, const anchoredLaw& law, zel::image& target) {
  if (!sameExtent(ratio, target)) return fieldFault::differentDimensions;
  recompute(ratio, target, [&](float v) { return law.value(v); });
  return fieldFault::none;
}

}  // namespace tamble
