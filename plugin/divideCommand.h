// "Divide Image by Image..." of "Tools": the current image divided, pixel by
// pixel, by an image the user chooses; the ratio of a wind-off and a wind-on
// image in one step.
#pragma once

#include <string>

namespace zel {
class image;
class imagesList;
}  // namespace zel

namespace tamble {

// dividend := dividend / divisor where neither is background; a divisor of
// zero (magnitude 1e-10 or less), not a number, or a quotient that is not
// finite makes the pixel background with value 0. The ROI becomes the
// pixels both images select. Images of different sizes: false, and the
// dividend stays as it was.
bool divideImages(zel::image& dividend, const zel::image& divisor);

// The notice for images of different sizes, naming both.
std::string divideSizeText(const zel::image& dividend, const zel::image& divisor);

bool DivideImageByImageCommand(zel::imagesList& list);

}  // namespace tamble
