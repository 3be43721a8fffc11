#include "apps/workbench/sessionFolder.h"

#include <algorithm>
#include <cctype>
#include <system_error>

#include "apps/workbench/requestError.h"

namespace tamble::workbench {
namespace fs = std::filesystem;

namespace {

std::string lowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

// The deepest existing ancestor of `path`, resolved, with the rest appended:
// links among the parts that exist are followed, so that one pointing out of
// the folder is seen.
fs::path resolvedAsFarAsItExists(const fs::path& path) {
  std::error_code error;
  fs::path result = fs::weakly_canonical(path, error);
  if (error) throw requestError("cannot resolve '" + path.string() + "': " + error.message());
  return result;
}

}  // namespace

sessionFolder::sessionFolder(const fs::path& root) {
  std::error_code error;
  base = fs::canonical(root, error);
  if (error || !fs::is_directory(base))
    throw requestError("'" + root.string() + "' is not a folder");
}

bool sessionFolder::inside(const fs::path& canonical) const {
  const auto [end, rest] = std::mismatch(base.begin(), base.end(), canonical.begin(), canonical.end());
  return end == base.end();
}

fs::path sessionFolder::resolve(const std::string& relative, bool mustExist) const {
  if (relative.empty()) throw requestError("no file name given");
  if (relative.find('\0') != std::string::npos) throw requestError("a file name holds a NUL");
  const fs::path given(relative);
  if (given.is_absolute() || given.has_root_name() || given.has_root_directory())
    throw requestError("'" + relative + "': give a path inside the session's folder, not an absolute one");
  for (const fs::path& part : given)
    if (part == "..") throw requestError("'" + relative + "': '..' may not lead out of the session's folder");
  const fs::path full = resolvedAsFarAsItExists(base / given);
  if (!inside(full))
    throw requestError("'" + relative + "' leads out of the session's folder");
  std::error_code error;
  if (mustExist && !fs::exists(full, error))
    throw requestError("'" + relative + "' does not exist", 404);
  if (!mustExist && !fs::is_directory(full.parent_path(), error))
    throw requestError("'" + relative + "': its folder does not exist", 404);
  return full;
}

std::vector<folderEntry> sessionFolder::list(const std::string& relative,
                                             const std::vector<std::string>& extensions) const {
  const fs::path folder = relative.empty() ? base : resolve(relative, true);
  if (!fs::is_directory(folder)) throw requestError("'" + relative + "' is not a folder");
  std::vector<folderEntry> out;
  std::error_code error;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder, error)) {
    const fs::path target = fs::weakly_canonical(entry.path(), error);
    if (error || !inside(target)) continue;
    folderEntry row;
    row.folder = fs::is_directory(target, error);
    row.name = relativeName(entry.path());
    if (!row.folder) {
      const std::string extension = lowerCase(entry.path().extension().string());
      if (!extensions.empty() &&
          std::find(extensions.begin(), extensions.end(), extension) == extensions.end())
        continue;
      row.size = fs::file_size(target, error);
    }
    out.push_back(row);
  }
  std::sort(out.begin(), out.end(), [](const folderEntry& a, const folderEntry& b) {
    return a.folder != b.folder ? a.folder : a.name < b.name;
  });
  return out;
}

std::string sessionFolder::relativeName(const fs::path& path) const {
  const fs::path lexical = path.lexically_normal();
  if (!inside(lexical)) return {};
  return lexical.lexically_relative(base).generic_string();
}

std::vector<std::string> filterExtensions(const std::string& filter) {
  // The part after the first '|' lists the patterns, ';' between them.
  const std::size_t bar = filter.find('|');
  const std::string patterns = bar == std::string::npos ? filter : filter.substr(bar + 1);
  std::vector<std::string> out;
  std::size_t at = 0;
  while ((at = patterns.find("*.", at)) != std::string::npos) {
    std::size_t end = at + 2;
    while (end < patterns.size() && std::isalnum(static_cast<unsigned char>(patterns[end]))) ++end;
    const std::string extension = lowerCase(patterns.substr(at + 1, end - at - 1));
    if (extension.size() > 1 && std::find(out.begin(), out.end(), extension) == out.end())
      out.push_back(extension);
    at = end;
  }
  return out;
}

}  // namespace tamble::workbench
