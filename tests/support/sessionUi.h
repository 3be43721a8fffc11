// The scripted user for tests of routines: a fresh session, whose report sink
// carries the routines' notices and progress to the scripted user.
#pragma once

#include "plugin/session.h"
#include "tests/support/scriptedUi.h"

namespace tamble::testing {

struct sessionUi : installedUi {
  sessionUi() { session().reset(); }
};

}  // namespace tamble::testing
