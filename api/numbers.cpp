#include "api/numbers.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <locale>
#include <sstream>

namespace zel {
namespace {

template <class T>
std::string shortest(T value) {
  char text[64];  // more than any float or double needs
  const auto result = std::to_chars(text, text + sizeof text, value);
  return std::string(text, result.ptr);
}

std::string_view trimmed(std::string_view text) {
  constexpr const char* blanks = " \t";
  const auto first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

}  // namespace

std::string numberText(double value) { return shortest(value); }
std::string numberText(float value) { return shortest(value); }

std::string numberText(double value, int precision, decimalMark mark) {
  std::ostringstream out;
  out.imbue(std::locale::classic());
  out.precision(precision);
  out << value;
  std::string text = out.str();
  std::replace(text.begin(), text.end(), '.', static_cast<char>(mark));
  return text;
}

std::optional<double> parseNumber(std::string_view text, numberForm form) {
  std::string t(form.blanks ? trimmed(text) : text);
  if (form.comma) std::replace(t.begin(), t.end(), ',', '.');
  if (form.plus && !t.empty() && t[0] == '+') {  // from_chars takes only "-"
    t.erase(0, 1);
    if (!t.empty() && (t[0] == '+' || t[0] == '-')) return std::nullopt;
  }
  double value = 0.0;
  const char* end = t.data() + t.size();
  const auto [stop, error] = std::from_chars(t.data(), end, value);
  if (error != std::errc() || stop != end || !std::isfinite(value)) return std::nullopt;
  return value;
}

}  // namespace zel
