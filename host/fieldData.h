// The mesh data set of the model that resection works on, held by the host:
// the model's surface (or volume) grid in blocks, the functions carried on
// its nodes, the model positions of the markers and the standard image
// markers they pair with. One lives in the host (get_field_data); the
// project's `resect_data_file` fills it on Open Project.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "api/markers.h"
#include "api/vectors.h"

namespace zel {

class image;

// A structured block of ni x nj x nk nodes, stored i fastest, then j, then k
// (the order of a PLOT3D grid). A surface patch has nk = 1.
struct meshBlock {
  int ni = 0;
  int nj = 0;
  int nk = 0;
  std::vector<xyzVec<double>> nodes;

  std::size_t count() const { return nodes.size(); }
  std::size_t at(int i, int j, int k) const {
    return (static_cast<std::size_t>(k) * nj + j) * ni + i;
  }
};

// A function of the mesh: one value per node of every block, in the blocks'
// order.
template <class T>
struct meshFunction {
  std::string name;
  std::vector<std::vector<T>> values;  // values[block][node]
};

template <class T>
class field_data {
 public:
  // A node that no camera sees keeps this value.
  static constexpr double missing = -1e10;

  std::string name;
  std::string lengthUnit;  // the mesh's unit: the master of the resection
  std::string gridFile;    // where the grid was read from; functions go beside it
  std::vector<meshBlock> blocks;
  std::vector<meshFunction<T>> functions;
  markersArray meshMarkers;   // model positions, in meshMarkers.lengthUnit
  markersArray imageMarkers;  // the standard image markers, pixels
  image* current = nullptr;   // the image being resected

  std::size_t nodeCount() const {
    std::size_t n = 0;
    for (const auto& b : blocks) n += b.count();
    return n;
  }
  bool meshEmpty() const { return nodeCount() == 0; }
  // Mesh markers and standard image markers with elements, and a mesh.
  bool complete() const {
    return meshMarkers.count() > 0 && imageMarkers.count() > 0 && !meshEmpty();
  }
  // Index of the function named `n` (whole text), -1 if there is none.
  int findFunction(const std::string& n) const {
    for (std::size_t f = 0; f < functions.size(); ++f)
      if (functions[f].name == n) return static_cast<int>(f);
    return -1;
  }
  // The function named `n`, new or replacing one of that name, every node
  // set to `missing`.
  meshFunction<T>& addFunction(const std::string& n) {
    int f = findFunction(n);
    if (f < 0) {
      functions.push_back({n, {}});
      f = static_cast<int>(functions.size()) - 1;
    }
    auto& fn = functions[static_cast<std::size_t>(f)];
    fn.values.assign(blocks.size(), {});
    for (std::size_t b = 0; b < blocks.size(); ++b)
      fn.values[b].assign(blocks[b].count(), static_cast<T>(missing));
    return fn;
  }
  void clear() { *this = field_data(); }
};

}  // namespace zel

zel::field_data<double>& get_field_data();
