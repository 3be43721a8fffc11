// One Python session: the command line's session (images list, plug-in,
// answers) behind a lock, the store it uses, what commands told while they
// ran, and the image layers lent to NumPy.
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "apps/tamble/session.h"

namespace tamble::py {

struct sessionOptions {
  std::string store;       // empty: a private store in a temporary folder
  std::string plugin;      // empty: the command line's default
  std::string unanswered;  // "error", "yes" or "no"
  std::string log;         // empty: no log file
};

// What a command told: its kind ("notice", "question", "answer", "report",
// "note") and text.
using toldItem = std::pair<std::string, std::string>;

class core {
 public:
  // Refused with a HostError-type failure while another core is open: the
  // host's interface, the store and the plug-in's state are process-wide.
  explicit core(const sessionOptions& options);
  ~core();
  core(const core&) = delete;
  core& operator=(const core&) = delete;

  // Closes a project that is open, drops the images (lent layers stay with
  // their views), and gives the process back its store and interface.
  void close();
  bool isOpen() const { return cli != nullptr; }
  // The session, or a stepError when closed.
  cli::session& session();
  const std::string& storeFile() const { return storePath; }

  // Held by every call that reads or changes the session; a command runs
  // under it with Python's lock released.
  std::mutex busy;

  // What was told since the last take, in order.
  std::vector<toldItem> takeTold();

  // Lends `layer`'s block to a NumPy view: from now on the view's owner keeps
  // the block alive even when the image lets go of it. Called under `busy`.
  template <class T>
  void lend(zel::arrayStore<T, 2>& layer);
  // A view of `block` is gone; safe under any lock (the block is settled by
  // the next call that holds `busy`).
  void giveBack(void* block);
  // Blocks whose views are all gone go back to the layer that still holds
  // them, or are freed. Called under `busy`.
  void settle();

 private:
  struct loan {
    int views = 0;
    bool taken = false;  // the layer owned the block when it was lent
    void (*release)(void*) = nullptr;
  };
  bool adoptBack(void* block);
  void settleLocked();  // settle() with loansGuard held

  std::unique_ptr<cli::session> cli;
  std::atomic<bool> closed{false};  // views that go after the close free their blocks at once
  bool logFile = false;
  std::string storePath;
  std::string storeFolder;  // the private store's folder, removed at close
  std::string previousStore;
  std::vector<toldItem> told;
  std::mutex loansGuard;  // guards `loans` and `returned`
  std::map<void*, loan> loans;
  std::vector<void*> returned;
};

template <class T>
void core::lend(zel::arrayStore<T, 2>& layer) {
  std::lock_guard<std::mutex> guard(loansGuard);
  auto [at, fresh] = loans.try_emplace(layer.data);
  loan& l = at->second;
  ++l.views;
  if (!fresh) return;  // lent already, perhaps with its views just gone
  l.taken = layer.owns;
  l.release = [](void* block) { delete[] static_cast<T*>(block); };
  layer.owns = false;
}

}  // namespace tamble::py
