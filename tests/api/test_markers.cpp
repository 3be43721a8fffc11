#include <gtest/gtest.h>

#include "api/errors.h"
#include "api/markers.h"

namespace {

marker at(double x, double y, int id) { return marker{x, y, 0.0, 0.0, true, id}; }

TEST(Markers, NewArrayHoldsAllCoordinates) {
  zel::markersArray a;
  EXPECT_EQ(a.count(), 0);
  EXPECT_TRUE(a.hasX && a.hasY && a.hasZ && a.hasF);
  EXPECT_TRUE(a.functionName.empty());
  EXPECT_TRUE(a.lengthUnit.empty());
}

TEST(Markers, AddNumbersAfterTheLargestId) {
  zel::markersArray a;
  a.add(at(0, 0, 0));
  EXPECT_EQ(a[0].id, 1);
  a.items.clear();
  a.add(at(1, 1, 3));
  a.add(at(2, 2, 7));
  a.add(at(5, 6, 0));
  EXPECT_EQ(a[2].id, 8);
  EXPECT_EQ(a[2].x, 5.0);
  EXPECT_TRUE(a[2].active);
}

TEST(Markers, ResizeStartsAfresh) {
  zel::markersArray a;
  for (int i = 0; i < 5; ++i) a.add(at(i, i, 10 + i));
  a.resize(3);
  ASSERT_EQ(a.count(), 3);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(a[i].id, i + 1);
    EXPECT_EQ(a[i].x, 0.0);
    EXPECT_FALSE(a[i].active);
  }
}

TEST(Markers, IndexOfAnswersOrRaises) {
  zel::markersArray a;
  a.add(at(0, 0, 4));
  a.add(at(0, 0, 2));
  EXPECT_EQ(a.indexOf(2), 1);
  EXPECT_EQ(a.indexOf(9, false), -1);
  EXPECT_THROW(a.indexOf(9, true), zel::IndexError);
}

TEST(Markers, AssignmentCopiesEverything) {
  zel::markersArray a;
  a.name = "ports.mrk";
  a.functionName = "Pressure";
  a.lengthUnit = "mm";
  a.hasZ = false;
  a.add(at(3, 4, 0));
  zel::markersArray b;
  b = a;
  EXPECT_EQ(b.name, "ports.mrk");
  EXPECT_EQ(b.functionName, "Pressure");
  EXPECT_EQ(b.lengthUnit, "mm");
  EXPECT_FALSE(b.hasZ);
  EXPECT_EQ(b.items, a.items);
  EXPECT_EQ(b.size(), 9u);
}

}  // namespace
