#include "api/report.h"

#include "api/log.h"

namespace zel {
namespace {

class logSink : public reportSink {
 public:
  void notice(const std::string& text) override { get_log().level(3).write(text); }
  void progress(const std::string&, int) override {}
  bool quiet() const override { return false; }
};

logSink& fallback() {
  static logSink sink;
  return sink;
}

reportSink*& installed() {
  static reportSink* sink = &fallback();
  return sink;
}

}  // namespace

reportSink& report() { return *installed(); }

void setReport(reportSink* sink) { installed() = sink ? sink : &fallback(); }

void noticeUnlessQuiet(const std::string& text) {
  if (!report().quiet()) report().notice(text);
}

}  // namespace zel
