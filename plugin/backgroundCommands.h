// The background commands: the conversion's stage "Background Work...", the
// "Tools" commands "BackGround...", "Open BackGround...", "Save BackGround
// As..." and the four small ones that reset, invert or move the layer. The
// routine is in convert/background.h.
#pragma once

#include "convert/background.h"
#include "dialogs/backgroundDialogs.h"

namespace zel {
class imagesList;
}

namespace tamble {

// The file choice of the two file commands.
inline constexpr const char* backgroundFileTitle = "Extended Data";
inline constexpr const char* onlyImpQuestion =
    "You can use only IMP file.\n\nWould you like to try again?";

// The routine's parameters as the record holds them; both layers present.
backgroundParams backgroundParamsOf(const CBG_Dlg& record);

// The stage: every source image of the paint (wind_on_refe, wind_off_refe,
// wind_on_sens, wind_off_sens; a single paint the last two). Interactive
// (from the menu) shows the dialog and takes the "UnDo" check point after
// OK; otherwise the record comes from the store. A fault is shown once and
// leaves the images as they were. False on Cancel.
bool BackgroundWork(zel::imagesList& list, bool interactive);

// The commands of the menu rows.
bool BackgroundWorkStageCommand(zel::imagesList& list);  // "Background Work..."
bool BackgroundCommand(zel::imagesList& list);           // "BackGround..."
bool OpenBackground(zel::imagesList& list);              // "Open BackGround..."
bool SaveBackgroundAs(zel::imagesList& list);            // "Save BackGround As..."
bool ResetBackground(zel::imagesList& list);             // "Reset BackGround"
bool InvertBackground(zel::imagesList& list);            // "Invert BackGround"
bool BackgroundToROI(zel::imagesList& list);             // "BackGround->ROI"
bool ROIToBackground(zel::imagesList& list);             // "ROI->BackGround"

}  // namespace tamble
