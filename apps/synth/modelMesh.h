// The model's surface as test engineers keep it: a structured grid of three
// surface blocks (the body, the right wing, the left wing) whose nodes all
// lie on the model, with the true fields at the nodes, the model positions
// of the markers and the standard image markers: the resection data of a
// synthetic run.
#pragma once

#include "host/fieldData.h"

namespace tamble::synth {

struct syntheticRun;
class windTunnelModel;

// The blocks of about `nodes` nodes in all, spaced alike on every block;
// nk = 1, i runs downstream (body) or along the chord (wings), j to the
// right, so that the i by j cross product points up.
std::vector<zel::meshBlock> modelGrid(int nodes);

// The run's resection data: the grid of the run's options (no blocks when
// the options ask for none), "Pressure" (Pa) and "Cp" for a pressure
// paint or "T" (degrees Celsius) for a temperature paint, the markers'
// model positions (mm) and their wind-off centres (pixels) in the same
// numbering. The length unit is mm.
zel::field_data<double> modelData(const syntheticRun& run);

}  // namespace tamble::synth
