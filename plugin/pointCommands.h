// The point operations of the "Edit" group and the ranged filters.
#pragma once

namespace zel {
class imagesList;
}

namespace tamble {

bool ArithmeticCommand(zel::imagesList& list);          // "Arithmetic..."
bool ImageArithmeticCommand(zel::imagesList& list);     // "Image Arithmetic..."
bool CutOffIntensitiesCommand(zel::imagesList& list);   // "Cut off Intensities..."
bool ConservativeInvertCommand(zel::imagesList& list);  // "Conservative Invert"
bool FloodROICommand(zel::imagesList& list);            // "Flood ROI..."
bool RangedFiltersCommand(zel::imagesList& list);       // "Ranged Filters..."

}  // namespace tamble
