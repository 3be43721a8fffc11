// The size dialogs of the geometric commands, without a command.
#include <gtest/gtest.h>

#include "dialogs/geometryDialogs.h"

namespace {

using namespace tamble;

// Typing pixels or percent keeps the other in step, apart when the proportions
// are free (in proportion: ResizeKeepsTheImagesIdentity), rounding to a pixel.
TEST(GeometryDialogs, ResizeKeepsPixelsAndPercentInStep) {
  CIRes d;
  d.open(200, 100);
  boundRecord<CIRes> r(CIRes::descriptor(), d);
  ASSERT_FALSE(assignParam(r, "m_cp", "0"));
  ASSERT_FALSE(assignParam(r, "y_pixels", "25"));
  EXPECT_EQ(d.y_percent, 25.0f);
  EXPECT_EQ(d.x_pixels, 200);
  ASSERT_FALSE(assignParam(r, "x_percent", "33.3"));
  EXPECT_EQ(d.x_pixels, 67);  // 66.6 rounds up
  EXPECT_FALSE(checkRecord(r));
}

// The size dialogs' own checks on OK name the first bad size in the order the
// user reads them; a relative trim allows shrinking to ten pixels.
TEST(GeometryDialogs, SizeChecksNameTheFirstBadSize) {
  const struct {
    bool trim;
    int relative, xPixels, yPixels;
    float xPercent, yPercent;
    const char* complaint;  // null: accepted
  } rows[] = {
      {false, 0, 10, 100000, 1, 10000, nullptr},
      {false, 0, 9, 5, 100, 100, "X pixels < 10\n\nEnter bigger value"},
      {false, 0, 10, 100001, 100, 100, "Y pixels > 100 000\n\nEnter smaller value"},
      {false, 0, 10, 10, 0.5f, 100, "X percent < 1\n\nEnter bigger value"},
      {false, 0, 10, 10, 100, 10001, "Y percent > 10 000\n\nEnter smaller value"},
      {true, 0, 0, 40, 100, 100, "X pixels < 10\n\nEnter bigger value"},
      {true, 1, -40, -30, -90, -90, nullptr},
      {true, 1, -41, 0, 100, 100, "X pixels too small\n\nEnter bigger value"},
      {true, 1, 0, 0, 100, -91, "Y percent < -90\n\nEnter bigger value"},
  };
  for (const auto& row : rows) {
    CIRes resize;
    CICrop trim;
    imageSize& size = row.trim ? static_cast<imageSize&>(trim) : resize;
    size.open(50, 40);
    trim.relative = row.relative;
    size.x_pixels = row.xPixels;
    size.y_pixels = row.yPixels;
    size.x_percent = row.xPercent;
    size.y_percent = row.yPercent;
    const auto complaint = row.trim ? checkRecord(boundRecord<CICrop>(CICrop::descriptor(), trim))
                                    : checkRecord(boundRecord<CIRes>(CIRes::descriptor(), resize));
    EXPECT_EQ(complaint.value_or("accepted"), row.complaint ? row.complaint : "accepted")
        << row.xPixels << " " << row.yPixels << " " << row.xPercent << " " << row.yPercent;
    if (row.trim && row.relative && !complaint) {
      EXPECT_EQ(trim.newWidth(), 10);
    }
  }
}

}  // namespace
