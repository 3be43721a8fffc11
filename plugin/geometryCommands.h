// The geometric commands of the "Edit" and "Transform" groups.
#pragma once

namespace zel {
class imagesList;
}

namespace tamble {

bool FlipRotateCommand(zel::imagesList& list);           // "Flip/Rotate..."
bool ScaleRotateShiftCommand(zel::imagesList& list);     // "Scale,Rotate,Shift..."
bool ScaleRotateRelativeCommand(zel::imagesList& list);  // "Scale,Rotate Relative..."
bool ImageResizeCommand(zel::imagesList& list);          // "Image Resize..."
bool ImageCropCommand(zel::imagesList& list);            // "Image Trim/Lengthen..."
bool ZoomROICommand(zel::imagesList& list);              // "Zoom ROI"
bool ROIMaximumCommand(zel::imagesList& list);           // "ROI Maximum Subpixel coordinates"

}  // namespace tamble
