// Ini files: the text files of camera data and coefficients.
//
// A section line holds its name between "[" and "]"; a key line holds the
// key, "=" and the value; a line whose first non-blank character is ";" is a
// comment. Blanks (spaces, tabs, carriage returns) around names and values
// are dropped, and a name or value is cut at 1023 characters. The file is
// kept as a list of lines in file order: a rewrite changes only the lines
// that were set or removed, and every other line (comments, blank lines,
// lines of no known form) stays as it was.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace zel {

class zel_ini_file {
 public:
  static constexpr char sectionOpen = '[';
  static constexpr char sectionClose = ']';
  static constexpr char keyDelimiter = '=';
  static constexpr char commentMark = ';';
  static constexpr std::size_t maxText = 1023;

  enum class lineKind { other, section, key };

  struct line {
    std::string text;  // as read; written back unchanged unless set() replaces it
    lineKind kind = lineKind::other;
    std::string section;  // a header's name; for a key line, the section it sits in
    std::string key;
    std::string value;
  };

  // Reads the file into the list of lines. A missing file is created empty
  // unless `readOnly`. zel::FileError: "File Name is empty!", "File doesn't
  // exist! Cannot create file because the mode is read-only!", "Can't open
  // file for reading!", "Can't open file for writing!" (creating it).
  void open(const std::string& name, bool readOnly);
  // The value of the first `key` in `section`; nothing if there is none.
  std::optional<std::string> get(const std::string& section, const std::string& key) const;
  // Changes the first `key` in `section`, or adds it after the last key of
  // the section's first block, or adds the section at the end of the file.
  void set(const std::string& section, const std::string& key, const std::string& value);
  void remove(const std::string& section, const std::string& key);
  // Writes all lines back, atomically, with the line ends the file had.
  void save() const;

  const std::string& fileName() const { return file; }
  bool isOpened() const { return opened; }
  bool isReadOnly() const { return readOnly; }
  const std::vector<line>& lines() const { return list; }

 private:
  void logSkippedLines() const;
  void checkNames(const std::string& section, const std::string& key) const;
  void checkWritable() const;
  std::optional<std::size_t> find(const std::string& section, const std::string& key) const;

  std::string file;
  bool readOnly = false;
  bool opened = false;
  bool crlf = false;  // the first line ended in "\r\n"
  std::vector<line> list;
};

// The value as text: opens read-only, reads, closes. A key that is absent
// answers `def`; any zel::GenericError (a missing file among them) answers
// the empty text, not `def`.
std::string ini_read(const std::string& file, const std::string& section, const std::string& key,
                     const std::string& def);
// Reads the file if it exists, sets the key and writes the whole file back.
// True on success; any zel::GenericError is swallowed and answers false.
bool ini_write(const std::string& file, const std::string& section, const std::string& key,
               const std::string& value);

}  // namespace zel
