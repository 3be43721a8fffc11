// The command line's answer to everything a command asks a person: notices
// and questions are printed, the parameter dialog takes the step's
// key=value words, image and file choices take --image and --file in order,
// and yes/no questions take --answer in order.
#pragma once

#include <deque>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "host/hostUi.h"

namespace tamble::cli {

class inputFiles;

// What a question nobody answered gets.
enum class unansweredPolicy { error, yes, no };

// The answers one `run` step gives.
struct runAnswers {
  std::vector<std::pair<std::string, std::string>> params;  // key, value text
  std::deque<std::string> images;
  std::deque<std::string> files;
  std::deque<bool> answers;
};

class cliUi : public HostUi {
 public:
  explicit cliUi(inputFiles& files) : inputs(files) {}

  unansweredPolicy policy = unansweredPolicy::error;
  // When set, sees each notice first; a notice it answers true for is taken
  // by it and not printed.
  std::function<bool(const std::string&)> noticeTaker;
  // The records the dialogs of the present step closed with, as described.
  std::vector<std::pair<std::string, std::string>> shownDialogs;  // title, values
  // Where what the user is told goes: by default printed on standard output
  // as "<kind>: <text>"; a host without a terminal (the Python package)
  // collects it instead. Kinds: notice, question, answer, report, note.
  std::function<void(const std::string& kind, const std::string& text)> say;
  // How the user gives an answer of a kind ("image", "file", "answer") with a
  // value, in the messages that ask for one or find one unused: the command
  // line's options ("--image NAME") unless the host says otherwise.
  std::function<std::string(const std::string& kind, const std::string& value)> answerWord =
      [](const std::string& kind, const std::string& value) { return "--" + kind + " " + value; };
  // Tells `text` through `say`, or prints it.
  void tell(const std::string& kind, const std::string& text);

  // Hands over the answers of a step before its command runs.
  void startRun(runAnswers given);
  // After the command: answers it did not use are an error (a script that
  // expected another course of the command should not go on).
  void finishRun(const std::string& label);

  // A notice that repeats the one before it is counted, not printed: the run
  // shows as one line, "<notice> (N times)", when anything else comes.
  bool message(const std::string& text, bool ask, bool error) override;
  // Prints the notice held back for its repeats, if any.
  void flushNotices();
  bool editRecord(paramRecord& record) override;
  int chooseImage(const std::string& title, const std::vector<std::string>& entries,
                  int current) override;
  std::string chooseFile(const std::string& title, const std::string& filter, bool save,
                         const std::string& proposed) override;
  std::vector<std::string> chooseFiles(const std::string& title,
                                       const std::string& filter) override;
  // On a terminal only, and never when `say` collects what is told.
  void progress(const std::string& what, int percent) override;
  // Nothing to show on a command line.
  void waitCursor(bool) override {}

 private:
  std::string takeFile(const std::string& title, bool save);

  inputFiles& inputs;
  runAnswers pending;
  int dialogs = 0;  // parameter dialogs shown during the present step
  std::string heldNotice;
  long heldCount = 0;
};

// The name part of an image choice's entry, "name  -  file.ext".
std::string entryName(const std::string& entry);

}  // namespace tamble::cli
