// tamble: the command-line host. It runs steps on one images list, from its
// arguments or from a script, with the plug-in loaded as any host loads it.
#include <CLI/CLI.hpp>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "api/errors.h"
#include "api/log.h"
#include "apps/tamble/failure.h"
#include "apps/tamble/output.h"
#include "apps/tamble/script.h"
#include "apps/tamble/session.h"
#include "apps/tamble/steps.h"
#include "host/store.h"

namespace {

using namespace tamble::cli;

// The threads' wait between parallel loops. OpenMP's default spins about
// 300,000 times before it sleeps, which on a machine busy with other work
// takes the cores the other threads need: two threads then run slower than
// one. A short spin loses a little when the machine is idle and gains more
// when it is not (docs/building.md). The runtime reads its environment once,
// when it is loaded, so tamble starts itself again with the setting; a
// user's own setting stays, and a failed start goes on with the default.
void preferShortSpin(char** argv) {
  if (std::getenv("OMP_WAIT_POLICY") || std::getenv("GOMP_SPINCOUNT")) return;
  setenv("GOMP_SPINCOUNT", "10000", 1);
  execv("/proc/self/exe", argv);
}

struct globalOptions {
  std::string store;
  std::string log;
  std::string unanswered = "error";
  std::string script;
};

void addGlobalOptions(CLI::App& app, globalOptions& g) {
  app.add_option("--store", g.store,
                 "parameter store file (default: $TAMBLE_STORE, else "
                 "~/.config/tamble/store.ini)")
      ->type_name("FILE");
  app.add_option("--log", g.log,
                 "log file (default: $TAMBLE_LOG, else tamble.log beside the store)")
      ->type_name("FILE");
  app.add_option("--unanswered", g.unanswered, "answer to yes/no questions no --answer gave")
      ->check(CLI::IsMember({"error", "yes", "no"}));
}

// $TAMBLE_LOG (empty: no log), else tamble.log in the store's folder when that
// folder exists.
std::string defaultLogPath() {
  if (const char* fromEnv = std::getenv("TAMBLE_LOG")) return fromEnv;
  const std::filesystem::path store = tamble::storePath();
  if (store.empty() || !std::filesystem::is_directory(store.parent_path())) return {};
  return (store.parent_path() / "tamble.log").string();
}

void configure(const globalOptions& g, session& s) {
  if (!g.store.empty()) tamble::useStore(g.store);
  if (!g.log.empty()) {
    if (!zel::log_sink().setFile(g.log, false))
      throw stepError("cannot open the log file '" + g.log + "'");
  } else {
    zel::log_sink().setFile(defaultLogPath(), false);  // best effort: no log if it cannot open
  }
  s.ui.policy = g.unanswered == "yes"  ? unansweredPolicy::yes
                : g.unanswered == "no" ? unansweredPolicy::no
                                       : unansweredPolicy::error;
}

int runSteps(const CLI::App& app, const CLI::App& script, const stepArgs& args,
             const globalOptions& g, const std::string& commandLine) {
  try {
    session s;
    configure(g, s);
    zel::get_log().level(4).write("tamble: " + commandLine);
    if (script.parsed())
      runScript(g.script, s);
    else
      runParsedStep(app, args, s);
    return 0;
  } catch (const stepError& e) {
    printError(e.what());
    return e.exitStatus;
  } catch (const zel::GenericError& e) {
    printError(errorText(e));
  } catch (const std::exception& e) {
    printError(e.what());
  }
  return 1;
}

// What `tamble` alone prints: what it is and the steps a first run needs.
constexpr const char* firstContact = R"(tamble: wind-tunnel paint images (pressure- and temperature-sensitive paint)
from the command line.

A first run: make a synthetic run, then run steps on it in one session.
  tamble synth run                   write a synthetic run and its true maps into ./run
  tamble script - <<'EOF'            run the lines below, one step each, in one session
  project run/run.vur                open the run's project: its images enter the list
  commands                           list the plug-in's commands
  run dark-frame-subtraction         run one of them (key=value sets a parameter)
  render wind_on_sens=on.png         draw an image into a PNG picture
  EOF

tamble --help lists every step, tamble STEP --help the arguments of one.
The guide is docs/cli.md in the source tree.
)";

}  // namespace

int main(int argc, char** argv) {
  preferShortSpin(argv);

  CLI::App app{
      "Wind-tunnel paint images from the command line: each step is one of the "
      "subcommands below; 'script FILE' runs one step per line in one session.",
      "tamble"};
  globalOptions g;
  addGlobalOptions(app, g);
  stepArgs args;
  addSteps(app, args);
  CLI::App* script = app.add_subcommand("script", "run one step per line of FILE (- for stdin)");
  script->add_option("file", g.script, "script file")->required();
  app.require_subcommand(0, 1);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& e) {
    return app.exit(e);
  } catch (const CLI::ParseError& e) {
    printError(parseErrorText(app, e));
    return 2;
  }
  if (app.get_subcommands().empty()) {  // no step: tell a newcomer where to start
    std::fputs(firstContact, stdout);
    return 2;
  }
  std::string commandLine;
  for (int i = 1; i < argc; ++i) commandLine += std::string(i > 1 ? " " : "") + argv[i];
  return runSteps(app, *script, args, g, commandLine);
}
