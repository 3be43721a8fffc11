// The reference regions of a single paint: closed regions on constructed
// masks, and Set/Confirm References with its questions answered in turn.
#include <deque>
#include <filesystem>

#include "api/errors.h"
#include "api/imagesList.h"
#include "convert/closedRegions.h"
#include "host/paramRecord.h"
#include "host/platform.h"
#include "host/project.h"
#include "plugin/projectState.h"
#include "plugin/referencesCommand.h"
#include "tests/support/commandTest.h"
#include "tests/support/tempFolder.h"

namespace {

using namespace tamble;
using maskLayer = zel::arrayStore<bool, 2>;

struct rect {
  int x0, y0, x1, y1;  // inclusive
};

// A mask of w by h that is true on the rectangles only.
maskLayer regions(int w, int h, std::initializer_list<rect> rects) {
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

struct regionCase {
  const char* what;
  maskLayer roi;
  int count;
  int overflow;
  std::vector<int> areas;  // of the first regions, in scan order
};

TEST(ClosedRegions, CountsAndMeasuresTheRegionsOfTheROI) {
  const regionCase cases[] = {
      {"three squares, in the order of their first row",
       regions(40, 30, {{2, 2, 5, 5}, {10, 20, 12, 22}, {30, 3, 31, 8}}),
       3,
       0,
       {16, 12, 9}},
      {"touching by a corner only", regions(40, 30, {{4, 4, 4, 4}, {5, 5, 5, 5}}), 2, 0, {1, 1}},
      {"twelve apart: eleven are analysed",
       regions(40, 30,
               {{2, 2, 2, 2},
                {5, 2, 5, 2},
                {8, 2, 8, 2},
                {11, 2, 11, 2},
                {14, 2, 14, 2},
                {17, 2, 17, 2},
                {20, 2, 20, 2},
                {23, 2, 23, 2},
                {26, 2, 26, 2},
                {29, 2, 29, 2},
                {32, 2, 32, 2},
                {35, 2, 35, 2}}),
       11,
       0,
       {1, 1}},
      // The outermost row's pixels join a region but do not spread it.
      {"a run along the top edge", regions(40, 30, {{3, 0, 5, 0}}), 3, 0, {1, 1, 1}},
      {"a column from the top edge", regions(40, 30, {{3, 0, 3, 4}}), 2, 0, {1, 4}},
      {"a path of 3 rows", snake(3), 1, 0, {3 * 128 + 2}},
      {"a path longer than the pass limit", snake(66), 0, 1, {}},
  };
  for (const regionCase& c : cases) {
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
  EXPECT_EQ(regionMean(field, bkgr, roi), (16 * 353.5f + 9 * 2111.0f) / 25);

  for (int y = 0; y < 30; ++y) bkgr(4, y) = true;  // cuts the first square
  found = closedRegions(field, bkgr, roi);
  EXPECT_EQ(found.count, 3);
  EXPECT_EQ(found.area[0], 8);
  EXPECT_EQ(found.area[1], 4);
  EXPECT_EQ(regionMean(field, bkgr, regions(40, 30, {})), 0.0f);
}

// The sensor pair of a single paint, field x + 10 y wind-off and half of it
// wind-on, with regions drawn as the master image's ROI.
class References : public tamble::testing::commandTest {
 protected:
  void SetUp() override {
    commandTest::SetUp();
    paintKind() = "single";
    addRamp(40, 30, names::wind_off_sens);
    zel::image& on = addRamp(40, 30, names::wind_on_sens);
    on.field().fill(0.0f);
    for (int y = 0; y < 30; ++y)
      for (int x = 0; x < 40; ++x) on.field()(x, y) = 0.5f * static_cast<float>(x + 10 * y);
    list.setCurrent(1);
    get_vur().project_file = (folder / "run3.vur").string();
  }
  void TearDown() override {
    clear_vur();
    std::filesystem::remove_all(folder);
    commandTest::TearDown();
  }
  zel::image& master() { return *list.find(names::wind_off_sens); }

  // Squares of 2 by 2 with the means 27.5, 215.5 and 85.5; none: a ROI
  // true everywhere, which selects nothing.
  maskLayer squares(int n) {
    if (n == 0) return regions(40, 30, {{0, 0, 39, 29}});
    const rect all[] = {{2, 2, 3, 3}, {10, 20, 11, 21}, {30, 5, 31, 6}};
    maskLayer m = regions(40, 30, {});
    for (int i = 0; i < n; ++i) m = unite(m, regions(40, 30, {all[i]}));
    return m;
  }
  static maskLayer unite(maskLayer a, const maskLayer& b) {
    for (std::uint64_t i = 0; i < a.count; ++i) a.data[i] = a.data[i] || b.data[i];
    return a;
  }

  std::filesystem::path folder =
      std::filesystem::temp_directory_path() / ("tamble-refs-" + std::to_string(::getpid()));
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

struct askCase {
  const char* what;
  int squares;
  std::deque<bool> answers;
  std::vector<std::string> asked;
  bool result;
  int key;
  float offValue;
  bool plane;
};

// The questions in their order, each answer's course, and what is stored.
TEST_F(References, SetReferencesAsksInTurn) {
  const askCase cases[] = {
      {"nothing drawn, Yes: the user draws", 0, {true}, {drawQuestion}, false, 0, 0.01f, false},
      {"nothing drawn, No: equal factors",
       0,
       {false},
       {drawQuestion, equalNotice},
       true,
       1,
       1.0f,
       false},
      {"two regions: told, not asked", 2, {}, {regionsText(2, "121.5")}, true, 0, 121.5f, false},
      {"three regions, a plane",
       3,
       {true},
       {regionsText(3, "109.5") + planeQuestion},
       true,
       0,
       109.5f,
       true},
      {"three regions, no plane",
       3,
       {false},
       {regionsText(3, "109.5") + planeQuestion},
       true,
       0,
       109.5f,
       false},
  };
  for (const askCase& c : cases) {
    user.ui.notices.clear();
    user.ui.answers = c.answers;
    state().plane_approximation = !c.plane;
    const maskLayer drawn = squares(c.squares);
    master().ROI() = drawn;
    EXPECT_EQ(SetReferences(list, true), c.result) << c.what;
    EXPECT_EQ(user.ui.notices, c.asked) << c.what;
    EXPECT_TRUE(user.ui.answers.empty()) << c.what;
    const conversionState& s = state();
    EXPECT_EQ(s.key_unit_value, c.key) << c.what;
    EXPECT_EQ(s.wind_off_refe_value, c.offValue) << c.what;
    EXPECT_EQ(s.plane_approximation, c.plane) << c.what;
    EXPECT_EQ(reg_get_string("ForSingle", "key_unit_value", "?"), std::to_string(c.key)) << c.what;
    EXPECT_EQ(reg_get_string("ForSingle", "plane_approximation", "?"), c.plane ? "1" : "0");
    if (!c.result) continue;
    // The regions moved from the image into the state.
    EXPECT_EQ(std::vector<bool>(s.referenceRegions.data, s.referenceRegions.data + 1200),
              std::vector<bool>(drawn.data, drawn.data + 1200))
        << c.what;
    EXPECT_EQ(s.referenceRegionsPresent, c.squares > 0);
    EXPECT_EQ(master().ROI()(0, 0), true);
    EXPECT_EQ(list.current(), &master());
    EXPECT_EQ(get_vur().reference_file, (folder / "run3_reference.imp").string());
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

// The project's region file is read once after the opening; one of another
// size is refused before anything changes.
TEST_F(References, TheProjectsRegionFileIsReadOnce) {
  std::filesystem::create_directories(folder);
  write_array((folder / "plates.imp").string(), squares(3));
  write_array((folder / "small.imp").string(), regions(20, 30, {{2, 2, 3, 3}}));
  state().referenceFilePending = true;
  state().key_unit_value = 7;
  get_vur().reference_file = "small.imp";
  EXPECT_THROW(SetReferences(list, true), zel::FileError);
  EXPECT_EQ(state().key_unit_value, 7);
  EXPECT_TRUE(state().referenceFilePending);

  get_vur().reference_file = "plates.imp";
  user.ui.answers = {true};
  EXPECT_TRUE(SetReferences(list, true));
  EXPECT_EQ(user.ui.notices, std::vector<std::string>{regionsText(3, "109.5") + planeQuestion});
  EXPECT_FALSE(state().referenceFilePending);
  // Read once: with nothing drawn now, the user is asked to draw.
  user.ui.answers = {true};
  EXPECT_FALSE(SetReferences(list, true));
  EXPECT_EQ(user.ui.notices.back(), drawQuestion);
}

}  // namespace
