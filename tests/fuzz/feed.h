// What each fuzz target does with one input, shared by the libFuzzer targets
// (built with clang, see tests/fuzz/CMakeLists.txt) and the unit test that
// replays the kept regression inputs under the ordinary build.
//
// Each writes the bytes to a file in a private temporary folder and runs the
// readers on it. A zel::FileError is an accepted end; so are the documented
// results. Anything else escapes and is a fault: another exception, a crash,
// or a broken invariant (which aborts with a message).
#pragma once

#include <cstddef>
#include <cstdint>

namespace tamble::fuzz {

// zel_ini_file, ini_read, read_camera; then a set, save and read back.
void feedIni(const std::uint8_t* data, std::size_t size);
// read_camera; a camera that reads is written and reads back the same.
void feedCamera(const std::uint8_t* data, std::size_t size);
// read_mrk; when the markers read, they are written and read back.
void feedMrk(const std::uint8_t* data, std::size_t size);
// read_mpt and read_inm as ".inm" and ".apm", also through load_markers.
void feedTextMarkers(const std::uint8_t* data, std::size_t size);

}  // namespace tamble::fuzz
