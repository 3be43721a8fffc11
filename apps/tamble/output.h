// How the program writes what it has to say: notices and questions from a
// command, numbers, and errors.
#pragma once

#include <cstdio>
#include <string>

#include "api/numbers.h"

namespace zel {
class GenericError;
}

namespace tamble::cli {

// `prefix` and the first line of `text`; every further line is indented by
// the prefix's width so that a multi-line text stays one block. A final line
// end is dropped.
std::string block(const std::string& prefix, const std::string& text);
void printBlock(std::FILE* to, const std::string& prefix, const std::string& text);

// "640x480".
std::string sizeText(int width, int height);

// Numbers are shown as the shortest text that reads back the same, and read
// as typed on the command line: a point as decimal mark, nothing else around
// it (zel::parseNumber's plain form).
using zel::numberText;
using zel::parseNumber;

// "<message> (at <file>:<line>)"
std::string errorText(const zel::GenericError& error);
// "error: <text>" on standard error, after what standard output holds so far,
// and the same line in the log.
void printError(const std::string& text);

}  // namespace tamble::cli
