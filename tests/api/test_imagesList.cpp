#include <gtest/gtest.h>

#include "api/imagesList.h"

namespace {

using zel::image;
using zel::imagesList;

image* named(const char* name, float value = 0.0f, int w = 3, int h = 2) {
  auto* img = new image(w, h);
  img->setFieldName(name);
  img->fillField(value);
  return img;
}

std::vector<std::string> names(const imagesList& list) {
  std::vector<std::string> out;
  for (int i = 0; i < list.size(); ++i) out.push_back(list[i]->fieldName());
  return out;
}

// Selection clamps and wraps; look-up by name finds the first; adding sets
// the limits given or found.
TEST(ImagesList, SelectionLookUpAndLimits) {
  imagesList list;
  EXPECT_EQ(list.setCurrent(3), -1);
  EXPECT_EQ(list.selectNext(), -1);
  EXPECT_EQ(list.current(), nullptr);
  list.addImage(named("a", 4.0f));
  EXPECT_EQ(list.currentIndex, 0);
  EXPECT_EQ(list[0]->limits(), std::make_pair(4.0, 4.0));
  list.addImage(named("b", 2.0f), -1.0, 9.0);
  EXPECT_EQ(list[1]->limits(), std::make_pair(-1.0, 9.0));
  list.addImage(named("a", 1.0f));
  EXPECT_EQ(list.setCurrent(-5), 0);
  EXPECT_EQ(list.setCurrent(7), 2);
  EXPECT_EQ(list.selectNext(), 0);
  EXPECT_EQ(list.selectLast(), 2);
  EXPECT_EQ(list.select("b"), 1);
  EXPECT_EQ(list.select("nope"), 1);
  EXPECT_EQ(list.indexOf("a"), 0);
  EXPECT_EQ(list.find("a")->field()[0], 4.0f);
  list.addImage(new image(), 0.0, 1.0);  // without layers
  EXPECT_THROW(list.indexOf("y"), zel::AlgoError);
}

// Replacing takes the slot of the same name (or adds); an image changed in
// place keeps its slot with fresh limits; removing moves the current index.
TEST(ImagesList, ReplaceAndRemove) {
  imagesList list;
  list.addImage(named("a", 1.0f));
  list.addImage(named("b", 1.0f));
  list.replaceImage(named("a", 5.0f));
  EXPECT_EQ(names(list), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(list[0]->field()[0], 5.0f);
  list.replaceImage(named("c"));
  EXPECT_EQ(list.size(), 3);
  image* same = list[1];
  same->fillField(8.0f);
  list.replaceImage(same);
  EXPECT_EQ(list[1], same);
  EXPECT_EQ(same->limits(), std::make_pair(8.0, 8.0));
  list.removeImage(5);
  EXPECT_EQ(list.size(), 3);
  list.setCurrent(2);
  list.removeImage(2);
  EXPECT_EQ(list.currentIndex, 1);
  list.removeImage(0);
  list.removeImage(0);
  EXPECT_EQ(list.currentIndex, 0);  // left as it was
}

// Nothing is recorded unless recording; UnDo restores an altered image,
// removes a created one and runs back to the first stopping record.
TEST(ImagesList, UndoRunsBackToTheFirstStoppingRecord) {
  imagesList quiet;
  quiet.addImage(named("a"));
  quiet.saveCurrent(true, "x");
  quiet.checkPoint("y");
  EXPECT_TRUE(quiet.actions().empty());
  EXPECT_EQ(quiet.nextUndoText(), "");

  imagesList list;
  list.recording = true;
  list.addImage(named("a", 1.0f), false);
  list.checkPoint("older step");
  list.saveCurrent(true, "filter");  // altered, stop true
  list.current()->fillField(2.0f);
  list.addImage(named("b"));  // created, does not stop
  EXPECT_EQ(list.nextUndoText(), "filter");
  list.undo();
  EXPECT_EQ(names(list), std::vector<std::string>{"a"});
  EXPECT_EQ(list[0]->field()[0], 1.0f);
  ASSERT_EQ(list.actions().size(), 1u);  // the check point is still there
  EXPECT_EQ(list.nextUndoText(), "older step");
  // An image the list does not hold is not recorded.
  image stranger(1, 1);
  list.saveImage(&stranger, true, "x");
  EXPECT_EQ(list.actions().size(), 1u);
}

// Replacing and removing are undone back to their check points.
TEST(ImagesList, ReplaceAndRemoveAreUndoable) {
  imagesList list;
  list.recording = true;
  list.addImage(named("a", 1.0f), false);
  list.addImage(named("b", 2.0f), false);
  list.checkPoint("replace");
  list.replaceImage(named("a", 9.0f));
  list.checkPoint("remove");
  list.removeImage(1);
  list.undo();
  EXPECT_EQ(list.find("b")->field()[0], 2.0f);
  EXPECT_EQ(list.find("a")->field()[0], 9.0f);
  list.undo();
  EXPECT_EQ(list.find("a")->field()[0], 1.0f);
  EXPECT_TRUE(list.actions().empty());
  list.clear();
  EXPECT_EQ(list.size(), 0);
  EXPECT_EQ(list.currentIndex, -1);
}

// A snapshot restores the whole list once, with the pointers taken before it
// valid; a second snapshot replaces the first; a restore drops the host's
// records.
TEST(ImagesList, SnapshotRestoresTheWholeListOnce) {
  imagesList list;
  for (const char* n : {"a", "b", "c"}) list.addImage(named(n, 1.0f));
  list.setCurrent(1);
  image* kept = list.current();
  list.snapshot();
  EXPECT_EQ(list.current(), kept);
  EXPECT_TRUE(list.undoAvailable());
  kept->fillField(5.0f);
  list.removeImage(0);
  list.addImage(named("d"));
  list.setCurrent(2);
  ASSERT_TRUE(list.restoreSnapshot());
  EXPECT_EQ(names(list), (std::vector<std::string>{"a", "b", "c"}));
  EXPECT_EQ(list.currentIndex, 1);
  EXPECT_EQ(list[1]->field()[0], 1.0f);
  EXPECT_FALSE(list.restoreSnapshot());

  list.snapshot();
  list.removeImage(2);
  list[0]->fillField(2.0f);
  list[1]->resize(5, 4);
  list[1]->setFieldName("b");
  list.snapshot();
  list.clear();
  list.recording = true;
  list.checkPoint("step");
  ASSERT_TRUE(list.restoreSnapshot());
  ASSERT_EQ(names(list), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(list[0]->field()[0], 2.0f);
  EXPECT_EQ(list[1]->width(), 5);
  EXPECT_EQ(list.nextUndoText(), "");
}

}  // namespace
