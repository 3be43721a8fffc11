#include <gtest/gtest.h>
#include <omp.h>

#include <cstring>
#include <limits>

#include "api/image.h"

namespace {

using zel::image;

image filled(int w, int h, float value, const char* name = "img") {
  image img(w, h);
  img.fillField(value);
  img.setFieldName(name);
  return img;
}

TEST(Image, NewImageHasWholeRoiAndNoBackground) {
  image img(5, 4);
  EXPECT_EQ(img.width(), 5);
  EXPECT_EQ(img.height(), 4);
  EXPECT_EQ(img.shape(), (std::vector<int>{5, 4}));
  for (std::uint64_t i = 0; i < img.field().count; ++i) {
    EXPECT_EQ(img.field()[i], 0.0f);
    EXPECT_FALSE(img.bkgr()[i]);
    EXPECT_TRUE(img.ROI()[i]);
  }
  EXPECT_EQ(img.field().name, "field");
  EXPECT_EQ(img.bkgr().name, "bkgr");
  EXPECT_EQ(img.ROI().name, "ROI");
  EXPECT_EQ(img.fileInfo.name, "Unnamed");
  EXPECT_FALSE(img.hasVectorLayers());
}

TEST(Image, MissingLayerIsAnAlgoError) {
  image empty;
  EXPECT_THROW(empty.field(), zel::AlgoError);
  EXPECT_THROW(empty.bkgr(), zel::AlgoError);
  EXPECT_THROW(empty.ROI(), zel::AlgoError);
  EXPECT_THROW(empty.vectorLayers(), zel::AlgoError);
  EXPECT_THROW(empty += 1.0f, zel::AlgoError);
  image full(2, 2);
  EXPECT_THROW(full += empty, zel::AlgoError);
  EXPECT_THROW(empty.assign(zel::arrayStore<int, 2>(1, 1)), zel::AlgoError);
}

TEST(Image, CopyIsDeepAndCarriesNameMarkersAndFileData) {
  image a = filled(3, 2, 1.5f, "wind_on_sens");
  a.markers.add(marker{1, 2, 0, 0, true, 0});
  a.fileInfo.name = "run.tif";
  a.bkgr()(1, 1) = true;
  image b(a);
  b.field()(0, 0) = 9.0f;
  EXPECT_EQ(a.field()(0, 0), 1.5f);
  EXPECT_EQ(b.fieldName(), "wind_on_sens");
  EXPECT_TRUE(b.bkgr()(1, 1));
  EXPECT_EQ(b.markers.count(), 1);
  EXPECT_EQ(b.fileInfo.name, "run.tif");
  EXPECT_NE(b.field().data, a.field().data);
}

TEST(Image, CopyFromKeepsTheLayersTheSourceHas) {
  image source;
  source.makeLayers({3, 3}, true, true, false);
  source.fillField(2.0f);
  source.fillBkgr(false);
  image target(5, 5);
  target.copyFrom(source);
  EXPECT_FALSE(target.hasROI());
  EXPECT_TRUE(target.hasField());
  EXPECT_EQ(target.width(), 3);
  target.copyFrom(target);  // itself: nothing happens
  EXPECT_EQ(target.field()(2, 2), 2.0f);
}

TEST(Image, CopyOverAnImageOfTheSameShapeGivesTheSameResult) {
  image source = filled(3, 2, 4.0f, "src");
  source.ROI()(2, 1) = false;
  image target = filled(3, 2, 9.0f, "old");
  target.markers.add(marker{});
  target.resetLimits();
  target.copyFrom(source);
  EXPECT_EQ(target.fieldName(), "src");
  EXPECT_EQ(target.field()(0, 0), 4.0f);
  EXPECT_FALSE(target.ROI()(2, 1));
  EXPECT_EQ(target.markers.count(), 0);
  EXPECT_EQ(target.drawOptions(), nullptr);  // the source had no limits yet
  image noRoi;
  noRoi.makeLayers({3, 2}, true, true, false);
  noRoi.fillField(1.0f);
  noRoi.fillBkgr(false);
  target.copyFrom(noRoi);
  EXPECT_FALSE(target.hasROI());
  EXPECT_EQ(target.fieldName(), "field");
}

TEST(Image, CopyCarriesVectorLayersOnlyIfPresent) {
  image a(2, 2);
  image b(a);
  EXPECT_FALSE(b.hasVectorLayers());
}

TEST(Image, ResizeGivesFreshLayers) {
  image img = filled(2, 2, 4.0f);
  img.fillBkgr(true);
  img.resize(std::vector<int>{3});
  EXPECT_EQ(img.width(), 3);
  EXPECT_EQ(img.height(), 0);
  img.resize(std::pair{3, 2});
  EXPECT_EQ(img.field()(2, 1), 0.0f);
  EXPECT_FALSE(img.bkgr()(2, 1));
  EXPECT_TRUE(img.ROI()(2, 1));
  EXPECT_EQ(img.fieldName(), "field");
}

TEST(Image, LimitsCoverValidPixelsOnly) {
  image img(3, 1);
  img.field()[0] = -7.0f;  // background
  img.field()[1] = 2.0f;
  img.field()[2] = 50.0f;  // outside the ROI
  img.bkgr()[0] = true;
  img.ROI()[2] = false;
  img.field()[1] = 2.0f;
  img.resetLimits();
  EXPECT_EQ(img.limits(), std::make_pair(2.0, 2.0));
  img.fillBkgr(true);
  img.resetLimits();
  EXPECT_EQ(img.limits().first, std::numeric_limits<double>::max());
  EXPECT_EQ(img.limits().second, -std::numeric_limits<double>::max());
}

TEST(Image, LimitsAreComputedOnFirstRequest) {
  image img = filled(2, 2, 3.0f);
  EXPECT_EQ(img.drawOptions(), nullptr);
  EXPECT_EQ(img.limits(), std::make_pair(3.0, 3.0));
  ASSERT_NE(img.drawOptions(), nullptr);
  EXPECT_EQ(img.drawOptions()->fullHigh, 3.0);
}

TEST(Image, OperatorsUseTheLeftRoiAsMask) {
  image l = filled(2, 1, 10.0f);
  image r = filled(2, 1, 4.0f);
  l.ROI()[1] = false;
  r.bkgr()[1] = true;
  l -= r;
  EXPECT_EQ(l.field()[0], 6.0f);
  EXPECT_EQ(l.field()[1], 10.0f);
  EXPECT_FALSE(l.bkgr()[1]);  // outside the ROI: background does not spread
  l *= 0.5f;
  EXPECT_EQ(l.field()[0], 3.0f);
  EXPECT_EQ(l.field()[1], 10.0f);
  l.markBelow(4.0f);
  EXPECT_TRUE(l.bkgr()[0]);
}

TEST(Image, StoreOperationsCoverTheStoreExtent) {
  image img = filled(3, 2, 1.0f);
  img.bkgr()(0, 0) = true;
  zel::arrayStore<int, 2> ints(2, 2);
  ints.fill(5);
  img += ints;
  EXPECT_EQ(img.field()(0, 0), 1.0f);  // background
  EXPECT_EQ(img.field()(1, 1), 6.0f);
  EXPECT_EQ(img.field()(2, 1), 1.0f);  // beyond the store
  zel::arrayStore<float, 2> big(4, 4);
  big.fill(-2.0f);
  img.assign(big);
  EXPECT_EQ(img.field()(2, 1), -2.0f);
  EXPECT_EQ(img.field()(0, 0), 1.0f);
}

TEST(Image, SizeAddsTheLayers) {
  image img(4, 2);
  EXPECT_EQ(img.size(), (5 + 8 * sizeof(float)) + (4 + 8) + (3 + 8));
}

TEST(Image, LimitsMatchAcrossThreadCounts) {
  image img(700, 300);
  for (std::uint64_t i = 0; i < img.field().count; ++i)
    img.field()[i] = static_cast<float>((i * 7919) % 10007) - 5000.0f;
  img.bkgr()[123] = true;
  omp_set_num_threads(1);
  img.resetLimits();
  auto serial = img.limits();
  omp_set_num_threads(4);
  img.resetLimits();
  omp_set_num_threads(omp_get_num_procs());
  EXPECT_EQ(serial, img.limits());
  EXPECT_EQ(serial, std::make_pair(-5000.0, 5006.0));
}

}  // namespace
