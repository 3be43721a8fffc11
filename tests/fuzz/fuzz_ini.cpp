// libFuzzer target: the ini reader and writer (see feed.h).
#include "tests/fuzz/feed.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tamble::fuzz::feedIni(data, size);
  return 0;
}
