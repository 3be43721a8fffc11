// The parameter store: an ini file of "[section]" headers and "key=value"
// lines that keeps the settings of every dialog between sessions.
//
// The file is edited by hand now and then, so the store changes only the one
// line it sets: comments, blank lines, lines it does not understand and the
// order of everything stay as they were.
#pragma once

#include <string>
#include <vector>

namespace tamble {

// Where the store lives: $TAMBLE_STORE, else $XDG_CONFIG_HOME/tamble/store.ini
// (an absolute XDG_CONFIG_HOME only), else $HOME/.config/tamble/store.ini.
// Empty when none of them is known.
std::string defaultStorePath();

enum class storeLineKind { other, section, entry };

// One line of the file, without its line end.
struct storeLine {
  std::string text;  // as read, written back unchanged unless set() replaces it
  storeLineKind kind = storeLineKind::other;
  std::string section;  // a header's name; for an entry, the section it sits in
  std::string key;
  std::string value;
};

// One store file held in memory. Not synchronised: the process-wide store
// below is guarded by the free functions that use it.
class iniStore {
 public:
  // Reads the file. A missing file is an empty store; an unreadable one
  // (a folder, no permission) is logged and reads as empty, but set() then
  // refuses to overwrite it.
  explicit iniStore(std::string path);

  const std::string& path() const { return file; }
  // Reads the file again.
  void load();
  // The value of the first `key` in `section`, or `def`. Names compare exactly.
  std::string get(const std::string& section, const std::string& key, const std::string& def) const;
  // Reads the file again (keeping what another process wrote meanwhile),
  // changes or adds the one line and writes the whole file atomically,
  // creating its folders. A value with a line break, or a section or key that
  // would read back as something else, raises zel::FileError; so does a
  // failed write, which leaves both the file and this object unchanged.
  void set(const std::string& section, const std::string& key, const std::string& value);
  // Several keys of one section in one rewrite (or none, when all hold).
  void set(const std::string& section,
           const std::vector<std::pair<std::string, std::string>>& values);

 private:
  std::string file;
  std::vector<storeLine> lines;
  bool crlf = false;     // the file ends its lines with "\r\n"
  bool readable = true;  // false: the file is there but could not be read
};

// Points the process-wide store at another file (the command line's --store,
// tests) and reads it; an empty path goes back to defaultStorePath().
void useStore(const std::string& path);
// The file the process-wide store uses.
std::string storePath();

}  // namespace tamble
