// The host functions of user interaction that the plug-in calls by name, and
// the helpers of its command table. All of them go through the installed
// HostUi; they belong to the host's user interface, not to its core.
#pragma once

#include <string>

#include "host/plugin2d.h"

namespace zel {
class imagesList;
}

// A modal message through the installed HostUi: a notice (ask false) or a
// yes/no question whose answer is the result.
bool message(const std::string& text, bool ask);
bool message_error(const std::string& text);
void wait_cursor(bool on);

// Command table helpers.
plg2dapiFormatInfo separator_2d(std::string group);
bool always(const zel::imagesList& list);
bool never(const zel::imagesList& list);
bool image_is_present(const zel::imagesList& list);
void simulate(zel::imagesList& list);
