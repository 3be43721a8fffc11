#include "python/core.h"

#include <stdlib.h>

#include <filesystem>

#include "api/log.h"
#include "apps/tamble/failure.h"
#include "host/project.h"
#include "host/store.h"

namespace tamble::py {
namespace {

namespace fs = std::filesystem;

// The one open core of the process: the host's interface, the store and the
// plug-in's state (its memory cell, buffers, remembered values, conversion
// state, polynomial map and the project it holds) exist once per process.
std::atomic<const core*> openCore{nullptr};

std::string privateStoreFolder() {
  std::string pattern = (fs::temp_directory_path() / "tamble-python-XXXXXX").string();
  if (!mkdtemp(pattern.data())) throw cli::stepError("cannot make a folder for a private store");
  return pattern;
}

cli::unansweredPolicy policyOf(const std::string& word) {
  if (word == "error") return cli::unansweredPolicy::error;
  if (word == "yes") return cli::unansweredPolicy::yes;
  if (word == "no") return cli::unansweredPolicy::no;
  throw cli::usageError("unanswered: '" + word + "' is none of error, yes, no");
}

}  // namespace

core::core(const sessionOptions& options) {
  const cli::unansweredPolicy policy = policyOf(options.unanswered);
  const core* none = nullptr;
  if (!openCore.compare_exchange_strong(none, this))
    throw cli::stepError(
        "another tamble.Session is open in this process; close it first (session.close() or a "
        "with block): the plug-in's memory cell, project, conversion state and remembered "
        "parameters, the parameter store and the host's interface exist once per process");
  try {
    storeFolder = options.store.empty() ? privateStoreFolder() : "";
    storePath =
        options.store.empty() ? (fs::path(storeFolder) / "store.ini").string() : options.store;
    previousStore = tamble::storePath();
    useStore(storePath);
    if (!options.log.empty() && !(logFile = zel::log_sink().setFile(options.log, false)))
      throw cli::stepError("cannot open the log file '" + options.log + "'");
    cli = std::make_unique<cli::session>();
    cli->ui.policy = policy;
    cli->ui.say = [this](const std::string& kind, const std::string& text) {
      told.emplace_back(kind, text);
    };
    cli->ui.answerWord = [](const std::string& kind, const std::string& value) {
      if (kind == "answer")
        return std::string("answers=[") + (value == "no" ? "False" : "True") + "]";
      return kind + "='" + value + "'";
    };
    if (!options.plugin.empty()) cli->loadPlugin(options.plugin);
  } catch (...) {
    close();
    throw;
  }
}

core::~core() { close(); }

void core::close() {
  if (cli) {
    settle();
    // The project library is the process's: a later session starts without it.
    if (!empty_vur()) clear_vur();
    cli->list.clear();
    cli.reset();
    useStore(previousStore);
  }
  closed = true;
  settle();  // no layer holds a lent block now: those without views are freed
  if (logFile) zel::log_sink().setFile("", false);
  logFile = false;
  if (!storeFolder.empty()) {
    std::error_code ignored;
    fs::remove_all(storeFolder, ignored);
    storeFolder.clear();
  }
  const core* self = this;
  openCore.compare_exchange_strong(self, nullptr);
}

cli::session& core::session() {
  if (!cli) throw cli::stepError("the session is closed");
  return *cli;
}

std::vector<toldItem> core::takeTold() {
  if (cli) cli->ui.flushNotices();
  return std::exchange(told, {});
}

void core::giveBack(void* block) {
  std::lock_guard<std::mutex> guard(loansGuard);
  auto at = loans.find(block);
  if (at == loans.end() || --at->second.views > 0) return;
  returned.push_back(block);
  if (closed) settleLocked();
}

// The layer that holds the block now: an image of the list, or one that an
// undo record keeps.
bool core::adoptBack(void* block) {
  if (!cli) return false;
  auto adopt = [block](zel::image& img) {
    for (auto* layer : {img.hasBkgr() ? &img.bkgr() : nullptr, img.hasROI() ? &img.ROI() : nullptr})
      if (layer && layer->data == block) return layer->owns = true;
    if (img.hasField() && img.field().data == block) return img.field().owns = true;
    return false;
  };
  zel::imagesList& list = cli->list;
  for (int i = 0; i < list.size(); ++i)
    if (adopt(*list[i])) return true;
  for (const auto& action : list.actions())
    if (auto* altered = dynamic_cast<zel::imagesListAltered*>(action.get()))
      if (altered->saved && adopt(*altered->saved)) return true;
  return false;
}

void core::settle() {
  std::lock_guard<std::mutex> guard(loansGuard);
  settleLocked();
}

void core::settleLocked() {
  for (void* block : std::exchange(returned, {})) {
    auto at = loans.find(block);
    if (at == loans.end() || at->second.views > 0) continue;  // lent again meanwhile
    const loan l = at->second;
    loans.erase(at);
    if (l.taken && !adoptBack(block)) l.release(block);
  }
}

}  // namespace tamble::py
