#include "host/store.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <system_error>
#include <utility>

#include "api/errors.h"
#include "api/log.h"
#include "host/atomicFile.h"
#include "host/platform.h"

namespace fs = std::filesystem;

namespace tamble {
namespace {

constexpr const char* blanks = " \t";

std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

// `text` is the line without its line end; `current` the section it sits in.
// A header stands alone on its line (blanks around it allowed); an entry's key
// is everything before the first "=" and its value everything after it.
storeLine parseLine(std::string text, const std::string& current) {
  storeLine line{std::move(text), storeLineKind::other, current, {}, {}};
  const std::string& t = line.text;
  const auto first = t.find_first_not_of(blanks);
  if (first == std::string::npos || t[first] == ';' || t[first] == '#') return line;
  if (t[first] == '[') {
    const auto last = t.find_last_not_of(blanks);
    if (last == first || t[last] != ']') return line;
    line.kind = storeLineKind::section;
    line.section = t.substr(first + 1, last - first - 1);
    return line;
  }
  const auto equals = t.find('=');
  if (equals == std::string::npos || equals == 0) return line;
  line.kind = storeLineKind::entry;
  line.key = t.substr(0, equals);
  line.value = t.substr(equals + 1);
  return line;
}

// Splits the file into lines; `crlf` tells whether its first line ended in "\r\n".
std::vector<storeLine> splitLines(const std::string& text, bool& crlf) {
  std::vector<storeLine> lines;
  std::string section;
  crlf = false;
  for (std::size_t start = 0; start < text.size();) {
    std::size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    std::string line = text.substr(start, end - start);
    const bool cr = !line.empty() && line.back() == '\r';
    if (cr) line.pop_back();
    if (lines.empty()) crlf = cr;
    lines.push_back(parseLine(std::move(line), section));
    if (lines.back().kind == storeLineKind::section) section = lines.back().section;
    start = end + 1;
  }
  return lines;
}

// False when the file is there but cannot be read. A missing file reads as
// empty; anything but a regular file (a folder, a device) is unreadable, so
// that a wrong path never makes the store read forever or overwrite it.
bool readWhole(const std::string& path, std::string& text) {
  text.clear();
  if (path.empty()) return true;
  std::error_code ec;
  const fs::file_status status = fs::status(path, ec);
  if (status.type() == fs::file_type::not_found) return true;
  if (ec || status.type() != fs::file_type::regular) return false;
  std::FILE* in = std::fopen(path.c_str(), "rb");
  if (!in) return false;
  char buffer[65536];
  std::size_t got = 0;
  while ((got = std::fread(buffer, 1, sizeof buffer, in)) > 0) text.append(buffer, got);
  const bool ok = std::ferror(in) == 0;
  std::fclose(in);
  return ok;
}

std::optional<std::size_t> findEntry(const std::vector<storeLine>& lines,
                                     const std::string& section, const std::string& key) {
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const storeLine& line = lines[i];
    if (line.kind == storeLineKind::entry && line.section == section && line.key == key) return i;
  }
  return std::nullopt;
}

// Where a new key of `section` goes: after the last entry of the section's
// first block, or right after its header, so that comments and blank lines
// that introduce the next section stay with it. The lines before the first
// header form the section "".
std::optional<std::size_t> insertionPoint(const std::vector<storeLine>& lines,
                                          const std::string& section) {
  std::optional<std::size_t> at;
  if (section.empty()) at = 0;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const storeLine& line = lines[i];
    if (line.kind == storeLineKind::section) {
      if (at) break;
      if (line.section == section) at = i + 1;
    } else if (at && line.kind == storeLineKind::entry) {
      at = i + 1;
    }
  }
  return at;
}

bool isBlank(const storeLine& line) {
  return line.text.find_first_not_of(blanks) == std::string::npos;
}

void put(std::vector<storeLine>& lines, const std::string& section, const std::string& key,
         const std::string& value) {
  storeLine entry = parseLine(key + "=" + value, section);
  if (const auto at = findEntry(lines, section, key)) {
    lines[*at] = std::move(entry);
  } else if (const auto at = insertionPoint(lines, section)) {
    lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(*at), std::move(entry));
  } else {
    if (!lines.empty() && !isBlank(lines.back())) lines.push_back(parseLine("", section));
    lines.push_back(parseLine("[" + section + "]", section));
    lines.push_back(std::move(entry));
  }
}

// Refuses what would not read back as written: a line break anywhere, a key
// that is empty, holds "=" or looks like a comment or a header.
void requireStorable(const std::string& section, const std::string& key, const std::string& value) {
  const std::string where = "[" + section + "] " + key;
  if ((section + key + value).find_first_of("\r\n") != std::string::npos)
    zel::raise<zel::FileError>("Cannot store a line break in the parameter " + where);
  const storeLine header = parseLine("[" + section + "]", {});
  const storeLine entry = parseLine(key + "=" + value, section);
  const bool same = header.kind == storeLineKind::section && header.section == section &&
                    entry.kind == storeLineKind::entry && entry.key == key && entry.value == value;
  if (!same) zel::raise<zel::FileError>("Cannot store the parameter " + where + ": bad name");
}

// A store reached through a symbolic link (kept with other dotfiles) is
// written where the link points, so the link survives the rename.
std::string writeTarget(const std::string& path) {
  std::error_code ec;
  if (!fs::is_symlink(path, ec)) return path;
  const fs::path target = fs::canonical(path, ec);
  return ec ? path : target.string();
}

void makeFolderFor(const std::string& path) {
  const fs::path folder = fs::path(path).parent_path();
  std::error_code ec;
  if (folder.empty() || fs::is_directory(folder, ec)) return;
  fs::create_directories(folder, ec);
  if (ec)
    zel::raise<zel::FileError>("Cannot create the folder " + folder.string() + ": " + ec.message());
}

bool writeLines(std::FILE* out, const std::vector<storeLine>& lines, bool crlf) {
  const char* end = crlf ? "\r\n" : "\n";
  for (const storeLine& line : lines) {
    if (std::fwrite(line.text.data(), 1, line.text.size(), out) != line.text.size()) return false;
    if (std::fputs(end, out) < 0) return false;
  }
  return true;
}

}  // namespace

std::string defaultStorePath() {
  if (std::string given = environment("TAMBLE_STORE"); !given.empty()) return given;
  const fs::path config = environment("XDG_CONFIG_HOME");
  if (config.is_absolute()) return (config / "tamble" / "store.ini").string();
  const std::string home = environment("HOME");
  if (home.empty()) return {};
  return (fs::path(home) / ".config" / "tamble" / "store.ini").string();
}

iniStore::iniStore(std::string path) : file(std::move(path)) { load(); }

void iniStore::load() {
  std::string text;
  readable = readWhole(file, text);
  if (!readable) zel::get_log().level(2).write("Cannot read the parameter store ").write(file);
  lines = splitLines(text, crlf);
  // Lines of no form stay as they are and are passed over: the log says where.
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const std::string& t = lines[i].text;
    const auto first = t.find_first_not_of(blanks);
    if (lines[i].kind != storeLineKind::other || first == std::string::npos || t[first] == ';' ||
        t[first] == '#')
      continue;
    zel::get_log().level(3).write(file + ":" + std::to_string(i + 1) +
                                  ": skipped, neither a section, a key nor a comment");
  }
}

std::string iniStore::get(const std::string& section, const std::string& key,
                          const std::string& def) const {
  const auto at = findEntry(lines, section, key);
  return at ? lines[*at].value : def;
}

void iniStore::set(const std::string& section, const std::string& key, const std::string& value) {
  set(section, {{key, value}});
}

void iniStore::set(const std::string& section,
                   const std::vector<std::pair<std::string, std::string>>& values) {
  for (const auto& [key, value] : values) requireStorable(section, key, value);
  if (file.empty())
    zel::raise<zel::FileError>("No place for the parameter store: set TAMBLE_STORE or HOME");
  load();
  if (!readable)
    zel::raise<zel::FileError>("Cannot read the parameter store " + file + "; it is left as it is");
  std::vector<storeLine> next = lines;
  bool changed = false;
  for (const auto& [key, value] : values) {
    const auto held = findEntry(next, section, key);
    if (held && next[*held].value == value) continue;
    put(next, section, key, value);
    changed = true;
  }
  if (!changed) return;
  const std::string target = writeTarget(file);
  makeFolderFor(target);
  writeAtomically(target, [&](std::FILE* out) { return writeLines(out, next, crlf); });
  lines = std::move(next);
}

namespace {

std::mutex processGuard;
std::unique_ptr<iniStore> processStore;  // made on first use

iniStore& theStore() {
  if (!processStore) processStore = std::make_unique<iniStore>(defaultStorePath());
  return *processStore;
}

}  // namespace

void useStore(const std::string& path) {
  auto next = std::make_unique<iniStore>(path.empty() ? defaultStorePath() : path);
  std::lock_guard lock(processGuard);
  processStore = std::move(next);
}

std::string storePath() {
  std::lock_guard lock(processGuard);
  return theStore().path();
}

}  // namespace tamble

std::string reg_get_string(const std::string& section, const std::string& key,
                           const std::string& def) {
  std::lock_guard lock(tamble::processGuard);
  return tamble::theStore().get(section, key, def);
}

void reg_set_string(const std::string& section, const std::string& key, const std::string& value) {
  std::lock_guard lock(tamble::processGuard);
  tamble::theStore().set(section, key, value);
}

void reg_set_strings(const std::string& section,
                     const std::vector<std::pair<std::string, std::string>>& values) {
  std::lock_guard lock(tamble::processGuard);
  tamble::theStore().set(section, values);
}
