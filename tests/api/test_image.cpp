#include <gtest/gtest.h>
#include <omp.h>

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

// A new image is 0 with the whole ROI and no background; an image without
// layers raises AlgoError wherever a layer is needed.
TEST(Image, NewAndEmptyImages) {
  image img(5, 4);
  EXPECT_EQ(img.shape(), (std::vector<int>{5, 4}));
  for (std::uint64_t i = 0; i < img.field().count; ++i) {
    EXPECT_EQ(img.field()[i], 0.0f);
    EXPECT_FALSE(img.bkgr()[i]);
    EXPECT_TRUE(img.ROI()[i]);
  }
  EXPECT_FALSE(img.hasVectorLayers());
  image empty;
  EXPECT_THROW(empty.field(), zel::AlgoError);
  EXPECT_THROW(empty += 1.0f, zel::AlgoError);
  EXPECT_THROW(img += empty, zel::AlgoError);
  EXPECT_THROW(empty.assign(zel::arrayStore<int, 2>(1, 1)), zel::AlgoError);
}

// A copy is deep and carries name, masks, markers and file data.
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
}

// copyFrom takes the source's layers, name and markers whatever the target
// held, drops a ROI the source lacks, and leaves an image copied onto itself.
TEST(Image, CopyFromTakesTheLayersTheSourceHas) {
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
  noRoi.makeLayers({3, 3}, true, true, false);
  noRoi.fillField(2.0f);
  noRoi.fillBkgr(false);
  image other(5, 5);
  other.copyFrom(noRoi);
  EXPECT_FALSE(other.hasROI());
  EXPECT_EQ(other.width(), 3);
  other.copyFrom(other);
  EXPECT_EQ(other.field()(2, 2), 2.0f);
}

// Resizing gives fresh layers.
TEST(Image, ResizeGivesFreshLayers) {
  image img = filled(2, 2, 4.0f);
  img.fillBkgr(true);
  img.resize(std::pair{3, 2});
  EXPECT_EQ(img.field()(2, 1), 0.0f);
  EXPECT_FALSE(img.bkgr()(2, 1));
  EXPECT_TRUE(img.ROI()(2, 1));
}

// Limits cover the valid pixels only, are found on first request, and are
// the same on any number of threads.
TEST(Image, LimitsCoverValidPixelsOnly) {
  image img(3, 1);
  img.field()[0] = -7.0f;  // background
  img.field()[1] = 2.0f;
  img.field()[2] = 50.0f;  // outside the ROI
  img.bkgr()[0] = true;
  img.ROI()[2] = false;
  EXPECT_EQ(img.drawOptions(), nullptr);
  EXPECT_EQ(img.limits(), std::make_pair(2.0, 2.0));
  ASSERT_NE(img.drawOptions(), nullptr);
  img.fillBkgr(true);
  img.resetLimits();
  EXPECT_EQ(img.limits().first, std::numeric_limits<double>::max());
  EXPECT_EQ(img.limits().second, -std::numeric_limits<double>::max());
  image big(700, 300);
  for (std::uint64_t i = 0; i < big.field().count; ++i)
    big.field()[i] = static_cast<float>((i * 7919) % 10007) - 5000.0f;
  big.bkgr()[123] = true;
  big.field()[123] = 1e9f;  // background, inside a row's run of whole lane groups
  big.ROI()[456] = false;
  big.field()[456] = -1e9f;  // outside the ROI
  big.field()[789] = std::numeric_limits<float>::quiet_NaN();  // never a limit
  omp_set_num_threads(1);
  big.resetLimits();
  const auto serial = big.limits();
  omp_set_num_threads(4);
  big.resetLimits();
  omp_set_num_threads(omp_get_num_procs());
  EXPECT_EQ(serial, big.limits());
  EXPECT_EQ(serial, std::make_pair(-5000.0, 5006.0));
}

// The operators use the left image's ROI as the mask; a store's operators
// cover the store's extent.
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
  l.markBelow(4.0f);
  EXPECT_TRUE(l.bkgr()[0]);
  image img = filled(3, 2, 1.0f);
  img.bkgr()(0, 0) = true;
  zel::arrayStore<int, 2> ints(2, 2);
  ints.fill(5);
  img += ints;
  EXPECT_EQ(img.field()(0, 0), 1.0f);  // background
  EXPECT_EQ(img.field()(1, 1), 6.0f);
  EXPECT_EQ(img.field()(2, 1), 1.0f);  // beyond the store
}

}  // namespace
