#include "plugin/commandTable.h"

#include <cstring>
#include <string>

#include "host/platform.h"

namespace tamble {
namespace {

bool offered(const tableRow& r) { return !r.separator && r.handler != nullptr; }

// A separator is kept when an offered row of its group follows it before the
// next separator; one that closes its group is kept when the group offers any.
bool keepSeparator(std::span<const tableRow> all, std::size_t at) {
  const char* group = all[at].group;
  bool closesGroup = true;
  for (std::size_t i = at + 1; i < all.size() && std::strcmp(all[i].group, group) == 0; ++i) {
    if (all[i].separator) {
      closesGroup = false;
      break;
    }
    if (offered(all[i])) return true;
  }
  if (!closesGroup) return false;
  for (const tableRow& r : all)
    if (std::strcmp(r.group, group) == 0 && offered(r)) return true;
  return false;
}

plg2dapiFormatInfo record(const tableRow& r) {
  plg2dapiFormatInfo info;
  info.group = r.group;
  info.label = r.label;
  info.tooltip = r.tooltip;
  info.handler = r.handler;
  info.enabled = r.enabled;
  info.simulator = simulate;
  const std::string topic = r.helpTopic;
  info.helpFile = topic.substr(0, topic.find("::"));
  info.helpTopic = topic;
  return info;
}

}  // namespace

std::vector<const tableRow*> offeredRows() {
  const std::span<const tableRow> all = tableRows();
  std::vector<const tableRow*> out;
  for (std::size_t i = 0; i < all.size(); ++i)
    if (all[i].separator ? keepSeparator(all, i) : offered(all[i])) out.push_back(&all[i]);
  return out;
}

plg2dapiInfo* buildCommandTable() {
  static plg2dapiInfo info;
  info.name = "2DAPI Plugin Tamble";
  info.commands.clear();
  for (const tableRow* r : offeredRows())
    info.commands.push_back(r->separator ? separator_2d(r->group) : record(*r));
  info.reserved = 0;
  return &info;
}

}  // namespace tamble
