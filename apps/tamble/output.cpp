#include "apps/tamble/output.h"

#include "api/errors.h"
#include "api/log.h"

namespace tamble::cli {

std::string block(const std::string& prefix, const std::string& text) {
  std::string body = text;
  if (!body.empty() && body.back() == '\n') body.pop_back();
  const std::string indent(prefix.size(), ' ');
  std::string out = prefix;
  for (char c : body) {
    out += c;
    if (c == '\n') out += indent;
  }
  return out + "\n";
}

void printBlock(std::FILE* to, const std::string& prefix, const std::string& text) {
  std::fputs(block(prefix, text).c_str(), to);
  std::fflush(to);  // as they come, also into a pipe
}

std::string errorText(const zel::GenericError& error) {
  return std::string(error.message) + " (at " + error.file + ":" + std::to_string(error.line) + ")";
}

std::string sizeText(int width, int height) {
  return std::to_string(width) + "x" + std::to_string(height);
}

void printError(const std::string& text) {
  std::fflush(stdout);
  std::fputs(block("error: ", text).c_str(), stderr);
  zel::get_log().level(2).urgent().write("tamble: " + text);
}

}  // namespace tamble::cli
