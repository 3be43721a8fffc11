// libFuzzer target: see feedTiff in tests/fuzz/feedHost.h.
#include "tests/fuzz/feedHost.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tamble::fuzz::feedTiff(data, size);
  return 0;
}
