// The two loops of automatic conversion over many data sets: the list of
// wind-on runs inside a project (run by "Open Project..." on a list project)
// and the list of project files ("Automatic Convert List..."). The host
// shows their progress on a scale of 1 to 500.
#pragma once

namespace zel {
class imagesList;
}

namespace tamble {

// The progress after round i (from -1) of a project's list of n runs, and
// after file i (from 0) of a list of n project files.
int projectListProgress(int i, int n);
int fileListProgress(int i, int n);

// The question after a round that did not convert.
inline constexpr const char* continueListQuestion =
    "Processing the current project is terminated.\nWould you like to continue processing in "
    "accordance with list?";

// The project's own pair first, then each entry of its lists: the wind-on
// file names take the entry's (the images in the list stay as they are, so
// each round writes the same conversion under the entry's name), the run is
// converted (dialogs in the first round only) and its results saved.
void ConvertProjectList(zel::imagesList& list, int n);

// "Automatic Convert List...": each chosen project opened, converted and
// saved in turn; all must be of the paint kind of the first.
bool AutomaticConvertList(zel::imagesList& list);

}  // namespace tamble
