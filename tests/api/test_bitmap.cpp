#include <gtest/gtest.h>
#include <omp.h>

#include <cmath>
#include <cstring>
#include <random>

#include "api/bitmap_new.h"

namespace {

using store2f = zel::arrayStore<float, 2>;
using store2b = zel::arrayStore<bool, 2>;

// A value plane and its background, filled from lists.
struct plane {
  store2f values;
  store2b background;
  plane(int w, int h, std::initializer_list<float> v, std::initializer_list<bool> b)
      : values(w, h), background(w, h) {
    std::copy(v.begin(), v.end(), values.data);
    std::copy(b.begin(), b.end(), background.data);
  }
  bitmap pair() { return bitmap(values, background); }
};

TEST(Bitmap, WritesThroughToTheLayers) {
  plane p(2, 1, {1, 2}, {false, true});
  bitmap b = p.pair();
  b.set(0, 0, 10.0f);
  b.set(1, 0, 20.0f);   // background: ignored
  b.set(-1, 0, 30.0f);  // outside: ignored
  b.set(2, 0, 30.0f);
  EXPECT_EQ(p.values[0], 10.0f);
  EXPECT_EQ(p.values[1], 2.0f);
  EXPECT_FALSE(b.data.owns);
  EXPECT_TRUE(b.valid(0, 0));
  EXPECT_FALSE(b.valid(1, 0));
  EXPECT_FALSE(b.valid(0, 1));
}

TEST(Bitmap, ConstructionOverUnequalLayersIsADimErrorAndChangesNothing) {
  store2f values(3, 2);
  values.fill(1.0f);
  store2b wider(4, 2), taller(3, 3);
  wider.fill(false);
  EXPECT_THROW(bitmap(values, wider), zel::DimError);
  EXPECT_THROW(bitmap(values, taller), zel::DimError);
  EXPECT_EQ(values.width(), 3);
  EXPECT_EQ(values[5], 1.0f);
  EXPECT_EQ(wider.width(), 4);
}

TEST(Bitmap, BinaryOperationsSpreadBackground) {
  plane l(4, 1, {6, 6, 6, 6}, {false, true, false, true});
  plane r(4, 1, {2, 2, 2, 2}, {false, false, true, true});
  l.pair().subtract(r.pair());
  EXPECT_EQ(l.values[0], 4.0f);
  EXPECT_EQ(l.values[1], 6.0f);
  EXPECT_EQ(l.values[2], 6.0f);
  EXPECT_EQ(l.values[3], 6.0f);
  EXPECT_FALSE(l.background[0]);
  EXPECT_TRUE(l.background[1]);
  EXPECT_TRUE(l.background[2]);
  EXPECT_TRUE(l.background[3]);
}

TEST(Bitmap, BinaryTable) {
  struct row {
    void (bitmap::*op)(const bitmap&, const bitmap::mask*);
    float expected;
  };
  for (row c : {row{&bitmap::assign, 2.0f}, row{&bitmap::add, 8.0f}, row{&bitmap::subtract, 4.0f},
                row{&bitmap::multiply, 12.0f}, row{&bitmap::divide, 3.0f}}) {
    plane l(1, 1, {6}, {false});
    plane r(1, 1, {2}, {false});
    bitmap lb = l.pair();
    (lb.*c.op)(r.pair(), nullptr);
    EXPECT_EQ(l.values[0], c.expected);
  }
}

TEST(Bitmap, DivideByExactZeroKeepsTheValueAndValidity) {
  plane l(3, 1, {5, 5, 5}, {false, false, false});
  plane r(3, 1, {0.0f, -0.0f, 1e-30f}, {false, false, false});
  l.pair().divide(r.pair());
  EXPECT_EQ(l.values[0], 5.0f);
  EXPECT_EQ(l.values[1], 5.0f);
  EXPECT_FALSE(l.background[0]);
  EXPECT_FALSE(l.background[1]);
  EXPECT_FLOAT_EQ(l.values[2], 5e30f);
}

TEST(Bitmap, UnequalExtentsRaiseBeforeAnythingChanges) {
  plane l(2, 2, {1, 1, 1, 1}, {false, false, false, false});
  plane wide(3, 2, {1, 1, 1, 1, 1, 1}, {true, true, true, true, true, true});
  plane tall(2, 3, {1, 1, 1, 1, 1, 1}, {true, true, true, true, true, true});
  EXPECT_THROW(l.pair().add(wide.pair()), zel::IndexError);
  EXPECT_THROW(l.pair().add(tall.pair()), zel::IndexError);
  EXPECT_EQ(l.values[0], 1.0f);
  EXPECT_FALSE(l.background[0]);
}

TEST(Bitmap, MaskLeavesValueAndBackgroundAloneOutside) {
  plane l(2, 1, {1, 1}, {false, false});
  plane r(2, 1, {5, 5}, {true, true});
  store2b mask(2, 1);
  mask[0] = true;
  mask[1] = false;
  l.pair().add(r.pair(), &mask);
  EXPECT_TRUE(l.background[0]);
  EXPECT_FALSE(l.background[1]);
  EXPECT_EQ(l.values[1], 1.0f);
  store2b smallMask(1, 1);
  EXPECT_THROW(l.pair().add(r.pair(), &smallMask), zel::IndexError);
}

TEST(Bitmap, ScalarOperationsSkipBackground) {
  plane p(4, 1, {1, 5, 9, 3}, {false, false, false, true});
  bitmap b = p.pair();
  b.clipAbove(6.0f);
  EXPECT_EQ(p.values[2], 6.0f);
  b.clipBelow(2.0f);
  EXPECT_EQ(p.values[0], 2.0f);
  EXPECT_EQ(p.values[3], 3.0f);  // background keeps its value
  b.add(1.0f);
  b.multiply(2.0f);
  b.subtract(1.0f);
  EXPECT_EQ(p.values[0], 5.0f);
  EXPECT_EQ(p.values[3], 3.0f);
  b.divide(0.0f);
  EXPECT_EQ(p.values[0], 5.0f);
  b.divide(5.0f);
  EXPECT_EQ(p.values[0], 1.0f);
  b.assign(7.0f);
  EXPECT_EQ(p.values[1], 7.0f);
  EXPECT_EQ(p.values[3], 3.0f);
}

TEST(Bitmap, MarkBelowOnlySetsBackground) {
  plane p(3, 1, {1, 5, 9}, {false, false, false});
  store2b mask(3, 1);
  mask.fill(true);
  mask[0] = false;
  p.pair().markBelow(6.0f, &mask);
  EXPECT_FALSE(p.background[0]);  // outside the mask
  EXPECT_TRUE(p.background[1]);
  EXPECT_FALSE(p.background[2]);
  EXPECT_EQ(p.values[1], 5.0f);
}

// Every operation of the family must give the same bits on one thread and on
// several; the image is large enough to be split across threads.
TEST(Bitmap, ParallelRunsMatchSerialBitForBit) {
  const int w = 523, h = 401;
  std::mt19937 gen(7);
  std::uniform_real_distribution<float> value(-3.0f, 3.0f);
  std::bernoulli_distribution rare(0.1);
  store2f lv(w, h), rv(w, h);
  store2b lb(w, h), rb(w, h), mask(w, h);
  for (std::uint64_t i = 0; i < lv.count; ++i) {
    lv[i] = value(gen);
    rv[i] = rare(gen) ? 0.0f : value(gen);
    lb[i] = rare(gen);
    rb[i] = rare(gen);
    mask[i] = !rare(gen);
  }
  auto run = [&](int threads, store2f& outV, store2b& outB) {
    omp_set_num_threads(threads);
    outV = lv;
    outB = lb;
    bitmap l(outV, outB);
    store2f rvCopy = rv;
    store2b rbCopy = rb;
    bitmap r(rvCopy, rbCopy);
    const bitmap::mask* masks[] = {nullptr, &mask};
    for (const bitmap::mask* m : masks) {
      l.add(r, m);
      l.multiply(r, m);
      l.divide(r, m);
      l.subtract(r, m);
      l.clipAbove(2.5f, m);
      l.divide(0.3f, m);
      l.markBelow(-2.0f, m);
    }
  };
  store2f serialV, parallelV;
  store2b serialB, parallelB;
  run(1, serialV, serialB);
  run(4, parallelV, parallelB);
  omp_set_num_threads(omp_get_num_procs());
  ASSERT_EQ(serialV.count, parallelV.count);
  EXPECT_EQ(std::memcmp(serialV.data, parallelV.data, serialV.count * sizeof(float)), 0);
  EXPECT_EQ(std::memcmp(serialB.data, parallelB.data, serialB.count), 0);
}

}  // namespace
