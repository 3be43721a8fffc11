#include "markers/numerate.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include "align/linkMarkers.h"
#include "align/polynomialFit.h"
#include "api/report.h"

namespace tamble {
namespace {

void say(bool verbose, const char* text) {
  if (verbose) zel::noticeUnlessQuiet(text);
}

// The same markers by index, to a thousandth of a squared pixel.
bool sameMarkers(const zel::markersArray& a, const zel::markersArray& b) {
  const int n = std::min(a.count(), b.count());
  double sum = 0.0;
  for (int i = 0; i < n; ++i) {
    const double dx = a[i].x - b[i].x, dy = a[i].y - b[i].y;
    sum += dx * dx + dy * dy;
  }
  return sum < 0.001;
}

// The linked pairs: image positions and the pattern positions they match.
struct pairList {
  std::vector<double> imageX, imageY, patternX, patternY;
  int size() const { return static_cast<int>(imageX.size()); }
};

pairList linkedPairs(const markerPoints& pattern, const linkResult& link) {
  pairList p;
  for (int i = 0; i < pattern.size(); ++i) {
    if (!link.linked[i]) continue;
    p.imageX.push_back(link.linkX[i]);
    p.imageY.push_back(link.linkY[i]);
    p.patternX.push_back(pattern.x[i]);
    p.patternY.push_back(pattern.y[i]);
  }
  return p;
}

// The order the pairs carry, with a notice for each step down.
int orderFor(int pairs, bool verbose) {
  if (pairs >= 20) return 10;
  say(verbose, powerDownTo6);
  if (pairs >= 12) return 6;
  say(verbose, powerDownTo3);
  if (pairs >= 3) return 3;
  say(verbose, powerDownTo1);
  return 1;
}

std::string threeDecimals(double v) {
  char text[64];
  std::snprintf(text, sizeof text, "%.3f", v);
  return text;
}

std::string question(int pairs, int m, const fitErrors& e) {
  const int order = m == 10 ? 3 : m == 6 ? 2 : m == 3 ? 1 : 0;
  return "Enumeration :\nNumber of pairs        =   " + std::to_string(pairs) +
         "\nApproximation Order =   " + std::to_string(order) +
         "\nMean Linear Deflection =   " + threeDecimals(e.mean) +
         "\nMean Squar  Deflection =   " + threeDecimals(e.rms) +
         "\nAbsolute MaxDeflection =   " + threeDecimals(e.max) + "\nProceed With Enumeration ?";
}

// The pattern marker at (x, y) to a thousandth on both axes, or null.
const marker* patternAt(const zel::markersArray& pattern, double x, double y) {
  for (const marker& m : pattern.items)
    if (std::fabs(m.x - x) < 0.001 && std::fabs(m.y - y) < 0.001) return &m;
  return nullptr;
}

void renumber(const zel::markersArray& pattern, const pairList& pairs, zel::markersArray& image) {
  image.items.clear();
  image.functionName.clear();
  image.lengthUnit.clear();
  for (int i = 0; i < pairs.size(); ++i) {
    const marker* p = patternAt(pattern, pairs.patternX[i], pairs.patternY[i]);
    if (!p) continue;
    marker m;
    m.x = pairs.imageX[i];
    m.y = pairs.imageY[i];
    m.active = true;
    m.id = p->id;  // 0: the array gives the next number
    image.add(m);
  }
  image.hasX = true;
  image.hasY = true;
}

}  // namespace

bool NumerateMarkers(const zel::markersArray& pattern, zel::markersArray& image, int box,
                     bool verbose, polynomialState& state, const numberingQuestion& ask,
                     int fixed) {
  if (pattern.count() == 0 || image.count() == 0) {
    say(verbose, pattern.count() == 0 ? noPatternMarkers : noImageMarkers);
    return false;
  }
  if (sameMarkers(pattern, image)) {
    say(verbose, identicalImages);
    return false;
  }
  const markerPoints p1 = pointsOf(pattern), p2 = pointsOf(image);
  const linkResult link = LinkMarkers(p1, p2, box, fixed, state);
  if (!link.ok) {
    say(verbose, linkFailed);
    return false;
  }
  const pairList pairs = linkedPairs(p1, link);
  const int m = orderFor(pairs.size(), verbose);
  if (!ZlMatrix(pairs.imageX, pairs.imageY, pairs.patternX, pairs.patternY, m, state.forwardX,
                state.forwardY)) {
    say(verbose, fitFailed);
    return false;
  }
  state.order = m;
  const fitErrors e = FitErrors(pairs.imageX, pairs.imageY, pairs.patternX, pairs.patternY, m,
                                state.forwardX, state.forwardY);
  if (verbose && ask && !ask(question(pairs.size(), m, e))) return false;
  renumber(pattern, pairs, image);
  return true;
}

}  // namespace tamble
