#include "plugin/alignByRecord.h"

#include "align/imageAlign.h"
#include "align/triAlign.h"
#include "host/interaction.h"
#include "plugin/session.h"

namespace tamble {

infoScope::infoScope(bool show) : saved(session().quietMode) {
  if (!show) session().quietMode = 1;
}

infoScope::~infoScope() { session().quietMode = saved; }

namespace {

bool ask(const std::string& text) { return message(text, true); }

recordAlignment byTriangles(zel::image& first, const zel::image& second, const CAlignment& r) {
  triSettings settings;
  settings.box = r.m_nsquare;
  settings.paired = r.m_fixed != 0;
  settings.drawMesh = r.m_immediate != 0;
  triOutcome done = TriAlign(first, second, settings, session().polynomial);
  return {done.warped, !done.warped, std::move(done.source)};
}

}  // namespace

recordAlignment alignByRecord(zel::image& first, const zel::image& second, const CAlignment& r) {
  if (r.m_micro) return byTriangles(first, second, r);
  alignSettings settings;
  settings.fixed = r.fixedCount();
  settings.rtype = r.rtype;
  settings.box = r.m_nsquare;
  settings.order = r.pnumber;
  settings.showErrors = r.m_immediate != 0;
  settings.skip = r.m_no_trans == 0;
  settings.macro = r.m_macro != 0;
  polynomialState& map = session().polynomial;
  const alignOutcome done = ImageAlign(first, second, settings, map, ask);
  recordAlignment out;
  out.warped = done.warped;
  out.failed = done.failed || done.stop;
  if (done.warped) out.source = polynomialDisplacement(map);
  return out;
}

void writeDisplacement(const std::string& file, const zel::image& first, const CAlignment& r,
                       const displacementMap& source) {
  if (!source) {
    message("The image was not aligned: no displacement table is written.", false);
    return;
  }
  writeDisplacementTable(file, first.field().width(), first.field().height(), r.m_QPED_cellSize,
                         r.m_QPED_stepSize, source);
}

}  // namespace tamble
