// The fill-up commands: the markers of the current image, the regions
// outside its ROI, and its background.
#pragma once

namespace zel {
class imagesList;
}

namespace tamble {

bool FillUpMarkersCommand(zel::imagesList& list);     // "Fill Up Markers..."
bool FillUpCommand(zel::imagesList& list);            // "Fill Up..."
bool FillUpBackGroundCommand(zel::imagesList& list);  // "Fill Up BackGround"

}  // namespace tamble
