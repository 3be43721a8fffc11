// File name helpers shared by every file command. Paths use "/" here; "\"
// is understood as a folder mark too, since project and marker files may come
// from other systems.
#pragma once

#include <string>

namespace zel {

// True if the file is there; otherwise logs "File <name> not exists" at level 1.
bool file_exists(const std::string& name);
// The text after the last ".", if that point stands after the last folder
// mark; otherwise empty.
std::string extension(const std::string& path);
// The name without folder or extension.
std::string base_name(const std::string& path);
// Local date and time, "YYYY-MM-DD hh:mm:ss".
std::string time_stamp();
std::string lower(const std::string& text);
// An absolute name stays. A relative one (also "..\x") is taken against the
// alternate folder when that is a usable folder, else against the current
// folder; an unusable alternate is logged with " - wrong alternate path".
std::string resolve_path(const std::string& name, const std::string& alternate = {});
// Changes to the folder, creating it first if it is not there. False if it
// can be neither entered nor created.
bool make_folder(const std::string& path);

}  // namespace zel
