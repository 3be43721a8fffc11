// The project library's dialogs: what asks a person for a project or a list
// of files, and the reading of a project that shows its notices to them.
// The rest of the project library (host/project.h) has no user interface.
#pragma once

#include <string>
#include <vector>

// read_vur_data of host/project.h with its notice shown through the HostUi
// (a message, not a question).
void read_vur_data(const std::string& path, bool interactive);

// The project dialog: asks for a .vur file through the HostUi's file choice
// and reads it as chosen by a person. False on Cancel; errors of the file
// pass out as read_vur_data raises them.
bool api_open_vur_project(int mode);

// The host's dialog for a list of files ("Automatic Convert List...").
class dlgFilesList {
 public:
  // Offers files ending in "." + extension (given with or without the dot).
  void add_ext(const std::string& extension);
  // Asks through the HostUi's choice of files; false on Cancel or an empty
  // choice. The files stay in the order chosen.
  bool DoModal();
  const std::vector<std::string>& files() const { return chosen; }

 private:
  std::vector<std::string> extensions;
  std::vector<std::string> chosen;
};
