// The conversion's stages "Dark Frame Subtraction" and "Flat Field
// Correction", and the "Tools" commands that correct the current image with a
// frame the user picks. The routines are in convert/darkFlat.h.
#pragma once

#include "convert/darkFlat.h"

namespace zel {
class imagesList;
}

namespace tamble {

// The notice of a frame whose size differs from its target's.
inline constexpr const char* frameSizeText =
    "Images have different dimensions. Procedure is terminated";

// The routines as the commands run them: a frame of another size is told to
// the user (not during a list conversion), and the answer is then false.
bool subtractDarkFrame(floatLayer& field, maskLayer& bkgr, const floatLayer& darkField,
                       const maskLayer& darkBkgr);
bool correctFlatFrame(floatLayer& field, maskLayer& bkgr, const floatLayer& flatField,
                      const maskLayer& flatBkgr);

// The stages: each source image of the paint with its own frame, in the
// order wind_off_refe, wind_on_refe, wind_off_sens, wind_on_sens; a source
// whose frame is absent is skipped. Interactive (from the menu) takes the
// "UnDo" check point first.
bool DarkSubtraction(zel::imagesList& list, bool interactive);
bool FlatCorrection(zel::imagesList& list, bool interactive);

// The commands of the menu rows.
bool DarkFrameStageCommand(zel::imagesList& list);        // "Dark Frame Subtraction"
bool FlatFieldStageCommand(zel::imagesList& list);        // "Flat Field Correction"
bool DarkFieldSubtractionCommand(zel::imagesList& list);  // "Dark Field Subtraction..."
bool FlatFieldCorrectionCommand(zel::imagesList& list);   // "Flat Field Correction..."

}  // namespace tamble
