// Opening and closing a project ("B Convert").
#pragma once

namespace zel {
class imagesList;
}

namespace tamble {

bool OpenProject(zel::imagesList& list);   // "Open Project..."
bool CloseProject(zel::imagesList& list);  // "Close Project"

}  // namespace tamble
