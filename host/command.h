// A command as a host sees it: one descriptor per menu command, defined in
// the command's own file beside its handler. The plug-in's table is built
// from these, and Tamble's own hosts (the command line, the workbench, the
// Python package) read them here: the plug-in registers its menu with the
// host library when it loads, so it keeps its single export.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace zel {
class imagesList;
}

namespace tamble {

class paramRecord;

// An availability test and the name a user is told when it says no.
struct availabilityTest {
  const char* name;
  bool (*test)(const zel::imagesList&);
};

// A parameter record that the command's dialog shows, made on demand with
// the values the next opening starts from (before the store is read).
using recordMaker = std::unique_ptr<paramRecord> (*)();

// Something the command asks of the user besides its records: an image
// choice, a file, a yes/no question.
struct userChoice {
  enum class kind { image, file, question } what;
  const char* title;
};

struct commandDescriptor {
  const char* name;       // stable short name: what `tamble run` and the other hosts use
  const char* group;      // "MC", "Edit", "Transform", "Markers", "Tools", "B Convert"
  const char* label;      // the menu text, blanks and dots included
  const char* tooltip;
  const char* helpTopic;  // "<help file>::/html/<page>"
  availabilityTest enabled;
  std::vector<recordMaker> records;  // in the order the command shows them
  bool (*handler)(zel::imagesList&);
  std::vector<userChoice> asks = {};  // in the order it asks them
};

// One entry of the menus: a command, or (command null) a separator of `group`.
struct menuEntry {
  const commandDescriptor* command = nullptr;
  const char* group = nullptr;
};

// The plug-in hands over a function that lists its menu in order; it is
// called when a host asks, not while the library is being loaded.
using menuProvider = std::vector<menuEntry> (*)();
void registerMenu(menuProvider provider);
// The registered menu, or an empty one when no plug-in registered.
std::vector<menuEntry> registeredMenu();

}  // namespace tamble
