// The command table that the host reads into its menus, built from the
// commands' descriptors in the order of the menus.
#pragma once

#include <vector>

#include "host/command.h"
#include "host/plugin2d.h"

namespace tamble {

// One menu: its group and its items in order, each a command's stable name
// or `sep`.
struct menuGroup {
  const char* group;
  std::vector<const char*> items;
};
inline constexpr const char* sep = "-";

// The menus in order (plugin/tableRows.cpp), offered or not.
const std::vector<menuGroup>& menuOrder();

// The entries offered now: the commands that are built, and the separators
// that stand between offered commands (or close a group that offers any).
// A command placed under a group other than its own is a mistake of the
// build and raises std::logic_error.
std::vector<menuEntry> offeredMenu();

// Rebuilds the table from scratch on every call and answers the one static
// structure; addresses from an earlier call become invalid.
plg2dapiInfo* buildCommandTable();

}  // namespace tamble
