// The parameter records of the marker search and the marker revision, and
// the values they remember for the life of the process.
#pragma once

#include <string>

#include "host/paramRecord.h"

namespace tamble {

// "Revise/Draw Markers": the revision commands (and the drawing of markers).
// m_BiggestRadius is used as the diameter.
struct CRevMarkers {
  double m_BiggestRadius = 5.0;
  int iposneg = -1;  // 1 "Peaks", -1 "Pits"
  static const recordDescriptor<CRevMarkers>& descriptor();
};

// "Auto Marker Search": "Auto Mark...".
struct CAutomarq {
  float m_bmr = 3.0f;    // diameter
  float m_tresh = 1.0f;  // scale of the entropy law
  float m_rel = 0.4f;    // scale of the relative law
  int m_fixed = 0;       // keep the markers there are: no search
  int pos_neg = -1;      // 1 "Peaks", -1 "Pits"
  int regime = 1;        // held, not consulted
  int th_rel = 1;        // 0 "Entropy based", 1 "Relative based"
  int high_speed = 0;    // held, not consulted
  // The level of the search: the scale of the chosen law, 0.5 for a law
  // that is neither. The entropy law of this command is a plain relative
  // level with its own scale, so 1.0 or more leaves at most one marker.
  float level() const;
  static const recordDescriptor<CAutomarq>& descriptor();
};

// "Auto Marker Search With Enumeration": the conversion's "Automatic
// Marking...". m_bmr is used as the diameter, whatever its caption says.
struct CAutomarsc {
  float m_bmr = 2.0f;
  float m_entropy = 1.0f;
  float m_relative = 0.2f;
  int m_fixed = 0;
  int pos_neg = -1;
  int m_renumeration = 0;
  int m_box = 9;
  int rel = 1;  // 0 "Entropy Based", 1 "Relative Based"
  int m_errors = 0;
  static const recordDescriptor<CAutomarsc>& descriptor();
};

// "Markers Search by Limited Marker's Number": the ring search without a
// threshold, keeping the m_limit strongest spots (1000 brings the relative
// threshold of CAutomarsc's defaults back).
struct CAutomarl {
  float m_bmr = 2.0f;
  int m_limit = 100;
  static const recordDescriptor<CAutomarl>& descriptor();
};

// "Numerate Markers (BConvert Source)": the conversion's "Numerate
// Markers...", which numbers the markers of every image as wind_off_sens has
// them.
struct CCSNumerate {
  int m_box = 9;  // the tracking window, pixels
  int m_fix = 0;  // the first markers that are the same on both images: 0, 1, 2, 3 and more
  static const recordDescriptor<CCSNumerate>& descriptor();
};

// "Markers Search by Reference": "Auto Mark by Reference...". Both values
// are remembered for the process, not stored.
struct CAutomarp {
  float m_bmr = 3.0f;  // diameter, also the correlation patch size
  int pos_neg = -1;    // 1 "Peaks", -1 "Pits"
  static const recordDescriptor<CAutomarp>& descriptor();
};

// Whether a dialog shows the control of `key` enabled, given the values now
// in the record: "Select only fixed markers" greys the search's controls, a
// law greys the other law's scale, "Box" needs "ENumeration".
bool controlEnabled(const CAutomarq& record, const std::string& key);
bool controlEnabled(const CAutomarsc& record, const std::string& key);

// The values remembered for the process. CRevMarkers starts from its own;
// CAutomarq starts from the five values that both marker searches share
// (diameter, law, both scales, sign), which the commands of both write after
// OK and CAutomarsc does not read.
CRevMarkers& revMarkersMemory();
CAutomarq automarqFromMemory();
void rememberSearch(const CAutomarq& record);
void rememberSearch(const CAutomarsc& record);

}  // namespace tamble
