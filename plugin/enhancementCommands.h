// The contrast and sharpness commands of the "Transform" group.
#pragma once

namespace zel {
class imagesList;
}

namespace tamble {

bool UnSharpMaskCommand(zel::imagesList& list);          // "UnSharp Mask..."
bool SpaceVariantCommand(zel::imagesList& list);         // "Space-Variant Enhancement..."
bool NonlinearContrastCommand(zel::imagesList& list);    // "Nonlinear Contrast..."
bool WeightedHybridMapCommand(zel::imagesList& list);    // "Weighted Hybrid Map..."
bool SteepThinningCommand(zel::imagesList& list);        // "Thinning of Steep Regions..."

}  // namespace tamble
