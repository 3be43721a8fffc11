// Every parameter record, shown by a command or kept by a project's
// conversion: reset gives its defaults and its checks accept them, its range
// ends and choices are accepted and what lies beyond them is refused, its keys
// differ, and the store gives back what was saved.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "dialogs/markerDialogs.h"
#include "host/platform.h"
#include "host/store.h"
#include "plugin/catalogue.h"
#include "plugin/projectParameters.h"
#include "tests/support/commandTest.h"

namespace {

using namespace tamble;

// Each record once: those the commands show, the conversion's stage records
// and the ring search's, which no command shows yet.
std::vector<std::unique_ptr<paramRecord>> everyRecord() {
  std::vector<std::unique_ptr<paramRecord>> records = stageRecords();
  records.push_back(std::make_unique<ownedRecord<CAutomarl>>());
  for (const commandDescriptor* d : registeredCommands())
    for (recordMaker make : d->records) records.push_back(make());
  std::set<std::string> seen;
  std::erase_if(records, [&](const auto& r) { return !seen.insert(r->className()).second; });
  return records;
}

// What a user types before the first OK: the scales start at 0, and the
// sizes at no pixels until the command opens them on the image.
const std::map<std::string, std::map<std::string, double>> typedFirst = {
    {"CSRS", {{"m_scx", 1}, {"m_scy", 1}}},
    {"CSSR", {{"m_scx", 1}, {"m_scy", 1}}},
    {"CIRes", {{"x_pixels", 100}, {"y_pixels", 100}}},
    {"CICrop", {{"x_pixels", 100}, {"y_pixels", 100}}}};

// Values just beyond a range: one for whole numbers, a thousandth (at
// least) for the others.
std::pair<double, double> beyond(const paramInfo& f) {
  const auto [low, high] = *f.range;
  if (f.type == paramType::Int || f.type == paramType::Radio) return {low - 1, high + 1};
  return {low - std::max(1.0, std::abs(low)) * 1e-3, high + std::max(1.0, std::abs(high)) * 1e-3};
}

// An accepted value other than `v`: the other end of the range, another
// choice, or one and a quarter more.
double otherThan(const paramInfo& f, double v) {
  if (f.range) return v == f.range->second ? f.range->first : f.range->second;
  if (!f.choices.empty()) return f.choices[f.choices.front().value == v].value;
  return v + (f.type == paramType::Float || f.type == paramType::Double ? 1.25 : 1);
}

using EveryRecord = tamble::testing::commandTest;

// Defaults, range ends, choices, unique keys and the store round trip of
// every record, one record at a time.
TEST_F(EveryRecord, KeepsItsDefaultsRangesChoicesKeysAndStoreRoundTrip) {
  const auto records = everyRecord();
  ASSERT_GE(records.size(), 20u);  // the commands' records are found at all
  for (const auto& r : records) {
    SCOPED_TRACE(r->className());
    const std::vector<paramInfo>& fields = r->fields();
    resetRecord(*r);
    std::set<std::string> keys;
    for (std::size_t i = 0; i < fields.size(); ++i) {
      EXPECT_EQ(r->value(i), fields[i].defaultValue) << fields[i].key;
      EXPECT_TRUE(keys.insert(fields[i].key).second) << fields[i].key << " twice";
      if (typedFirst.count(r->className()) && typedFirst.at(r->className()).count(fields[i].key))
        r->setValue(i, typedFirst.at(r->className()).at(fields[i].key));
    }
    ASSERT_EQ(checkRecord(*r), std::nullopt);

    for (std::size_t i = 0; i < fields.size(); ++i) {
      const paramInfo& f = fields[i];
      const double accepted = r->value(i);
      const std::string name = f.caption.empty() ? f.key : f.caption;
      std::vector<double> good, bad;
      if (f.range) {
        good = {f.range->first, f.range->second};
        bad = {beyond(f).first, beyond(f).second};
      }
      if (!f.choices.empty()) {
        int highest = f.choices.front().value;
        for (const radioChoice& c : f.choices) {
          good.push_back(c.value);
          highest = std::max(highest, c.value);
        }
        bad.push_back(highest + 1);
      }
      for (double v : good) {
        r->setValue(i, v);
        EXPECT_EQ(checkRecord(*r), std::nullopt) << f.key << "=" << v;
      }
      for (double v : bad) {
        r->setValue(i, v);
        const auto complaint = checkRecord(*r);
        EXPECT_TRUE(complaint && complaint->find(name) != std::string::npos) << f.key << "=" << v;
      }
      r->setValue(i, accepted);
    }

    if (r->section().empty()) continue;  // kept for the session only
    std::remove(store.c_str());
    useStore(store);
    std::vector<double> accepted;
    for (std::size_t i = 0; i < fields.size(); ++i) {
      accepted.push_back(r->value(i));
      if (fields[i].stored) r->setValue(i, otherThan(fields[i], r->value(i)));
    }
    std::vector<std::string> saved;
    for (std::size_t i = 0; i < fields.size(); ++i) saved.push_back(storedText(*r, i));
    saveRecord(*r);
    for (std::size_t i = 0; i < fields.size(); ++i) r->setValue(i, accepted[i]);
    loadRecord(*r);
    for (std::size_t i = 0; i < fields.size(); ++i) {
      if (fields[i].stored)
        EXPECT_EQ(storedText(*r, i), saved[i]) << fields[i].key;
      else
        EXPECT_EQ(reg_get_string(r->section(), fields[i].key, "(none)"), "(none)")
            << fields[i].key << " is not stored";
    }
  }
}

}  // namespace
