#include "plugin/commandTable.h"

#include <cstring>
#include <stdexcept>
#include <string>

#include "host/interaction.h"
#include "plugin/catalogue.h"

namespace tamble {
namespace {

bool isSeparator(const char* item) { return std::strcmp(item, sep) == 0; }

const commandDescriptor* placed(const char* group, const char* name) {
  const commandDescriptor* d = findCommand(name);
  if (d && std::strcmp(d->group, group) != 0)
    throw std::logic_error(std::string("command '") + name + "' of group " + d->group +
                           " is placed in the menu " + group);
  return d;
}

// One group's entries: a separator is kept when an offered command follows
// it before the next separator; one that closes the group is kept when the
// group offers any.
void addGroup(const menuGroup& g, std::vector<menuEntry>& out) {
  std::vector<const commandDescriptor*> items;
  bool offersAny = false;
  for (const char* item : g.items) {
    items.push_back(isSeparator(item) ? nullptr : placed(g.group, item));
    offersAny = offersAny || items.back();
  }
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (items[i]) {
      out.push_back({items[i], g.group});
      continue;
    }
    if (!isSeparator(g.items[i])) continue;
    bool keep = offersAny;  // closing the group, unless another separator follows
    for (std::size_t j = i + 1; j < items.size(); ++j) {
      if (isSeparator(g.items[j])) {
        keep = false;
        break;
      }
      if (items[j]) {
        keep = true;
        break;
      }
    }
    if (keep) out.push_back({nullptr, g.group});
  }
}

plg2dapiFormatInfo record(const commandDescriptor& d) {
  plg2dapiFormatInfo info;
  info.group = d.group;
  info.label = d.label;
  info.tooltip = d.tooltip;
  info.handler = d.handler;
  info.enabled = d.enabled.test;
  info.simulator = simulate;
  const std::string topic = d.helpTopic;
  info.helpFile = topic.substr(0, topic.find("::"));
  info.helpTopic = topic;
  return info;
}

}  // namespace

std::vector<menuEntry> offeredMenu() {
  std::vector<menuEntry> out;
  for (const menuGroup& g : menuOrder()) addGroup(g, out);
  return out;
}

plg2dapiInfo* buildCommandTable() {
  static plg2dapiInfo info;
  info.name = "2DAPI Plugin Tamble";
  info.commands.clear();
  for (const menuEntry& e : offeredMenu())
    info.commands.push_back(e.command ? record(*e.command) : separator_2d(e.group));
  info.reserved = 0;
  return &info;
}

}  // namespace tamble
