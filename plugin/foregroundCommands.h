// "ForeGround Thinning..." and "ForeGround Expansion..." of the "Tools" group:
// the routines of convert/foreground.h on the current image.
#pragma once

#include "convert/foreground.h"

namespace zel {
class imagesList;
}

namespace tamble {

bool ForegroundThinningCommand(zel::imagesList& list);   // "ForeGround Thinning..."
bool ForegroundExpansionCommand(zel::imagesList& list);  // "ForeGround Expansion..."

}  // namespace tamble
