// The spectral and correlation commands as a user runs them: the typed
// values reach the routines, the image keeps its name, and images of
// different sizes are refused before anything changes.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "align/correlation.h"
#include "api/imagesList.h"
#include "filters/spectra.h"
#include "host/platform.h"
#include "plugin/correlationCommands.h"
#include "plugin/spectraCommands.h"
#include "tests/support/commandTest.h"
#include "tests/support/layers.h"

namespace {

using namespace tamble;
using tamble::testing::layers;
using tamble::testing::sameBits;

using SpectraCommands = tamble::testing::commandTest;

struct commandCase {
  const char* name;
  bool (*command)(zel::imagesList&);
  std::vector<std::pair<std::string, std::string>> values;
  std::function<void(layers&)> routine;
  std::string lastNotice;
};

TEST_F(SpectraCommands, TypedValuesReachTheRoutines) {
  const char* linear = "Do Not Forget to Set Limits 0.0 ... 1.0 Relative Amplitude";
  const commandCase cases[] = {
      {"spectrum dB", Spectrum2DCommand, {{"m_log", "1"}, {"m_win", "1"}},
       [](layers& l) {
         SpectrumImage(l.field, false, true, true);
         l.bkgr.fill(false);
         l.ROI.fill(true);
       },
       "Do Not Forget to Set Limits 0.0 ... -100.0 dB Power Spectrum"},
      {"polar-log", PolarLogSpectrumCommand, {{"m_nomean", "1"}},
       [](layers& l) {
         SpectrumImage(l.field, true, true, false);  // the window is remembered
         l.ROI.fill(true);
         PolarLogMap(l.field, l.bkgr);
       },
       linear},
      {"soft focus", WhitenCommand, {{"m_power", "0.5"}, {"m_kind", "Soft Focus Effect"}},
       [](layers& l) { Whiten(l.field, l.bkgr, l.ROI, -0.5f); }, ""},
      {"mcclellan", McClellanCommand, {{"m_power", "0.7"}},
       [](layers& l) { McClellanTransform(l.field, l.bkgr, l.ROI, 0.7f); },
       "Original  Space Span=30\nResulting Space Span=32"},
      {"phase only", PhaseOnlyRetrieveCommand, {},
       [](layers& l) { PhaseOnlyRetrieve(l.field, l.bkgr, l.ROI); },
       "Do Not Forget to Set Options-Fashions-Limits"},
  };
  for (const commandCase& c : cases) {
    zel::imagesList images;
    layers expected = tamble::testing::addRandomImage(images);
    c.routine(expected);
    params(c.values);
    user.ui.notices.clear();
    images.current()->setFieldName("random");
    ASSERT_TRUE(c.command(images)) << c.name;
    const zel::image& img = *images.current();
    EXPECT_EQ(img.fieldName(), "random") << c.name;
    EXPECT_TRUE(sameBits(img.field(), expected.field)) << c.name;
    EXPECT_TRUE(sameBits(img.bkgr(), expected.bkgr)) << c.name;
    EXPECT_TRUE(sameBits(img.ROI(), expected.ROI)) << c.name;
    const std::string last = user.ui.notices.empty() ? "" : user.ui.notices.back();
    EXPECT_EQ(last, c.lastNotice) << c.name;
  }
  // Only the window of the spectra is kept; the mean and dB start off.
  EXPECT_EQ(reg_get_string("sptrans", "m_win", ""), "1");
  EXPECT_EQ(reg_get_string("sptrans", "m_log", "none"), "none");
  EXPECT_EQ(reg_get_string("Whiten", "m_kind", ""), "1");
}

zel::image* namedImage(int w, int h, const char* name, unsigned seed) {
  const layers l = tamble::testing::randomLayers(w, h, 0.0, seed);
  auto* img = new zel::image(w, h);
  img->field() = l.field;  // before the name: the assignment takes the source's
  img->setFieldName(name);
  img->fileInfo.name = std::string(name) + ".tif";
  return img;
}

// The correlation replaces the current image by the surface of the two.
TEST_F(SpectraCommands, CorrelationReplacesTheCurrentImage) {
  list.addImage(namedImage(32, 32, "other", 3u));
  list.addImage(namedImage(32, 32, "mine", 4u));
  list.setCurrent(1);
  correlationField expected(32, 32);
  int dx = 0, dy = 0;
  CrossCorrelation(list[1]->field(), list[0]->field(), expected, true, true, false, false, dx, dy);
  user.ui.imageChoices = {0};
  params({{"m_phase", "1"}, {"m_nomean", "1"}});
  ASSERT_TRUE(CrossCorrelationCommand(list));
  EXPECT_EQ(list[1]->fieldName(), "mine");
  EXPECT_TRUE(sameBits(list[1]->field(), expected));
  ASSERT_FALSE(user.ui.notices.empty());
  EXPECT_NE(user.ui.notices.back().find("Possible Shift     X= " + std::to_string(dx)),
            std::string::npos);
}

TEST_F(SpectraCommands, AlignmentsRefuseImagesOfDifferentSizes) {
  const std::pair<const char*, bool (*)(zel::imagesList&)> commands[] = {
      {"correlation", CrossCorrelationCommand},
      {"shift", ShiftAlignmentCommand},
      {"mellin", MellinAlignmentCommand}};
  for (const auto& [name, command] : commands) {
    zel::imagesList images;
    images.addImage(namedImage(32, 16, "other", 3u));
    images.addImage(namedImage(32, 32, "mine", 4u));
    images.setCurrent(1);
    const zel::image before(*images[1]);
    user.ui.imageChoices = {0};
    user.ui.notices.clear();
    ASSERT_TRUE(command(images)) << name;
    EXPECT_EQ(user.ui.notices, std::vector<std::string>{differentDimensions}) << name;
    EXPECT_TRUE(sameBits(images[1]->field(), before.field())) << name;
    EXPECT_FALSE(images.undoAvailable()) << name;
  }
}

}  // namespace
