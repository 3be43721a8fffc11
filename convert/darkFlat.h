// Dark and flat correction: the first two stages of a conversion, and the
// routines behind the "Tools" commands of the same names.
#pragma once

#include "api/arrayWorks.h"

namespace zel {
class imagesList;
}

namespace tamble {

using floatLayer = zel::arrayStore<float, 2>;
using maskLayer = zel::arrayStore<bool, 2>;

// The message of a frame whose size differs from its target's.
inline constexpr const char* frameSizeText =
    "Images have different dimensions. Procedure is terminated";

// field := field - dark at every pixel, masks or not; nothing clips. A frame
// of another size is reported (not during a list conversion) and the field
// stays; the answer is then false.
bool subtractDark(floatLayer& field, maskLayer& bkgr, const floatLayer& darkField,
                  const maskLayer& darkBkgr);

// Divides the field by the flat frame normalised to its mean (a single
// precision sum over all pixels). Where the normalised flat lies outside 0.5
// to 1.5 the flat is a defect: those pixels are filled up from their
// neighbourhood instead, and where it is 0.25 or less they are not divided
// first. bkgr and ROI stay. A frame of another size as for subtractDark.
bool correctFlat(floatLayer& field, maskLayer& bkgr, const floatLayer& flatField,
                 const maskLayer& flatBkgr);

// The stages "Dark Frame Subtraction" and "Flat Field Correction": each
// source image of the paint with its own frame, in the order wind_off_refe,
// wind_on_refe, wind_off_sens, wind_on_sens; a source whose frame is absent
// is skipped. Interactive (from the menu) takes the "UnDo" check point first.
bool DarkSubtraction(zel::imagesList& list, bool interactive);
bool FlatCorrection(zel::imagesList& list, bool interactive);

// The commands of the menu rows: the stages, and the "Tools" commands that
// correct the current image with a frame the user picks.
bool DarkFrameStageCommand(zel::imagesList& list);        // "Dark Frame Subtraction"
bool FlatFieldStageCommand(zel::imagesList& list);        // "Flat Field Correction"
bool DarkFieldSubtractionCommand(zel::imagesList& list);  // "Dark Field Subtraction..."
bool FlatFieldCorrectionCommand(zel::imagesList& list);   // "Flat Field Correction..."

}  // namespace tamble
