// Included first into every source of the fuzzing build. clang 14 cannot use
// libstdc++ 12's <source_location> (the header needs a builtin that clang
// gained later and then declares nothing), so the image model's errors.h
// would not compile. This stand-in gives the same interface from the older
// builtins (constexpr: clang 14 rejects consteval in default arguments);
// with a library that has the real one it is not used.
#pragma once

#include <version>

#if defined(__clang__) && !defined(__cpp_lib_source_location)
#include <cstdint>

namespace std {

struct source_location {
  static constexpr source_location current(const char* file = __builtin_FILE(),
                                           const char* function = __builtin_FUNCTION(),
                                           uint_least32_t line = __builtin_LINE(),
                                           uint_least32_t column = __builtin_COLUMN()) noexcept {
    source_location where;
    where.file_ = file;
    where.function_ = function;
    where.line_ = line;
    where.column_ = column;
    return where;
  }
  constexpr const char* file_name() const noexcept { return file_; }
  constexpr const char* function_name() const noexcept { return function_; }
  constexpr uint_least32_t line() const noexcept { return line_; }
  constexpr uint_least32_t column() const noexcept { return column_; }

 private:
  const char* file_ = "";
  const char* function_ = "";
  uint_least32_t line_ = 0;
  uint_least32_t column_ = 0;
};

}  // namespace std
#endif
