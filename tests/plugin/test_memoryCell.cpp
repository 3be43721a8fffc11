// The memory cell's arithmetic and the transfer buffers, command by command.
#include <gtest/gtest.h>

#include "api/imagesList.h"
#include "plugin/frame.h"
#include "plugin/memoryCell.h"
#include "plugin/session.h"
#include "tests/support/sessionUi.h"

namespace {

using namespace tamble;

zel::image* filled(const char* name, int w, int h, float value) {
  auto* img = new zel::image(w, h);
  img->setFieldName(name);
  img->fillField(value);
  return img;
}

// Each test starts with a fresh session (a free cell, empty buffers) and a
// scripted user.
class MemoryCell : public ::testing::Test {
 protected:
  const std::vector<std::string>& notices() { return user.ui.notices; }
  tamble::testing::sessionUi user;
  zel::imagesList list;
};

// A free cell is reported; a command that writes the image still takes its host step.
TEST_F(MemoryCell, FreeCellIsReportedAndNothingChanges) {
  list.addImage(filled("a", 2, 2, 3.0f));
  list.recording = true;
  MemoryPlusImage(list);
  ImageMinusMemory(list);  // a command that changes the image pushes its undo step first
  EXPECT_EQ(notices(), (std::vector<std::string>{"Memory Cell is Free", "Memory Cell is Free"}));
  EXPECT_EQ(list.actions().size(), 1u);
  EXPECT_FALSE(list.undoAvailable());
  CopyFromMemory(list);
  EXPECT_EQ(notices().back(), "Memory Cell is Free");
  EXPECT_EQ(list.actions().size(), 2u);
  EXPECT_EQ(list.current()->field()[0], 3.0f);
}

// The arithmetic reaches blocked pixels too.
TEST_F(MemoryCell, ArithmeticCoversBackgroundPixelsToo) {
  list.addImage(filled("a", 3, 2, 2.0f));
  list.current()->bkgr()(1, 1) = true;
  list.current()->ROI()(0, 0) = false;
  CopyToMemory(list);
  MemoryPlusImage(list);
  EXPECT_EQ(memoryField()(1, 1), 4.0f);
  EXPECT_EQ(memoryField()(0, 0), 4.0f);
  MemoryTimesImage(list);
  MemoryMinusImage(list);
  EXPECT_EQ(memoryField()(2, 1), 6.0f);
  ImageMinusMemory(list);
  EXPECT_EQ(list.current()->field()(1, 1), -4.0f);
  DeviationFromMemory(list);
  EXPECT_EQ(list.current()->field()(2, 0), 100.0f);
  EXPECT_TRUE(notices().empty());
  EXPECT_TRUE(list.undoAvailable());
}

// Dividing by a value below one millionth in size gives zero.
TEST_F(MemoryCell, DivisionBelowOneMillionthGivesZero) {
  auto* img = filled("a", 3, 1, 1.0f);
  list.addImage(img);
  CopyToMemory(list);
  memoryField().fill(2.0f);
  img->field()[0] = 1e-7f;
  img->field()[1] = 1e-6f;
  img->field()[2] = -1e-7f;
  MemoryByImage(list);
  EXPECT_EQ(memoryField()[0], 0.0f);
  EXPECT_EQ(memoryField()[1], 2.0f / 1e-6f);
  EXPECT_EQ(memoryField()[2], 0.0f);
}

// The swap exchanges extents, layers and markers; the image stays in its place.
TEST_F(MemoryCell, SwapExchangesExtentsContentsAndMarkers) {
  auto* cellSource = filled("big", 20, 30, 7.0f);
  cellSource->markers.add(marker{1, 2, 0, 0, true, 0});
  list.addImage(cellSource);
  CopyToMemory(list);
  auto* small = filled("small", 10, 10, 1.0f);
  small->bkgr()(9, 9) = true;
  list.addImage(small);
  list.setCurrent(1);
  SwapWithMemory(list);
  EXPECT_EQ(small->field()(19, 29), 7.0f);  // now 20 by 30
  EXPECT_EQ(small->markers.count(), 1);
  EXPECT_EQ(small->fieldName(), "small");  // still the same image in the list
  EXPECT_EQ(memoryField().width(), 10);
  EXPECT_TRUE(memoryBkgr()(9, 9));
  EXPECT_EQ(memoryMarkers().count(), 0);
}

// Copying back gives the image the extent of the cell; "UnDo" restores it.
TEST_F(MemoryCell, CopyBackGivesTheCellsExtentAndUndoRestores) {
  list.addImage(filled("a", 4, 4, 5.0f));
  CopyToMemory(list);
  list.addImage(filled("b", 2, 2, 1.0f));
  list.setCurrent(1);
  CopyFromMemory(list);
  EXPECT_EQ(list.current()->width(), 4);
  EXPECT_EQ(list.current()->field()(3, 3), 5.0f);
  UnDo(list);
  EXPECT_EQ(list.find("b")->width(), 2);
  EXPECT_FALSE(list.undoAvailable());
}

// Copies between other extents are refused, silently in quiet mode.
TEST_F(MemoryCell, CopyBmsRefusesOtherExtentsUnlessQuiet) {
  zel::arrayStore<float, 2> f(2, 2), g(3, 2);
  zel::arrayStore<bool, 2> b(2, 2), r(2, 2), gb(3, 2), gr(3, 2);
  zel::markersArray m, gm;
  EXPECT_FALSE(copy_bms(f, b, r, m, g, gb, gr, gm));
  EXPECT_EQ(notices().back(), "(copy_bms) BitMaps Have Different Horizontal Dimensions!");
  session().quietMode = 1;
  EXPECT_FALSE(copy_bms(f, b, r, m, g, gb, gr, gm));
  session().quietMode = 0;
  EXPECT_EQ(notices().size(), 1u);
}

// The ROI buffer pastes onto images of its extent only; copying takes no snapshot.
TEST_F(MemoryCell, RoiBufferCarriesASelection) {
  for (const char* name : {"a", "b"}) list.addImage(filled(name, 3, 3, 1.0f));
  list.addImage(filled("c", 4, 4, 1.0f));
  list.current()->ROI()(1, 1) = false;
  ROICopy(list);
  EXPECT_FALSE(list.undoAvailable());  // copying takes no snapshot
  list.setCurrent(2);
  ROIPaste(list);  // other extent: nothing, silently
  EXPECT_TRUE(list.current()->ROI()(1, 1));
  EXPECT_FALSE(list.undoAvailable());
  list.setCurrent(1);
  ROIPaste(list);
  EXPECT_FALSE(list.current()->ROI()(1, 1));
  EXPECT_TRUE(list.current()->ROI()(0, 0));
  EXPECT_TRUE(notices().empty());
}

// The markers buffer pastes up to a thousand markers, numbered from 1; more paste nothing.
TEST_F(MemoryCell, MarkersBufferPastesUpToAThousand) {
  list.addImage(filled("a", 3, 3, 1.0f));
  list.addImage(filled("b", 5, 5, 1.0f));
  for (int i = 0; i < 1000; ++i) list.current()->markers.add(marker{double(i), 1, 0, 0, true, 0});
  MarkersCopy(list);
  list.setCurrent(1);
  MarkersPaste(list);
  EXPECT_EQ(list.current()->markers.count(), 1000);
  EXPECT_EQ(list.current()->markers[999].id, 1000);
  markersBuffer().add(marker{});
  list.current()->markers.resize(0);
  MarkersPaste(list);
  EXPECT_EQ(list.current()->markers.count(), 0);
}

}  // namespace
