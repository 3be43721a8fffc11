#include "host/paramRecord.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>
#include <locale>
#include <sstream>

#include "api/numbers.h"
#include "api/paths.h"
#include "host/platform.h"

namespace tamble {
namespace {

constexpr const char* blanks = " \t";
constexpr const char* missing = "no key";  // what the store answers for an absent key

// The store's number texts: read with the classic locale after turning
// decimal commas into points, so both marks read.
template <class T>
T readNumber(const std::string& section, const std::string& key, T def) {
  std::string text = reg_get_string(section, key, missing);
  if (text.compare(0, 6, missing) == 0) return def;
  std::replace(text.begin(), text.end(), ',', '.');
  std::istringstream in(text);
  in.imbue(std::locale::classic());
  T value{};
  if (!(in >> value)) return def;
  return value;
}

template <class T>
void writeNumber(const std::string& section, const std::string& key, T value, int precision) {
  reg_set_string(section, key, zel::numberText(value, precision, zel::decimalMark::comma));
}

bool isWhole(double v) { return std::isfinite(v) && v == std::trunc(v); }
bool fitsInt(double v) { return isWhole(v) && v >= INT_MIN && v <= INT_MAX; }

// Whole numbers without decimals (even large ones), others with 6 digits.
std::string showNumber(double v) {
  if (isWhole(v) && std::abs(v) < 1e15) return std::to_string(static_cast<long long>(v));
  return zel::numberText(v, 6, zel::decimalMark::point);
}

// Saturating: a descriptor may pair Int with a member that holds anything.
int toInt(double v) {
  if (std::isnan(v)) return 0;
  return static_cast<int>(std::clamp(v, double{INT_MIN}, double{INT_MAX}));
}

std::string nameOf(const paramInfo& info) { return info.caption.empty() ? info.key : info.caption; }

std::string listChoices(const std::vector<radioChoice>& choices) {
  std::string out;
  for (const radioChoice& c : choices)
    out += (out.empty() ? "" : ", ") + std::to_string(c.value) + "=" + c.label;
  return out;
}

bool isChoice(const paramInfo& info, double v) {
  return std::any_of(info.choices.begin(), info.choices.end(),
                     [v](const radioChoice& c) { return c.value == v; });
}

std::optional<std::string> complaint(const paramInfo& info, double v) {
  if (info.range) {
    auto [low, high] = *info.range;
    // A float field holds the bounds as floats too, so that a typed bound
    // such as 0.000001 (stored just below the double) is accepted.
    if (info.type == paramType::Float) {
      low = static_cast<float>(low);
      high = static_cast<float>(high);
    }
    if (!(v >= low && v <= high))  // NaN fails too
      return nameOf(info) + ": enter a number between " + showNumber(low) + " and " +
             showNumber(high);
  }
  if (info.type == paramType::Radio && !info.choices.empty() && !isChoice(info, v))
    return nameOf(info) + ": choose one of " + listChoices(info.choices);
  return std::nullopt;
}

std::string trimmed(const std::string& text) {
  const auto first = text.find_first_not_of(blanks);
  if (first == std::string::npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

// A number as a user types it: either decimal mark, an optional sign and
// exponent, blanks around it, nothing else; finite.
std::optional<double> parseNumber(const std::string& text) {
  return zel::parseNumber(text, {.comma = true, .plus = true, .blanks = true});
}

std::optional<std::size_t> findField(const paramRecord& record, const std::string& key) {
  const auto& fields = record.fields();
  for (const std::string& wanted : {key, "m_" + key}) {
    for (std::size_t i = 0; i < fields.size(); ++i)
      if (fields[i].key == wanted) return i;
  }
  return std::nullopt;
}

std::string unknownKey(const paramRecord& record, const std::string& key) {
  std::string keys;
  for (const paramInfo& info : record.fields()) keys += (keys.empty() ? "" : ", ") + info.key;
  const std::string& name = record.title().empty() ? record.className() : record.title();
  return "Unknown parameter '" + key + "' for " + name + "; its keys are: " + keys;
}

// The number of a choice, or the choice whose label matches in any case.
std::optional<double> radioValue(const paramInfo& info, const std::string& text) {
  if (const auto v = parseNumber(text); v && fitsInt(*v))
    if (info.choices.empty() || isChoice(info, *v)) return v;
  const std::string label = zel::lower(trimmed(text));
  for (const radioChoice& c : info.choices)
    if (zel::lower(c.label) == label) return c.value;
  return std::nullopt;
}

// Puts the typed value into `value`, or answers why it is refused.
std::optional<std::string> typedValue(const paramInfo& info, const std::string& key,
                                      const std::string& text, double& value) {
  const std::string quoted = key + ": '" + text + "' ";
  if (info.type == paramType::Radio) {
    const auto v = radioValue(info, text);
    if (!v && info.choices.empty()) return quoted + "is not a whole number";
    if (!v) return quoted + "is not one of " + listChoices(info.choices);
    value = *v;
    return std::nullopt;
  }
  const auto v = parseNumber(text);
  if (!v) return quoted + "is not a number";
  if (info.type == paramType::Int && !isWhole(*v)) return quoted + "is not a whole number";
  if (info.type == paramType::Int && !fitsInt(*v)) return quoted + "is too large for an integer";
  if (info.type == paramType::Float && std::abs(*v) > std::numeric_limits<float>::max())
    return quoted + "is too large for a float";
  value = *v;
  return std::nullopt;
}

std::string typeText(const paramInfo& info) {
  return info.type == paramType::Radio ? listChoices(info.choices) : paramTypeName(info.type);
}

std::string valueText(const paramInfo& info, double v) {
  switch (info.type) {
    case paramType::Int:
    case paramType::Radio: return showNumber(v);
    case paramType::Float: return zel::numberText(v, 6, zel::decimalMark::point);
    case paramType::Double: return zel::numberText(v, 16, zel::decimalMark::point);
  }
  return {};
}

std::string fieldLine(const paramInfo& info, double v) {
  std::string line = "  " + info.key + "=" + valueText(info, v) + "  (" + typeText(info);
  if (info.range)
    line += ", " + showNumber(info.range->first) + " - " + showNumber(info.range->second);
  line += ")";
  if (!info.caption.empty()) line += "  " + info.caption;
  return line + "\n";
}

}  // namespace

int read_param(const std::string& section, const std::string& key, int def) {
  return readNumber(section, key, def);
}
float read_param(const std::string& section, const std::string& key, float def) {
  return readNumber(section, key, def);
}
double read_param(const std::string& section, const std::string& key, double def) {
  return readNumber(section, key, def);
}

void write_param(const std::string& section, const std::string& key, int value) {
  reg_set_string(section, key, std::to_string(value));  // decimal: no mark to turn
}
void write_param(const std::string& section, const std::string& key, float value) {
  writeNumber(section, key, value, 6);
}
void write_param(const std::string& section, const std::string& key, double value) {
  writeNumber(section, key, value, 16);
}

void resetRecord(paramRecord& record) {
  const auto& fields = record.fields();
  for (std::size_t i = 0; i < fields.size(); ++i) record.setValue(i, fields[i].defaultValue);
}

void loadRecord(paramRecord& record) {
  const std::string& section = record.section();
  if (section.empty()) return;
  const auto& fields = record.fields();
  for (std::size_t i = 0; i < fields.size(); ++i) {
    const paramInfo& info = fields[i];
    if (!info.stored) continue;
    const double present = record.value(i);
    switch (info.type) {
      case paramType::Int:
      case paramType::Radio:
        record.setValue(i, read_param(section, info.key, toInt(present)));
        break;
      case paramType::Float:
        record.setValue(i, read_param(section, info.key, static_cast<float>(present)));
        break;
      case paramType::Double: record.setValue(i, read_param(section, info.key, present)); break;
    }
  }
}

std::optional<std::string> checkRecord(const paramRecord& record) {
  const auto& fields = record.fields();
  for (std::size_t i = 0; i < fields.size(); ++i)
    if (auto text = complaint(fields[i], record.value(i))) return text;
  return record.ownCheck();
}

std::string storedText(const paramRecord& record, std::size_t field) {
  const double v = record.value(field);
  switch (record.fields()[field].type) {
    case paramType::Int:
    case paramType::Radio: return std::to_string(toInt(v));  // decimal: no mark to turn
    case paramType::Float:
      return zel::numberText(static_cast<float>(v), 6, zel::decimalMark::comma);
    case paramType::Double: return zel::numberText(v, 16, zel::decimalMark::comma);
  }
  return {};
}

void saveRecord(const paramRecord& record) {
  const std::string& section = record.section();
  if (section.empty()) return;
  const auto& fields = record.fields();
  std::vector<std::pair<std::string, std::string>> values;
  for (std::size_t i = 0; i < fields.size(); ++i)
    if (fields[i].stored) values.emplace_back(fields[i].key, storedText(record, i));
  reg_set_strings(section, values);
}

std::optional<std::string> assignParam(paramRecord& record, const std::string& key,
                                       const std::string& text) {
  const auto field = findField(record, key);
  if (!field) return unknownKey(record, key);
  const paramInfo& info = record.fields()[*field];
  if (info.shownOnly)
    return "'" + info.key + "' (" + info.caption +
           ") only shows a value the command computes; it cannot be set";
  double value = 0;
  if (auto error = typedValue(record.fields()[*field], key, text, value)) return error;
  record.setValue(*field, value);
  record.edited(*field);
  return std::nullopt;
}

std::string describeRecord(const paramRecord& record) {
  std::string out = (record.title().empty() ? record.className() : record.title()) + "\n";
  const auto& fields = record.fields();
  for (std::size_t i = 0; i < fields.size(); ++i) out += fieldLine(fields[i], record.value(i));
  return out;
}

const char* paramTypeName(paramType type) {
  switch (type) {
    case paramType::Int: return "int";
    case paramType::Float: return "float";
    case paramType::Double: return "double";
    case paramType::Radio: return "radio";
  }
  return "";
}

std::string paramNumberText(const paramInfo& field, double value) {
  return field.type == paramType::Float ? zel::numberText(static_cast<float>(value))
                                        : zel::numberText(value);
}

}  // namespace tamble
