// The exception family of the image model.
//
// The classes are plain values, deliberately not derived from std::exception:
// a host catches them by type and reads the four fields. Every throw goes
// through zel::raise, which writes the failure to the log before the throw, so
// the log holds it even when a caller swallows the exception.
#pragma once

#include <cstdint>
#include <source_location>
#include <string>

namespace zel {

class GenericError {
 public:
  const char* message = "";  // static text, never owned
  std::int32_t code = 0;
  const char* file = "";
  std::int32_t line = 0;

  GenericError() = default;
  // Writes "<message> in:<file>:<line>" at level 2 to the log, then fills the
  // fields. The throw that follows carries the same four values.
  GenericError(const char* file, int line, const char* message, int code);
};

class IndexError : public GenericError {
 public:
  static constexpr int standardCode = 1;
  static constexpr const char* standardMessage = "Index error!";
  using GenericError::GenericError;
};

class DimError : public GenericError {
 public:
  static constexpr int standardCode = 2;
  static constexpr const char* standardMessage = "Array and bkgr have different dimensions!";
  using GenericError::GenericError;
};

class FileError : public GenericError {
 public:
  static constexpr int standardCode = 4;
  static constexpr const char* standardMessage = "File error!";
  using GenericError::GenericError;
};

class StateError : public GenericError {
 public:
  static constexpr int standardCode = 8;
  static constexpr const char* standardMessage = "State error!";
  using GenericError::GenericError;
};

class AlgoError : public GenericError {
 public:
  static constexpr int standardCode = 9;
  static constexpr const char* standardMessage = "Algorithm error!";
  using GenericError::GenericError;
};

// Code of a class: the plain GenericError has 0 and no standard text.
template <class E>
constexpr int errorCode() {
  if constexpr (requires { E::standardCode; })
    return E::standardCode;
  else
    return 0;
}

template <class E>
constexpr const char* errorMessage() {
  if constexpr (requires { E::standardMessage; })
    return E::standardMessage;
  else
    return "";
}

// A text that lives as long as the process, for messages built at run time
// (a file name and what is wrong with it). Equal texts share one copy.
const char* lasting(const std::string& text);

// The one way to throw: logs "<message> in:<file>:<line>" at level 2, then
// throws E by value. `message` must be static text (it is never copied).
template <class E>
[[noreturn]] void raise(const char* message = errorMessage<E>(),
                        std::source_location where = std::source_location::current()) {
  throw E(where.file_name(), static_cast<int>(where.line()), message, errorCode<E>());
}

template <class E>
[[noreturn]] void raise(const std::string& message,
                        std::source_location where = std::source_location::current()) {
  raise<E>(lasting(message), where);
}

}  // namespace zel
