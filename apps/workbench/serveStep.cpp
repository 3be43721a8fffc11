// `tamble serve [FOLDER] [--port N] [--bind ADDRESS]`.
#include "apps/tamble/failure.h"
#include "apps/tamble/steps.h"
#include "apps/workbench/requestError.h"
#include "apps/workbench/server.h"

namespace tamble::cli {

void serveStep(session& s, const stepArgs& a) {
  workbench::serveOptions options;
  if (!a.file.empty()) options.folder = a.file;
  options.port = a.port;
  if (!a.bind.empty()) options.bind = a.bind;
  try {
    workbench::serve(s, options);
  } catch (const workbench::requestError& e) {
    throw stepError(e.what());
  }
}

}  // namespace tamble::cli
