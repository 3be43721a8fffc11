// The resection of one image onto the mesh, which the plug-in offers to hosts
// besides its menu (tamble's resect step): registered with the host library
// when the plug-in loads. The run's parameters come from the "Resection
// Methods " dialog, which the host answers.
#pragma once

#include <cstddef>
#include <string>

namespace zel {
class image;
}

namespace tamble {

struct imageResection {
  bool done = false;
  std::string function;  // the mesh function written
  std::size_t nodes = 0, seen = 0, outside = 0, hidden = 0, facingAway = 0, unusable = 0;
};

using resectionService = imageResection (*)(zel::image&);

void registerResection(resectionService service);
// The registered service; null when no plug-in registered one.
resectionService registeredResection();

}  // namespace tamble
