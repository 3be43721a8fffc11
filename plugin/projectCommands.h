// Opening and closing a project ("B Convert").
#pragma once

namespace zel {
class imagesList;
}

namespace tamble {

bool OpenProject(zel::imagesList& list);   // "Open Project..."
bool CloseProject(zel::imagesList& list);  // "Close Project"

// The text shown when a project lists several wind-on runs: it opens with
// its own pair of images.
extern const char* const listProjectNotice;

}  // namespace tamble
