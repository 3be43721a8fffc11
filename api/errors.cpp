#include "api/errors.h"

#include <mutex>
#include <set>

#include "api/log.h"

namespace zel {

const char* lasting(const std::string& text) {
  static std::mutex lock;
  static std::set<std::string> texts;
  std::lock_guard<std::mutex> guard(lock);
  return texts.insert(text).first->c_str();
}

GenericError::GenericError(const char* file_, int line_, const char* message_, int code_)
    : message(message_ ? message_ : ""), code(code_), file(file_ ? file_ : ""), line(line_) {
  // Urgent: unless the host chose direct mode, the line reaches the file now,
  // before anything can go wrong while the exception unwinds.
  get_log().level(2).urgent().write(message).write(" in:").write(file).write(":").write(line);
}

}  // namespace zel
