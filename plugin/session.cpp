#include "plugin/session.h"

#include "api/report.h"
#include "host/hostUi.h"
#include "host/interaction.h"
#include "host/project.h"

namespace tamble {
namespace {

// Routines' notices and progress go to the host; quietMode silences the
// notices of low-level routines.
class hostReport : public zel::reportSink {
 public:
  void notice(const std::string& text) override { message(text, false); }
  void progress(const std::string& what, int percent) override {
    hostUi().progress(what, percent);
  }
  bool quiet() const override { return session().quietMode != 0; }
};

}  // namespace

void sessionState::reset() {
  values.clear();
  memory = {};
  conversion = {};
  polynomial = {};
  quietMode = 0;
  clear_vur();
}

sessionState& session() {
  static hostReport sink;
  static sessionState state;
  static const bool installed = (zel::setReport(&sink), true);
  (void)installed;
  return state;
}

namespace {
// The sink is installed when the commands are loaded, not at the first use of
// the session: a command that never uses the session would otherwise send the
// notices of its routines to the log instead of the user.
[[maybe_unused]] const bool sinkAtLoad = (session(), true);
}  // namespace

}  // namespace tamble
