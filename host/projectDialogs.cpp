#include "host/projectDialogs.h"

#include <algorithm>
#include <utility>

#include "host/hostUi.h"
#include "host/interaction.h"
#include "host/project.h"

namespace {

constexpr const char* projectFilter = "Tamble project (*.vur)|*.vur||";

void showNotice(const std::string& text) { message(text, false); }

}  // namespace

void read_vur_data(const std::string& path, bool interactive) {
  read_vur_data(path, interactive, showNotice);
}

bool api_open_vur_project(int /*mode: always -1*/) {
  const std::string file = tamble::hostUi().chooseFile("Open Project", projectFilter, false);
  if (file.empty()) return false;
  read_vur_data(file, true);
  return true;
}

void dlgFilesList::add_ext(const std::string& extension) {
  const std::string ext =
      !extension.empty() && extension.front() == '.' ? extension.substr(1) : extension;
  if (!ext.empty() && std::find(extensions.begin(), extensions.end(), ext) == extensions.end())
    extensions.push_back(ext);
}

bool dlgFilesList::DoModal() {
  std::string patterns;
  for (const std::string& ext : extensions) patterns += (patterns.empty() ? "*." : ";*.") + ext;
  if (patterns.empty()) patterns = "*.*";
  const std::string filter = "Files (" + patterns + ")|" + patterns + "||";
  chosen.clear();
  for (std::string& file : tamble::hostUi().chooseFiles("Choose Files", filter))
    if (!file.empty()) chosen.push_back(std::move(file));
  return !chosen.empty();
}
