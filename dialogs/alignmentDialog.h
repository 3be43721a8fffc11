// "Image Alignment": the parameters of "Image Alignment...", "ROI Align &
// Copy..." and the conversion's alignment, and the values remembered for the
// next opening.
#pragma once

#include <string>

#include "host/paramRecord.h"

namespace tamble {

struct CAlignment {
  int m_nsquare = 9;          // the tracking window: the farthest a pair may lie apart
  int pnumber = 10;           // polynomial terms: 0 ("O ": no warp), 3, 6, 10
  int rtype = 1;              // 1 "Link", 2 "Move && Rotate"
  int nfixnumber = 0;         // the first markers that are the same on both images
  int m_immediate = 1;        // "Show errors": the fit's report asks before the warp
  int m_no_trans = 1;         // "Polynomial": off leaves the image as it is
  int m_QPED = 0;             // write the displacement table
  int m_macro = 0;            // blend orders 3, 2 and 1 by the distance to a marker
  int m_micro = 0;            // triangles: every marker lands on its partner
  int m_fixed = 0;            // pairs by index, all markers
  int m_QPED_cellSize = 16;
  int m_QPED_stepSize = 8;
  int m_QPED_Iterations = 1;
  int m_info = 1;             // "Show INFO": off silences the routines' notices
  int m_keyb = 0;             // "Optimize": stored and shown only

  // The fixed-marker count the alignment uses: all (4) when the markers are
  // fixed and correct, else the radio's.
  int fixedCount() const { return m_fixed ? 4 : nfixnumber; }
  static const recordDescriptor<CAlignment>& descriptor();
};

// Whether the dialog shows the control of `key` enabled with the values now in
// the record; `choice` names one radio button of `key` (-1: the control as a
// whole). "Polynomial" off greys the law, the power, the fixed markers and the
// window; "Micro Alignment" greys "Polynomial", the law, power "3", the fixed
// markers and "Macro Alignment"; "Markers are Fixed and Correct" greys the
// fixed markers; the QPED edits follow "QPED".
bool controlEnabled(const CAlignment& record, const std::string& key, int choice = -1);

// The record a new opening starts from: the defaults with the values the
// session remembers (window, power, law, fixed markers, "Show errors",
// "Polynomial", "QPED").
CAlignment alignmentOpening();
void rememberAlignment(const CAlignment& record);

}  // namespace tamble
