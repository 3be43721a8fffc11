// The fuzz feeds' common ground: a private scratch folder per process, the
// input put into a file there, and the check of an invariant.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace tamble::fuzz {

// A path in the scratch folder, made at first use and removed at exit.
std::string scratch(const std::string& name);
// Writes the input to the scratch file `name`; answers its path.
std::string put(const std::string& name, const std::uint8_t* data, std::size_t size);
// Aborts with the text when an invariant does not hold: a fault to report.
void require(bool holds, const char* what);

}  // namespace tamble::fuzz
