// Runs the built `tamble` in a temporary folder of its own and keeps what it
// printed and its exit status.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/tempFolder.h"
#include "tests/support/textFile.h"

namespace tamble::testing {

struct cliResult {
  int status = -1;
  std::string out;
  std::string err;
};

inline std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> out;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) out.push_back(line);
  return out;
}

// Whether an error line ends "(at <file>:<line>)" with <file> starting with `file`.
inline bool namesSource(const std::string& errorLine, const std::string& file) {
  const std::size_t at = errorLine.rfind(" (at " + file);
  const std::size_t colon = errorLine.rfind(':');
  if (at == std::string::npos || colon == std::string::npos || colon < at) return false;
  const std::string line = errorLine.substr(colon + 1);
  return line.size() > 2 && line.substr(line.size() - 2) == ")\n" &&
         line.find_first_not_of("0123456789") == line.size() - 2;
}

// A fresh folder per test, removed afterwards; the store lives in it.
class cliTest : public tempFolderTest {
 protected:
  // `arguments` as a shell would split them, standard input from `input`;
  // nothing of the user's environment chooses the log or the plug-in.
  cliResult tamble(const std::string& arguments, const std::string& input = {}) {
    writeText(dir / "stdin.txt", input);
    const std::string command = "cd '" + dir.string() + "' && unset TAMBLE_LOG TAMBLE_PLUGIN && " +
                                environment + "'" TAMBLE_EXE "' --store store.ini " + arguments +
                                " <stdin.txt >stdout.txt 2>stderr.txt";
    const int raw = std::system(command.c_str());
    cliResult result;
    result.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    result.out = readText(dir / "stdout.txt");
    result.err = readText(dir / "stderr.txt");
    return result;
  }
  // One step per line, in one process.
  cliResult script(const std::string& text, const std::string& globals = {}) {
    return tamble(globals + " script -", text);
  }
  void useStub() { environment = "TAMBLE_PLUGIN='" TAMBLE_STUB_PLUGIN "' "; }

  std::string environment;
};

}  // namespace tamble::testing
