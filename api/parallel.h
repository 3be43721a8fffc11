// Row-parallel loops. Each row is handed to one thread whole, so a routine
// whose output pixels depend only on its input gives the same bits whatever
// the number of threads.
#pragma once

#include <cstdint>

namespace zel {

// Below this many pixels the threads cost more than they save.
inline constexpr std::uint64_t parallelThreshold = 1u << 16;

template <class RowFn>
void forEachRow(int height, std::uint64_t pixels, RowFn&& rowFn) {
#pragma omp parallel for schedule(static) if (pixels >= parallelThreshold)
  for (int y = 0; y < height; ++y) rowFn(y);
}

}  // namespace zel
