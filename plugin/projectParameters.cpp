#include "plugin/projectParameters.h"

#include "api/errors.h"
#include "dialogs/alignmentDialog.h"
#include "dialogs/backgroundDialogs.h"
#include "dialogs/circleFilterDialogs.h"
#include "dialogs/conversionDialogs.h"
#include "dialogs/fillUpDialogs.h"
#include "dialogs/markerDialogs.h"
#include "dialogs/portsDialog.h"
#include "host/project.h"

namespace tamble {

namespace {

template <class T>
void add(std::vector<std::unique_ptr<paramRecord>>& records) {
  records.push_back(std::make_unique<ownedRecord<T>>());
}

// The store's values, then the block's values where it has them. A value
// that does not parse or lies out of range raises zel::FileError.
void takeProjectValues(paramRecord& record, const zel::vurStr& project) {
  loadRecord(record);
  const auto& fields = record.fields();
  for (const paramInfo& field : fields) {
    if (!field.stored) continue;
    const std::string* text = project.parameter(record.section(), field.key);
    if (!text) continue;
    if (auto complaint = assignParam(record, field.key, *text))
      zel::raise<zel::FileError>(project.project_file + ": [" + record.section() + "] " +
                                 *complaint);
  }
  if (auto complaint = checkRecord(record))
    zel::raise<zel::FileError>(project.project_file + ": [" + record.section() + "] " + *complaint);
}

}  // namespace

std::vector<std::unique_ptr<paramRecord>> stageRecords() {
  std::vector<std::unique_ptr<paramRecord>> records;
  add<CConvertBin_01>(records);
  add<CAutomarsc>(records);
  add<CRevMarkers>(records);
  add<CCSNumerate>(records);
  add<CFillMark>(records);
  add<CGauss>(records);
  add<CGaussBS>(records);
  add<CGaussFBS>(records);
  add<CBG_Dlg>(records);
  add<CAlignment>(records);
  add<CCreateCards>(records);
  add<CThinning>(records);
  add<CPPStart>(records);
  return records;
}

namespace {

void copyToBlock(const paramRecord& record, zel::vurStr& project) {
  const auto& fields = record.fields();
  for (std::size_t i = 0; i < fields.size(); ++i)
    if (fields[i].stored)
      project.setParameter(record.section(), fields[i].key, storedText(record, i));
}

}  // namespace

void parametersToProject() {
  zel::vurStr& project = get_vur();
  for (const auto& record : stageRecords()) {
    loadRecord(*record);
    copyToBlock(*record, project);
  }
}

// The block then holds every stage value again, as the store now does.
void parametersFromProject() {
  zel::vurStr& project = get_vur();
  read_vur_strings(project.project_file, project);
  for (const auto& record : stageRecords()) {
    takeProjectValues(*record, project);
    saveRecord(*record);
    copyToBlock(*record, project);
  }
}

void checkProjectParameters(const zel::vurStr& project) {
  for (const auto& record : stageRecords()) takeProjectValues(*record, project);
}

}  // namespace tamble
