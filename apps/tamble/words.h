// The words of a script line, split as a POSIX shell splits plain words.
#pragma once

#include <string>
#include <vector>

namespace tamble::cli {

// Blanks separate words. '...' keeps its text as it is; "..." keeps it too but
// takes \" and \\ as one character; outside quotes a backslash keeps the next
// character. An unquoted # at the start of a word begins a comment that runs
// to the end of the line. Quoting "" gives an empty word. An unclosed quote or
// a backslash at the end of the line is a usage error (no line continues).
std::vector<std::string> splitWords(const std::string& line);

}  // namespace tamble::cli
