// Numbering: the markers of one image take the numbers of the same markers
// on another (the pattern), found by marker linking and checked by a
// polynomial fit between the two sets.
#pragma once

#include <functional>
#include <string>

#include "api/markers.h"
#include "geometry/polynomialMap.h"

namespace tamble {

inline constexpr const char* noPatternMarkers = "Sorry. Pattern Markers are Absent.";
inline constexpr const char* noImageMarkers = "Sorry. Image Markers are Absent.";
inline constexpr const char* identicalImages =
    "It Seem's that Images are Identical. Try Different ones.";
inline constexpr const char* linkFailed = "Link Alignment Failed. Try Another Parameters.";
inline constexpr const char* fitFailed = "Linear Equation Solution Failed. Try Another Parameters.";
inline constexpr const char* powerDownTo6 = "Powering Down to 6 parameters.";
inline constexpr const char* powerDownTo3 = "Powering Down to 3 parameters.";
inline constexpr const char* powerDownTo1 = "Powering Down to 1 parameter.";

// A yes/no question to the user; an empty one answers yes.
using numberingQuestion = std::function<bool(const std::string&)>;

// Replaces `image` by its markers that have a partner among the `pattern`
// markers (within `box` pixels once the sets are linked), each at its own
// position and with its partner's number (a partner numbered 0 takes the
// largest number given so far plus 1); z and f become 0, every marker is
// enabled, the function name and length unit are cleared. `fixed` says how
// many first markers of both arrays are the same markers in the same order.
// With `verbose` the notices are shown (unless quiet) and the fit's errors
// are put to `ask` ("Proceed With Enumeration ?"); without it nothing is
// said or asked. `state`'s forward arrays and order take the fit from the
// image's markers to the pattern's. False, with `image` as it was, when
// either array is empty, both are the same, the linking or the fit fails,
// or the answer is No.
bool NumerateMarkers(const zel::markersArray& pattern, zel::markersArray& image, int box,
                     bool verbose, polynomialState& state, const numberingQuestion& ask = {},
                     int fixed = 0);

}  // namespace tamble
