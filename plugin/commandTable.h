// The command table that the host reads into its menus.
#pragma once

#include <span>
#include <vector>

#include "host/plugin2d.h"

namespace tamble {

// One entry of the menus as the plug-in describes it.
struct tableRow {
  const char* group;
  const char* label;
  const char* tooltip;
  bool (*enabled)(const zel::imagesList&);
  const char* helpTopic;              // "<help file>::/html/<page>"
  bool (*handler)(zel::imagesList&);  // null: the command is not offered yet
  bool separator;
};

// Every entry of the menus in order, offered or not.
std::span<const tableRow> tableRows();

// The entries offered now: rows with a handler, and the separators that
// stand between offered rows (or close a group that offers any).
std::vector<const tableRow*> offeredRows();

// Rebuilds the table from scratch on every call and answers the one static
// structure; addresses from an earlier call become invalid.
plg2dapiInfo* buildCommandTable();

}  // namespace tamble
