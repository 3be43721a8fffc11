// Markers: the spots painted on the model, and the list of them that an image
// (or the images list, for pressure ports) carries.
#pragma once

#include <string>
#include <vector>

#include "api/object.h"

struct marker {
  double x = 0.0;
  double y = 0.0;
  double z = 0.0;
  double f = 0.0;  // value of the array's function, a pressure for instance
  bool active = false;
  int id = 0;  // unique within the array, 1 and up

  bool operator==(const marker&) const = default;
};

namespace zel {

class markersArray : public ObjectId {
 public:
  std::vector<marker> items;
  std::string functionName;  // "Irefe_Isens", "Pressure", "T", "P_Pstat", "Cp" or empty
  std::string lengthUnit;    // empty for pixels
  bool hasX = true;
  bool hasY = true;
  bool hasZ = true;
  bool hasF = true;

  markersArray() = default;
  markersArray(const markersArray&) = default;
  markersArray& operator=(const markersArray&) = default;
  markersArray(markersArray&&) = default;
  markersArray& operator=(markersArray&&) = default;

  int count() const { return static_cast<int>(items.size()); }
  // n inactive markers at the origin, numbered 1 to n; the old ones are gone.
  void resize(int n);
  // Appends a copy; an id of 0 becomes one more than the largest id present.
  void add(const marker& m);
  // Index of the first marker with `id`; -1 if none, or zel::IndexError when
  // the caller says it must exist.
  int indexOf(int id, bool required = false) const;

  marker& operator[](int i) { return items[static_cast<std::size_t>(i)]; }
  const marker& operator[](int i) const { return items[static_cast<std::size_t>(i)]; }
};

}  // namespace zel
