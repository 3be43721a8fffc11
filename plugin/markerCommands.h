// The marker commands of the "Markers" group: the quick search and the two
// revisions; and the ring searches with a record's values, as the
// conversion's "Automatic Marking..." runs them without a dialog.
#pragma once

#include "api/markers.h"

namespace zel {
class image;
class imagesList;
}  // namespace zel

namespace tamble {

struct CAutomarsc;
struct CAutomarl;

bool AutoMarkCommand(zel::imagesList& list);              // "Auto Mark..."
bool ReviseMarkersCommand(zel::imagesList& list);         // "Revise Markers..."
bool ReviseMarkersCentersCommand(zel::imagesList& list);  // "Revise Markers (Centers)..."

// The guard of both revision commands.
inline constexpr const char* noMarkersToRevise = "Markers are Absent.\nNo Markers to Revise!";

// AutoMarkRings on the image's layers into `found`, with the record's
// diameter, law, scales and sign, the empty-ring search from 1 and at most
// 1000 markers. m_fixed, m_renumeration, m_box and m_errors belong to the
// stage and are not read here.
void SearchMarkers(const zel::image& img, const CAutomarsc& record, zel::markersArray& found);
// The same without a threshold: the m_limit strongest spots of the diameter
// m_bmr, with the given sign (from 1000 on, the relative law at CAutomarsc's
// default scale).
void SearchMarkersLimited(const zel::image& img, const CAutomarl& record, int sign,
                          zel::markersArray& found);

}  // namespace tamble
