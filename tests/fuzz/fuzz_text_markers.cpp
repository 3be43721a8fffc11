// libFuzzer target: the .mpt, .inm and .apm readers (see feed.h).
#include "tests/fuzz/feed.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tamble::fuzz::feedTextMarkers(data, size);
  return 0;
}
