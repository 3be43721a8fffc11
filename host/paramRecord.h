// Parameter records as data. Each dialog class keeps its values as plain
// members and declares one descriptor beside it: section, title, and per
// field the key, the member, the type, default, range, caption and group.
// Loading from the store, the range check of OK, saving, the command line's
// key=value parsing and its usage text are all generated from it.
#pragma once

#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace tamble {

enum class paramType { Int, Float, Double, Radio };

struct radioChoice {
  int value;
  std::string label;
};

// One field, apart from where it lives.
struct paramInfo {
  std::string key;  // the member's name, m_...: the store key and the CLI key
  paramType type = paramType::Float;
  double defaultValue = 0.0;
  std::optional<std::pair<double, double>> range;  // enforced on OK
  std::string caption;
  std::string group;
  bool stored = true;                // kept in the store under the section
  bool shownOnly = false;            // a display of a value (the image's MIN): not an input
  std::vector<radioChoice> choices;  // for Radio

  paramInfo() = default;
  // Descriptors list their fields in one line each: key, type, range,
  // caption, and where needed group, storage and radio choices. The default
  // is the member's initializer, which the descriptor reads.
  paramInfo(std::string k, paramType t, std::optional<std::pair<double, double>> r = std::nullopt,
            std::string cap = {}, std::string grp = {}, bool store = true,
            std::vector<radioChoice> choice = {})
      : key(std::move(k)),
        type(t),
        range(std::move(r)),
        caption(std::move(cap)),
        group(std::move(grp)),
        stored(store),
        choices(std::move(choice)) {}
};

// A field that only shows a value the command computes (the image's MIN and
// MAX beside a filter's parameters): not stored, and refused as an input.
inline paramInfo shownField(std::string key, paramType type, std::string caption,
                            std::string group) {
  paramInfo info(std::move(key), type, std::nullopt, std::move(caption), std::move(group), false);
  info.shownOnly = true;
  return info;
}

// A record bound to one object: what the generic operations work on.
class paramRecord {
 public:
  virtual ~paramRecord() = default;
  virtual const std::string& className() const = 0;
  virtual const std::string& section() const = 0;  // empty: nothing is stored
  virtual const std::string& title() const = 0;
  virtual const std::vector<paramInfo>& fields() const = 0;
  // Values travel as double, which holds every int and float exactly.
  virtual double value(std::size_t field) const = 0;
  virtual void setValue(std::size_t field, double v) = 0;
  // After the user changed a field: a dialog keeps dependent fields in step.
  virtual void edited(std::size_t /*field*/) {}
  // The dialog's own check on OK, after the ranges: a complaint keeps it open.
  virtual std::optional<std::string> ownCheck() const { return std::nullopt; }
  // Whether a dialog shows the field's control enabled, given the values now
  // in the record (a graphical host greys the others).
  virtual bool fieldEnabled(std::size_t /*field*/) const { return true; }
};

// The descriptor of a dialog class T, declared once beside it.
template <class T>
struct recordDescriptor {
  using member = std::variant<int T::*, float T::*, double T::*>;
  struct field {
    paramInfo info;
    member where;
  };
  std::string className;
  std::string section;
  std::string title;
  std::vector<field> fieldList;
  // Optional: keeps dependent fields in step after `key` changed.
  std::function<void(T&, const std::string& key)> onEdit;
  // Optional: the dialog's own check on OK.
  std::function<std::optional<std::string>(const T&)> okCheck;
  // Optional: whether the control of `key` is enabled with these values.
  std::function<bool(const T&, const std::string& key)> enabledIf;

  recordDescriptor(std::string cls, std::string sec, std::string ttl, std::vector<field> fields)
      : className(std::move(cls)),
        section(std::move(sec)),
        title(std::move(ttl)),
        fieldList(std::move(fields)) {}

  // The fields with their defaults, which are written once: as the members'
  // initializers.
  std::vector<paramInfo> infos() const {
    static const T fresh{};
    std::vector<paramInfo> out;
    for (const field& f : fieldList) {
      out.push_back(f.info);
      out.back().defaultValue = memberValue(fresh, f.where);
    }
    return out;
  }

  // g++ 12 warns about the alternatives a record has no member of (a
  // double read from a record of ints) although they are never reached.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Warray-bounds"
  static double memberValue(const T& object, const member& where) {
    return std::visit([&object](auto m) { return static_cast<double>(object.*m); }, where);
  }
#pragma GCC diagnostic pop
};

// A descriptor whose controls are greyed by `enabled`, a function of the
// record's values and a key.
template <class T, class F>
recordDescriptor<T> greyedBy(F enabled, recordDescriptor<T> d) {
  d.enabledIf = [enabled](const T& object, const std::string& key) { return enabled(object, key); };
  return d;
}

// Binds a descriptor to an object of its class.
template <class T>
class boundRecord : public paramRecord {
 public:
  boundRecord(const recordDescriptor<T>& d, T& o) : desc(d), object(o), infoList(d.infos()) {}
  const std::string& className() const override { return desc.className; }
  const std::string& section() const override { return desc.section; }
  const std::string& title() const override { return desc.title; }
  const std::vector<paramInfo>& fields() const override { return infoList; }
  double value(std::size_t i) const override {
    return std::visit([this](auto m) { return static_cast<double>(object.*m); },
                      desc.fieldList[i].where);
  }
  void setValue(std::size_t i, double v) override {
    std::visit(
        [this, v](auto m) {
          using V = std::remove_reference_t<decltype(object.*m)>;
          // Values outside the member's type are held at its limits.
          if constexpr (std::is_integral_v<V>)
            object.*m = v != v                               ? V{}
                        : v >= std::numeric_limits<V>::max() ? std::numeric_limits<V>::max()
                        : v <= std::numeric_limits<V>::min() ? std::numeric_limits<V>::min()
                                                             : static_cast<V>(v);
          else
            object.*m = static_cast<V>(v);
        },
        desc.fieldList[i].where);
  }

  void edited(std::size_t i) override {
    if (desc.onEdit) desc.onEdit(object, desc.fieldList[i].info.key);
  }
  std::optional<std::string> ownCheck() const override {
    return desc.okCheck ? desc.okCheck(object) : std::nullopt;
  }
  bool fieldEnabled(std::size_t i) const override {
    return !desc.enabledIf || desc.enabledIf(object, desc.fieldList[i].info.key);
  }

 private:
  const recordDescriptor<T>& desc;
  T& object;
  std::vector<paramInfo> infoList;
};

template <class T>
struct recordObject {
  T own;
};

// A record with an object of its own: for code that reaches the values only
// through the record (a project's parameter block).
template <class T>
class ownedRecord : private recordObject<T>, public boundRecord<T> {
 public:
  ownedRecord() : boundRecord<T>(T::descriptor(), recordObject<T>::own) {}
  T& values() { return recordObject<T>::own; }
};

// Sets every field to its default.
void resetRecord(paramRecord& record);
// For each stored key in order: the store's value, with the present value as
// the default (a missing or unreadable value keeps the present one).
void loadRecord(paramRecord& record);
// The check of OK: the complaint for the first value out of range, naming
// its caption and the range, then the dialog's own check; nothing when all
// pass.
std::optional<std::string> checkRecord(const paramRecord& record);
// For each stored key in order: writes the value to the store.
void saveRecord(const paramRecord& record);
// A field's value as the store writes it ("0,25" for floats).
std::string storedText(const paramRecord& record, std::size_t field);
// The name of a field's type: "int", "float", "double" or "radio".
const char* paramTypeName(paramType type);
// A number of a field as hosts show it: a float as the float it is, so that
// 0.1 does not read 0.10000000149.
std::string paramNumberText(const paramInfo& field, double value);

// Sets one field from "key=value" text as a user types it (either decimal
// mark; a radio field also takes its label). Answers an error text, or
// nothing on success. The range is not checked here: checkRecord does that.
std::optional<std::string> assignParam(paramRecord& record, const std::string& key,
                                       const std::string& text);
// The record as a user reads it: title, then a line per field with key,
// type, present value, range and caption (and the choices of a radio).
std::string describeRecord(const paramRecord& record);

// The store's number format: floats with a decimal comma.
int read_param(const std::string& section, const std::string& key, int def);
float read_param(const std::string& section, const std::string& key, float def);
double read_param(const std::string& section, const std::string& key, double def);
void write_param(const std::string& section, const std::string& key, int value);
void write_param(const std::string& section, const std::string& key, float value);
void write_param(const std::string& section, const std::string& key, double value);

}  // namespace tamble
