// A report sink that drops the routines' notices and progress: in a
// benchmark or a table they would only drown the figures.
#pragma once

#include <string>

#include "api/report.h"

namespace tamble::bench {

class silentReport : public zel::reportSink {
 public:
  void notice(const std::string&) override {}
  void progress(const std::string&, int) override {}
  bool quiet() const override { return true; }
};

}  // namespace tamble::bench
