#include <gtest/gtest.h>

#include "dialogs/geometryDialogs.h"

namespace {

using namespace tamble;

TEST(GeometryDialogs, ResizeKeepsPixelsAndPercentInStep) {
  CIRes d;
  d.open(200, 100);
  EXPECT_EQ(d.x_pixels, 200);
  EXPECT_EQ(d.y_pixels, 100);
  boundRecord<CIRes> r(CIRes::descriptor(), d);
  ASSERT_FALSE(assignParam(r, "x_percent", "50"));
  EXPECT_EQ(d.x_pixels, 100);
  EXPECT_EQ(d.y_percent, 50.0f);  // proportions constrained
  EXPECT_EQ(d.y_pixels, 50);
  ASSERT_FALSE(assignParam(r, "m_cp", "0"));
  ASSERT_FALSE(assignParam(r, "y_pixels", "25"));
  EXPECT_EQ(d.y_percent, 25.0f);
  EXPECT_EQ(d.x_pixels, 100);
  ASSERT_FALSE(assignParam(r, "x_percent", "33.3"));
  EXPECT_EQ(d.x_pixels, 67);  // 66.6 rounds up
  EXPECT_FALSE(checkRecord(r));
}

TEST(GeometryDialogs, ResizeRefusesSizesInTheUsersOrder) {
  CIRes d;
  d.open(200, 100);
  d.m_cp = 0;
  boundRecord<CIRes> r(CIRes::descriptor(), d);
  d.x_pixels = 9;
  d.y_pixels = 5;
  EXPECT_EQ(checkRecord(r), "X pixels < 10\n\nEnter bigger value");
  d.x_pixels = 100001;
  EXPECT_EQ(checkRecord(r), "X pixels > 100 000\n\nEnter smaller value");
  d.x_pixels = 10;
  EXPECT_EQ(checkRecord(r), "Y pixels < 10\n\nEnter bigger value");
  d.y_pixels = 100000;
  d.x_percent = 0.5f;
  EXPECT_EQ(checkRecord(r), "X percent < 1\n\nEnter bigger value");
  d.x_percent = 10001;
  EXPECT_EQ(checkRecord(r), "X percent > 10 000\n\nEnter smaller value");
  d.x_percent = 100;
  d.y_percent = 10001;
  EXPECT_EQ(checkRecord(r), "Y percent > 10 000\n\nEnter smaller value");
  d.m_int = 3;  // not one of the resampling choices: the record's own check comes first
  EXPECT_NE(checkRecord(r)->find("Resample Image"), std::string::npos);
}

TEST(GeometryDialogs, TrimChecksDependOnTheMode) {
  CICrop d;
  d.open(50, 40);
  boundRecord<CICrop> r(CICrop::descriptor(), d);
  EXPECT_FALSE(checkRecord(r));
  EXPECT_EQ(d.newWidth(), 50);
  ASSERT_FALSE(assignParam(r, "relative", "1"));
  ASSERT_FALSE(assignParam(r, "x_pixels", "-40"));  // 50 - 40 = 10 is still allowed
  ASSERT_FALSE(assignParam(r, "y_pixels", "0"));
  ASSERT_FALSE(assignParam(r, "x_percent", "-80"));
  EXPECT_EQ(d.x_pixels, -40);
  EXPECT_FALSE(checkRecord(r));
  EXPECT_EQ(d.newWidth(), 10);
  EXPECT_EQ(d.newHeight(), 40);
  d.x_pixels = -41;
  EXPECT_EQ(checkRecord(r), "X pixels too small\n\nEnter bigger value");
  d.x_pixels = 0;
  d.y_percent = -91;
  EXPECT_EQ(checkRecord(r), "Y percent < -90\n\nEnter bigger value");
  ASSERT_FALSE(assignParam(r, "relative", "0"));
  d.y_percent = 100;
  EXPECT_EQ(checkRecord(r), "X pixels < 10\n\nEnter bigger value");
  EXPECT_TRUE(assignParam(r, "anchor_x", "2"));  // not an anchor
}

TEST(GeometryDialogs, RecordsAsTheStoreKnowsThem) {
  CSSR d;
  boundRecord<CSSR> r(CSSR::descriptor(), d);
  EXPECT_EQ(r.section(), "SSR");
  std::vector<std::string> keys;
  for (const auto& f : r.fields())
    if (f.stored) keys.push_back(f.key);
  EXPECT_EQ(keys, (std::vector<std::string>{"m_alpha", "m_scx", "m_scy", "m_x1", "m_x2", "m_y1",
                                            "m_y2"}));
  // The scales start at 0, which the dialog does not accept: the user types them.
  EXPECT_NE(checkRecord(r)->find("Scale X"), std::string::npos);
  CSRS s;
  boundRecord<CSRS> rs(CSRS::descriptor(), s);
  ASSERT_FALSE(assignParam(rs, "m_scx", "0.000001"));  // the smallest scale the caption allows
  ASSERT_FALSE(assignParam(rs, "m_scy", "1"));
  EXPECT_FALSE(checkRecord(rs));
  EXPECT_EQ(rs.title(), "Scale + Rotate + Shift");
  EXPECT_FALSE(assignParam(rs, "interp", "BiCubic Damped"));
  EXPECT_EQ(s.interp, 2);
  FlipRot f;
  boundRecord<FlipRot> rf(FlipRot::descriptor(), f);
  EXPECT_FALSE(assignParam(rf, "regime", "Alternative Transpose"));
  EXPECT_EQ(f.regime, 6);
  EXPECT_TRUE(assignParam(rf, "regime", "7") || checkRecord(rf));
}

}  // namespace
