// The steps on the plug-in's commands: listing, describing, running, and the
// host's own undo.
#include <omp.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "api/errors.h"
#include "api/log.h"
#include "apps/tamble/failure.h"
#include "apps/tamble/output.h"
#include "apps/tamble/session.h"
#include "apps/tamble/steps.h"
#include "host/paramRecord.h"

namespace tamble::cli {
namespace {

bool available(const plg2dapiFormatInfo& row, const zel::imagesList& list) {
  return !row.enabled || row.enabled(list);
}

std::string quoted(const std::string& text) { return "\"" + text + "\""; }

struct tableWidths {
  std::size_t name = 0;
  std::size_t label = 0;
};

tableWidths widthsOf(const loadedPlugin& plugin) {
  tableWidths w;
  for (const plg2dapiFormatInfo& row : plugin.info().commands) {
    if (row.isSeparator()) continue;
    w.name = std::max(w.name, plugin.names().typedName(row).size());
    w.label = std::max(w.label, quoted(row.label).size());
  }
  return w;
}

// Stands in for the user while `describe` runs a command in a child process:
// shows what the command asks for, cancels every dialog and choice, and stops
// the command where it would start its work.
class probeUi : public HostUi {
 public:
  struct stop {};  // thrown where the command's work would begin
  bool sawDialog = false;
  bool sawNotice = false;
  bool askedAnything = false;

  bool message(const std::string& text, bool ask, bool) override {
    askedAnything = askedAnything || ask;
    sawNotice = sawNotice || !ask;
    printBlock(stdout,
               ask ? "  question:  " : "  notice:    ", ask ? text + " (--answer yes|no)" : text);
    return !ask;
  }
  bool editRecord(paramRecord& record) override {
    sawDialog = askedAnything = true;
    printBlock(stdout, "  dialog:    ", describeRecord(record));
    return false;
  }
  int chooseImage(const std::string& title, const std::vector<std::string>&, int) override {
    askedAnything = true;
    printBlock(stdout, "  image:     ", title + " (--image NAME)");
    return -1;
  }
  std::string chooseFile(const std::string& title, const std::string&, bool) override {
    askedAnything = true;
    printBlock(stdout, "  file:      ", title + " (--file PATH)");
    return {};
  }
  std::vector<std::string> chooseFiles(const std::string& title,
                                       const std::string& filter) override {
    chooseFile(title, filter, false);
    return {};
  }
  void waitCursor(bool on) override {
    if (on) throw stop{};
  }
};

void probeCommand(zel::imagesList& list, const plg2dapiFormatInfo& row) {
  // A command that needs an image reaches its dialog only with one.
  if (!list.current()) {
    auto* img = new zel::image(64, 64);
    img->setFieldName("probe");
    list.addImage(img, false);
  }
  probeUi ui;
  setHostUi(&ui);
  try {
    row.handler(list);
  } catch (const probeUi::stop&) {
  } catch (const zel::GenericError& e) {
    printBlock(stdout, "  stopped:   ", errorText(e));
  } catch (const std::exception& e) {
    printBlock(stdout, "  stopped:   ", e.what());
  }
  if (!ui.askedAnything)
    std::puts(ui.sawNotice ? "  asks:      nothing before the notice above (it stopped there)"
                           : "  asks:      nothing");
}

// The command runs in a child process, so that nothing it does, to the list,
// the memory cell or the buffers, reaches this session.
void probeInChild(session& s, const plg2dapiFormatInfo& row) {
  std::fflush(stdout);
  std::fflush(stderr);
  zel::log_sink().flush();
  const pid_t child = fork();
  if (child < 0) throw stepError(std::string("cannot examine the command: ") + strerror(errno));
  if (child == 0) {
    omp_set_num_threads(1);  // the parent's thread pool is not there after fork
    probeCommand(s.list, row);
    std::fflush(stdout);
    _exit(0);
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
    throw stepError("'" + row.label + "' failed while it was examined" +
                    (WIFSIGNALED(status) ? " (signal " + std::to_string(WTERMSIG(status)) + ")"
                                         : std::string()));
}

runAnswers answersOf(const stepArgs& a) {
  runAnswers given;
  for (const std::string& word : a.words) given.params.push_back(splitPair(word, "key=value"));
  given.images.assign(a.images.begin(), a.images.end());
  given.files.assign(a.files.begin(), a.files.end());
  for (const std::string& answer : a.answers) given.answers.push_back(answer == "yes");
  return given;
}

}  // namespace

void commandsStep(session& s, const stepArgs&) {
  const loadedPlugin& plugin = s.plugin();
  const tableWidths w = widthsOf(plugin);
  const std::string rule = "  " + std::string(w.name + w.label + 7, '-');
  const std::string* group = nullptr;
  for (const plg2dapiFormatInfo& row : plugin.info().commands) {
    if (!group || *group != row.group) std::printf("%s\n", row.group.c_str());
    group = &row.group;
    if (row.isSeparator()) {
      std::puts(rule.c_str());
      continue;
    }
    std::printf("  %-*s  %-*s  %s\n", static_cast<int>(w.name),
                plugin.names().typedName(row).c_str(), static_cast<int>(w.label),
                quoted(row.label).c_str(), available(row, s.list) ? "yes" : "no");
  }
}

void describeStep(session& s, const stepArgs& a) {
  const loadedPlugin& plugin = s.plugin();
  const plg2dapiFormatInfo& row = plugin.names().resolve(a.command);
  std::printf("%s  %s\n", plugin.names().typedName(row).c_str(), quoted(row.label).c_str());
  printBlock(stdout, "  group:     ", row.group);
  printBlock(stdout, "  tooltip:   ", row.tooltip);
  printBlock(stdout, "  help:      ", row.helpTopic);
  printBlock(stdout,
             "  available: ", available(row, s.list) ? "yes" : "no (" + testName(row) + ")");
  probeInChild(s, row);
}

void runStep(session& s, const stepArgs& a) {
  const plg2dapiFormatInfo& row = s.plugin().names().resolve(a.command);
  runAnswers given = answersOf(a);
  if (!available(row, s.list))
    throw stepError("'" + row.label + "' is not available: " + testName(row));
  zel::get_log().level(4).write("tamble: run " + row.group + "/" + row.label);
  s.ui.startRun(std::move(given));
  row.handler(s.list);
  s.ui.finishRun(row.label);
}

void projectStep(session& s, const stepArgs& a) {
  stepArgs open;
  open.command = "Open Project...";
  open.files = {a.file};
  open.words = a.words;
  runStep(s, open);
}

void closeProjectStep(session& s, const stepArgs&) {
  stepArgs close;
  close.command = "Close Project";
  runStep(s, close);
}

void undoStep(session& s, const stepArgs&) {
  if (s.list.actions().empty()) throw stepError("nothing to undo");
  s.list.undo();
}

}  // namespace tamble::cli
