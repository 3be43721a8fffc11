// The small-window filter sets and speckle removers of the "Transform" group
// and the four "Closed Regions Wipe$" commands of the "Tools" group.
#pragma once

namespace zel {
class imagesList;
}

namespace tamble {

inline constexpr const char* noBackgroundToWipe = "No BackGround. Operation terminated";
inline constexpr const char* noROIToWipe = "No ROI. Operation terminated";

bool Filters3x3SetCommand(zel::imagesList& list);         // "3x3 Filters Set..."
bool Gradients3x3SetCommand(zel::imagesList& list);       // "3x3 Gradients Set..."
bool MorphologicalFiltersCommand(zel::imagesList& list);  // "Morphological Filters Set..."
bool SpeckleCellCommand(zel::imagesList& list);           // "Speckle Cell Removing..."
bool SpeckleCrimminsCommand(zel::imagesList& list);       // "Speckle Removing (Crimmins)..."
bool WipeBGCommand(zel::imagesList& list);                // "Closed Regions Wipe$ BG..."
bool WipeNotBGCommand(zel::imagesList& list);             // "Closed Regions Wipe$ notBG..."
bool WipeROICommand(zel::imagesList& list);               // "Closed Regions Wipe$ ROI..."
bool WipeNotROICommand(zel::imagesList& list);            // "Closed Regions Wipe$ notROI..."

}  // namespace tamble
