// What refuses a request: the text the page shows and the HTTP status it
// answers with. Nothing has changed when one is thrown.
#pragma once

#include <stdexcept>
#include <string>

namespace tamble::workbench {

class requestError : public std::runtime_error {
 public:
  explicit requestError(const std::string& text, int httpStatus = 400)
      : std::runtime_error(text), status(httpStatus) {}
  int status;
};

}  // namespace tamble::workbench
