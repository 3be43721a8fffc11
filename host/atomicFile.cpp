#include "host/atomicFile.h"

#include "api/errors.h"
#include "api/paths.h"

// The mechanism lives in the image model (api/paths.h), which writes marker
// and ini files the same way; here failures become the host's FileError.
namespace tamble {
namespace {

void failIf(const std::string& path, const std::string& why) {
  if (!why.empty()) zel::raise<zel::FileError>(path + ": cannot write: " + why);
}

}  // namespace

std::string temporaryNameFor(const std::string& path) { return zel::temporary_name(path); }

void discardTemporary(const std::string& temporary) { zel::discard_temporary(temporary); }

void commitAtomically(const std::string& temporary, const std::string& path) {
  failIf(path, zel::commit_temporary(temporary, path));
}

void writeAtomically(const std::string& path, const std::function<bool(std::FILE*)>& write) {
  failIf(path, zel::write_atomically(path, write));
}

}  // namespace tamble
