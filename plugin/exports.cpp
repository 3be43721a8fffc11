// The plug-in's one exported entry. Loading the library also hands the menu
// to the host library, where Tamble's own hosts read the descriptors.
#include "plugin/commandTable.h"

namespace {
const bool registered = (tamble::registerMenu(tamble::offeredMenu), true);
}

extern "C" __attribute__((visibility("default"))) plg2dapiInfo* GetInfo2DAPI() {
  (void)registered;
  return tamble::buildCommandTable();
}
