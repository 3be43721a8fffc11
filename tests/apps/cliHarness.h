// Runs the built `tamble` in a temporary folder of its own and keeps what it
// printed and its exit status.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

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

// The "<file>" of an error line ending "(at <file>:<line>)", when <line> is a
// number; empty otherwise.
inline std::string sourceFile(const std::string& errorLine) {
  const std::size_t at = errorLine.rfind(" (at ");
  const std::size_t colon = errorLine.rfind(':');
  if (at == std::string::npos || colon < at || errorLine.size() < colon + 4 ||
      errorLine.compare(errorLine.size() - 2, 2, ")\n") != 0)
    return {};
  const std::string line = errorLine.substr(colon + 1, errorLine.size() - colon - 3);
  if (line.find_first_not_of("0123456789") != std::string::npos) return {};
  return errorLine.substr(at + 5, colon - at - 5);
}

// A fresh folder per test, removed afterwards; the store lives in it.
class cliTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "tamble-cli-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir = pattern;
  }
  void TearDown() override { std::filesystem::remove_all(dir); }

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

  std::filesystem::path dir;
  std::string environment;
};

}  // namespace tamble::testing
