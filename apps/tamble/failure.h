// What stops a step: the text the user reads after "error: " and the exit
// status it leads to (2 for a command line that cannot be understood, 1 for
// everything else).
#pragma once

#include <stdexcept>
#include <string>

namespace tamble::cli {

class stepError : public std::runtime_error {
 public:
  explicit stepError(const std::string& text, int status = 1)
      : std::runtime_error(text), exitStatus(status) {}
  int exitStatus;
};

inline stepError usageError(const std::string& text) { return stepError(text, 2); }

}  // namespace tamble::cli
