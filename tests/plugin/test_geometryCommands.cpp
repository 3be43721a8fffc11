#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>

#include "api/imagesList.h"
#include "host/store.h"
#include "plugin/geometryCommands.h"
#include "tests/support/commandTest.h"
#include "tests/support/scriptedUi.h"

namespace {

using namespace tamble;

// A list holding one ramp image (value = x + 10 y) with one marker.
class GeometryCommands : public tamble::testing::commandTest {
 protected:
  zel::image& add(int w, int h) {
    zel::image& img = addRamp(w, h);
    img.markers.add(marker{1, 2, 0, 0, true, 0});
    return img;
  }
};

TEST_F(GeometryCommands, QuarterTurnOfANonSquareImageStopsAfterTheSnapshot) {
  zel::image& img = add(6, 4);
  list.recording = true;
  params({{"regime", "1"}});
  FlipRotateCommand(list);
  EXPECT_EQ(user.ui.notices.back(), "This Operation is Valid Only For Square Images!");
  EXPECT_TRUE(list.undoAvailable());    // the snapshot was taken
  EXPECT_TRUE(list.actions().empty());  // but no host undo step
  EXPECT_EQ(img.field()(5, 0), 5.0f);   // and nothing turned
  params({{"regime", "3"}});
  FlipRotateCommand(list);
  EXPECT_EQ(img.field()(0, 0), 5.0f);  // mirrored left to right
  EXPECT_EQ(list.actions().size(), 1u);
}

TEST_F(GeometryCommands, ResizeKeepsTheImagesIdentity) {
  zel::image& img = add(40, 20);
  params({{"x_percent", "50"}, {"m_int", "0"}});
  ImageResizeCommand(list);
  EXPECT_EQ(img.width(), 20);
  EXPECT_EQ(img.height(), 10);
  EXPECT_EQ(img.field()(3, 2), 6.0f + 40.0f);  // nearest: source (6, 4)
  EXPECT_EQ(img.fieldName(), "ramp");
  EXPECT_EQ(img.fileInfo.name, "ramp.tif");
  EXPECT_TRUE(user.ui.notices.empty());  // the timing is not shown
  // The next opening starts again at 100 percent of the present size.
  params({});
  ImageResizeCommand(list);
  EXPECT_EQ(img.width(), 20);
  // Ten pixels is the smallest size the dialog takes.
  params({{"y_pixels", "9"}});
  ImageResizeCommand(list);
  EXPECT_EQ(img.height(), 10);
}

TEST_F(GeometryCommands, TrimLengthensWithTheAnchor) {
  zel::image& img = add(20, 12);
  params({{"relative", "1"}, {"x_pixels", "4"}, {"y_pixels", "0"}, {"anchor_x", "1"}});
  ImageCropCommand(list);
  EXPECT_EQ(img.width(), 24);
  EXPECT_EQ(img.height(), 12);
  // Anchor x at 1 puts the old image at the right: four new columns at the left.
  EXPECT_EQ(img.field()(5, 1), 11.0f);
  EXPECT_EQ(img.field()(23, 0), 19.0f);
  EXPECT_EQ(img.field()(3, 1), 0.0f);
  EXPECT_TRUE(img.ROI()(3, 1));
  EXPECT_EQ(img.markers[0].x, 5.0);
}

TEST_F(GeometryCommands, ZoomNeedsASelection) {
  add(8, 8);
  ZoomROICommand(list);
  EXPECT_EQ(user.ui.notices.back(), "All Image is ROI.\nNo Zoom ROI Available!");
  EXPECT_FALSE(list.undoAvailable());
}

TEST_F(GeometryCommands, RoiMaximumReportsWithoutChangingAnything) {
  zel::image& img = add(9, 9);
  img.fillField(0.0f);
  img.field()(4, 4) = 10.0f;
  img.field()(5, 4) = 6.0f;
  ROIMaximumCommand(list);
  ASSERT_FALSE(user.ui.notices.empty());
  const std::string& text = user.ui.notices.back();
  EXPECT_EQ(text.rfind("Original      Xmax= 4    Ymax= 4\n\nResulting   Xmax= ", 0), 0u) << text;
  EXPECT_FALSE(list.undoAvailable());
}

}  // namespace
