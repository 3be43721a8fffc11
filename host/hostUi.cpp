#include "host/hostUi.h"

#include <cstdio>

namespace tamble {
namespace {

// Until an application installs its own: notices go to standard error,
// questions are answered No and every choice is cancelled.
class quietUi : public HostUi {
 public:
  bool message(const std::string& text, bool ask, bool error) override {
    std::fprintf(stderr, "%s%s\n", error ? "error: " : "", text.c_str());
    return ask ? false : true;
  }
  bool editRecord(paramRecord&) override { return false; }
  int chooseImage(const std::string&, const std::vector<std::string>&, int) override { return -1; }
  std::string chooseFile(const std::string&, const std::string&, bool,
                         const std::string&) override {
    return {};
  }
  std::vector<std::string> chooseFiles(const std::string&, const std::string&) override {
    return {};
  }
};

quietUi& fallback() {
  static quietUi ui;
  return ui;
}

HostUi*& installed() {
  static HostUi* ui = &fallback();
  return ui;
}

}  // namespace

HostUi& hostUi() { return *installed(); }

void setHostUi(HostUi* ui) { installed() = ui ? ui : &fallback(); }

}  // namespace tamble
