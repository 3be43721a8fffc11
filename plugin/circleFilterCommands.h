// The circle-window filter commands of the "Edit" group.
#pragma once

namespace zel {
class imagesList;
}

namespace tamble {

bool MedianFilterCommand(zel::imagesList& list);      // "Median Filter..."
bool MedianFastFilterCommand(zel::imagesList& list);  // "Median Fast Filter..."
bool GaussFilterFastCommand(zel::imagesList& list);   // "Gauss Filter Fast..."
bool Filter3DCommand(zel::imagesList& list);          // "3D Filter..."
bool FilterThresholdCommand(zel::imagesList& list);   // "Filter/Threshold..."

}  // namespace tamble
