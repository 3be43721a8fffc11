// The memory cell, a calculator's memory for images, and the two buffers that
// carry a ROI and a marker set from one image to another. They live in the
// plug-in from load to unload and are saved nowhere.
#pragma once

#include "api/arrayWorks.h"
#include "api/markers.h"

namespace zel {
class imagesList;
}

namespace tamble {

zel::arrayStore<float, 2>& memoryField();
zel::arrayStore<bool, 2>& memoryBkgr();
zel::arrayStore<bool, 2>& memoryROI();
zel::markersArray& memoryMarkers();
zel::arrayStore<bool, 2>& roiBuffer();
zel::markersArray& markersBuffer();

// Copies four members of an image or of the cell into four others. The field
// stores must agree in extent: otherwise a notice (unless the session is
// quiet) and nothing is copied. Answers whether it copied.
bool copy_bms(const zel::arrayStore<float, 2>& field, const zel::arrayStore<bool, 2>& bkgr,
              const zel::arrayStore<bool, 2>& roi, const zel::markersArray& markers,
              zel::arrayStore<float, 2>& toField, zel::arrayStore<bool, 2>& toBkgr,
              zel::arrayStore<bool, 2>& toRoi, zel::markersArray& toMarkers);
bool copy_ROI(const zel::arrayStore<bool, 2>& from, zel::arrayStore<bool, 2>& to);

// The commands.
bool ImageToMemory(zel::imagesList& list);   // "Image -> M ..."
bool CopyToMemory(zel::imagesList& list);    // "  X -> M"
bool CopyFromMemory(zel::imagesList& list);  // "  M -> X"
bool SwapWithMemory(zel::imagesList& list);  // "  X <-> M"
bool MemoryPlusImage(zel::imagesList& list);
bool MemoryMinusImage(zel::imagesList& list);
bool MemoryTimesImage(zel::imagesList& list);
bool MemoryByImage(zel::imagesList& list);
bool ImageMinusMemory(zel::imagesList& list);
bool ImageByMemory(zel::imagesList& list);
bool DeviationFromMemory(zel::imagesList& list);
bool ROICopy(zel::imagesList& list);
bool ROIPaste(zel::imagesList& list);
bool MarkersCopy(zel::imagesList& list);
bool MarkersPaste(zel::imagesList& list);

}  // namespace tamble
