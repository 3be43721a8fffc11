// The alignment of one image onto another by the values of "Image
// Alignment": what "Image Alignment...", "ROI Align & Copy..." and the
// conversion's "Alignment of Images..." share.
#pragma once

#include <string>

#include "align/displacementTable.h"
#include "dialogs/alignmentDialog.h"

namespace zel {
class image;
}

namespace tamble {

// With "Show INFO" off the routines' notices are dropped for the scope.
class infoScope {
 public:
  explicit infoScope(bool show);
  ~infoScope();
  infoScope(const infoScope&) = delete;
  infoScope& operator=(const infoScope&) = delete;

 private:
  int saved;
};

struct recordAlignment {
  bool warped = false;
  // The image was to move and did not (no markers, no pairs, no fit), or the
  // user ended the alignment when shown its errors.
  bool failed = false;
  displacementMap source;  // where each output pixel came from; empty when not warped
};

// Aligns `first` onto `second`: triangles with "Micro Alignment", else the
// polynomial, whose errors are put as a question with "Show errors".
recordAlignment alignByRecord(zel::image& first, const zel::image& second, const CAlignment& r);

// "QPED": the displacement of the record's grid of cells, written to `file`.
// An image that did not move is told, and no file is written.
void writeDisplacement(const std::string& file, const zel::image& first, const CAlignment& r,
                       const displacementMap& source);

}  // namespace tamble
