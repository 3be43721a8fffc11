// Fields: rows and their operations, the functions with their errors, the
// selection's states and the normals of structured rows.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "api/errors.h"
#include "api/field.h"

namespace {

using zel::pointField;
using point = zel::xyzVec<double>;
using values = zel::Field<double, point>;

values& asValues(zel::FieldBase<point>& f) { return dynamic_cast<values&>(f); }

pointField rowsOf(const std::vector<int>& sizes) {
  pointField f;
  for (int n : sizes) {
    f.appendRow(n);
    for (int c = 0; c < n; ++c) f.at(f.rows() - 1, c) = point(c, f.rows(), 0.5 * c);
  }
  return f;
}

// rowState and selectionState over rows selected in several ways.
TEST(FieldSelection, StatesOfRowsAndOfTheWhole) {
  const struct {
    const char* name;
    std::vector<std::vector<bool>> rows;
    std::vector<int> rowStates;
    int whole;
  } cases[] = {
      {"none", {{false, false}, {false}}, {0, 0}, 0},
      {"all", {{true, true, true}, {true}}, {1, 1}, 1},
      {"one row mixed", {{true, false, true}, {false, false}}, {2, 0}, 2},
      {"rows all and none", {{true, true}, {false, false, false}}, {1, 0}, 2},
      {"last point only", {{false, false}, {false, true}}, {0, 2}, 2},
  };
  for (const auto& c : cases) {
    std::vector<int> sizes;
    for (const auto& r : c.rows) sizes.push_back(static_cast<int>(r.size()));
    pointField f = rowsOf(sizes);
    auto& s = f.addFunction<bool>(zel::selectionName);
    for (std::size_t r = 0; r < c.rows.size(); ++r)
      for (std::size_t p = 0; p < c.rows[r].size(); ++p)
        s.at(static_cast<int>(r), static_cast<int>(p)) = c.rows[r][p];
    for (std::size_t r = 0; r < c.rows.size(); ++r)
      EXPECT_EQ(f.rowState(static_cast<int>(r)), c.rowStates[r]) << c.name << " row " << r;
    EXPECT_EQ(f.selectionState(), c.whole) << c.name;
    EXPECT_EQ(f.isSelected(0, 1), c.rows[0][1]) << c.name;
  }
}

TEST(FieldSelection, OutOfRangeAndMissingAreIndexErrors) {
  pointField f = rowsOf({3, 0});
  EXPECT_THROW(f.selection(), zel::IndexError);
  EXPECT_THROW(f.rowState(0), zel::IndexError);
  f.addFunction<double>(zel::selectionName);  // a function of that name, but not of bools
  EXPECT_THROW(f.selection(), zel::IndexError);
  f.addFunction<bool>(zel::selectionName);
  EXPECT_EQ(f.functionCount(), 1);
  const std::vector<std::function<void()>> calls = {
      [&] { f.isSelected(0, 3); }, [&] { f.isSelected(0, -1); }, [&] { f.isSelected(2, 0); },
      [&] { f.rowState(1); },  // a row with no points
      [&] { f.rowState(2); },  [&] { f.rowState(-1); },
  };
  for (std::size_t i = 0; i < calls.size(); ++i) EXPECT_THROW(calls[i](), zel::IndexError) << i;
  EXPECT_EQ(pointField().addFunction<bool>(zel::selectionName).rows(), 0);
  pointField empty;
  empty.addFunction<bool>(zel::selectionName);
  EXPECT_EQ(empty.selectionState(), 0);
}

TEST(FieldFunctions, FoundByWholeNameAndReachedByIndex) {
  pointField f = rowsOf({2, 3});
  f.addFunction<double>("Cp");
  f.addFunction<double>("Cp - (run)");
  EXPECT_EQ(f.indexOf("Cp"), 0);
  EXPECT_EQ(f.indexOf("Cp - (run)"), 1);
  EXPECT_EQ(f.indexOf("cp"), -1);
  EXPECT_EQ(f.indexOf("Cp "), -1);
  EXPECT_EQ(f.function(1).rowSize(1), 3);
  // Adding a name again replaces the function in its place.
  f.addFunction<double>("Cp").at(1, 2) = 4.5;
  EXPECT_EQ(f.functionCount(), 2);
  EXPECT_EQ(asValues(f.function(0)).at(1, 2), 4.5);
  for (int bad : {-1, 2, 7}) {
    try {
      f.function(bad);
      ADD_FAILURE() << bad;
    } catch (const zel::StateError& e) {
      EXPECT_STREQ(e.message, "State error!");
    }
  }
}

TEST(FieldRows, OperationsKeepCountsAndBlocks) {
  pointField f = rowsOf({2, 3, 4});
  f.text(1) = "middle";
  EXPECT_TRUE(f.hasRow(2));
  EXPECT_FALSE(f.hasRow(3));
  EXPECT_FALSE(f.hasRow(-1));
  f.clearRow(0);
  EXPECT_FALSE(f.hasRow(0));
  EXPECT_EQ(f.rowSize(0), 0);
  EXPECT_THROW(f.at(0, 0), zel::IndexError);
  f.removeRow(0);
  ASSERT_EQ(f.rows(), 2);
  EXPECT_EQ(f.text(0), "middle");
  EXPECT_EQ(f.at(1, 3), point(3, 3, 1.5));
  f.sizeRow(4, 5);
  EXPECT_EQ(f.rows(), 5);
  EXPECT_FALSE(f.hasRow(3));
  EXPECT_EQ(f.rowSize(4), 5);
  EXPECT_THROW(f.ensureRow(-1), zel::IndexError);
  f.ensureRow(6);
  EXPECT_EQ(f.rows(), 7);
  f.ensureRow(2);
  EXPECT_EQ(f.rows(), 7);
  EXPECT_THROW(f.setShape(1, 2, 3, 1), zel::DimError);  // the row holds 4 points
  f.setShape(1, 2, 2, 1);
  EXPECT_EQ(f.shape(1)[1], 2);
}

TEST(FieldRows, CopiesAreDeepAndOfOneFlavour) {
  pointField f = rowsOf({3, 2});
  f.setName("mesh");
  f.setShape(0, 3, 1, 1);
  f.addFunction<double>("p").at(0, 1) = 7.0;
  pointField g = f;
  f.at(0, 1) = point(9, 9, 9);
  asValues(f.function(0)).at(0, 1) = 1.0;
  EXPECT_EQ(g.name(), "mesh");
  EXPECT_EQ(g.at(0, 1), point(1, 1, 0.5));
  EXPECT_EQ(asValues(g.function(0)).at(0, 1), 7.0);
  EXPECT_EQ(g.shape(0)[0], 3);
  pointField one;
  one.copyRow(f, 1);
  EXPECT_EQ(one.rows(), 2);
  EXPECT_FALSE(one.hasRow(0));
  EXPECT_EQ(one.at(1, 1), f.at(1, 1));
  values numbers;
  EXPECT_THROW(numbers.assign(f), zel::StateError);
  EXPECT_THROW(numbers.copyRow(f, 0), zel::StateError);
  EXPECT_EQ(f.clone()->rows(), 0);
}

// ---- Normals ---------------------------------------------------------------

// An ni x nj surface from a parametrisation, i fastest.
pointField surface(int ni, int nj, int nk, const std::function<point(int, int, int)>& at) {
  pointField f;
  f.appendRow(ni * nj * nk);
  for (int k = 0; k < nk; ++k)
    for (int j = 0; j < nj; ++j)
      for (int i = 0; i < ni; ++i) f.at(0, (k * nj + j) * ni + i) = at(i, j, k);
  f.setShape(0, ni, nj, nk);
  return f;
}

void expectNormal(const point& n, const point& want, const std::string& where) {
  EXPECT_NEAR(n.x, want.x, 1e-12) << where;
  EXPECT_NEAR(n.y, want.y, 1e-12) << where;
  EXPECT_NEAR(n.z, want.z, 1e-12) << where;
}

// A tilted plane z = a x + b y has the normal (-a, -b, 1) / |...| at every
// node, edges included; reversing j turns it over.
TEST(FieldNormals, PlanesHaveTheirNormalEverywhere) {
  const struct {
    double a, b;
    bool reversed;
  } planes[] = {{0, 0, false}, {0.5, -0.25, false}, {2.0, 1.0, false}, {0.5, -0.25, true}};
  for (const auto& p : planes) {
    pointField f = surface(5, 4, 1, [&](int i, int j, int) {
      const double x = 0.3 * i * i, y = p.reversed ? -1.5 * j : 1.5 * j + 0.1 * i;
      return point(x, y, p.a * x + p.b * y);
    });
    const auto& normals = f.ensureNormals();
    const double s = (p.reversed ? -1.0 : 1.0) / std::sqrt(p.a * p.a + p.b * p.b + 1.0);
    for (int n = 0; n < 20; ++n)
      expectNormal(normals.at(0, n), point(-p.a * s, -p.b * s, s),
                   "plane " + std::to_string(p.a) + " node " + std::to_string(n));
  }
}

// On a cylinder (i along the axis, j around it) the normal at an inner node
// points straight out from the axis.
TEST(FieldNormals, ACylinderPointsOutward) {
  const double step = 0.2;
  pointField f = surface(4, 9, 1, [&](int i, int j, int) {
    return point(2.0 * i, 3.0 * std::cos(-step * j), 3.0 * std::sin(-step * j));
  });
  const auto& normals = f.ensureNormals();
  for (int j = 1; j < 8; ++j)
    for (int i = 0; i < 4; ++i)
      expectNormal(normals.at(0, j * 4 + i), point(0, std::cos(-step * j), std::sin(-step * j)),
                   "node " + std::to_string(i) + "," + std::to_string(j));
}

// A volume gets the normals of its k = 0 face there and none elsewhere; a
// line, a collapsed surface and a row of no structure get none.
TEST(FieldNormals, VolumesLinesAndUnstructuredRows) {
  pointField volume = surface(3, 3, 2, [](int i, int j, int k) { return point(i, j, 0.5 * k); });
  const auto& vn = volume.ensureNormals();
  for (int n = 0; n < 18; ++n)
    expectNormal(vn.at(0, n), n < 9 ? point(0, 0, 1) : point(0, 0, 0), "node " + std::to_string(n));

  pointField line = surface(5, 1, 1, [](int i, int, int) { return point(i, 0, 0); });
  pointField collapsed = surface(3, 3, 1, [](int, int, int) { return point(1, 1, 1); });
  pointField loose = rowsOf({4});
  for (pointField* f : {&line, &collapsed, &loose}) {
    const auto& n = f->ensureNormals();
    for (int c = 0; c < f->rowSize(0); ++c) EXPECT_EQ(n.at(0, c), point(0, 0, 0));
  }
  // Made once, refilled on a second call.
  EXPECT_EQ(volume.functionCount(), 1);
  volume.ensureNormals();
  EXPECT_EQ(volume.functionCount(), 1);
  EXPECT_EQ(volume.indexOf(zel::normalsName), 0);
  values numbers;
  numbers.appendRow(2);
  EXPECT_THROW(numbers.ensureNormals(), zel::StateError);
}

}  // namespace
