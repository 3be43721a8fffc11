#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

#include "api/imagesList.h"
#include "plugin/commandTable.h"

namespace {

using tamble::tableRow;

int countIf(bool (*pred)(const tableRow&)) {
  int n = 0;
  for (const tableRow& r : tamble::tableRows()) n += pred(r);
  return n;
}

TEST(CommandTable, TheMenusHoldAllRowsInOrder) {
  const auto all = tamble::tableRows();
  EXPECT_EQ(all.size(), 153u);
  EXPECT_EQ(countIf([](const tableRow& r) { return r.separator; }), 40);
  // Groups come in menu order, each in one run.
  std::vector<std::string> groups;
  for (const tableRow& r : all)
    if (groups.empty() || groups.back() != r.group) groups.push_back(r.group);
  EXPECT_EQ(groups,
            (std::vector<std::string>{"MC", "Edit", "Transform", "Markers", "Tools", "B Convert"}));
  // Separators open MC, Transform, Markers and Tools; Edit ends on one; B Convert opens without.
  auto first = [&](const char* g) {
    for (const tableRow& r : all)
      if (std::strcmp(r.group, g) == 0) return &r;
    return static_cast<const tableRow*>(nullptr);
  };
  for (const char* g : {"MC", "Transform", "Markers", "Tools"})
    EXPECT_TRUE(first(g)->separator) << g;
  EXPECT_FALSE(first("Edit")->separator);
  EXPECT_FALSE(first("B Convert")->separator);
  EXPECT_TRUE(all[first("Transform") - all.data() - 1].separator);  // the end of Edit
}

TEST(CommandTable, TextsStandAsTheUserKnowsThem) {
  std::set<std::string> labels, tooltips;
  for (const tableRow& r : tamble::tableRows()) {
    labels.insert(r.label);
    tooltips.insert(r.tooltip);
    if (!r.separator) {
      const std::string topic = r.helpTopic;
      EXPECT_NE(topic.find("::/html/"), std::string::npos) << r.label;
    }
  }
  for (const char* l : {"  X -> M", "  (X-M)^2", "Closed Regions Wipe$ BG...",
                        "USE \"Wind-Off-Sens\" Markers", "Automatic Convert List..."})
    EXPECT_TRUE(labels.count(l)) << l;
  for (const char* t : {"Image by Image +,-,*,/ with Apropriate BackGrounds and ROIs.",
                        "Cropping Intensity Vlaues Region.",
                        "Invert Image Firld Values w/o Changing Intensity Limits",
                        "Performs Fast Gauussian based Filtering in Circle Window",
                        "Automatic Convertation of List of VUR Files", "Filter", "1"})
    EXPECT_TRUE(tooltips.count(t)) << t;
}

TEST(CommandTable, BuiltTableOffersTheRowsWithHandlers) {
  plg2dapiInfo* info = tamble::buildCommandTable();
  EXPECT_EQ(info->name, "2DAPI Plugin Tamble");
  EXPECT_EQ(info->reserved, 0u);
  int commands = 0;
  for (const plg2dapiFormatInfo& c : info->commands) {
    if (c.isSeparator()) continue;
    ++commands;
    ASSERT_NE(c.enabled, nullptr) << c.label;
    ASSERT_NE(c.simulator, nullptr) << c.label;
    EXPECT_EQ(c.helpTopic.rfind(c.helpFile + "::", 0), 0u) << c.label;
  }
  // The memory cell (11), both UnDo rows, the ROI and markers buffers (4),
  // the geometric commands (7), the circle-window filters (5), the Wiener filter,
  // the point operations and ranged filters (6), fill-up (3), marker search
  // and revision (3), opening and closing a project (2), dark and flat
  // correction as stages and as tools (4).
  EXPECT_EQ(commands, 48);
  // No two separators in a row within a group, and none opens an empty group.
  for (std::size_t i = 1; i < info->commands.size(); ++i)
    EXPECT_FALSE(info->commands[i].isSeparator() && info->commands[i - 1].isSeparator() &&
                 info->commands[i].group == info->commands[i - 1].group);
}

TEST(CommandTable, RebuildingGivesTheSameTableAtTheSameAddress) {
  plg2dapiInfo* first = tamble::buildCommandTable();
  std::vector<std::string> labels;
  for (const auto& c : first->commands) labels.push_back(c.group + "/" + c.label);
  plg2dapiInfo* second = tamble::buildCommandTable();
  EXPECT_EQ(first, second);
  std::vector<std::string> again;
  for (const auto& c : second->commands) again.push_back(c.group + "/" + c.label);
  EXPECT_EQ(labels, again);
}

TEST(CommandTable, KeptSeparatorsMatchTheFullTableWhenEveryRowIsOffered) {
  // Every separator of the full table has a row after it in its group, but
  // the one that closes Edit; the rule keeps all 40 once all rows exist.
  const auto all = tamble::tableRows();
  int closing = 0;
  for (std::size_t i = 0; i < all.size(); ++i) {
    if (!all[i].separator) continue;
    const bool last = i + 1 == all.size() || std::strcmp(all[i + 1].group, all[i].group) != 0;
    const bool beforeSeparator = !last && all[i + 1].separator;
    EXPECT_FALSE(beforeSeparator) << "two separators in a row at " << i;
    closing += last;
  }
  EXPECT_EQ(closing, 1);
}

}  // namespace
