#include "host/command.h"

namespace tamble {
namespace {

menuProvider& provider() {
  static menuProvider p = nullptr;
  return p;
}

}  // namespace

void registerMenu(menuProvider p) { provider() = p; }

std::vector<menuEntry> registeredMenu() { return provider() ? provider()() : std::vector<menuEntry>{}; }

}  // namespace tamble
