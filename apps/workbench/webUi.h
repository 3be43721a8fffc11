// The workbench's answer to everything a command asks a person. The command
// runs on a worker thread; each question, parameter dialog, image or file
// choice becomes the one pending interaction, which the page sees when it
// polls the state, and the worker waits until the page answers it. Notices
// do not wait: they queue up and the page shows them one after another.
#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "apps/workbench/sessionFolder.h"
#include "host/hostUi.h"

namespace tamble::cli {
class inputFiles;
}

namespace tamble::workbench {

using json = nlohmann::json;

class webUi : public HostUi {
 public:
  // Files chosen to read become the session's inputs, which no command
  // writes over, as on the command line.
  webUi(const sessionFolder& folder, cli::inputFiles& inputs) : folder(folder), inputs(inputs) {}

  // ---- the worker's side (HostUi) ----
  bool message(const std::string& text, bool ask, bool error) override;
  bool editRecord(paramRecord& record) override;
  int chooseImage(const std::string& title, const std::vector<std::string>& entries,
                  int current) override;
  std::string chooseFile(const std::string& title, const std::string& filter, bool save,
                         const std::string& proposed) override;
  std::vector<std::string> chooseFiles(const std::string& title,
                                       const std::string& filter) override;
  void progress(const std::string& what, int percent) override;
  void waitCursor(bool on) override;

  // A notice of the host's own (a command's error, what a step did).
  void notice(const std::string& text, bool error);
  // Between commands: the progress bar and wait cursor are cleared.
  void resetProgress();

  // ---- the page's side (HTTP handlers) ----
  // The pending interaction (or null), the notices after serial `since`,
  // the progress and the wait cursor.
  json state(long since);
  // Answers pending interaction `id`. A refused answer (a value out of
  // range, the dialog's own check, a file outside the folder) throws a
  // requestError and the interaction stays open.
  void answer(long id, const json& reply);
  // A dialog's field changed: the record takes the value, keeps its
  // dependent fields in step, and is described again.
  json edit(long id, const std::string& key, const std::string& text);
  // Ends every wait with Cancel: the server is stopping.
  void cancelAll();

 private:
  struct pendingInteraction {
    long id = 0;
    std::string kind;  // question, record, image, file, files
    json payload;
    paramRecord* record = nullptr;
    bool save = false;  // a file to write
    std::optional<json> reply;
  };

  // Shows `kind` to the page and waits for its answer; nothing once the
  // server stops.
  std::optional<json> ask(const std::string& kind, json payload, paramRecord* record = nullptr,
                          bool save = false);
  pendingInteraction& pendingWith(long id);
  std::string pathAnswer(const json& reply, bool save);

  const sessionFolder& folder;
  cli::inputFiles& inputs;
  std::mutex lock;
  std::condition_variable answered;
  std::optional<pendingInteraction> pending;
  long lastId = 0;
  bool stopping = false;
  std::deque<json> notices;
  long lastNotice = 0;
  std::string progressWhat;
  int progressPercent = -1;
  bool waiting = false;
};

// A record as the page's dialog shows it: title, and per field its key,
// type, caption, group, value as text, range, radio choices, and whether it
// is only shown.
json recordJson(const paramRecord& record);

}  // namespace tamble::workbench
