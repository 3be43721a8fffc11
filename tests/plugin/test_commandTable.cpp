// The menu order against the registered commands, and the table built from
// them as the host reads it.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <set>
#include <string>

#include "plugin/catalogue.h"
#include "plugin/commandTable.h"

namespace {

// Every registered command stands in the menus exactly once, under its own
// group, and no name is used twice: a command whose line was forgotten, or
// a typo in a name, shows here.
TEST(CommandTable, EveryCommandIsPlacedOnceInItsOwnGroup) {
  std::map<std::string, std::string> placedIn;
  for (const tamble::menuGroup& g : tamble::menuOrder())
    for (const char* item : g.items) {
      if (std::strcmp(item, tamble::sep) == 0) continue;
      EXPECT_TRUE(placedIn.emplace(item, g.group).second) << item << " stands twice";
    }
  std::set<std::string> names;
  for (const tamble::commandDescriptor* d : tamble::registeredCommands()) {
    EXPECT_TRUE(names.insert(d->name).second) << d->name << " is registered twice";
    ASSERT_TRUE(placedIn.count(d->name)) << d->name << " is in no menu";
    EXPECT_EQ(placedIn[d->name], d->group) << d->name;
    EXPECT_EQ(tamble::findCommand(d->name), d);
    EXPECT_NE(d->enabled.test, nullptr) << d->name;
  }
}

// The table the host reads holds the offered menu row for row, and stays put.
TEST(CommandTable, TheBuiltTableIsTheOfferedMenuRowForRow) {
  const std::vector<tamble::menuEntry> menu = tamble::offeredMenu();
  plg2dapiInfo* info = tamble::buildCommandTable();
  ASSERT_EQ(info->commands.size(), menu.size());
  for (std::size_t i = 0; i < menu.size(); ++i) {
    const plg2dapiFormatInfo& row = info->commands[i];
    if (!menu[i].command) {
      EXPECT_TRUE(row.isSeparator());
      EXPECT_EQ(row.group, menu[i].group);
      continue;
    }
    const tamble::commandDescriptor& d = *menu[i].command;
    EXPECT_EQ(row.label, d.label);
    EXPECT_EQ(row.handler, d.handler);
    EXPECT_EQ(row.enabled, d.enabled.test);
    ASSERT_NE(row.simulator, nullptr) << d.label;
    EXPECT_EQ(row.helpTopic, d.helpTopic);
    EXPECT_EQ(row.helpTopic.rfind(row.helpFile + "::", 0), 0u) << d.label;
  }
  EXPECT_EQ(tamble::buildCommandTable(), info);  // rebuilt in place
}

}  // namespace
