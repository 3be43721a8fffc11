#include "api/iniFile.h"

#include <cstdio>
#include <filesystem>
#include <system_error>

#include "api/errors.h"
#include "api/log.h"
#include "api/paths.h"

namespace zel {
namespace {

// A carriage return counts as a blank: a line of a file with "\n" ends can
// still end in "\r", and a rewrite must not change what it reads as.
constexpr const char* blanks = " \t\r";
using lineKind = zel_ini_file::lineKind;

std::string trimmed(const std::string& text, std::size_t from, std::size_t to) {
  const std::size_t first = text.find_first_not_of(blanks, from);
  if (first == std::string::npos || first >= to) return {};
  const std::size_t last = text.find_last_not_of(blanks, to - 1);
  return text.substr(first, std::min(last + 1 - first, zel_ini_file::maxText));
}

// `current` is the section the line sits in.
zel_ini_file::line parseLine(std::string text, const std::string& current) {
  zel_ini_file::line line{std::move(text), lineKind::other, current, {}, {}};
  const std::string& t = line.text;
  const std::size_t first = t.find_first_not_of(blanks);
  if (first == std::string::npos || t[first] == zel_ini_file::commentMark) return line;
  if (t[first] == zel_ini_file::sectionOpen) {
    const std::size_t close = t.find(zel_ini_file::sectionClose, first + 1);
    if (close == std::string::npos) return line;
    line.kind = lineKind::section;
    line.section = trimmed(t, first + 1, close);
    return line;
  }
  const std::size_t equals = t.find(zel_ini_file::keyDelimiter);
  if (equals == std::string::npos) return line;
  line.key = trimmed(t, 0, equals);
  if (line.key.empty()) return line;
  line.kind = lineKind::key;
  line.value = trimmed(t, equals + 1, t.size());
  return line;
}

// Reads the whole file; false if it cannot be read (a folder, no permission).
bool readLines(const std::string& name, std::vector<zel_ini_file::line>& lines, bool& crlf) {
  std::FILE* in = std::fopen(name.c_str(), "rb");
  if (!in) return false;
  std::string text;
  char buffer[65536];
  std::size_t got = 0;
  while ((got = std::fread(buffer, 1, sizeof buffer, in)) > 0) text.append(buffer, got);
  const bool ok = std::ferror(in) == 0;
  std::fclose(in);
  if (!ok) return false;
  std::string section;
  for (std::size_t start = 0; start < text.size();) {
    std::size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    std::string t = text.substr(start, end - start);
    const bool cr = !t.empty() && t.back() == '\r';
    if (cr) t.pop_back();
    if (lines.empty()) crlf = cr;
    lines.push_back(parseLine(std::move(t), section));
    if (lines.back().kind == lineKind::section) section = lines.back().section;
    start = end + 1;
  }
  return true;
}

bool writeLines(std::FILE* out, const std::vector<zel_ini_file::line>& lines, bool crlf) {
  const char* end = crlf ? "\r\n" : "\n";
  for (const zel_ini_file::line& line : lines) {
    if (std::fwrite(line.text.data(), 1, line.text.size(), out) != line.text.size()) return false;
    if (std::fputs(end, out) < 0) return false;
  }
  return true;
}

// After the last key of the section's first block, or right after its
// header: comments and blank lines that introduce the next section stay with it.
std::optional<std::size_t> insertionPoint(const std::vector<zel_ini_file::line>& lines,
                                          const std::string& section) {
  std::optional<std::size_t> at;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (lines[i].kind == lineKind::section) {
      if (at) break;
      if (lines[i].section == section) at = i + 1;
    } else if (at && lines[i].kind == lineKind::key) {
      at = i + 1;
    }
  }
  return at;
}

// A header or key line that would read back as something else (a line break,
// a key with "=" or blanks around it, a section with "]") is refused, so that
// one set() can never change other entries of the file.
void checkStorable(const std::string& section, const std::string& key, const std::string& value,
                   const zel_ini_file::line& entry) {
  const std::string header{zel_ini_file::sectionOpen + section + zel_ini_file::sectionClose};
  const bool same = parseLine(header, {}).section == section && entry.kind == lineKind::key &&
                    entry.key == key &&
                    (section + key + value).find_first_of("\r\n") == std::string::npos;
  if (!same) raise<AlgoError>("Name or value cannot be stored in an ini-file!");
}

}  // namespace

void zel_ini_file::open(const std::string& name, bool readOnly_) {
  if (name.empty()) raise<FileError>("File Name is empty!");
  file = name;
  readOnly = readOnly_;
  opened = false;
  crlf = false;
  list.clear();
  std::error_code ec;
  const auto status = std::filesystem::status(name, ec);
  if (status.type() == std::filesystem::file_type::not_found) {
    if (readOnly)
      raise<FileError>("File doesn't exist! Cannot create file because the mode is read-only!");
    if (!write_atomically(name, [](std::FILE*) { return true; }).empty())
      raise<FileError>("Can't open file for writing!");
  } else if (status.type() != std::filesystem::file_type::regular || !readLines(name, list, crlf)) {
    list.clear();
    raise<FileError>("Can't open file for reading!");
  }
  logSkippedLines();
  opened = true;
}

// Lines of no form (an unclosed "[", no "=", nothing before it) stay in the
// file untouched and are otherwise passed over: the log says where.
void zel_ini_file::logSkippedLines() const {
  for (std::size_t i = 0; i < list.size(); ++i) {
    const std::string& text = list[i].text;
    const std::size_t first = text.find_first_not_of(" \t\r");
    if (list[i].kind != lineKind::other || first == std::string::npos || text[first] == commentMark)
      continue;
    get_log().level(3).write(file + ":" + std::to_string(i + 1) +
                             ": skipped, neither a section, a key nor a comment");
  }
}

void zel_ini_file::checkNames(const std::string& section, const std::string& key) const {
  if (section.empty()) raise<AlgoError>("Section's name is empty!");
  if (key.empty()) raise<AlgoError>("Key's name is empty!");
  if (!opened) raise<AlgoError>("Ini-file wasn't opened!");
}

void zel_ini_file::checkWritable() const {
  if (readOnly) raise<AlgoError>("Data is read-only!");
}

std::optional<std::size_t> zel_ini_file::find(const std::string& section,
                                              const std::string& key) const {
  for (std::size_t i = 0; i < list.size(); ++i)
    if (list[i].kind == lineKind::key && list[i].section == section && list[i].key == key) return i;
  return std::nullopt;
}

std::optional<std::string> zel_ini_file::get(const std::string& section,
                                             const std::string& key) const {
  checkNames(section, key);
  if (const auto at = find(section, key)) return list[*at].value;
  return std::nullopt;
}

void zel_ini_file::set(const std::string& section, const std::string& key,
                       const std::string& value) {
  checkNames(section, key);
  checkWritable();
  line entry = parseLine(key + keyDelimiter + value, section);
  checkStorable(section, key, value, entry);
  if (const auto at = find(section, key)) {
    list[*at] = std::move(entry);
  } else if (const auto at = insertionPoint(list, section)) {
    list.insert(list.begin() + static_cast<std::ptrdiff_t>(*at), std::move(entry));
  } else {
    std::string header = sectionOpen + section + sectionClose;
    list.push_back(line{std::move(header), lineKind::section, section, {}, {}});
    list.push_back(std::move(entry));
  }
}

void zel_ini_file::remove(const std::string& section, const std::string& key) {
  checkNames(section, key);
  checkWritable();
  const auto at = find(section, key);
  if (!at) raise<AlgoError>("Cannot delete non-existent key!");
  list.erase(list.begin() + static_cast<std::ptrdiff_t>(*at));
}

void zel_ini_file::save() const {
  checkWritable();
  if (!opened) raise<AlgoError>("Ini-file wasn't opened!");
  const std::string why =
      write_atomically(file, [this](std::FILE* out) { return writeLines(out, list, crlf); });
  if (!why.empty()) raise<FileError>("Can't open file for writing!");
}

std::string ini_read(const std::string& file, const std::string& section, const std::string& key,
                     const std::string& def) {
  try {
    zel_ini_file ini;
    ini.open(file, true);
    return ini.get(section, key).value_or(def);
  } catch (const GenericError&) {
    return {};
  }
}

bool ini_write(const std::string& file, const std::string& section, const std::string& key,
               const std::string& value) {
  try {
    zel_ini_file ini;
    ini.open(file, false);
    ini.set(section, key, value);
    ini.save();
    return true;
  } catch (const GenericError&) {
    return false;
  }
}

}  // namespace zel
