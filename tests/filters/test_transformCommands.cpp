// The commands of the "Transform" filter sets and of the mask wipes as a
// user runs them: the typed values reach the routine, are stored, and a
// guard refuses with its notice and leaves no "UnDo".
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "api/imagesList.h"
#include "filters/deinterlace.h"
#include "filters/directional.h"
#include "filters/enhancement.h"
#include "filters/morphology.h"
#include "host/paramRecord.h"
#include "host/platform.h"
#include "plugin/deinterlaceCommand.h"
#include "plugin/directionalCommands.h"
#include "plugin/enhancementCommands.h"
#include "plugin/morphologyCommands.h"
#include "tests/support/commandTest.h"
#include "tests/support/layers.h"

namespace {

using namespace tamble;
using tamble::testing::layers;
using tamble::testing::sameBits;

using TransformCommands = tamble::testing::commandTest;
using tamble::testing::addRandomImage;

struct commandCase {
  const char* name;
  bool (*command)(zel::imagesList&);
  std::vector<std::pair<std::string, std::string>> values;
  std::string section;
  std::function<void(layers&)> routine;
};

TEST_F(TransformCommands, TypedValuesReachTheRoutinesAndAreStored) {
  const commandCase cases[] = {
      {"3x3", Filters3x3SetCommand, {{"m_iter", "2"}, {"m_kind", "Laplace Flat"}}, "s3x3iter",
       [](layers& l) { S3X3ITER(l.field, l.bkgr, l.ROI, 2, 11); }},
      {"gradients", Gradients3x3SetCommand, {{"m_kind", "5"}}, "s3x3grad",
       [](layers& l) { Gradients3x3(l.field, l.bkgr, l.ROI, 5); }},
      {"morphology", MorphologicalFiltersCommand, {{"m_kind", "12"}, {"m_rl", "5.5"}}, "morph",
       [](layers& l) { MorphFilter(l.field, l.bkgr, l.ROI, 5.5f, 12); }},
      {"speckle", SpeckleCellCommand, {{"m_rl", "4"}, {"m_iter", "2"}}, "Speckle",
       [](layers& l) { SpeckleCell(l.field, l.bkgr, l.ROI, 4.0f, 2); }},
      {"crimmins", SpeckleCrimminsCommand, {{"m_iter", "3"}}, "Crimmins",
       [](layers& l) { SpeckleCrimmins(l.field, l.bkgr, l.ROI, 3); }},
      {"wipe bg", WipeBGCommand, {{"m_diameter", "5"}, {"m_iterations", "2"}}, "FF",
       [](layers& l) { ClosedRegionsWipe(l.bkgr, 1, 2, 5); }},
      {"wipe not roi", WipeNotROICommand, {{"m_diameter", "3"}}, "FF",
       [](layers& l) { ClosedRegionsWipe(l.ROI, 0, 1, 3); }},
      {"unsharp", UnSharpMaskCommand,
       {{"m_nl", "4"}, {"m_a", "3"}, {"m_b", "2"}, {"m_overfall", "1"}, {"m_fade", "0.5"}},
       "UnSharp",
       [](layers& l) { UnSharpMask(l.field, l.bkgr, l.ROI, 4, 3, 2, false, 0, 1, 0.5f); }},
      // The next opening starts from the values stored by the last.
      {"unsharp forced", UnSharpMaskCommand, {{"m_b", "9"}, {"m_id1", "1"}}, "UnSharp",
       [](layers& l) { UnSharpMask(l.field, l.bkgr, l.ROI, 4, 3, 9, true, 0, 1, 0.5f); }},
      {"space-variant without smoothing", SpaceVariantCommand,
       {{"m_scale", "50"}, {"kind", "Diagonal"}, {"m_sm", "0"}}, "DIP1",
       [](layers& l) { DIP1Enhancement(l.field, l.bkgr, l.ROI, 2, 9, 0, 50, 10); }},
      {"space-variant wavelet", SpaceVariantCommand,
       {{"m_nll", "7"}, {"kind", "WaveLet"}, {"m_nlg", "3"}}, "DIP1",
       [](layers& l) { DIP1Enhancement(l.field, l.bkgr, l.ROI, 4, 7, 0, 50, 10); }},
      {"contrast", NonlinearContrastCommand, {{"m_contrast", "2"}}, "Contrast",
       [](layers& l) { NonlinearContrast(l.field, l.bkgr, l.ROI, 2); }},
      {"hybrid map", WeightedHybridMapCommand, {{"m_fade", "0.8"}, {"ihist", "Adaptive Method"}},
       "HPEQ", [](layers& l) { WeightedHybridMap(l.field, l.bkgr, l.ROI, 3, 0.8f); }},
      {"steep", SteepThinningCommand, {{"m_nl", "7"}, {"m_thresh", "0.1"}, {"m_power", "3"}},
       "steep", [](layers& l) { SteepThinning(l.field, l.bkgr, l.ROI, 7, 0.1f, 3); }},
  };
  for (const commandCase& c : cases) {
    zel::imagesList images;
    layers expected = addRandomImage(images);
    images.recording = true;
    params(c.values);
    EXPECT_TRUE(c.command(images));
    c.routine(expected);
    const zel::image& img = *images.current();
    EXPECT_TRUE(sameBits(img.field(), expected.field)) << c.name;
    EXPECT_TRUE(sameBits(img.bkgr(), expected.bkgr)) << c.name;
    EXPECT_TRUE(sameBits(img.ROI(), expected.ROI)) << c.name;
    EXPECT_NE(reg_get_string(c.section, c.values[0].first, "absent"), "absent") << c.name;
    EXPECT_TRUE(images.undoAvailable()) << c.name;
    EXPECT_TRUE(user.ui.notices.empty()) << c.name;
  }
}

// "DeInterlace..." keeps nothing: the second opening starts from
// "Interlace", field 1, whatever the first one typed.
TEST_F(TransformCommands, DeInterlaceStartsFromItsDefaults) {
  const struct {
    std::vector<std::pair<std::string, std::string>> values;
    int action, field, method;
  } runs[] = {{{{"action", "DeInterlace"}, {"field", "2"}, {"method", "Weighted Mean"}}, 0, 2, 3},
              {{}, 1, 1, -1}};
  for (const auto& run : runs) {
    zel::imagesList images;
    layers expected = addRandomImage(images);
    params(run.values);
    DeInterlaceCommand(images);
    DeInterlace(expected.field, run.action, run.field, run.method);
    EXPECT_TRUE(sameBits(images.current()->field(), expected.field)) << run.action;
    EXPECT_TRUE(images.undoAvailable());
  }
  EXPECT_EQ(reg_get_string("", "action", "absent"), "absent");
}

// The directional filters take their direction from the typed angle, or
// from the first two markers (the next two set the taper); "1D DeBlur"
// from two markers when there are two. Each runs as typed and the deblur
// shows its time.
TEST_F(TransformCommands, DirectionsComeFromTheAngleOrTheMarkers) {
  const struct {
    const char* name;
    bool (*command)(zel::imagesList&);
    std::vector<std::pair<std::string, std::string>> values;
    std::vector<std::pair<double, double>> marks;
    std::function<void(layers&)> routine;
    bool report;
  } cases[] = {
      {"gauss typed", DirectionalGaussCommand,
       {{"m_length", "7"}, {"m_width", "2"}, {"m_angle", "30"}, {"m_iter", "2"}}, {},
       [](layers& l) { DirectionalGauss(l.field, l.bkgr, l.ROI, 2, 7, 2, 30); }, false},
      {"median by two markers, straight up", DirectionalMedianCommand,
       {{"m_length", "5"}, {"m_source", "By 2/4 Markers"}}, {{4, 9}, {4, 2}},
       [](layers& l) { DirectionalMedian(l.field, l.bkgr, l.ROI, 1, 5, 1, 90); }, false},
      {"median tapered by four markers", DirectionalMedianCommand,
       {{"m_length", "5"}, {"m_source", "1"}}, {{4, 9}, {4, 2}, {0, 0}, {29, 0}},
       [](layers& l) {
         DirectionalMedian(l.field, l.bkgr, l.ROI, 1, 5, 1, 90, lengthTaper{0, 0, 29, 0});
       },
       false},
      {"deblur typed", DeBlur1DCommand, {{"m_length", "5"}, {"m_angle", "-20"}, {"m_iter", "4"}},
       {{3, 3}}, [](layers& l) { DeBlur1D(l.field, l.bkgr, l.ROI, 5, -20, 0.01f, 4); }, true},
      {"deblur along two markers", DeBlur1DCommand, {{"m_length", "3"}, {"m_iter", "4"}},
       {{0, 0}, {5, 5}}, [](layers& l) { DeBlur1D(l.field, l.bkgr, l.ROI, 3, -45, 0.01f, 4); },
       true},
  };
  for (const auto& c : cases) {
    zel::imagesList images;
    layers expected = addRandomImage(images);
    for (auto [x, y] : c.marks) images.current()->markers.add(marker{x, y, 0, 0, true, 0});
    user.ui.notices.clear();
    params(c.values);
    c.command(images);
    c.routine(expected);
    EXPECT_TRUE(sameBits(images.current()->field(), expected.field)) << c.name;
    EXPECT_EQ(user.ui.notices.size(), c.report ? 1u : 0u) << c.name;
  }
}

TEST_F(TransformCommands, DirectionalGuardsCountTheMarkers) {
  const struct {
    bool (*command)(zel::imagesList&);
    std::vector<std::pair<std::string, std::string>> values;
    int markers;
    const char* notice;
    const char* section;
    bool stored;  // checked after the dialog: the values are kept
  } cases[] = {
      {DirectionalGaussCommand, {{"m_source", "1"}}, 3,
       "There Must Be 2/4 Markers for Direction/Tapering\n\n------- STOP -------", "DirGauss", true},
      {DirectionalMedianCommand, {{"m_source", "1"}}, 0,
       "There Must Be 2/4 Markers for Direction/Tapering\n\n------- STOP -------", "DirMedian",
       true},
      {DeBlur1DCommand, {{"m_length", "3"}}, 3,
       "There Must Be Not More Than 2 Markers for Smear Direction Set", "DeBlur1D", false},
  };
  for (const auto& c : cases) {
    zel::imagesList images;
    const layers before = addRandomImage(images);
    for (int k = 0; k < c.markers; ++k) images.current()->markers.add(marker{k * 3.0, 2, 0, 0, true, 0});
    user.ui.notices.clear();
    params(c.values);
    c.command(images);
    ASSERT_EQ(user.ui.notices.size(), 1u) << c.notice;
    EXPECT_EQ(user.ui.notices[0], c.notice);
    EXPECT_FALSE(images.undoAvailable()) << c.notice;
    EXPECT_TRUE(sameBits(images.current()->field(), before.field)) << c.notice;
    EXPECT_EQ(reg_get_string(c.section, c.values[0].first, "absent") != "absent", c.stored);
  }
}

// A wipe of a mask with nothing to wipe is refused before its dialog.
TEST_F(TransformCommands, WipesNeedTheirMask) {
  const struct {
    bool (*command)(zel::imagesList&);
    const char* notice;
  } cases[] = {{WipeBGCommand, "No BackGround. Operation terminated"},
               {WipeNotBGCommand, "No BackGround. Operation terminated"},
               {WipeROICommand, "No ROI. Operation terminated"},
               {WipeNotROICommand, "No ROI. Operation terminated"}};
  addRamp(6, 5);
  for (const auto& c : cases) {
    user.ui.notices.clear();
    params({{"m_diameter", "7"}});
    c.command(list);
    ASSERT_EQ(user.ui.notices.size(), 1u);
    EXPECT_EQ(user.ui.notices[0], c.notice);
    EXPECT_FALSE(list.undoAvailable());
    EXPECT_EQ(reg_get_string("FF", "m_diameter", "absent"), "absent");
  }
}

}  // namespace
