#include "apps/tamble/script.h"

#include <CLI/CLI.hpp>
#include <fstream>
#include <iostream>

#include "api/errors.h"
#include "api/log.h"
#include "apps/tamble/failure.h"
#include "apps/tamble/output.h"
#include "apps/tamble/session.h"
#include "apps/tamble/steps.h"
#include "apps/tamble/words.h"

namespace tamble::cli {
namespace {

void runLine(const std::string& line, session& s) {
  const std::vector<std::string> words = splitWords(line);
  if (!words.empty()) runWords(words, s);
}

// Every kind of failure becomes a stepError that names the line.
void runNumberedLine(const std::string& where, const std::string& line, session& s) {
  try {
    runLine(line, s);
  } catch (const stepError& e) {
    throw stepError(where + e.what(), e.exitStatus);
  } catch (const zel::GenericError& e) {
    throw stepError(where + errorText(e));
  } catch (const std::exception& e) {
    throw stepError(where + e.what());
  }
}

}  // namespace

std::string parseErrorText(const CLI::App& app, const CLI::ParseError& error) {
  const std::vector<std::string> left = app.remaining();
  const std::vector<CLI::App*> steps = app.get_subcommands();
  if (steps.empty() && !left.empty())
    return "unknown step '" + left.front() + "'; 'tamble --help' lists the steps";
  return (steps.empty() ? "" : steps.front()->get_name() + ": ") + error.what();
}

void runWords(const std::vector<std::string>& words, session& s) {
  CLI::App app{"a script step", "tamble"};
  app.require_subcommand(1);
  stepArgs args;
  addSteps(app, args);
  std::vector<std::string> reversed(words.rbegin(), words.rend());  // as CLI11 takes them
  try {
    app.parse(std::move(reversed));
  } catch (const CLI::Success& e) {
    app.exit(e);
    return;
  } catch (const CLI::ParseError& e) {
    throw usageError(parseErrorText(app, e));
  }
  std::string text;
  for (const std::string& w : words) text += (text.empty() ? "" : " ") + w;
  zel::get_log().level(4).write("tamble: " + text);
  runParsedStep(app, args, s);
}

void runScript(const std::string& path, session& s) {
  std::ifstream file;
  if (path != "-") {
    file.open(path);
    if (!file) throw stepError("cannot read the script '" + path + "'");
    s.inputs.add(path);
  }
  std::istream& in = path == "-" ? std::cin : file;
  const std::string name = path == "-" ? "stdin" : path;
  std::string line;
  for (int number = 1; std::getline(in, line); ++number)
    runNumberedLine(name + ":" + std::to_string(number) + ": ", line, s);
}

}  // namespace tamble::cli
