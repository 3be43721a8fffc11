// The conversion's stages that filter, undistort and align the source images,
// and those that filter and thin the results. Each is a function of the list
// and `interactive`: from the menu it takes the "UnDo" check point and shows
// its dialog, in an automatic conversion it reads its parameters from the
// store.
#pragma once

#include <string>

namespace zel {
class imagesList;
}

namespace tamble {

// An even diameter becomes the odd one below it for the sources, above it
// for the results: the two stages round differently on purpose.
int sourceFilterDiameter(int d);
int resultFilterDiameter(int d);

// "Filtering...": the separable Gauss on every source.
bool Filtering(zel::imagesList& list, bool interactive);
// "Filter Output Fields...": the separable Gauss on every result.
bool FilterOutputFields(zel::imagesList& list, bool interactive);
// "ForeGround Thinning..." of "B Convert": the thinning of the results' foreground.
bool ForegroundThinningOfResults(zel::imagesList& list, bool interactive);
// "Distortion Correction": each source through its camera's lens model
// (the reference camera for the reference paint, the sensor camera for the
// sensor paint).
bool DistortionCorrection(zel::imagesList& list, bool interactive);
// "Alignment of Images...": wind_on_sens, then (double paint) wind_on_refe
// and wind_off_refe aligned onto wind_off_sens. False when one of them could
// not be aligned; the images before it stay aligned.
bool AlignmentOfImages(zel::imagesList& list, bool interactive);

// The displacement table of an aligned source, beside the project:
// "<stem>_displacement_snsf.txt" for wind_on_sens, "_rnsf" for wind_on_refe,
// "_rfsf" for wind_off_refe.
std::string displacementFileOf(const std::string& projectFile, const std::string& image);

}  // namespace tamble
