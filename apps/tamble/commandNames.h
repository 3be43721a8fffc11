// The names a user types for the rows of a command table: the label exactly
// as the table has it, or a short name made from it, qualified by the group
// where two rows would otherwise share a name.
#pragma once

#include <string>
#include <vector>

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
  // Names the rows of `table` that are not separators; keeps pointers to them.
  explicit commandNames(const std::vector<plg2dapiFormatInfo>& table);

  // The row that `typed` names: its label, its short name, or either after
  // "<group>/" with the group's name or short name. An unknown or ambiguous
  // name is a stepError; the latter lists the qualified names to use.
  const plg2dapiFormatInfo& resolve(const std::string& typed) const;
  // The name to type for `row`: its short name, qualified when another row
  // shares its label or short name.
  std::string typedName(const plg2dapiFormatInfo& row) const;

 private:
  struct entry {
    const plg2dapiFormatInfo* row;
    std::string name;
    std::string group;
  };
  const entry& entryOf(const plg2dapiFormatInfo& row) const;
  bool ambiguous(const entry& e) const;
  bool matches(const entry& e, const std::string& typed) const;

  std::vector<entry> entries;
};

}  // namespace tamble::cli
