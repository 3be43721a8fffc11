// `tamble serve`: the browser workbench. One process holds the images list,
// the plug-in and the store of a `tamble` session and answers the page over
// HTTP on the loopback interface; every request carries the access token
// printed at start.
#pragma once

#include <string>

namespace tamble::cli {
class session;
}

namespace tamble::workbench {

struct serveOptions {
  std::string folder = ".";       // the only folder read and written
  int port = 0;                   // 0: a free port the system chooses
  std::string bind = "127.0.0.1"; // another interface only when asked for
  std::string pageFolder;         // empty: found beside the program or in the sources
};

// The folder the page's files are served from: $TAMBLE_WORKBENCH_PAGE, else
// share/tamble/workbench beside the program's bin folder (the install),
// else the source tree's apps/workbench/page (the build tree).
std::string defaultPageFolder();

// Runs until the process is stopped. Prints the address with its token on
// standard output; a stepError when the folder or port cannot be used.
void serve(cli::session& s, const serveOptions& options);

}  // namespace tamble::workbench
