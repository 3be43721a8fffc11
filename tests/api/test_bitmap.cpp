#include <gtest/gtest.h>
#include <omp.h>

#include <cstring>
#include <random>
#include <vector>

#include "api/bitmap_new.h"

namespace {

using store2f = zel::arrayStore<float, 2>;
using store2b = zel::arrayStore<bool, 2>;

// A value plane and its background, filled from lists.
struct plane {
  store2f values;
  store2b background;
  plane(std::initializer_list<float> v, std::initializer_list<bool> b)
      : values(static_cast<int>(v.size()), 1), background(static_cast<int>(v.size()), 1) {
    std::copy(v.begin(), v.end(), values.data);
    std::copy(b.begin(), b.end(), background.data);
  }
  bitmap pair() { return bitmap(values, background); }
  std::vector<float> v() const { return {values.data, values.data + values.count}; }
  std::vector<bool> b() const {
    return std::vector<bool>(background.data, background.data + background.count);
  }
};

// Writes reach the layers, except on background and outside the image.
TEST(Bitmap, WritesThroughToTheLayers) {
  plane p({1, 2}, {false, true});
  bitmap b = p.pair();
  b.set(0, 0, 10.0f);
  b.set(1, 0, 20.0f);
  b.set(-1, 0, 30.0f);
  b.set(2, 0, 30.0f);
  EXPECT_EQ(p.v(), (std::vector<float>{10, 2}));
  EXPECT_FALSE(b.valid(1, 0));
}

// Each binary operation works where both sides are valid and inside the
// mask; background spreads from the right side; an exact zero divides
// nothing.
TEST(Bitmap, BinaryOperations) {
  struct row {
    void (bitmap::*op)(const bitmap&, const bitmap::mask*);
    std::vector<float> expected;
  };
  const row rows[] = {{&bitmap::assign, {2, 6, 6, 6, 0, 6}},    {&bitmap::add, {8, 6, 6, 6, 6, 6}},
                      {&bitmap::subtract, {4, 6, 6, 6, 6, 6}},  {&bitmap::multiply, {12, 6, 6, 6, 0, 6}},
                      {&bitmap::divide, {3, 6, 6, 6, 6, 6}}};
  for (const row& r : rows) {
    plane left({6, 6, 6, 6, 6, 6}, {false, true, false, true, false, false});
    plane right({2, 2, 2, 2, 0, 2}, {false, false, true, true, false, false});
    store2b mask(6, 1);
    mask.fill(true);
    mask[5] = false;
    bitmap l = left.pair();
    (l.*r.op)(right.pair(), &mask);
    EXPECT_EQ(left.v(), r.expected);
    EXPECT_EQ(left.b(), (std::vector<bool>{false, true, true, true, false, false}));
  }
  plane l({5, 5}, {false, false}), r({-0.0f, 1e-30f}, {false, false});
  l.pair().divide(r.pair());
  EXPECT_EQ(l.values[0], 5.0f);
  EXPECT_FLOAT_EQ(l.values[1], 5e30f);
}

// Layers or masks of another extent raise before anything changes.
TEST(Bitmap, UnequalExtentsRaiseBeforeAnythingChanges) {
  store2f values(3, 2);
  values.fill(1.0f);
  store2b wider(4, 2), background(3, 2), smallMask(1, 1);
  background.fill(false);
  EXPECT_THROW(bitmap(values, wider), zel::DimError);
  store2f v2(2, 3);
  store2b b2(2, 3);
  v2.fill(1.0f);
  b2.fill(false);
  bitmap l(values, background), other(v2, b2);
  EXPECT_THROW(l.add(other), zel::IndexError);
  EXPECT_THROW(l.add(l, &smallMask), zel::IndexError);
  EXPECT_EQ(values[5], 1.0f);
  EXPECT_FALSE(background[0]);
}

// Scalar operations skip background; markBelow only sets background.
TEST(Bitmap, ScalarOperationsSkipBackground) {
  plane p({1, 5, 9, 3}, {false, false, false, true});
  bitmap b = p.pair();
  b.clipAbove(6.0f);
  b.clipBelow(2.0f);
  EXPECT_EQ(p.v(), (std::vector<float>{2, 5, 6, 3}));
  b.add(1.0f);
  b.divide(0.0f);  // divides nothing
  EXPECT_EQ(p.v(), (std::vector<float>{3, 6, 7, 3}));
  plane m({1, 5, 9}, {false, false, false});
  store2b mask(3, 1);
  mask.fill(true);
  mask[0] = false;
  m.pair().markBelow(6.0f, &mask);
  EXPECT_EQ(m.b(), (std::vector<bool>{false, true, false}));
  EXPECT_EQ(m.values[1], 5.0f);
}

// Every operation gives the same bits on one thread and on several.
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
    bitmap l(outV, outB), r(rv, rb);
    for (const bitmap::mask* m : std::vector<const bitmap::mask*>{nullptr, &mask}) {
      l.multiply(r, m);
      l.divide(r, m);
      l.clipAbove(2.5f, m);
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
