// Everything that needs a person goes through this interface. Each
// application installs its own: the command-line host answers from its
// arguments and scripts, a graphical host would show dialogs.
#pragma once

#include <string>
#include <vector>

namespace tamble {

class paramRecord;

class HostUi {
 public:
  virtual ~HostUi() = default;

  // A notice (ask false) or a yes/no question (ask true, the answer is the
  // result). `error` marks an error notice.
  virtual bool message(const std::string& text, bool ask, bool error) = 0;
  // The parameter dialog: fills the record's values; false means Cancel.
  virtual bool editRecord(paramRecord& record) = 0;
  // Picks one of `entries` (the image choice); -1 means Cancel.
  virtual int chooseImage(const std::string& title, const std::vector<std::string>& entries,
                          int current) = 0;
  // A file to open (save false) or to write; empty means Cancel. `filter` is
  // in the "Description (*.ext)|*.ext||" form; `proposed`, when not empty, is
  // the name the dialog starts with.
  virtual std::string chooseFile(const std::string& title, const std::string& filter, bool save,
                                 const std::string& proposed = {}) = 0;
  virtual std::vector<std::string> chooseFiles(const std::string& title,
                                               const std::string& filter) = 0;
  virtual void progress(const std::string& /*what*/, int /*percent*/) {}
  virtual void waitCursor(bool /*on*/) {}
  // The list of images changed in ways the host should show (names, flags).
  virtual void refreshList() {}
};

// The installed interface. Until an application installs one, a quiet
// default answers every question with No and every choice with Cancel.
HostUi& hostUi();
void setHostUi(HostUi* ui);

}  // namespace tamble
