// libFuzzer target: see feedCamera in tests/fuzz/feed.h.
#include "tests/fuzz/feed.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tamble::fuzz::feedCamera(data, size);
  return 0;
}
