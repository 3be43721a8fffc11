// Cancel changes nothing: every offered command that asks the user something,
// run by a user who types into each dialog and then cancels it, cancels every
// image and file choice and answers No, leaves the images, the undo state,
// the store, the memory cell and the values of the next opening as they were.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "api/imagesList.h"
#include "plugin/catalogue.h"
#include "plugin/commandTable.h"
#include "plugin/projectState.h"
#include "tests/support/commandTest.h"
#include "tests/support/layers.h"

namespace {

using namespace tamble;
using tamble::testing::layers;
using tamble::testing::sameBits;

// Sets every field to another value, as a user would type it, then cancels.
struct cancellingUi : tamble::testing::scriptedUi {
  bool editRecord(paramRecord& record) override {
    for (std::size_t i = 0; i < record.fields().size(); ++i) {
      const paramInfo& f = record.fields()[i];
      double other = record.value(i) + 1;
      if (!f.choices.empty()) other = f.choices[f.choices.front().value == record.value(i)].value;
      if (f.range) other = record.value(i) == f.range->second ? f.range->first : f.range->second;
      record.setValue(i, other);
      record.edited(i);
    }
    return false;
  }
};

// Two images of one size, each with markers, a blocked pixel and a pixel
// outside the ROI: the guards of every image command pass.
void fill(zel::imagesList& list) {
  for (const char* name : {"a", "b"}) {
    layers l = tamble::testing::randomLayers(16, 12, 0.1, name[0]);
    auto* img = new zel::image(16, 12);
    img->setFieldName(name);
    img->fileInfo.name = std::string(name) + ".tif";
    img->field() = l.field;
    img->bkgr() = l.bkgr;
    img->ROI() = l.ROI;
    img->bkgr()(3, 4) = true;
    img->ROI()(5, 6) = false;
    for (double x : {4.0, 11.0}) img->markers.add(marker{x, 6.0, 0, 0, true, 0});
    list.addImage(img);
  }
  list.setCurrent(0);
  list.recording = true;
}

std::string fileBytes(const std::string& path) {
  if (!std::filesystem::exists(path)) return "(no file)";
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

// What a Cancel must leave as it was.
struct everything {
  std::vector<std::string> names, files;
  std::vector<layers> images;
  int current = -1;
  bool undo = false;
  std::size_t hostSteps = 0;
  std::string store, paintKind;
  memoryCellStores memory;
  std::vector<std::vector<double>> nextOpening;  // of each record the command shows

  everything(const zel::imagesList& list, const commandDescriptor& d, const std::string& path)
      : current(list.currentIndex),
        undo(list.undoAvailable()),
        hostSteps(list.actions().size()),
        store(fileBytes(path)),
        paintKind(state().paintKind),
        memory(session().memory) {
    for (int i = 0; i < list.size(); ++i) {
      const zel::image& img = *list[i];
      names.push_back(img.fieldName());
      files.push_back(img.fileInfo.name);
      layers l(img.width(), img.height());
      l.field = img.field();
      l.bkgr = img.bkgr();
      l.ROI = img.ROI();
      l.markers = img.markers;
      images.push_back(l);
    }
    for (recordMaker make : d.records) {
      const auto record = make();
      nextOpening.emplace_back();
      for (std::size_t i = 0; i < record->fields().size(); ++i)
        nextOpening.back().push_back(record->value(i));
    }
  }
};

void expectSame(const everything& before, const everything& after) {
  EXPECT_EQ(after.names, before.names);
  EXPECT_EQ(after.files, before.files);
  ASSERT_EQ(after.images.size(), before.images.size());
  for (std::size_t i = 0; i < before.images.size(); ++i)
    EXPECT_TRUE(sameBits(after.images[i], before.images[i])) << "image " << before.names[i];
  EXPECT_EQ(after.current, before.current);
  EXPECT_EQ(after.undo, before.undo);
  EXPECT_EQ(after.hostSteps, before.hostSteps);
  EXPECT_EQ(after.store, before.store);
  EXPECT_EQ(after.paintKind, before.paintKind);
  const memoryCellStores &m0 = before.memory, &m1 = after.memory;
  EXPECT_TRUE(sameBits(m1.field, m0.field) && sameBits(m1.bkgr, m0.bkgr) &&
              sameBits(m1.roi, m0.roi) && sameBits(m1.roiBuffer, m0.roiBuffer))
      << "memory cell";
  EXPECT_TRUE(m1.markers.items == m0.markers.items &&
              m1.markersBuffer.items == m0.markersBuffer.items)
      << "memory cell markers";
  EXPECT_EQ(after.nextOpening, before.nextOpening);
}

using Cancel = tamble::testing::commandTest;

// Cancel in every dialog and choice of every asking command changes nothing.
TEST_F(Cancel, ChangesNothingInAnyCommandThatAsks) {
  cancellingUi ui;
  setHostUi(&ui);
  for (const menuEntry& entry : offeredMenu()) {
    const commandDescriptor* d = entry.command;
    if (!d || (d->records.empty() && d->asks.empty())) continue;
    SCOPED_TRACE(d->name);
    session().reset();
    std::filesystem::remove(store);
    write_param("Elsewhere", "m_kept", 1);  // the store file exists and holds something
    zel::imagesList images;
    fill(images);
    // A command that needs what this list lacks (a project) is not run here.
    if (!d->enabled.test(images)) {
      EXPECT_NE(std::string_view(d->enabled.name), "image_is_present");
      continue;
    }
    const everything before(images, *d, store);
    d->handler(images);
    expectSame(before, everything(images, *d, store));
  }
  setHostUi(&user.ui);
}

}  // namespace
