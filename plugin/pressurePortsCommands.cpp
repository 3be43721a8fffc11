#include "plugin/pressurePortsCommands.h"

#include <memory>

#include "api/imagesList.h"
#include "api/markerFiles.h"
#include "convert/pressurePorts.h"
#include "dialogs/portsDialog.h"
#include "host/atomicFile.h"
#include "host/hostUi.h"
#include "host/interaction.h"
#include "plugin/availability.h"
#include "plugin/catalogue.h"
#include "plugin/frame.h"
#include "plugin/projectState.h"

namespace tamble {

void writePortsReport(const std::string& path, const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  writeAtomically(path, [&](std::FILE* out) {
    return std::fwrite(text.data(), 1, text.size(), out) == text.size();
  });
}

void PPortDataOut(const std::vector<std::string>& lines) {
  CPPortData report(lines);
  if (!showDialog(report)) return;
  const std::string file = hostUi().chooseFile("Save Data", portsReportFilter, true);
  if (!file.empty()) writePortsReport(file, lines);
}

namespace {

// A record shown under another title: the dialog of the ports names the
// results it may be used on.
class retitledRecord : public paramRecord {
 public:
  retitledRecord(paramRecord& r, std::string t) : inner(r), caption(std::move(t)) {}
  const std::string& className() const override { return inner.className(); }
  const std::string& section() const override { return inner.section(); }
  const std::string& title() const override { return caption; }
  const std::vector<paramInfo>& fields() const override { return inner.fields(); }
  double value(std::size_t i) const override { return inner.value(i); }
  void setValue(std::size_t i, double v) override { inner.setValue(i, v); }
  void edited(std::size_t i) override { inner.edited(i); }
  std::optional<std::string> ownCheck() const override { return inner.ownCheck(); }

 private:
  paramRecord& inner;
  std::string caption;
};

// "Irefe_Isens  / Pressure  / Cp ": the results present, in this order.
std::string resultsCaption(const zel::imagesList& list) {
  std::string caption;
  for (const char* name : {names::Irefe_Isens, names::Pressure, names::P_Pstat, names::Cp}) {
    if (!list.find(name)) continue;
    if (!caption.empty()) caption += " / ";
    caption += std::string(name) + " ";
  }
  return caption;
}

}  // namespace

bool PressurePortsCommand(zel::imagesList& list) {
  zel::image* img = list.current();
  if (!img) return true;
  const std::string file = hostUi().chooseFile("Markers File", portsMarkerFilter, false);
  if (file.empty()) return true;
  zel::markersArray ports;
  zel::load_markers(file, ports, img->height());

  CPPStart values;
  boundRecord<CPPStart> record(CPPStart::descriptor(), values);
  const std::string caption = resultsCaption(list);
  retitledRecord dialog(record, caption.empty() ? record.title() : record.title() + ": " + caption);
  if (!showDialog(dialog)) return true;

  list.snapshot();
  list.saveImage(img, true, "");
  wait_cursor(true);
  portsFit fit;
  const portsFault fault = fitPorts(img->field(), img->bkgr(), img->ROI(), ports, fit,
                                    values.m_order, values.m_correct != 0, values.m_gageDiameter);
  wait_cursor(false);
  if (fit.limited) message(portsLimitText, false);
  if (fault != portsFault::none) {
    message(portsFaultText(fault), false);
    return true;
  }
  if (values.m_correct) img->resetLimits();
  refreshList(list);
  PPortDataOut(portsReportLines(fit));
  return true;
}

namespace {

std::unique_ptr<paramRecord> emptyReport() { return std::make_unique<CPPortData>(); }

const commandRegistration command({"pressure-ports",
                                   "Tools",
                                   "Pressure Ports...",
                                   "Performs Field Correction on the base of input Markers File",
                                   "ZELTools.chm::/html/ZELTools_pports.htm",
                                   available::image_is_present,
                                   {freshRecord<CPPStart>, emptyReport},
                                   PressurePortsCommand,
                                   {{userChoice::kind::file, "Markers File"},
                                    {userChoice::kind::file, "Save Data"}}});

}  // namespace

}  // namespace tamble
