// "Markers Statistics": the report of the command of that name, shown as a
// list of lines that the user reads and closes. Nothing in it is an input
// and nothing is stored.
#pragma once

#include <string>
#include <vector>

#include "host/paramRecord.h"

namespace tamble {

// Each line is one shown-only field: its caption is the line's text and its
// value the line's number, from 1.
class CMarkOut : public paramRecord {
 public:
  explicit CMarkOut(std::vector<std::string> lines = {});

  const std::string& className() const override;
  const std::string& section() const override;  // empty: nothing is stored
  const std::string& title() const override;
  const std::vector<paramInfo>& fields() const override { return lineFields; }
  double value(std::size_t field) const override { return static_cast<double>(field + 1); }
  void setValue(std::size_t, double) override {}  // the lines are not edited

  const std::vector<std::string>& lines() const { return text; }

 private:
  std::vector<std::string> text;
  std::vector<paramInfo> lineFields;
};

}  // namespace tamble
