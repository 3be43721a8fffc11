// The mesh data set of the model that resection works on. The host holds one;
// reading it from PLOT3D files arrives with resection.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "api/vectors.h"

namespace zel {

template <class T>
class field_data {
 public:
  std::string name;
  std::vector<std::vector<xyzVec<double>>> grid;  // the nodes of each grid block
  std::vector<std::vector<T>> functions;          // values on the nodes, by function
  std::vector<std::string> functionNames;
  std::size_t count = 0;  // number of nodes

  // A mesh is complete when it has blocks, functions and nodes.
  bool complete() const { return !grid.empty() && !functions.empty() && count != 0; }
};

}  // namespace zel

zel::field_data<double>& get_field_data();
