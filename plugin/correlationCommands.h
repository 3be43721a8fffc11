// The correlation commands of the "Transform" menu: the correlation surface
// of two images, and the alignments by shift and by Fourier-Mellin.
#pragma once

namespace zel {
class imagesList;
}

namespace tamble {

bool CrossCorrelationCommand(zel::imagesList& list);  // "Cross Correlation (Phase Only)..."
bool ShiftAlignmentCommand(zel::imagesList& list);    // "Shift Only Image Alignment..."
bool MellinAlignmentCommand(zel::imagesList& list);   // "Mellin Image Alignment..."

}  // namespace tamble
