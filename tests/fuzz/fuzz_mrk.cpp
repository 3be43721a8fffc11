// libFuzzer target: the .mrk reader, and writing back what it read (see feed.h).
#include "tests/fuzz/feed.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tamble::fuzz::feedMrk(data, size);
  return 0;
}
