// Save Results: what a conversion produced goes to files beside the wind-on
// sensor image (markers, result images, regions of interest), and the
// project file is brought up to date with their names and the parameters
// of the conversion. docs/results.md tells the user's side.
#pragma once

namespace zel {
class imagesList;
}

namespace tamble {

// The question asked before marker files the project already names are
// written over.
extern const char* const overwriteMarkersQuestion;

// The menu's form ("Save Results", and each project of a list of projects):
// the primary markers of the source images, the results' markers, the
// result images, the regions and the project file. A failing write raises
// zel::FileError and ends the routine there; files written before it stay.
void SaveResultsMenu(zel::imagesList& list);
// The form used run by run inside a list project: no question and no source
// markers, otherwise the same.
void SaveResultsList(zel::imagesList& list);

// "Save Results": SaveResultsMenu, with a failure shown to the user.
bool SaveResultsCommand(zel::imagesList& list);

}  // namespace tamble
