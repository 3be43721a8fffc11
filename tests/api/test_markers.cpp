#include <gtest/gtest.h>

#include "api/errors.h"
#include "api/markers.h"

namespace {

marker at(double x, double y, int id) { return marker{x, y, 0.0, 0.0, true, id}; }

// A marker without a number is numbered after the largest; resize starts
// afresh with disabled markers numbered from 1.
TEST(Markers, NumberingAndResize) {
  zel::markersArray a;
  a.add(at(0, 0, 0));
  EXPECT_EQ(a[0].id, 1);
  a.items.clear();
  a.add(at(1, 1, 3));
  a.add(at(2, 2, 7));
  a.add(at(5, 6, 0));
  EXPECT_EQ(a[2].id, 8);
  EXPECT_EQ(a[2].x, 5.0);
  a.resize(2);
  EXPECT_EQ(a.items, (std::vector<marker>{{0, 0, 0, 0, false, 1}, {0, 0, 0, 0, false, 2}}));
}

// indexOf answers the position of a number, or -1, or raises when asked to.
TEST(Markers, IndexOfAnswersOrRaises) {
  zel::markersArray a;
  a.add(at(0, 0, 4));
  a.add(at(0, 0, 2));
  EXPECT_EQ(a.indexOf(2), 1);
  EXPECT_EQ(a.indexOf(9, false), -1);
  EXPECT_THROW(a.indexOf(9, true), zel::IndexError);
}

}  // namespace
