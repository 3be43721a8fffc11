// Every file Tamble writes goes to a temporary name in the same folder and is
// renamed into place, so a failure never leaves half a file and never
// destroys the previous version.
#pragma once

#include <cstdio>
#include <functional>
#include <string>

namespace tamble {

// Calls `write` with a stream open on a temporary file beside `path`; when it
// returns true and the data reached the disk, renames the file to `path`.
// On any failure the temporary file is removed, `path` is left as it was,
// and zel::FileError is raised (after a log line naming the file).
void writeAtomically(const std::string& path, const std::function<bool(std::FILE*)>& write);

// The temporary name used for `path`; writers that need a file name rather
// than a stream (libtiff, libpng) write there and call commitAtomically.
std::string temporaryNameFor(const std::string& path);
void commitAtomically(const std::string& temporary, const std::string& path);
void discardTemporary(const std::string& temporary);

}  // namespace tamble
