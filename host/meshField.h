// The mesh data set as the image model's field: one row per grid block, in
// the blocks' order, with the blocks' structure, and its functions as
// functions of the field (the `missing` sentinel kept).
#pragma once

#include <vector>

#include "api/field.h"
#include "host/fieldData.h"

namespace tamble {

zel::pointField meshField(const zel::field_data<double>& data);

// The unit normal at every node, block by block (zero where a block has
// none: see Field::ensureNormals): for a surface block the cross product of
// the i and j directions.
std::vector<std::vector<zel::xyzVec<double>>> meshNormals(const zel::field_data<double>& data);

}  // namespace tamble
