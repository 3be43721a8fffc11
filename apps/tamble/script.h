// Steps from the command line and from scripts.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
class ParseError;
}  // namespace CLI

namespace tamble::cli {

class session;

// What a parse failure tells the user; a word where a step should be is named.
std::string parseErrorText(const CLI::App& app, const CLI::ParseError& error);

// Parses `words` (a script line) as one step and runs it. --help prints the
// step's help. A line that does not parse is a usage error.
void runWords(const std::vector<std::string>& words, session& s);

// One step per line of `path` ("-": standard input), all in `s`. Blank lines
// and comments are skipped. The first failing step stops the script with an
// error that starts "<script>:<line>: ".
void runScript(const std::string& path, session& s);

}  // namespace tamble::cli
