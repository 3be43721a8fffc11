// The names a user types for the commands of a plug-in: each command's
// stable name, its label exactly, or the short name made from its label,
// qualified by the group where two commands would otherwise share a name.
#pragma once

#include <deque>
#include <string>
#include <vector>

#include "host/command.h"
#include "host/plugin2d.h"

namespace tamble::cli {

// Lower-case words joined by '-'. The operators of the memory-cell labels
// become words ("->" to, "<->" swap, "+" plus, "-" minus, "*" times, "/" by,
// "^2" squared, "&" and): the arithmetic ones only between one-letter
// operands, so "Flip/Rotate..." gives "flip-rotate". Any other run of
// characters that are not letters or digits separates words.
std::string shortName(const std::string& label);

class commandNames {
 public:
  // The menu of a plug-in that describes its commands.
  explicit commandNames(std::vector<menuEntry> menu);
  // A plug-in that describes nothing: each row of its table becomes a
  // command named by the short name of its label (qualified by the group
  // where two rows would share one), with no records and an unnamed test.
  explicit commandNames(const std::vector<plg2dapiFormatInfo>& table);
  commandNames(const commandNames&) = delete;
  commandNames& operator=(const commandNames&) = delete;

  const std::vector<menuEntry>& menu() const { return entries; }

  // The command that `typed` names: its stable name; else its label or the short name of its label, either alone or
  // after "<group>/" with the group's name or short name. An unknown or
  // ambiguous name is a stepError; the latter lists the names to use.
  const commandDescriptor& resolve(const std::string& typed) const;

 private:
  std::vector<const commandDescriptor*> commands() const;

  std::vector<menuEntry> entries;
  // What the descriptors made from a bare table point into.
  std::deque<commandDescriptor> made;
  std::deque<std::string> texts;
};

}  // namespace tamble::cli
