#include "errors.h"

#include "log.h"

namespace zel {

GenericError::GenericError(const char* file_, int line_, const char* message_, int code_)
    : message(message_ ? message_ : ""), code(code_), file(file_ ? file_ : ""), line(line_) {
  // Written at once: the failure must reach the file even if the process dies
  // while the exception unwinds.
  get_log().level(2).urgent().write(message).write(" in:").write(file).write(":").write(line);
}

}  // namespace zel
