// The one folder a workbench session may read and write: every path the page
// sends is relative to it and must stay inside it, symbolic links resolved.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace tamble::workbench {

// One row of a folder listing.
struct folderEntry {
  std::string name;  // relative to the session's folder, '/' between parts
  bool folder = false;
  std::uintmax_t size = 0;
};

class sessionFolder {
 public:
  // requestError when `root` is not an existing folder.
  explicit sessionFolder(const std::filesystem::path& root);

  const std::filesystem::path& root() const { return base; }

  // The absolute path of `relative`. Refused (requestError): an empty or
  // absolute path, a ".." part, and a path whose existing part leads out of
  // the folder through a symbolic link. `mustExist` also refuses a path to
  // nothing; a path to write needs an existing folder above it.
  std::filesystem::path resolve(const std::string& relative, bool mustExist) const;

  // The folders and files directly in `relative` ("" for the session's
  // folder), folders first, then by name; files only when their extension
  // (lower case, with the dot) is one of `extensions` or that list is
  // empty. Entries leading out of the folder are left out.
  std::vector<folderEntry> list(const std::string& relative,
                                const std::vector<std::string>& extensions) const;

  // `path` relative to the folder, or "" when it lies outside.
  std::string relativeName(const std::filesystem::path& path) const;

 private:
  bool inside(const std::filesystem::path& canonical) const;

  std::filesystem::path base;  // canonical
};

// The extensions of a file dialog's filter, "Images (*.tif;*.imp)|*.tif;*.imp||":
// ".tif", ".imp"; none for "*.*".
std::vector<std::string> filterExtensions(const std::string& filter);

}  // namespace tamble::workbench
