// The geometric commands through their dialogs: refusals, markers, identity.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "api/imagesList.h"
#include "plugin/geometryCommands.h"
#include "tests/support/commandTest.h"
#include "tests/support/layers.h"

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

// A quarter turn of a non-square image is refused before the snapshot; a flip runs.
TEST_F(GeometryCommands, QuarterTurnOfANonSquareImageStopsBeforeTheSnapshot) {
  zel::image& img = add(6, 4);
  list.recording = true;
  params({{"regime", "1"}});
  FlipRotateCommand(list);
  EXPECT_EQ(user.ui.notices.back(), "This Operation is Valid Only For Square Images!");
  EXPECT_FALSE(list.undoAvailable());   // no snapshot: "UnDo" stays unavailable
  EXPECT_TRUE(list.actions().empty());  // and no host undo step
  EXPECT_EQ(img.field()(5, 0), 5.0f);   // and nothing turned
  params({{"regime", "3"}});
  FlipRotateCommand(list);
  EXPECT_EQ(img.field()(0, 0), 5.0f);  // mirrored left to right
  EXPECT_EQ(list.actions().size(), 1u);
}

// Every flip and turn but the alternative transpose (which leaves the markers
// transposed) moves the markers with the pixels they stood on.
TEST_F(GeometryCommands, FlipsAndTurnsMoveTheMarkersWithThePixels) {
  zel::image& img = add(6, 6);
  img.markers.add(marker{4, 1, 0, 0, true, 0});
  auto valueAt = [](const zel::image& i, int m) {
    return i.field()(static_cast<int>(std::lround(i.markers[m].x)),
                     static_cast<int>(std::lround(i.markers[m].y)));
  };
  for (int regime = 0; regime < 6; ++regime) {
    const zel::image before(img);
    params({{"regime", std::to_string(regime)}});
    FlipRotateCommand(list);
    EXPECT_FALSE(tamble::testing::sameBits(img.field(), before.field())) << regime;
    for (int m = 0; m < 2; ++m) EXPECT_EQ(valueAt(img, m), valueAt(before, m)) << regime;
  }
}

// A resized image keeps its name and file; the next opening is at 100 percent.
TEST_F(GeometryCommands, ResizeKeepsTheImagesIdentity) {
  zel::image& img = add(40, 20);
  params({{"x_percent", "50"}, {"m_int", "0"}});
  ImageResizeCommand(list);
  EXPECT_EQ(img.width(), 20);
  EXPECT_EQ(img.height(), 10);
  EXPECT_EQ(img.field()(3, 2), 6.0f + 40.0f);  // nearest: source (6, 4)
  EXPECT_EQ(img.fileInfo.name, "ramp.tif");
  EXPECT_TRUE(user.ui.notices.empty());  // the timing is not shown
  params({});
  ImageResizeCommand(list);
  EXPECT_EQ(img.width(), 20);
}

// A relative lengthening places the old image at the anchor, markers included.
TEST_F(GeometryCommands, TrimLengthensWithTheAnchor) {
  zel::image& img = add(20, 12);
  params({{"relative", "1"}, {"x_pixels", "4"}, {"y_pixels", "0"}, {"anchor_x", "1"}});
  ImageCropCommand(list);
  EXPECT_EQ(img.width(), 24);
  // Anchor x at 1 puts the old image at the right: four new columns at the left.
  EXPECT_EQ(img.field()(5, 1), 11.0f);
  EXPECT_EQ(img.field()(3, 1), 0.0f);
  EXPECT_TRUE(img.ROI()(3, 1));
  EXPECT_EQ(img.markers[0].x, 5.0);
}

// The two scale dialogs show the image's width and height ("Along X", "Along Y").
TEST_F(GeometryCommands, ScaleDialogsShowTheImageSize) {
  struct sizeUi : tamble::testing::scriptedUi {
    std::vector<double> shown;
    bool editRecord(tamble::paramRecord& record) override {
      for (std::size_t i = 0; i < record.fields().size(); ++i)
        if (record.fields()[i].key.rfind("along_", 0) == 0) shown.push_back(record.value(i));
      return false;
    }
  };
  add(6, 4);
  for (bool (*command)(zel::imagesList&) : {ScaleRotateShiftCommand, ScaleRotateRelativeCommand}) {
    sizeUi ui;
    tamble::setHostUi(&ui);
    command(list);
    tamble::setHostUi(&user.ui);
    EXPECT_EQ(ui.shown, (std::vector<double>{6, 4}));
  }
}

}  // namespace
