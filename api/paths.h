// File name helpers shared by every file command. Paths use "/" here; "\"
// is understood as a folder mark too, since project and marker files may come
// from other systems.
#pragma once

#include <cstdio>
#include <functional>
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

// Every file is written to a temporary name in the same folder and renamed
// into place, so that a failure never leaves half a file and never destroys
// the previous version. These report failures as text rather than raising,
// so that each writer raises the error its callers expect.

// ".<name>.tmp<pid>_<thread>" beside `path`: two writers never share one.
std::string temporary_name(const std::string& path);
// Renames a finished temporary file to `path`; a file it replaces keeps its
// permissions. Then the temporaries of `path` that writers left when they
// were killed before their rename (their process is gone) are removed.
// Answers empty, or what went wrong (the temporary is removed).
std::string commit_temporary(const std::string& temporary, const std::string& path);
void discard_temporary(const std::string& temporary);
// Calls `write` with a stream on the temporary file; when it answers true and
// the data reached the disk (fsync), renames the file into place. Answers
// empty, or what went wrong, with `path` as it was. An exception from `write`
// passes on after the temporary file is removed.
std::string write_atomically(const std::string& path, const std::function<bool(std::FILE*)>& write);

}  // namespace zel
