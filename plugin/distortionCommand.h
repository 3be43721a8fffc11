// "Optical Distortion Correction...": the current image and its markers
// through the radial lens model of a camera file.
#pragma once

namespace zel {
class imagesList;
}

namespace tamble {

bool OpticalDistortionCommand(zel::imagesList& list);  // "Optical Distortion Correction..."

// The two refusals; both come before the snapshot, so nothing changes.
inline constexpr const char* distortionAbsent = "Optical Distortion Parameters a2, a4 are Absent!";
inline constexpr const char* centreOffImage = "Optical Center is Out of BitMap Plane!";
// What the file question shows: its title and filter.
inline constexpr const char* cameraFileTitle = "Camera File";
inline constexpr const char* cameraFileFilter = "Camera parameters files (*.cam)|*.cam||";

}  // namespace tamble
