#include "api/markerFiles.h"

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <locale>
#include <sstream>
#include <system_error>
#include <vector>
#include <xercesc/dom/DOMNode.hpp>

#include "api/errors.h"
#include "api/ioDOM.h"
#include "api/log.h"
#include "api/paths.h"

namespace zel {
namespace {

// The whole text must be the number (a leading "+" allowed); otherwise the
// caller's value stays.
template <class T>
bool parseWhole(const std::string& text, T& value) {
  const char* first = text.data();
  const char* last = first + text.size();
  if (first != last && *first == '+' && last - first > 1 && first[1] != '-') ++first;
  T parsed{};
  const auto result = std::from_chars(first, last, parsed);
  if (result.ec != std::errc() || result.ptr != last) return false;
  value = parsed;
  return true;
}

void writeOrRaise(const std::string& path, const std::string& text) {
  const std::string why = write_atomically(path, [&](std::FILE* out) {
    return std::fwrite(text.data(), 1, text.size(), out) == text.size();
  });
  if (why.empty()) return;
  get_log().level(2).write(path + ": cannot write: " + why);
  raise<FileError>();
}

// Regular files only: a folder reads as nothing and a pipe might never end.
std::ifstream openOrRaise(const std::string& path) {
  std::error_code ec;
  std::ifstream in;
  if (std::filesystem::is_regular_file(path, ec)) in.open(path, std::ios::binary);
  if (!in.is_open()) raise<FileError>();
  in.imbue(std::locale::classic());
  return in;
}

std::ostringstream numberStream() {
  std::ostringstream out;
  out.imbue(std::locale::classic());
  return out;
}

// Opening tag, all values on one line, closing tag.
template <class Value>
void writeBlock(std::ostream& out, const std::string& tag, const markersArray& markers,
                Value value) {
  out << "    " << tag << "\n    ";
  for (const marker& m : markers.items) out << "    " << value(m);
  out << "\n    </Function>\n";
}

// The count from "NodesNumber": 0 when it does not parse. A count above the
// file's size cannot be real and would only make the array huge.
int markerCount(const std::string& text, const std::string& path) {
  std::vector<std::string> words;
  ioDOM::splitWords(text, words);
  int count = 0;
  if (words.size() == 1) parseWhole(words.front(), count);
  std::error_code ec;
  const auto size = std::filesystem::file_size(path, ec);
  if (count > 0 && (ec || static_cast<std::uintmax_t>(count) > size)) {
    get_log().level(2).write(path + ": more markers than bytes in the file");
    raise<FileError>();
  }
  return count;
}

// The values of block `id` go to `member` when their number is the count.
void readCoordinates(const xercesc::DOMNode* root, const std::string& id, markersArray& markers,
                     double marker::*member) {
  std::vector<std::string> words;
  ioDOM::valuesOf(root, "Function", id, words);
  if (words.size() != markers.items.size()) return;
  for (std::size_t i = 0; i < words.size(); ++i) parseWhole(words[i], markers.items[i].*member);
}

// The first "Function" element whose id is "f" in any case.
const xercesc::DOMNode* functionBlock(const xercesc::DOMNode* root) {
  for (const xercesc::DOMNode* child = root ? root->getFirstChild() : nullptr; child;
       child = child->getNextSibling())
    if (child->getNodeType() == xercesc::DOMNode::ELEMENT_NODE &&
        lower(ioDOM::nameOf(child)) == "function" && lower(ioDOM::attributeOf(child, "id")) == "f")
      return child;
  return nullptr;
}

void readFunction(const xercesc::DOMNode* root, markersArray& markers) {
  const xercesc::DOMNode* block = functionBlock(root);
  if (!block) return;
  static const char* const known[][2] = {
      {"irefe_isens", "Irefe_Isens"}, {"pressure", "Pressure"}, {"t", "T"},
      {"p_pstat", "P_Pstat"},         {"p_to_pst", "P_Pstat"},  {"cp", "Cp"}};
  const std::string name = lower(ioDOM::attributeOf(block, "name"));
  for (const auto& k : known)
    if (name == k[0]) markers.functionName = k[1];
  std::vector<std::string> words;
  ioDOM::splitWords(ioDOM::textOf(block), words);
  if (words.size() != markers.items.size()) return;
  for (std::size_t i = 0; i < words.size(); ++i) parseWhole(words[i], markers.items[i].f);
}

// A value that is not a whole number leaves the marker inactive; a block of
// the wrong length (or none) makes every marker active.
void readActive(const xercesc::DOMNode* root, markersArray& markers) {
  std::vector<std::string> words;
  ioDOM::valuesOf(root, "Function", "active", words);
  if (words.size() != markers.items.size()) {
    for (marker& m : markers.items) m.active = true;
    return;
  }
  for (std::size_t i = 0; i < words.size(); ++i) {
    int flag = 0;
    if (parseWhole(words[i], flag)) markers.items[i].active = flag != 0;
  }
}

void readIds(const xercesc::DOMNode* root, markersArray& markers) {
  std::vector<std::string> words;
  ioDOM::valuesOf(root, "Function", "id", words);
  if (words.size() != markers.items.size()) return;
  for (std::size_t i = 0; i < words.size(); ++i) parseWhole(words[i], markers.items[i].id);
}

}  // namespace

void write_mrk(const std::string& file, const markersArray& markers) {
  if (file.empty()) return;
  const std::string path = resolve_path(file);
  if (markers.count() == 0) return;
  std::ostringstream out = numberStream();
  out << "<?xml version=\"1.0\"?>\n<!--" << time_stamp() << "-->\n<ObjectMarkers>\n";
  out << "    <NodesNumber>" << markers.count() << "</NodesNumber>\n";
  // The unit's line has always been written so, not the unit and with the
  // slash before the bracket; a file with it is not well-formed XML.
  if (!markers.lengthUnit.empty()) out << "    <LengthUnit>0/<LengthUnit>\n";
  if (markers.hasX) writeBlock(out, "<Function id=\"x\">", markers, [](auto& m) { return m.x; });
  if (markers.hasY) writeBlock(out, "<Function id=\"y\">", markers, [](auto& m) { return m.y; });
  if (markers.hasZ) writeBlock(out, "<Function id=\"z\">", markers, [](auto& m) { return m.z; });
  if (markers.hasF)
    writeBlock(out, "<Function id=\"f\" name=\"" + markers.functionName + "\">", markers,
               [](auto& m) { return m.f; });
  writeBlock(out, "<Function id=\"active\">", markers, [](auto& m) { return m.active ? 1 : 0; });
  writeBlock(out, "<Function id=\"id\">", markers, [](auto& m) { return m.id; });
  out << "</ObjectMarkers>\n";
  writeOrRaise(path, out.str());
}

void read_mrk(const std::string& file, markersArray& markers) {
  if (file.empty()) return;
  const std::string path = resolve_path(file);
  markers.name = path;
  if (!file_exists(path)) return;
  ioDOM dom;
  xercesc::DOMNode* root = nullptr;
  dom.open(path, "ObjectMarkers", root);
  markers.resize(markerCount(ioDOM::childText(root, "NodesNumber"), path));
  markers.lengthUnit = ioDOM::childText(root, "LengthUnit");
  readCoordinates(root, "x", markers, &marker::x);
  readCoordinates(root, "y", markers, &marker::y);
  readCoordinates(root, "z", markers, &marker::z);
  readFunction(root, markers);
  readActive(root, markers);
  readIds(root, markers);
}

void write_mpt(const std::string& file, const markersArray& markers) {
  if (file.empty()) return;
  const std::string path = resolve_path(file);
  if (markers.count() == 0) return;
  std::ostringstream out = numberStream();
  for (const marker& m : markers.items)
    out << m.x << "  " << m.y << "  0  0  " << (m.active ? 1 : 0) << "\n";
  writeOrRaise(path, out.str());
}

void read_mpt(const std::string& file, markersArray& markers) {
  if (file.empty()) return;
  std::ifstream in = openOrRaise(resolve_path(file));
  std::vector<marker> items;
  double x = 0.0, y = 0.0, z = 0.0;
  while (in >> x >> y >> z)
    items.push_back(marker{x, y, z, 0.0, true, static_cast<int>(items.size()) + 1});
  markers.items = std::move(items);
  markers.functionName.clear();
  markers.hasX = markers.hasY = markers.hasZ = true;
  markers.hasF = false;
}

void read_inm(const std::string& file, markersArray& markers, int height) {
  if (file.empty()) return;
  const std::string path = resolve_path(file);
  std::ifstream in = openOrRaise(path);
  const bool upward = extension(path) == "inm";
  std::vector<marker> items;
  double x = 0.0, y = 0.0;
  int dropped1 = 0, dropped2 = 0, active = 0;
  while (in >> x >> y >> dropped1 >> dropped2 >> active) {
    if (upward) y = static_cast<double>(height) - y - 1.0;
    items.push_back(marker{x, y, 0.0, 0.0, active != 0, static_cast<int>(items.size()) + 1});
  }
  markers.items = std::move(items);
  markers.functionName.clear();
  markers.hasX = markers.hasY = true;
  markers.hasZ = markers.hasF = false;
}

void save_markers(const std::string& file, const markersArray& markers) {
  if (file.empty()) return;
  try {
    const std::string kind = extension(file);
    if (kind == "mpt")
      write_mpt(file, markers);
    else if (kind == "mrk")
      write_mrk(file, markers);
  } catch (...) {
    get_log().level(2).write("Markers not written to " + file);
    raise<FileError>();
  }
}

void load_markers(const std::string& file, markersArray& markers, int height) {
  if (file.empty()) return;
  try {
    const std::string kind = extension(file);
    if (kind == "mpt")
      read_mpt(file, markers);
    else if (kind == "inm" || kind == "apm")
      read_inm(file, markers, height);
    else if (kind == "mrk")
      read_mrk(file, markers);
  } catch (...) {
    get_log().level(2).write("Markers not read from " + file);
    raise<FileError>();
  }
}

}  // namespace zel
