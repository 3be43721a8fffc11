// "Set/Confirm References (Single Paint)": the reference regions of a single
// paint move from the ROI of wind_off_sens into the conversion state, with
// the reference intensities over them and the choice of a plane through
// them.
#pragma once

namespace zel {
class imagesList;
}

namespace tamble {

// Asks what it needs when `interactive`: to draw regions when none are
// drawn (Yes: false, the user draws and picks the command again), and
// whether a plane through three or more regions should stand for the
// reference. The project's stored region file is read once after opening.
// A region file that cannot be read, or is not of the master image's size,
// raises zel::FileError before anything changes.
bool SetReferences(zel::imagesList& list, bool interactive);

// The same without a question: the regions drawn now, with the plane
// approximation as given. Always true.
bool ConfirmReferences(zel::imagesList& list, bool planeApproximation);

// The menu row: both reference values from 0, SetReferences, and the master
// image current.
bool SetConfirmReferencesCommand(zel::imagesList& list);

}  // namespace tamble
