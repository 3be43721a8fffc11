#include "convert/darkFlat.h"

#include <cstdint>
#include <span>

#include "api/imagesList.h"
#include "api/parallel.h"
#include "host/platform.h"
#include "markers/fillUp.h"
#include "plugin/frame.h"
#include "plugin/projectState.h"

namespace tamble {

namespace {

bool sameSize(const floatLayer& field, const floatLayer& frame) {
  if (field.sameExtent(frame)) return true;
  if (!state().batchMode) message(frameSizeText, false);
  return false;
}

std::uint64_t pixels(const floatLayer& f) { return f.count; }

// The normalised flat of one row, and the pixels it marks as defects
// (false in `keep`, the fill-up's region).
void normaliseRow(const float* flat, float mean, int width, float* f, bool* keep) {
  for (int x = 0; x < width; ++x) {
    f[x] = flat[x] / mean;
    keep[x] = !(f[x] < 0.5f || f[x] > 1.5f);
  }
}

void divideRow(float* field, const float* f, int width) {
  for (int x = 0; x < width; ++x)
    if (f[x] > 0.25f) field[x] = field[x] / f[x];
}

// The sources of the paint with the frame of each.
struct pairing {
  const char* source;
  const char* dark;
  const char* flat;
};

constexpr pairing pairs[] = {
    {names::wind_off_refe, names::wind_off_dark_refe, names::flat_refe},
    {names::wind_on_refe, names::wind_on_dark_refe, names::flat_refe},
    {names::wind_off_sens, names::wind_off_dark_sens, names::flat_sens},
    {names::wind_on_sens, names::wind_on_dark_sens, names::flat_sens},
};

using routineFn = bool (*)(floatLayer&, maskLayer&, const floatLayer&, const maskLayer&);

void runOnSources(zel::imagesList& list, bool interactive, const char* pairing::*frame,
                  routineFn routine) {
  if (interactive) list.snapshot();
  const std::string& kind = paintKind();
  std::span<const pairing> sources;  // a single paint has no reference images
  if (kind == "double") sources = pairs;
  if (kind == "single" || kind == "Tsingle") sources = std::span(pairs).subspan(2);
  for (const pairing& p : sources) {
    zel::image* target = list.find(p.source);
    const zel::image* frameImage = list.find(p.*frame);
    if (!target || !frameImage) continue;
    routine(target->field(), target->bkgr(), frameImage->field(), frameImage->bkgr());
  }
  markSourceFlags(list, true);
  refreshList(list);
}

// The "Tools" form: the current image is corrected with the chosen one.
bool correctCurrent(zel::imagesList& list, routineFn routine) {
  zel::image* target = list.current();
  if (!target || !dlgViewImage(list)) return true;
  const zel::image* frame = list.current();
  list.snapshot();
  list.saveImage(target, true, "");
  routine(target->field(), target->bkgr(), frame->field(), frame->bkgr());
  for (int i = 0; i < list.size(); ++i)
    if (list[i] == target) list.setCurrent(i);
  refreshList(list);
  return true;
}

}  // namespace

bool subtractDark(floatLayer& field, maskLayer&, const floatLayer& darkField, const maskLayer&) {
  if (!sameSize(field, darkField)) return false;
  const int w = field.width();
  zel::forEachRow(field.height(), pixels(field), [&](int y) {
    float* out = field.row(y);
    const float* dark = darkField.row(y);
    for (int x = 0; x < w; ++x) out[x] = out[x] - dark[x];
  });
  return true;
}

bool correctFlat(floatLayer& field, maskLayer& bkgr, const floatLayer& flatField,
                 const maskLayer&) {
  if (!sameSize(field, flatField)) return false;
  const int w = field.width();
  const int h = field.height();
  // One running single-precision sum in row order: the mean must not depend
  // on the number of threads.
  float sum = 0.0f;
  for (std::uint64_t i = 0; i < flatField.count; ++i) sum += flatField.data[i];
  const float mean = sum / static_cast<float>(static_cast<std::int64_t>(w) * h);

  floatLayer f(w, h);
  maskLayer keep(w, h);
  zel::forEachRow(h, pixels(field), [&](int y) {
    normaliseRow(flatField.row(y), mean, w, f.row(y), keep.row(y));
    divideRow(field.row(y), f.row(y), w);
  });
  FillUp(field, bkgr, keep, false, 0, 1.0f);
  return true;
}

bool DarkSubtraction(zel::imagesList& list, bool interactive) {
  runOnSources(list, interactive, &pairing::dark, subtractDark);
  return true;
}

bool FlatCorrection(zel::imagesList& list, bool interactive) {
  runOnSources(list, interactive, &pairing::flat, correctFlat);
  return true;
}

bool DarkFrameStageCommand(zel::imagesList& list) {
  return runStage(list, DarkSubtraction, afterStage::selectLast);
}

bool FlatFieldStageCommand(zel::imagesList& list) {
  return runStage(list, FlatCorrection, afterStage::selectLast);
}

bool DarkFieldSubtractionCommand(zel::imagesList& list) {
  return correctCurrent(list, subtractDark);
}

bool FlatFieldCorrectionCommand(zel::imagesList& list) { return correctCurrent(list, correctFlat); }

}  // namespace tamble
