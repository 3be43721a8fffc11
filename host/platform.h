// The host functions that the plug-in calls by name.
#pragma once

#include <memory>
#include <string>

#include "api/arrayWorks.h"
#include "api/image.h"
#include "plugin2d.h"

namespace zel {
class imagesList;
}

// A modal message through the installed HostUi: a notice (ask false) or a
// yes/no question whose answer is the result.
bool message(const std::string& text, bool ask);
bool message_error(const std::string& text);
void wait_cursor(bool on);

// The parameter store: section and key to text.
std::string reg_get_string(const std::string& section, const std::string& key,
                           const std::string& def);
void reg_set_string(const std::string& section, const std::string& key, const std::string& value);

// Command table helpers.
plg2dapiFormatInfo separator_2d(std::string group);
bool always(const zel::imagesList& list);
bool never(const zel::imagesList& list);
bool image_is_present(const zel::imagesList& list);
void simulate(zel::imagesList& list);

// Image files (see docs/file-formats.md). Failures raise zel::FileError with
// a text that names the file and what is wrong.
std::unique_ptr<zel::image> read_image(const std::string& path);
void write_image(const std::string& path, const zel::image& img);
void read_array(const std::string& path, zel::arrayStore<bool, 2>& mask);
void write_array(const std::string& path, const zel::arrayStore<bool, 2>& mask);

// The project library: true while no project is open.
bool empty_vur();
