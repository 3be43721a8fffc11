// libFuzzer target: see feedMask in tests/fuzz/feedHost.h.
#include "tests/fuzz/feedHost.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tamble::fuzz::feedMask(data, size);
  return 0;
}
