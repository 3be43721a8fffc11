// "DeInterlace...": blanks or rebuilds one half-frame of the current image.
#pragma once

namespace zel {
class imagesList;
}

namespace tamble {

bool DeInterlaceCommand(zel::imagesList& list);  // "DeInterlace..."

}  // namespace tamble
