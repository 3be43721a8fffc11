// Dark and flat correction: the routines behind the conversion's first two
// stages and the "Tools" commands of the same names (plugin/darkFlatCommands).
#pragma once

#include "api/arrayWorks.h"

namespace tamble {

using floatLayer = zel::arrayStore<float, 2>;
using maskLayer = zel::arrayStore<bool, 2>;

// field := field - dark at every pixel, masks or not; nothing clips. A frame
// of another size leaves the field as it is, and the answer is false (the
// commands tell the user).
bool subtractDark(floatLayer& field, maskLayer& bkgr, const floatLayer& darkField,
                  const maskLayer& darkBkgr);

// Divides the field by the flat frame normalised to its mean (a single
// precision sum over all pixels). Where the normalised flat lies outside 0.5
// to 1.5 the flat is a defect: those pixels are filled up from their
// neighbourhood instead, and where it is 0.25 or less they are not divided
// first. bkgr and ROI stay. A frame of another size as for subtractDark.
bool correctFlat(floatLayer& field, maskLayer& bkgr, const floatLayer& flatField,
                 const maskLayer& flatBkgr);

}  // namespace tamble
