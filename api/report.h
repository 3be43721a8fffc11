// How numeric routines reach the user: a notice, progress, and whether
// notices of low-level routines are wanted now. The caller installs the sink
// (the commands install one that shows notices through the host); routines
// never talk to a user interface themselves.
#pragma once

#include <string>

namespace zel {

class reportSink {
 public:
  virtual ~reportSink() = default;
  virtual void notice(const std::string& text) = 0;
  virtual void progress(const std::string& what, int percent) = 0;
  // True while the notices of low-level routines are to be dropped.
  virtual bool quiet() const = 0;
};

// The installed sink. Until one is installed, notices go to the log at level
// 3 and progress is dropped.
reportSink& report();
// Installs `sink` (nullptr: the default again). The sink must outlive its use.
void setReport(reportSink* sink);

// A notice that is dropped while the sink is quiet: the form that low-level
// routines use.
void noticeUnlessQuiet(const std::string& text);

}  // namespace zel
