// The conversion's marker stages: the search on every source image, the
// precise positioning, the numbering after wind_off_sens (the master image),
// the fill-up of the spots, and the keeping of the marker sets as found
// (primaryMarkers), which Save Results writes and an automatic conversion can
// put back. Each stage is a function of the list and `interactive`: from the
// menu it takes the "UnDo" check point and shows its dialog, in an automatic
// conversion it reads its parameters from the store.
#pragma once

namespace zel {
class imagesList;
}

namespace tamble {

// Each source present with markers gives its set to primaryMarkers, in the
// order wind_off_refe, wind_on_refe, wind_off_sens, wind_on_sens.
void StorePrimaryMarkers(zel::imagesList& list);
// The markers of wind_off_sens go to the other three sources, each is then
// positioned on its own image, and the sets are kept as primary markers.
void UseWindOffSensMarkers(zel::imagesList& list, bool interactive);

// "Automatic Marking...": the ring search on every source (double: wind_off_sens,
// wind_on_refe, wind_off_refe, wind_on_sens), optionally numbered after the
// pattern (the project's geometry markers, else wind_off_sens' own); with
// "Select only fixed markers" the markers there are stay and are kept.
bool AutomaticMarking(zel::imagesList& list, bool interactive);
// "Markers Precise Positioning...": "Revise Markers..." on every source.
bool MarkersPrecisePositioning(zel::imagesList& list, bool interactive);
// "Numerate Markers...": every source numbered as wind_off_sens.
bool NumerateMarkersStage(zel::imagesList& list, bool interactive);
// "Fill Up All Markers...": the spots of every source filled from around.
bool FillUpAllMarkers(zel::imagesList& list, bool interactive);

}  // namespace tamble
