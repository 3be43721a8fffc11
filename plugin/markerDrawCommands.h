// The drawing commands of the "Markers" group: synthetic spots at the
// markers, and the triangle mesh between them.
#pragma once

namespace zel {
class imagesList;
}

namespace tamble {

bool DrawArtificialMarkersCommand(zel::imagesList& list);  // "Draw Artificial Markers..."
bool TriangulationDrawCommand(zel::imagesList& list);      // "Triangulation Draw"

// The guards of both commands.
inline constexpr const char* noMarkersToReDraw = "Markers are Absent.\nNo Markers to ReDraw!";
inline constexpr const char* noMarkersToTriangulate =
    "Markers are Absent.\nNo Markers to Triangulate!";

}  // namespace tamble
