// "Auto Mark by Reference..." of "Markers".
#pragma once

namespace zel {
class imagesList;
}

namespace tamble {

// The current image takes the chosen pattern image's markers, revised and
// moved by their correlated shifts; it stays the current image.
bool AutoMarkByReferenceCommand(zel::imagesList& list);

}  // namespace tamble
