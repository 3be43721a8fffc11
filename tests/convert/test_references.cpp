// The reference regions of a single paint: closed regions on constructed
// masks, and Set/Confirm References with its questions answered in turn.
#include <deque>

#include "api/errors.h"
#include "api/imagesList.h"
#include "convert/closedRegions.h"
#include "host/paramRecord.h"
#include "host/platform.h"
#include "host/project.h"
#include "plugin/projectState.h"
#include "plugin/referencesCommand.h"
#include "tests/support/projectTest.h"

namespace {

using namespace tamble;
using maskLayer = zel::arrayStore<bool, 2>;

struct rect {
  int x0, y0, x1, y1;  // inclusive
};

// A mask of w by h that is true on the rectangles only.
maskLayer regions(int w, int h, const std::vector<rect>& rects) {
  maskLayer m(w, h);
  m.fill(false);
  for (const rect& r : rects)
    for (int y = r.y0; y <= r.y1; ++y)
      for (int x = r.x0; x <= r.x1; ++x) m(x, y) = true;
  return m;
}

// A path through every other row, turning at the ends: `rows` rows of the
// width, so that growing from its first pixel takes one pass per pixel.
maskLayer snake(int rows) {
  const int w = 130;
  maskLayer m(w, 2 * rows + 2);
  m.fill(false);
  for (int k = 0; k < rows; ++k) {
    for (int x = 1; x < w - 1; ++x) m(x, 1 + 2 * k) = true;
    if (k + 1 < rows) m(k % 2 == 0 ? w - 2 : 1, 2 + 2 * k) = true;
  }
  return m;
}

// Twelve single pixels apart on row 2.
maskLayer twelveDots() {
  std::vector<rect> dots;
  for (int x = 2; x < 38; x += 3) dots.push_back({x, 2, x, 2});
  return regions(40, 30, dots);
}

TEST(ClosedRegions, CountsAndMeasuresTheRegionsOfTheROI) {
  const struct {
    const char* what;
    maskLayer roi;
    int count, overflow;
    std::vector<int> areas;  // of the first regions, in scan order
  } cases[] = {
      // clang-format off
      {"three squares, in the order of their first row",
       regions(40, 30, {{2, 2, 5, 5}, {10, 20, 12, 22}, {30, 3, 31, 8}}), 3, 0, {16, 12, 9}},
      {"touching by a corner only", regions(40, 30, {{4, 4, 4, 4}, {5, 5, 5, 5}}), 2, 0, {1, 1}},
      {"twelve apart: eleven are analysed", twelveDots(), 11, 0, {1, 1}},
      // The outermost row's pixels join a region but do not spread it.
      {"a run along the top edge", regions(40, 30, {{3, 0, 5, 0}}), 3, 0, {1, 1, 1}},
      {"a column from the top edge", regions(40, 30, {{3, 0, 3, 4}}), 2, 0, {1, 4}},
      {"a path of 3 rows", snake(3), 1, 0, {3 * 128 + 2}},
      {"a path longer than the pass limit", snake(66), 0, 1, {}},
      // clang-format on
  };
  for (const auto& c : cases) {
    zel::arrayStore<float, 2> field(c.roi.width(), c.roi.height());
    field.fill(1.0f);
    maskLayer bkgr(c.roi.width(), c.roi.height());
    bkgr.fill(false);
    const regionsFound found = closedRegions(field, bkgr, c.roi);
    EXPECT_EQ(found.count, c.count) << c.what;
    EXPECT_EQ(found.overflow, c.overflow) << c.what;
    for (std::size_t i = 0; i < c.areas.size(); ++i) EXPECT_EQ(found.area[i], c.areas[i]) << c.what;
  }
}

// Mean column, row and intensity of each region; a background pixel takes
// no part and can split a region.
TEST(ClosedRegions, MeansOverEachRegionAndBackgroundSplits) {
  const maskLayer roi = regions(40, 30, {{2, 2, 5, 5}, {10, 20, 12, 22}});
  zel::arrayStore<float, 2> field(40, 30);
  for (int y = 0; y < 30; ++y)
    for (int x = 0; x < 40; ++x) field(x, y) = static_cast<float>(x + 100 * y);
  maskLayer bkgr(40, 30);
  bkgr.fill(false);
  regionsFound found = closedRegions(field, bkgr, roi);
  ASSERT_EQ(found.count, 2);
  EXPECT_EQ(found.meanX[0], 3.5f);
  EXPECT_EQ(found.meanY[1], 21.0f);
  EXPECT_EQ(found.meanI[1], 11.0f + 2100.0f);

  for (int y = 0; y < 30; ++y) bkgr(4, y) = true;  // cuts the first square
  found = closedRegions(field, bkgr, roi);
  EXPECT_EQ(found.count, 3);
  EXPECT_EQ(found.area[0], 8);
  EXPECT_EQ(found.area[1], 4);
  EXPECT_FLOAT_EQ(regionMean(field, bkgr, roi), (8 * 352.5f + 4 * 355.0f + 9 * 2111.0f) / 21);
  EXPECT_EQ(regionMean(field, bkgr, regions(40, 30, {})), 0.0f);
}

// The sensor pair of a single paint, field x + 10 y wind-off and half of it
// wind-on, with regions drawn as the master image's ROI.
class References : public tamble::testing::projectTest {
 protected:
  void SetUp() override {
    projectTest::SetUp();
    paintKind() = "single";
    addRamp(40, 30, names::wind_off_sens);
    zel::image& on = addRamp(40, 30, names::wind_on_sens);
    for (std::uint64_t i = 0; i < on.field().count; ++i) on.field().data[i] *= 0.5f;
    list.setCurrent(1);
    get_vur().project_file = path("run3.vur");
  }
  zel::image& master() { return *list.find(names::wind_off_sens); }

  // Squares of 2 by 2 with the means 27.5, 215.5 and 85.5; none: a ROI
  // true everywhere, which selects nothing.
  static maskLayer squares(int n) {
    const std::vector<rect> all = {{2, 2, 3, 3}, {10, 20, 11, 21}, {30, 5, 31, 6}};
    return n == 0 ? regions(40, 30, {{0, 0, 39, 29}})
                  : regions(40, 30, std::vector<rect>(all.begin(), all.begin() + n));
  }
};

const std::string drawQuestion =
    "Set reference regions\non WIND_OFF_SENS bitmap\nusing ROI Tool\nand then Confirm the "
    "operation with the current tool\nNegative answer NO means equal Reference Factors";
const std::string equalNotice = "Reference Coefficients Values are equal to each other! (=1.0)";
std::string regionsText(int n, const char* mean) {
  return " Supposed Number of Closed Reference Regions:\n Wind Off Reference Regions Number = " +
         std::to_string(n) +
         "\n Initial Average Intensity Values Over Closed Regions:\n Wind Off Reference Average "
         "Initial Value = " +
         mean;
}
const std::string planeQuestion = "\nDo You Want to use Plane Approximation of Reference Regions?";

// The questions in their order, each answer's course, and what is stored;
// the regions move from the image into the state.
TEST_F(References, SetReferencesAsksInTurn) {
  const struct {
    const char* what;
    int squares;
    std::deque<bool> answers;
    std::vector<std::string> asked;
    bool result;
    int key;
    float offValue;
    bool plane;
  } cases[] = {
      // clang-format off
      {"nothing drawn, Yes: the user draws", 0, {true}, {drawQuestion}, false, 0, 0.01f, false},
      {"nothing drawn, No: equal factors", 0, {false}, {drawQuestion, equalNotice}, true, 1, 1.0f,
       false},
      {"two regions: told, not asked", 2, {}, {regionsText(2, "121.5")}, true, 0, 121.5f, false},
      {"three regions, a plane", 3, {true}, {regionsText(3, "109.5") + planeQuestion}, true, 0,
       109.5f, true},
      {"three regions, no plane", 3, {false}, {regionsText(3, "109.5") + planeQuestion}, true, 0,
       109.5f, false},
      // clang-format on
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    user.ui.notices.clear();
    user.ui.answers = c.answers;
    state().plane_approximation = !c.plane;
    const maskLayer drawn = squares(c.squares);
    master().ROI() = drawn;
    EXPECT_EQ(SetReferences(list, true), c.result);
    EXPECT_EQ(user.ui.notices, c.asked);
    EXPECT_TRUE(user.ui.answers.empty());
    const conversionState& s = state();
    EXPECT_EQ(s.key_unit_value, c.key);
    EXPECT_EQ(s.wind_off_refe_value, c.offValue);
    EXPECT_EQ(s.plane_approximation, c.plane);
    EXPECT_EQ(reg_get_string("ForSingle", "key_unit_value", "?"), std::to_string(c.key));
    EXPECT_EQ(reg_get_string("ForSingle", "plane_approximation", "?"), c.plane ? "1" : "0");
    if (!c.result) continue;
    EXPECT_EQ(std::vector<bool>(s.referenceRegions.data, s.referenceRegions.data + 1200),
              std::vector<bool>(drawn.data, drawn.data + 1200));
    EXPECT_EQ(s.referenceRegionsPresent, c.squares > 0);
    EXPECT_EQ(master().ROI()(0, 0), true);
    EXPECT_EQ(list.current(), &master());
    EXPECT_EQ(get_vur().reference_file, path("run3_reference.imp"));
  }
}

// Confirm asks nothing: the regions drawn now, the plane as it is told.
TEST_F(References, ConfirmReferencesAsksNothing) {
  master().ROI() = squares(2);
  EXPECT_TRUE(ConfirmReferences(list, true));
  EXPECT_TRUE(user.ui.notices.empty());
  EXPECT_EQ(state().wind_off_refe_value, 121.5f);
  EXPECT_EQ(state().wind_on_refe_value, 60.75f);
  EXPECT_TRUE(state().plane_approximation);
  EXPECT_EQ(reg_get_string("ForSingle", "wind_on_refe_value", "?"), "60,75");
}

// The project's region file (read as the synthetic runs' plates) is read
// once after the opening; one of another size is refused before anything
// changes.
TEST_F(References, TheProjectsRegionFileIsReadOnce) {
  write_array(path("plates.imp"), squares(3));
  write_array(path("small.imp"), regions(20, 30, {{2, 2, 3, 3}}));
  state().referenceFilePending = true;
  state().key_unit_value = 7;
  get_vur().reference_file = "small.imp";
  EXPECT_THROW(SetReferences(list, true), zel::FileError);
  EXPECT_EQ(state().key_unit_value, 7);
  EXPECT_TRUE(state().referenceFilePending);

  get_vur().reference_file = "plates.imp";
  user.ui.answers = {true, true};
  EXPECT_TRUE(SetReferences(list, true));
  EXPECT_FALSE(state().referenceFilePending);
  EXPECT_FALSE(SetReferences(list, true));  // nothing drawn now: the user is asked to draw
  EXPECT_EQ(user.ui.notices.back(), drawQuestion);
}

}  // namespace
