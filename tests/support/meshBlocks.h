// Small grid blocks and field data sets for the mesh tests: coordinates that
// differ at every node and in every component, so that a swapped index or
// component shows.
#pragma once

#include <cmath>
#include <string>
#include <vector>

#include "host/fieldData.h"

namespace tamble::testing {

inline zel::meshBlock testBlock(int ni, int nj, int nk, double seed) {
  zel::meshBlock b{ni, nj, nk, {}};
  for (int k = 0; k < nk; ++k)
    for (int j = 0; j < nj; ++j)
      for (int i = 0; i < ni; ++i)
        b.nodes.push_back({seed + 1.25 * i + 0.01 * j * j, -3.5 * j + 0.1 * std::sin(seed + i),
                           0.75 * k + 1e-3 * (i * nj + j) - seed / 3.0});
  return b;
}

// A complete data set: two surface blocks, markers and two functions, one of
// them with a few `missing` nodes.
inline zel::field_data<double> testFieldData() {
  zel::field_data<double> d;
  d.name = "wing";
  d.lengthUnit = "mm";
  d.blocks = {testBlock(4, 3, 1, 1.0), testBlock(5, 2, 1, 7.0)};
  for (int m = 1; m <= 5; ++m) {
    d.meshMarkers.add({10.5 * m, -2.25 * m, 0.5 + m, 0.0, true, 0});
    d.imageMarkers.add({100.25 + 20 * m, 40.5 + 3 * m, 0.0, 0.0, true, 0});
  }
  d.meshMarkers.lengthUnit = "mm";
  d.addFunction("Cp");
  d.addFunction("Pressure - (run)");
  for (std::size_t b = 0; b < d.blocks.size(); ++b)
    for (std::size_t n = 0; n < d.blocks[b].count(); ++n) {
      d.functions[0].values[b][n] = -0.5 + 0.01 * static_cast<double>(n + 10 * b);
      if ((n + b) % 4 != 1) d.functions[1].values[b][n] = 90000.0 + 3.0 * static_cast<double>(n);
    }
  return d;
}

}  // namespace tamble::testing
