#include <gtest/gtest.h>
#include <omp.h>
#include <unistd.h>

#include <bit>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "api/imagesList.h"
#include "dialogs/wienerDialog.h"
#include "filters/circleFilters.h"
#include "filters/wiener.h"
#include "host/paramRecord.h"
#include "host/platform.h"
#include "host/store.h"
#include "plugin/wienerCommand.h"
#include "tests/filters/filterReferences.h"
#include "tests/support/commandTest.h"
#include "tests/support/scriptedUi.h"

namespace {

using namespace tamble;
using store2f = zel::arrayStore<float, 2>;
using store2b = zel::arrayStore<bool, 2>;

// Layers of one image: a field and masks with every pixel valid.
struct layers {
  store2f field;
  store2b bkgr, roi;
  layers(int w, int h) : field(w, h), bkgr(w, h), roi(w, h) {
    bkgr.fill(false);
    roi.fill(true);
  }
  void filter(float diameter, float noise) { WienerFilter(field, bkgr, roi, diameter, noise); }
};

// 10 with a +-1 checkerboard on top: a local deviation of 1 everywhere, and
// a pattern that the 3 by 3 median keeps (five of nine samples agree with
// the centre), so only the smoothing can remove it.
layers checkerboard(int w, int h) {
  layers l(w, h);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) l.field(x, y) = (x + y) % 2 ? 9.0f : 11.0f;
  return l;
}

// Random values with about one pixel in eight blocked, by bkgr or by ROI.
layers randomImage(int w, int h, unsigned seed) {
  layers l(w, h);
  std::mt19937 gen(seed);
  std::uniform_real_distribution<float> value(-50.0f, 50.0f);
  std::uniform_int_distribution<int> pick(0, 15);
  for (std::uint64_t i = 0; i < l.field.count; ++i) {
    l.field.data[i] = value(gen);
    const int p = pick(gen);
    l.bkgr.data[i] = p == 0;
    l.roi.data[i] = p != 1;
  }
  return l;
}

bool blocked(const layers& l, std::uint64_t i) { return l.bkgr.data[i] || !l.roi.data[i]; }

tamble::testing::layers asTestLayers(const layers& l) {
  tamble::testing::layers t(l.field.width(), l.field.height());
  t.field = l.field;
  t.bkgr = l.bkgr;
  t.ROI = l.roi;
  return t;
}

// One pass of the separable Gaussian as the Wiener filter once summed it:
// the masks as planes of weights 1 and 0, blocked samples as 0, samples
// beyond the row's ends as 0 of weight 0.
void weightPlaneGauss(const layers& l, store2f& p, float D) {
  const std::vector<float> k = tamble::testing::referenceTaps(D);
  const int R = static_cast<int>(k.size()) / 2, W = p.width(), H = p.height();
  for (bool vertical : {true, false}) {
    const store2f in = p;
    for (int y = 0; y < H; ++y)
      for (int x = 0; x < W; ++x) {
        float s = 0.0f, sw = 0.0f;
        for (int t = -R; t <= R; ++t) {
          const int sx = vertical ? x : x + t, sy = vertical ? y + t : y;
          if (vertical && (sy < 0 || sy >= H)) continue;
          const bool inside = sx >= 0 && sx < W;
          const std::uint64_t j = static_cast<std::uint64_t>(sy) * W + sx;
          const bool valid = inside && !blocked(l, j);
          s += k[t + R] * (valid ? in(sx, sy) : 0.0f);
          sw += k[t + R] * (valid ? 1.0f : 0.0f);
        }
        const std::uint64_t i = static_cast<std::uint64_t>(y) * W + x;
        if (blocked(l, i) || !(sw > 1e-10)) continue;
        const float m = s / sw;
        if (std::fabs(m) < 1e20) p(x, y) = m;
      }
  }
}

// The filter's two stages written out with the plain median and Gaussian.
void referenceWiener(tamble::testing::layers& l, float D, float noise) {
  using tamble::testing::referenceGauss;
  const float K = std::trunc(D * 0.5f * 2.0f + 1.0f);
  auto pull = [&](float d) {
    const float r = noise / (d > 0.0001 ? d : 0.0001f);
    return r * r < 1 ? r * r : 1.0f;
  };
  auto deviation = [](const tamble::testing::layers& a, const tamble::testing::layers& b) {
    tamble::testing::layers v = a;
    for (std::uint64_t i = 0; i < v.field.count; ++i)
      v.field.data[i] = std::fabs(a.field.data[i] - b.field.data[i]);
    return v;
  };
  float* f = l.field.data;
  tamble::testing::layers T = l;
  tamble::testing::referenceCircle(T, 1, 3);
  tamble::testing::layers U = T;
  referenceGauss(U, 1, D);
  tamble::testing::layers V = deviation(T, U);
  referenceGauss(V, 1, D);
  for (std::uint64_t i = 0; i < l.field.count; ++i) {
    if (l.bkgr.data[i] || !l.ROI.data[i]) continue;
    const float wt = pull(V.field.data[i]);
    f[i] += (T.field.data[i] - f[i]) * wt;
    f[i] += (U.field.data[i] - f[i]) * wt;
  }
  U = l;
  referenceGauss(U, 1, K);
  V = deviation(l, U);
  referenceGauss(V, 1, K);
  for (std::uint64_t i = 0; i < l.field.count; ++i)
    if (!l.bkgr.data[i] && l.ROI.data[i]) f[i] += (U.field.data[i] - f[i]) * pull(V.field.data[i]);
}

TEST(WienerFilter, ItsSmoothingIsTheMenusGaussBitForBit) {
  // GaussSeparable against the weight-plane sums, with NaN, infinities and
  // -0 at blocked pixels, infinite valid samples, and diameter 9.5, whose
  // outermost taps are 0 (0 times an infinite sample is NaN in both).
  layers l = randomImage(60, 90, 13);
  const float odd[] = {std::numeric_limits<float>::quiet_NaN(),
                       std::numeric_limits<float>::infinity(), -0.0f, 1e30f};
  int k = 0;
  for (std::uint64_t i = 0; i < l.field.count; ++i)
    if (blocked(l, i)) l.field.data[i] = odd[k++ % 4];
  l.field(30, 40) = std::numeric_limits<float>::infinity();
  l.roi(30, 40) = true;
  l.bkgr(30, 40) = false;
  for (float diameter : {3.0f, 9.0f, 9.5f, 10.0f}) {
    store2f plane = l.field, gauss = l.field;
    weightPlaneGauss(l, plane, diameter);
    GaussSeparable(gauss, l.bkgr, l.roi, 1, diameter);
    EXPECT_EQ(std::memcmp(plane.data, gauss.data, plane.count * sizeof(float)), 0) << diameter;
  }
}

TEST(WienerFilter, EqualsItsStagesWrittenOutPixelByPixel) {
  for (float diameter : {3.0f, 9.0f, 14.0f}) {
    layers l = randomImage(50, 70, 17);
    tamble::testing::layers plain = asTestLayers(l);
    l.filter(diameter, 20.0f);
    referenceWiener(plain, diameter, 20.0f);
    EXPECT_EQ(std::memcmp(l.field.data, plain.field.data, l.field.count * sizeof(float)), 0)
        << diameter;
  }
}

TEST(WienerFilter, NoiseFarAboveTheSignalGivesTheLocalMean) {
  // Every pull is 1: the pixel becomes the smoothing of the smoothing. The
  // 9-tap Gaussian keeps about 5 percent of a checkerboard along each axis,
  // so two stages leave far less than 0.01 of it away from the edges.
  layers l = checkerboard(64, 64);
  l.filter(9.0f, 1e6f);
  for (int y = 10; y < 54; ++y)
    for (int x = 10; x < 54; ++x) ASSERT_NEAR(l.field(x, y), 10.0f, 0.01f) << x << "," << y;
}

TEST(WienerFilter, NoiseFarBelowTheSignalKeepsTheImage) {
  // A pull of (1e-6/1)^2 moves a value near 10 by about 1e-12, far below
  // half of its last bit: not one pixel changes.
  layers l = checkerboard(40, 30);
  const store2f before = l.field;
  l.filter(9.0f, 1e-6f);
  EXPECT_EQ(std::memcmp(l.field.data, before.data, before.count * sizeof(float)), 0);
  // No noise at all pulls by exactly 0.
  l.filter(5.0f, 0.0f);
  EXPECT_EQ(std::memcmp(l.field.data, before.data, before.count * sizeof(float)), 0);
}

TEST(WienerFilter, ASpikeIsRemovedByTheMedianNotSpread) {
  // The median takes the spike out before any smoothing; a Gaussian alone
  // would leave a bump of several units around it.
  layers l(31, 31);
  l.field.fill(10.0f);
  l.field(15, 15) = 1000.0f;
  l.filter(7.0f, 1e6f);
  for (std::uint64_t i = 0; i < l.field.count; ++i) ASSERT_NEAR(l.field.data[i], 10.0f, 1e-4f);
}

TEST(WienerFilter, SmallDiametersLeaveTheImageAlone) {
  layers l = checkerboard(20, 20);
  const store2f before = l.field;
  l.filter(2.4f, 1e6f);
  EXPECT_EQ(std::memcmp(l.field.data, before.data, before.count * sizeof(float)), 0);
  l.filter(2.5f, 1e6f);  // the smallest diameter that works
  EXPECT_NE(l.field(10, 10), before(10, 10));
}

TEST(WienerFilter, BlockedPixelsAreNeitherReadNorWritten) {
  layers a = randomImage(48, 40, 7);
  layers b = randomImage(48, 40, 7);
  // Values no filter could pass on unnoticed, and -0, whose sign a careless
  // update would lose.
  const float odd[] = {std::numeric_limits<float>::quiet_NaN(),
                       std::numeric_limits<float>::infinity(), 1e30f, -0.0f};
  int k = 0;
  for (std::uint64_t i = 0; i < b.field.count; ++i)
    if (blocked(b, i)) b.field.data[i] = odd[k++ % 4];
  const store2f bBefore = b.field;
  a.filter(7.0f, 3.0f);
  b.filter(7.0f, 3.0f);
  int changedValid = 0;
  for (std::uint64_t i = 0; i < a.field.count; ++i) {
    if (blocked(b, i)) {
      ASSERT_EQ(std::bit_cast<std::uint32_t>(b.field.data[i]),
                std::bit_cast<std::uint32_t>(bBefore.data[i]));
    } else {
      ASSERT_EQ(std::bit_cast<std::uint32_t>(a.field.data[i]),
                std::bit_cast<std::uint32_t>(b.field.data[i]));
      changedValid += a.field.data[i] != bBefore.data[i];
    }
  }
  EXPECT_GT(changedValid, 1000);  // the valid pixels were filtered
}

TEST(WienerFilter, AllBlockedImageIsUnchanged) {
  layers l = randomImage(20, 20, 3);
  l.roi.fill(false);
  const store2f before = l.field;
  l.filter(9.0f, 1e6f);
  EXPECT_EQ(std::memcmp(l.field.data, before.data, before.count * sizeof(float)), 0);
}

TEST(WienerFilter, ParallelEqualsSerialBitForBit) {
  const layers source = randomImage(512, 300, 11);
  auto run = [&](int threads, float diameter) {
    omp_set_num_threads(threads);
    layers l = source;
    l.filter(diameter, 20.0f);
    return l.field;
  };
  for (float diameter : {3.0f, 9.0f, 14.0f}) {
    const store2f serial = run(1, diameter);
    const store2f parallel = run(4, diameter);
    EXPECT_EQ(std::memcmp(serial.data, parallel.data, serial.count * sizeof(float)), 0) << diameter;
  }
  omp_set_num_threads(omp_get_num_procs());
}

TEST(WienerRecord, KeepsItsCaptionsBesideWiderRanges) {
  const auto& d = CAuto_Wiener_filter::descriptor();
  EXPECT_EQ(d.title, "Adaptive Wiener Filter");
  EXPECT_EQ(d.section, "Auto_Wiener_filter");
  ASSERT_EQ(d.fieldList.size(), 2u);
  EXPECT_EQ(d.fieldList[0].info.key, "m_rl");
  EXPECT_EQ(d.fieldList[0].info.caption, "Filter Diameter (3 - 999)");
  EXPECT_EQ(d.fieldList[1].info.key, "m_sc");
  EXPECT_EQ(d.fieldList[1].info.caption, "Scale Coefficient (0.001 - 1000.)");
  CAuto_Wiener_filter r;
  EXPECT_EQ(r.m_rl, 3.0f);
  EXPECT_EQ(r.m_sc, 1.0f);
  boundRecord<CAuto_Wiener_filter> rec(d, r);
  auto accepts = [&](const char* key, const char* text) {
    CAuto_Wiener_filter fresh;
    boundRecord<CAuto_Wiener_filter> b(d, fresh);
    EXPECT_FALSE(assignParam(b, key, text));
    return !checkRecord(b);
  };
  // The ranges, not the captions, decide.
  EXPECT_TRUE(accepts("m_rl", "1"));
  EXPECT_TRUE(accepts("m_rl", "2,5"));
  EXPECT_TRUE(accepts("m_rl", "999"));
  EXPECT_FALSE(accepts("m_rl", "0.9"));
  EXPECT_FALSE(accepts("m_rl", "1000"));
  EXPECT_TRUE(accepts("m_sc", "0.000001"));
  EXPECT_TRUE(accepts("m_sc", "5000"));
  EXPECT_TRUE(accepts("m_sc", "1e6"));
  EXPECT_FALSE(accepts("m_sc", "0"));
  EXPECT_FALSE(accepts("m_sc", "2e6"));
}

class WienerCommand : public tamble::testing::commandTest {
 protected:
  zel::image& add(int w, int h) {
    auto* img = new zel::image(w, h);
    img->setFieldName("run");
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) img->field()(x, y) = (x + y) % 2 ? 9.0f : 11.0f;
    list.addImage(img);
    return *img;
  }
};

TEST_F(WienerCommand, FiltersWithTheTypedValuesAndKeepsThem) {
  zel::image& img = add(32, 24);
  list.recording = true;
  layers expected = checkerboard(32, 24);
  expected.filter(4.0f, 1e6f);  // an even diameter goes through as typed
  user.ui.dialogValues = {{"m_rl", "4"}, {"m_sc", "1e6"}};
  EXPECT_TRUE(WienerFilterCommand(list));
  EXPECT_EQ(std::memcmp(img.field().data, expected.field.data, expected.field.count * 4), 0);
  EXPECT_TRUE(user.ui.notices.empty());  // the timing is not shown
  EXPECT_TRUE(list.undoAvailable());
  EXPECT_EQ(list.actions().size(), 1u);
  EXPECT_EQ(user.ui.waitDepth, 0);
  EXPECT_EQ(reg_get_string("Auto_Wiener_filter", "m_rl", ""), "4");
  // The next opening starts from the values chosen last.
  CAuto_Wiener_filter next;
  boundRecord<CAuto_Wiener_filter> rec(CAuto_Wiener_filter::descriptor(), next);
  loadRecord(rec);
  EXPECT_EQ(next.m_rl, 4.0f);
  EXPECT_EQ(next.m_sc, 1e6f);
}

TEST_F(WienerCommand, CancelAndRefusedValuesChangeNothing) {
  zel::image& img = add(16, 16);
  const store2f before = img.field();
  user.ui.dialogOk = {false};
  EXPECT_TRUE(WienerFilterCommand(list));
  user.ui.dialogValues = {{"m_sc", "0"}};  // below the accepted range
  EXPECT_TRUE(WienerFilterCommand(list));
  EXPECT_EQ(std::memcmp(img.field().data, before.data, before.count * sizeof(float)), 0);
  EXPECT_FALSE(list.undoAvailable());
}

}  // namespace
