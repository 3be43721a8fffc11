// The adaptive noise filter command of the "Edit" group.
#pragma once

namespace zel {
class imagesList;
}

namespace tamble {

bool WienerFilterCommand(zel::imagesList& list);  // "Wiener Filter..."

}  // namespace tamble
