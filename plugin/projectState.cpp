#include "plugin/projectState.h"

namespace tamble {

std::string& paintKind() {
  static std::string kind;
  return kind;
}

}  // namespace tamble
