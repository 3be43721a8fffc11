// Numbers as text, one set for every file and host: the shortest text that
// reads back as the same value, text with a given number of significant
// digits and decimal mark (the parameter store keeps a decimal comma), and
// the reading of a number written in one of the forms below.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zel {

// The shortest text that reads back as the same value: "0.1", "1e+20",
// "-0", "inf", "nan".
std::string numberText(double value);
std::string numberText(float value);

// Default notation with `precision` significant digits, as a stream writes it
// in the classic locale ("0.25", "1e+20", "123457"), with `mark` as the
// decimal mark.
enum class decimalMark : char { point = '.', comma = ',' };
std::string numberText(double value, int precision, decimalMark mark);

// What a written number may hold besides an optional "-", digits with at
// most one decimal point and an optional exponent.
struct numberForm {
  bool comma = false;   // "," is a decimal mark as well as "."
  bool plus = false;    // a leading "+"
  bool blanks = false;  // blanks and tabs before and after it
};

// The value of `text` when all of it is one finite number in that form;
// nothing else ("inf", "nan", "0x1", "1 2") is read.
std::optional<double> parseNumber(std::string_view text, numberForm form = {});

}  // namespace zel
