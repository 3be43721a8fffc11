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

// Rows follow each other with x fastest; a zero extent on any axis holds
// nothing; an impossible extent is an IndexError.
TEST(ArrayStore, LayoutIsRowMajorAndExtentsAreChecked) {
  store2f s = ramp(4, 3, "a");
  EXPECT_EQ(s(1, 2), 9.0f);
  EXPECT_EQ(s.row(2)[3], 11.0f);
  for (auto [w, h] : {std::pair{0, 5}, std::pair{5, 0}}) {
    store2f empty(w, h);
    EXPECT_EQ(empty.data, nullptr);
    EXPECT_EQ(empty.height(), h);
  }
  zel::arrayStore<double, 2> d(2, 2);
  EXPECT_THROW((d = zel::arrayStore<double, 2>(-1, 3)), zel::IndexError);
  EXPECT_THROW((zel::arrayStore<double, 2>(1 << 30, 1 << 30)), zel::IndexError);
}

// Assignment reuses the block of an equal extent (taking the name), takes
// the other's extent otherwise (keeping its name when that is empty), and
// copies are deep.
TEST(ArrayStore, AssignmentAndCopies) {
  store2f target = ramp(3, 2, "target");
  const float* block = target.data;
  store2f source = ramp(3, 2, "source");
  source[4] = 42.0f;
  target = source;
  EXPECT_EQ(target.data, block);
  EXPECT_EQ(target[4], 42.0f);
  EXPECT_EQ(target.name, "source");
  const store2f other = ramp(5, 3, "s");
  target = other;
  EXPECT_EQ(target.width(), 5);
  EXPECT_NE(target.data, other.data);
  EXPECT_EQ(target(4, 2), 14.0f);
  store2f empty(0, 4);
  empty.name = "empty";
  target = empty;
  EXPECT_EQ(target.height(), 4);
  EXPECT_EQ(target.data, nullptr);
  EXPECT_EQ(target.name, "s");
  store2f a = ramp(3, 3, "a"), b(a);
  b[0] = -1.0f;
  EXPECT_EQ(a[0], 0.0f);
}

// An outside block is used in place and freed only when owned; reset
// returns to the empty state.
TEST(ArrayStore, ExternalBlocksAndReset) {
  float block[6] = {1, 2, 3, 4, 5, 6};
  {
    store2f view(3, 2, block, false);
    view(2, 1) = 60.0f;
  }  // not freed: the stack block stays valid
  EXPECT_EQ(block[5], 60.0f);
  zel::arrayStore<int, 1> s(7);
  s.reset();
  EXPECT_EQ(s.data, nullptr);
  EXPECT_EQ(s.count, 0u);
}

// A polygon owns a copy of its vertices.
TEST(Polygon, CopiesVerticesAndOwnsThem) {
  xyVec<double> v[3] = {{0, 0}, {1, 0}, {0, 1}};
  xyPolygon<double> p(v, 3);
  EXPECT_EQ(p.count, 3);
  EXPECT_NE(p.vertices, v);
  xyPolygon<double> q(p);
  q.vertices[1].x = 5;
  EXPECT_EQ(p.vertices[1].x, 1);
  p = q;
  EXPECT_EQ(p.vertices[1].x, 5);
}

}  // namespace
