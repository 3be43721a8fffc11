// Everything the commands remember between calls, in one place: the values
// each dialog opened with last, the memory cell and the transfer buffers, the
// conversion state of the open project, the polynomial map of the last
// transform or alignment, and the quiet flag. One session exists per
// process; reset() starts a fresh one (a host beginning anew, a test case).
#pragma once

#include <map>
#include <memory>
#include <typeindex>

#include "api/arrayWorks.h"
#include "api/markers.h"
#include "geometry/polynomialMap.h"
#include "plugin/projectState.h"

namespace tamble {

// The memory cell, a calculator's memory for images, and the two buffers that
// carry a ROI and a marker set from one image to another. Saved nowhere.
struct memoryCellStores {
  zel::arrayStore<float, 2> field;  // free while either extent is zero
  zel::arrayStore<bool, 2> bkgr;
  zel::arrayStore<bool, 2> roi;
  zel::markersArray markers;
  zel::arrayStore<bool, 2> roiBuffer;
  zel::markersArray markersBuffer;
};

class sessionState {
 public:
  // The values a command remembers for its next opening, by type: what its
  // dialog held at the last OK, default-constructed until then. A command
  // may remember a whole record or a small struct of its own.
  template <class T>
  T& remembered() {
    std::shared_ptr<void>& slot = values[std::type_index(typeid(T))];
    if (!slot) slot = std::make_shared<T>();
    return *static_cast<T*>(slot.get());
  }

  memoryCellStores memory;
  conversionState conversion;  // reset by opening a project too
  polynomialState polynomial;
  // While not zero, the notices of low-level routines are dropped. Opening a
  // project and converting a list set it for the length of their work. (A
  // list conversion also sets conversion.batchMode, which silences the
  // stages' own warnings.)
  int quietMode = 0;

  // Forgets everything above and the project the project library holds.
  void reset();

 private:
  std::map<std::type_index, std::shared_ptr<void>> values;
};

// The session. Its first use, when the commands are loaded, installs the
// report sink through which routines show their notices (dropped while
// quietMode is set).
sessionState& session();

}  // namespace tamble
