// The host side of the command table and of user interaction.
#include "host/interaction.h"

#include <utility>

#include "api/imagesList.h"
#include "host/hostUi.h"

bool message(const std::string& text, bool ask) {
  return tamble::hostUi().message(text, ask, false);
}

bool message_error(const std::string& text) { return tamble::hostUi().message(text, false, true); }

void wait_cursor(bool on) { tamble::hostUi().waitCursor(on); }

plg2dapiFormatInfo separator_2d(std::string group) {
  plg2dapiFormatInfo separator;
  separator.group = std::move(group);
  separator.label = "-";
  return separator;
}

bool always(const zel::imagesList&) { return true; }
bool never(const zel::imagesList&) { return false; }
bool image_is_present(const zel::imagesList& list) { return list.current() != nullptr; }

// The host runs handlers itself; there is no separate simulation.
void simulate(zel::imagesList&) {}
