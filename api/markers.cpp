#include "api/markers.h"

#include <algorithm>

#include "api/errors.h"

namespace zel {

void markersArray::resize(int n) {
  items.clear();
  if (n <= 0) return;
  items.resize(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) items[static_cast<std::size_t>(i)].id = i + 1;
}

void markersArray::add(const marker& m) {
  items.push_back(m);
  if (m.id != 0) return;
  int largest = 0;
  for (std::size_t i = 0; i + 1 < items.size(); ++i) largest = std::max(largest, items[i].id);
  items.back().id = largest + 1;
}

int markersArray::indexOf(int id, bool required) const {
  for (std::size_t i = 0; i < items.size(); ++i)
    if (items[i].id == id) return static_cast<int>(i);
  if (required) raise<IndexError>();
  return -1;
}

}  // namespace zel
