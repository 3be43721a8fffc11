// The plug-in's one exported entry.
#include "plugin/commandTable.h"

extern "C" __attribute__((visibility("default"))) plg2dapiInfo* GetInfo2DAPI() {
  return tamble::buildCommandTable();
}
