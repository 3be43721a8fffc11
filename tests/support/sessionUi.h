// The scripted user for tests of routines: a fresh session, whose report sink
// carries the routines' notices and progress to the scripted user.
#pragma once

#include <string>
#include <vector>

#include "plugin/session.h"
#include "tests/support/scriptedUi.h"

namespace tamble::testing {

struct sessionUi : installedUi {
  sessionUi() { session().reset(); }
};

// The notices given while `fn` runs, in a fresh session.
template <class Fn>
std::vector<std::string> noticesOf(Fn fn) {
  sessionUi user;
  fn();
  return user.ui.notices;
}

}  // namespace tamble::testing
