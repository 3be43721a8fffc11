#include "convert/fieldRoutines.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "api/camera.h"
#include "api/image.h"
#include "api/parallel.h"
#include "convert/planeFit.h"

namespace tamble {

namespace {

// A divisor or quotient counts as zero unless its magnitude, widened to
// double, is above 1e-10: in single precision, above the largest float not
// above it. 1 or 0, for the masks below.
const float zeroLimit = [] {
  float f = 1e-10f;
  while (static_cast<double>(f) > 1e-10) f = std::nextafter(f, 0.0f);
  return f;
}();
std::int32_t aboveLimit(float v) { return std::fabs(v) > zeroLimit; }

// v where `keep` is 1, else 0. A plain ?: over a division is not made into
// vector code (the division might trap), this is.
float kept(float v, std::int32_t keep) {
  return std::bit_cast<float>(std::bit_cast<std::int32_t>(v) & -keep);
}

// 1 where a pixel is calculated: bkgr clear and ROI set.
std::int32_t calculatedAt(const bool* bkgr, const bool* roi, int x) {
  const auto* b = reinterpret_cast<const std::uint8_t*>(bkgr);
  const auto* r = reinterpret_cast<const std::uint8_t*>(roi);
  return (b[x] ^ 1) & r[x];
}

bool sameExtent(const std::vector<const zel::image*>& images) {
  const zel::image& first = *images.front();
  for (const zel::image* img : images)
    if (!img->field().sameExtent(first.field()) || !img->bkgr().sameExtent(first.field()) ||
        !img->ROI().sameExtent(first.field()))
      return false;
  return true;
}

// The first pass over a row: a target pixel is background where any input's
// is, and in the ROI only where every input's is.
void combineMaskRow(const std::vector<const zel::image*>& inputs, zel::image& target, int y) {
  const int w = target.width();
  bool* bkgr = target.bkgr().row(y);
  bool* roi = target.ROI().row(y);
  std::memmove(bkgr, inputs.front()->bkgr().row(y), static_cast<std::size_t>(w));
  std::memmove(roi, inputs.front()->ROI().row(y), static_cast<std::size_t>(w));
  for (std::size_t i = 1; i < inputs.size(); ++i) {
    const bool* b = inputs[i]->bkgr().row(y);
    const bool* r = inputs[i]->ROI().row(y);
    for (int x = 0; x < w; ++x) {
      bkgr[x] = bkgr[x] | b[x];
      roi[x] = roi[x] & r[x];
    }
  }
}

// A reference along a row: a reference image's row, or one number for the
// whole image (a single paint).
struct constantRow {
  float value;
  float operator[](int) const { return value; }
};

// The second pass over a row. Each calculated pixel gets out(a / b), a and b
// the sensor intensity over its reference wind-off and wind-on, where a
// reference too small to divide by makes its quotient 0 and a b of 0 leaves
// the pixel at 0; all others are 0. The divisions are made everywhere and
// their results chosen after, so that the loop runs on vectors.
template <class Refe, class Out>
void valueRow(int w, const float* offS, Refe offR, const float* onS, Refe onR, const bool* bkgr,
              const bool* roi, float* v, const Out& out) {
  for (int x = 0; x < w; ++x) {
    const float offRx = offR[x], onRx = onR[x];
    const float a = kept(offS[x] / offRx, aboveLimit(offRx));
    const float b = kept(onS[x] / onRx, aboveLimit(onRx));
    v[x] = kept(out(a / b), calculatedAt(bkgr, roi, x) & aboveLimit(b));
  }
}

// The images whose masks make the target's, and the intensities: sensor
// images and their references, images or numbers.
struct paintInputs {
  std::vector<const zel::image*> images;
  const zel::image& offSens;
  const zel::image* offRefe;
  const zel::image& onSens;
  const zel::image* onRefe;
  float offRefeValue = 0.0f, onRefeValue = 0.0f;

  bool fits(const zel::image& target) const {
    std::vector<const zel::image*> all = images;
    all.push_back(&target);
    return sameExtent(all);
  }

  // Both passes, row by row: the masks of a row, then its values.
  template <class Out>
  void compute(zel::image& target, const Out& out) const {
    const int w = target.width();
    zel::forEachRow(target.height(), target.field().count, [&](int y) {
      combineMaskRow(images, target, y);
      const float* offS = offSens.field().row(y);
      const float* onS = onSens.field().row(y);
      const bool* bkgr = target.bkgr().row(y);
      const bool* roi = target.ROI().row(y);
      float* v = target.field().row(y);
      if (offRefe)
        valueRow(w, offS, offRefe->field().row(y), onS, onRefe->field().row(y), bkgr, roi, v, out);
      else
        valueRow(w, offS, constantRow{offRefeValue}, onS, constantRow{onRefeValue}, bkgr, roi, v,
                 out);
    });
  }
};

paintInputs doubleInputs(const zel::image& offSens, const zel::image& offRefe,
                         const zel::image& onSens, const zel::image& onRefe) {
  return {{&offSens, &offRefe, &onSens, &onRefe}, offSens, &offRefe, onSens, &onRefe};
}

// A single paint's masks come from its two sensor images only.
paintInputs singleInputs(const zel::image& offSens, const zel::image& onSens, float offRefeValue,
                         float onRefeValue) {
  return {{&offSens, &onSens}, offSens, nullptr, onSens, nullptr, offRefeValue, onRefeValue};
}

fieldFault ratioOf(const paintInputs& in, zel::image& target) {
  if (!in.fits(target)) return fieldFault::differentDimensions;
  in.compute(target, [](float q) { return q; });
  return fieldFault::none;
}

// The calibration is checked once, before the target changes.
fieldFault lawOf(const paintInputs& in, anchorFault anchored, const anchoredLaw& law,
                 zel::image& target) {
  if (!in.fits(target)) return fieldFault::differentDimensions;
  if (anchored == anchorFault::noQuadraticTerm) return fieldFault::noQuadraticTerm;
  if (anchored == anchorFault::badCoefficients) return fieldFault::badCoefficients;
  in.compute(target, [&law](float q) { return law.value(q); });
  return fieldFault::none;
}

// Results of the pressure take its masks; each calculated pixel is
// out(pressure), all others 0.
template <class Out>
fieldFault fromPressure(const zel::image& pressure, zel::image& target, const Out& out) {
  const int w = target.width();
  zel::forEachRow(target.height(), target.field().count, [&](int y) {
    bool* bkgr = target.bkgr().row(y);
    bool* roi = target.ROI().row(y);
    std::memmove(bkgr, pressure.bkgr().row(y), static_cast<std::size_t>(w));
    std::memmove(roi, pressure.ROI().row(y), static_cast<std::size_t>(w));
    const float* p = pressure.field().row(y);
    float* v = target.field().row(y);
    for (int x = 0; x < w; ++x) v[x] = kept(out(p[x]), calculatedAt(bkgr, roi, x));
  });
  return fieldFault::none;
}

bool belowLimit(float v) { return std::fabs(static_cast<double>(v)) < 1e-10; }

}  // namespace

const char* fieldFaultText(fieldFault fault) {
  switch (fault) {
    case fieldFault::none: return "";
    case fieldFault::differentDimensions: return "Working Bitmaps Have Different Dimensions!";
    case fieldFault::noQuadraticTerm:
      return "Calibration coefficients for PSP acquisition are incorrect. Pressure field will be "
             "wrong";
    case fieldFault::badCoefficients: return "Error in Paint Calibration Coefficients";
    case fieldFault::staticTooSmall: return "Static Pressure Value is Too Small!";
    case fieldFault::dynamicTooSmall: return "Dynamic Pressure Value is Too Small!";
  }
  return "";
}

fieldFault ratioDouble(const zel::image& offSens, const zel::image& offRefe,
                       const zel::image& onSens, const zel::image& onRefe, zel::image& target) {
  return ratioOf(doubleInputs(offSens, offRefe, onSens, onRefe), target);
}

fieldFault ratioSingle(const zel::image& offSens, const zel::image& onSens, float offRefeValue,
                       float onRefeValue, zel::image& target) {
  return ratioOf(singleInputs(offSens, onSens, offRefeValue, onRefeValue), target);
}

fieldFault pressureDouble(const zel::image& offSens, const zel::image& offRefe,
                          const zel::image& onSens, const zel::image& onRefe,
                          const calibration& cal, const flowState& flow, zel::image& target) {
  anchoredLaw law;
  const anchorFault anchored = pressureLaw(cal, flow, law);
  return lawOf(doubleInputs(offSens, offRefe, onSens, onRefe), anchored, law, target);
}

fieldFault pressureSingle(const zel::image& offSens, const zel::image& onSens, float offRefeValue,
                          float onRefeValue, const calibration& cal, const flowState& flow,
                          zel::image& target) {
  anchoredLaw law;
  const anchorFault anchored = pressureLaw(cal, flow, law);
  return lawOf(singleInputs(offSens, onSens, offRefeValue, onRefeValue), anchored, law, target);
}

fieldFault temperatureDouble(const zel::image& offSens, const zel::image& offRefe,
                             const zel::image& onSens, const zel::image& onRefe,
                             const calibration& cal, const flowState& flow, zel::image& target) {
  anchoredLaw law;
  const anchorFault anchored = temperatureLaw(cal, flow, law);
  return lawOf(doubleInputs(offSens, offRefe, onSens, onRefe), anchored, law, target);
}

fieldFault temperatureSingle(const zel::image& offSens, const zel::image& onSens,
                             float offRefeValue, float onRefeValue, const calibration& cal,
                             const flowState& flow, zel::image& target) {
  anchoredLaw law;
  const anchorFault anchored = temperatureLaw(cal, flow, law);
  return lawOf(singleInputs(offSens, onSens, offRefeValue, onRefeValue), anchored, law, target);
}

fieldFault staticPressureRatio(const zel::image& pressure, float P_static, zel::image& target) {
  if (!sameExtent({&pressure, &target})) return fieldFault::differentDimensions;
  if (belowLimit(P_static)) return fieldFault::staticTooSmall;
  return fromPressure(pressure, target, [P_static](float p) { return p / P_static; });
}

fieldFault pressureCoefficient(const zel::image& pressure, float P_static, float P_dynamic,
                               zel::image& target) {
  if (!sameExtent({&pressure, &target})) return fieldFault::differentDimensions;
  if (belowLimit(P_dynamic)) return fieldFault::dynamicTooSmall;
  return fromPressure(pressure, target,
                      [P_static, P_dynamic](float p) { return (p - P_static) / P_dynamic; });
}

unitChange pressureChange(const std::string& from, const std::string& to) {
  // One conversion for its complaint about an unknown unit; such a unit
  // then counts with the factor 1, as the conversion takes it.
  if (!zel::is_pressure_unit(from) || !zel::is_pressure_unit(to))
    zel::convert_pressure(1.0, from, to);
  unitChange c;
  c.scaleIn = zel::is_pressure_unit(from) ? zel::convert_pressure(1.0, from, "pa") : 1.0;
  c.scaleOut = zel::is_pressure_unit(to) ? zel::convert_pressure(1.0, to, "pa") : 1.0;
  return c;
}

unitChange temperatureChange(const std::string& from, const std::string& to) {
  if (!zel::is_temperature_unit(from) || !zel::is_temperature_unit(to))
    zel::convert_temperature(0.0, from, to);
  // A unit's kelvin at 0 is its offset, at 1 its factor plus the offset.
  auto scaleOf = [](const std::string& unit, double& a, double& b) {
    if (!zel::is_temperature_unit(unit)) return;
    b = zel::convert_temperature(0.0, unit, "k");
    a = zel::convert_temperature(1.0, unit, "k") - b;
  };
  unitChange c;
  scaleOf(from, c.scaleIn, c.offsetIn);
  scaleOf(to, c.scaleOut, c.offsetOut);
  return c;
}

void fillPlane(zel::arrayStore<float, 2>& field, const plane& p) {
  const int w = field.width();
  zel::forEachRow(field.height(), field.count, [&](int y) {
    float* v = field.row(y);
    for (int x = 0; x < w; ++x) v[x] = p.at(x, y);
  });
}

void convertCalculated(zel::image& img, const unitChange& change) {
  if (change.identity()) return;
  const int w = img.width();
  zel::forEachRow(img.height(), img.field().count, [&](int y) {
    float* v = img.field().row(y);
    const bool* bkgr = img.bkgr().row(y);
    const bool* roi = img.ROI().row(y);
    for (int x = 0; x < w; ++x)
      if (!bkgr[x] && roi[x]) v[x] = change.apply(v[x]);
  });
}

}  // namespace tamble
