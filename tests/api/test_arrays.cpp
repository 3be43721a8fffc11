#include <gtest/gtest.h>

#include "api/arrayWorks.h"
#include "api/vectors.h"

namespace {

using store2f = zel::arrayStore<float, 2>;

store2f ramp(int w, int h, const char* name) {
  store2f s(w, h);
  for (std::uint64_t i = 0; i < s.count; ++i) s[i] = static_cast<float>(i);
  s.name = name;
  return s;
}

TEST(ArrayStore, LayoutIsRowMajorWithXFastest) {
  store2f s = ramp(4, 3, "a");
  EXPECT_EQ(s.count, 12u);
  EXPECT_EQ(s.strides[0], 1);
  EXPECT_EQ(s.strides[1], 4);
  EXPECT_EQ(s.shape, (std::vector<int>{4, 3}));
  EXPECT_EQ(s(1, 2), 9.0f);
  EXPECT_EQ(s.row(2)[3], 11.0f);
  EXPECT_TRUE(s.owns);
  EXPECT_EQ(s.size(), 1 + 12 * sizeof(float));
}

TEST(ArrayStore, ZeroExtentOnAnyAxisHoldsNothing) {
  for (auto [w, h] : {std::pair{0, 5}, std::pair{5, 0}, std::pair{0, 0}}) {
    store2f s(w, h);
    EXPECT_EQ(s.data, nullptr);
    EXPECT_FALSE(s.owns);
    EXPECT_EQ(s.count, 0u);
    EXPECT_EQ(s.dims[0], w);
    EXPECT_EQ(s.dims[1], h);
  }
}

TEST(ArrayStore, AssignmentFromEmptyResizesAndKeepsTheName) {
  store2f target = ramp(3, 3, "target");
  store2f empty(0, 4);
  empty.name = "empty";
  target = empty;
  EXPECT_EQ(target.dims[0], 0);
  EXPECT_EQ(target.dims[1], 4);
  EXPECT_EQ(target.data, nullptr);
  EXPECT_EQ(target.name, "target");
}

TEST(ArrayStore, AssignmentOfEqualExtentReusesTheBlock) {
  store2f target = ramp(3, 2, "target");
  const float* block = target.data;
  store2f source = ramp(3, 2, "source");
  source[4] = 42.0f;
  target = source;
  EXPECT_EQ(target.data, block);
  EXPECT_EQ(target[4], 42.0f);
  EXPECT_EQ(target.name, "source");
}

TEST(ArrayStore, AssignmentOfOtherExtentReallocates) {
  store2f target = ramp(2, 2, "t");
  store2f source = ramp(5, 3, "s");
  target = source;
  EXPECT_EQ(target.width(), 5);
  EXPECT_EQ(target.height(), 3);
  EXPECT_EQ(target.strides[1], 5);
  EXPECT_NE(target.data, source.data);
  EXPECT_EQ(target(4, 2), 14.0f);
}

TEST(ArrayStore, CopiesAreIndependent) {
  store2f a = ramp(3, 3, "a");
  store2f b(a);
  b[0] = -1.0f;
  EXPECT_EQ(a[0], 0.0f);
  EXPECT_EQ(b.name, "a");
}

TEST(ArrayStore, ExternalBlockIsUsedAndFreedOnlyWhenOwned) {
  float block[6] = {1, 2, 3, 4, 5, 6};
  {
    store2f view(3, 2, block, false);
    EXPECT_EQ(view.data, block);
    view(2, 1) = 60.0f;
  }  // not freed: the stack block stays valid
  EXPECT_EQ(block[5], 60.0f);
}

TEST(ArrayStore, ImpossibleExtentIsAnIndexError) {
  zel::arrayStore<double, 2> s(2, 2);
  EXPECT_THROW((s = zel::arrayStore<double, 2>(-1, 3)), zel::IndexError);
  EXPECT_THROW((zel::arrayStore<double, 2>(1 << 30, 1 << 30)), zel::IndexError);
}

TEST(ArrayStore, ResetReturnsToTheDefaultState) {
  zel::arrayStore<int, 1> s(7);
  s.reset();
  EXPECT_EQ(s.data, nullptr);
  EXPECT_EQ(s.count, 0u);
  EXPECT_EQ(s.shape, std::vector<int>{0});
}

TEST(Polygon, CopiesVerticesAndOwnsThem) {
  xyVec<double> v[3] = {{0, 0}, {1, 0}, {0, 1}};
  xyPolygon<double> p(v, 3);
  EXPECT_EQ(p.count, 3);
  EXPECT_EQ(p.capacity, 3);
  EXPECT_NE(p.vertices, v);
  xyPolygon<double> q(p);
  q.vertices[1].x = 5;
  EXPECT_EQ(p.vertices[1].x, 1);
  p = q;
  EXPECT_EQ(p.vertices[1].x, 5);
}

}  // namespace
