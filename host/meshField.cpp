#include "host/meshField.h"

#include <algorithm>

namespace tamble {

zel::pointField meshField(const zel::field_data<double>& data) {
  zel::pointField field;
  field.setName(data.name);
  for (std::size_t b = 0; b < data.blocks.size(); ++b) {
    const zel::meshBlock& block = data.blocks[b];
    const int row = static_cast<int>(b);
    field.appendRow(static_cast<int>(block.count()));
    std::copy(block.nodes.begin(), block.nodes.end(), field.row(row));
    if (block.count() > 0) field.setShape(row, block.ni, block.nj, block.nk);
  }
  for (const auto& fn : data.functions) {
    auto& f = field.addFunction<double>(fn.name);
    for (std::size_t b = 0; b < fn.values.size() && b < data.blocks.size(); ++b)
      std::copy_n(fn.values[b].begin(), std::min(fn.values[b].size(), data.blocks[b].count()),
                  f.row(static_cast<int>(b)));
  }
  return field;
}

std::vector<std::vector<zel::xyzVec<double>>> meshNormals(const zel::field_data<double>& data) {
  zel::pointField field = meshField(data);
  const auto& normals = field.ensureNormals();
  std::vector<std::vector<zel::xyzVec<double>>> out(data.blocks.size());
  for (int r = 0; r < normals.rows(); ++r)
    if (normals.rowSize(r) > 0)
      out[static_cast<std::size_t>(r)].assign(normals.row(r), normals.row(r) + normals.rowSize(r));
  return out;
}

}  // namespace tamble
