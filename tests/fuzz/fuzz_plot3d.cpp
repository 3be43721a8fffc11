// libFuzzer target: see feedPlot3d in tests/fuzz/feedHost.h.
#include "tests/fuzz/feedHost.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tamble::fuzz::feedPlot3d(data, size);
  return 0;
}
