#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

#include "host/paramRecord.h"
#include "host/platform.h"
#include "host/store.h"

namespace fs = std::filesystem;
using tamble::paramType;

namespace {

// Points the process-wide store at a file of its own for each test.
class ParamStore : public testing::Test {
 protected:
  void SetUp() override {
    root = fs::temp_directory_path() / ("tamble_param_" + std::to_string(::getpid()));
    fs::remove_all(root);
    fs::create_directories(root);
    file = root / "store.ini";
    tamble::useStore(file.string());
  }
  void TearDown() override {
    tamble::useStore({});
    fs::remove_all(root);
  }
  std::string fileText() const {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  }
  // What write_param put into the store, as text.
  std::string stored(const std::string& key) const { return reg_get_string("N", key, "<none>"); }
  fs::path root;
  fs::path file;
};

using ParamNumbers = ParamStore;

TEST_F(ParamNumbers, ReadsEitherDecimalMark) {
  reg_set_string("N", "comma", "1,5");
  reg_set_string("N", "point", "1.5");
  reg_set_string("N", "negative", "-2,25");
  reg_set_string("N", "exponent", "2,5e-3");
  for (const char* key : {"comma", "point"}) {
    EXPECT_EQ(tamble::read_param("N", key, 0.0f), 1.5f) << key;
    EXPECT_EQ(tamble::read_param("N", key, 0.0), 1.5) << key;
    EXPECT_EQ(tamble::read_param("N", key, 0), 1) << key;  // the stream stops at the mark
  }
  EXPECT_EQ(tamble::read_param("N", "negative", 0.0), -2.25);
  EXPECT_EQ(tamble::read_param("N", "negative", 0), -2);
  EXPECT_EQ(tamble::read_param("N", "exponent", 0.0), 0.0025);
}

TEST_F(ParamNumbers, MissingAndUnreadableTextsGiveTheDefault) {
  const std::pair<const char*, const char*> texts[] = {
      {"nokey", "no key"}, {"keyboard", "no keyboard"}, {"junk", "abc"},
      {"empty", ""},       {"huge", "1e999"},           {"int", "3000000000"},
  };
  for (const auto& [key, text] : texts) reg_set_string("N", key, text);
  for (const char* key : {"absent", "nokey", "keyboard", "junk", "empty"}) {
    EXPECT_EQ(tamble::read_param("N", key, 4), 4) << key;
    EXPECT_EQ(tamble::read_param("N", key, 4.5f), 4.5f) << key;
    EXPECT_EQ(tamble::read_param("N", key, 4.25), 4.25) << key;
  }
  // Overflow fails the parse; an int stops reading at the "e".
  EXPECT_EQ(tamble::read_param("N", "huge", 4.5f), 4.5f);
  EXPECT_EQ(tamble::read_param("N", "huge", 4.25), 4.25);
  EXPECT_EQ(tamble::read_param("N", "huge", 4), 1);
  EXPECT_EQ(tamble::read_param("N", "int", 4), 4);  // beyond int
  EXPECT_EQ(tamble::read_param("N", "int", 0.0), 3e9);
  reg_set_string("N", "tail", "12abc");  // a number with something after it reads
  EXPECT_EQ(tamble::read_param("N", "tail", 0), 12);
}

TEST_F(ParamNumbers, WritesDecimalCommasWithSixOrSixteenDigits) {
  tamble::write_param("N", "f", 0.1f);
  EXPECT_EQ(stored("f"), "0,1");
  tamble::write_param("N", "f", 1234567.0f);
  EXPECT_EQ(stored("f"), "1,23457e+06");
  tamble::write_param("N", "f", -2.5f);
  EXPECT_EQ(stored("f"), "-2,5");
  tamble::write_param("N", "f", 1.0f / 3.0f);
  EXPECT_EQ(stored("f"), "0,333333");
  tamble::write_param("N", "i", 7);
  EXPECT_EQ(stored("i"), "7");
  tamble::write_param("N", "i", -1000000);
  EXPECT_EQ(stored("i"), "-1000000");
  tamble::write_param("N", "d", 0.1);
  EXPECT_EQ(stored("d"), "0,1");
  tamble::write_param("N", "d", 1.0 / 3.0);
  EXPECT_EQ(stored("d"), "0," + std::string(16, '3'));
  tamble::write_param("N", "d", -1e-5);
  EXPECT_EQ(stored("d"), "-1e-05");
}

// Sixteen digits hold every double that has 15 significant digits, but not
// every double: 0.1 + 0.2 is 0.30000000000000004, whose 16-digit text is
// 0.3000000000000000, so it comes back as the double nearest to 0.3, one unit
// in the last place below. Six digits lose a float's seventh.
TEST_F(ParamNumbers, WhatSurvivesTheRoundTrip) {
  const double sum = 0.1 + 0.2;
  tamble::write_param("N", "d", sum);
  EXPECT_EQ(stored("d"), "0,3");
  EXPECT_EQ(tamble::read_param("N", "d", 0.0), 0.3);
  EXPECT_NE(tamble::read_param("N", "d", 0.0), sum);

  for (double v : {0.1, 1.0 / 3.0, -123456.789012345, 6.02214076e23}) {
    tamble::write_param("N", "d", v);
    EXPECT_EQ(tamble::read_param("N", "d", 0.0), v) << v;
  }
  tamble::write_param("N", "f", 0.1f);
  EXPECT_EQ(tamble::read_param("N", "f", 0.0f), 0.1f);
  tamble::write_param("N", "f", 1234567.0f);
  EXPECT_EQ(tamble::read_param("N", "f", 0.0f), 1234570.0f);
  tamble::write_param("N", "i", -42);
  EXPECT_EQ(tamble::read_param("N", "i", 0), -42);
}

// A dialog's values as plain members, the way dialog classes keep them.
struct filterDialog {
  int diameter = 0;
  float gain = 0;
  double offset = 0;
  int fit = 0;
  int preview = 0;
};

tamble::paramInfo info(std::string key, paramType type, double def, std::string caption) {
  tamble::paramInfo i;
  i.key = std::move(key);
  i.type = type;
  i.defaultValue = def;
  i.caption = std::move(caption);
  return i;
}

tamble::recordDescriptor<filterDialog> describe(std::string section) {
  tamble::recordDescriptor<filterDialog> d{"filterDialog", std::move(section), "Median filter", {}};
  auto diameter = info("m_diameter", paramType::Int, 5, "Filter Diameter");
  diameter.range = {1, 999};
  auto gain = info("m_gain", paramType::Float, 0.1, "Gain");
  gain.range = {0, 2.5};
  auto offset = info("m_offset", paramType::Double, -0.25, "");
  offset.range = {-1e6, 0.5};
  auto fit = info("m_fit", paramType::Radio, 1, "Fit");
  fit.choices = {{0, "Linear"}, {1, "Quadratic"}, {2, "Cubic"}};
  auto preview = info("m_preview", paramType::Int, 0, "Preview");
  preview.stored = false;
  d.fieldList = {{diameter, &filterDialog::diameter},
                 {gain, &filterDialog::gain},
                 {offset, &filterDialog::offset},
                 {fit, &filterDialog::fit},
                 {preview, &filterDialog::preview}};
  return d;
}

// Notes the order in which fields are set.
class spyRecord : public tamble::boundRecord<filterDialog> {
 public:
  using boundRecord::boundRecord;
  void setValue(std::size_t field, double v) override {
    order.push_back(field);
    boundRecord::setValue(field, v);
  }
  std::vector<std::size_t> order;
};

class ParamRecord : public ParamStore {
 protected:
  tamble::recordDescriptor<filterDialog> desc = describe("Filter");
  filterDialog dialog{3, 0.5f, 0.125, 2, 1};
  spyRecord record{desc, dialog};
};

TEST_F(ParamRecord, ResetGivesEveryFieldItsDefault) {
  tamble::resetRecord(record);
  EXPECT_EQ(dialog.diameter, 5);
  EXPECT_EQ(dialog.gain, 0.1f);
  EXPECT_EQ(dialog.offset, -0.25);
  EXPECT_EQ(dialog.fit, 1);
  EXPECT_EQ(dialog.preview, 0);
}

TEST_F(ParamRecord, LoadReadsStoredFieldsInOrderAndKeepsWhatIsMissing) {
  reg_set_string("Filter", "m_preview", "7");  // not a stored field: never read
  reg_set_string("Filter", "m_fit", "junk");
  reg_set_string("Filter", "m_gain", "0,25");
  reg_set_string("Filter", "m_diameter", "9");
  tamble::loadRecord(record);
  EXPECT_EQ(record.order, (std::vector<std::size_t>{0, 1, 2, 3}));
  EXPECT_EQ(dialog.diameter, 9);
  EXPECT_EQ(dialog.gain, 0.25f);
  EXPECT_EQ(dialog.offset, 0.125);  // missing: the present value stays
  EXPECT_EQ(dialog.fit, 2);         // unreadable: the present value stays
  EXPECT_EQ(dialog.preview, 1);
}

TEST_F(ParamRecord, NoSectionMeansNothingIsLoadedOrSaved) {
  // Keys above the first header are the store's section "".
  std::ofstream(file) << "m_diameter=9\n";
  tamble::useStore(file.string());
  const auto loose = describe("");
  filterDialog other{3, 0.5f, 0.125, 2, 1};
  spyRecord unstored(loose, other);
  tamble::loadRecord(unstored);
  EXPECT_EQ(other.diameter, 3);
  EXPECT_TRUE(unstored.order.empty());
  tamble::saveRecord(unstored);
  EXPECT_EQ(fileText(), "m_diameter=9\n");
}

TEST_F(ParamRecord, SaveWritesOnlyStoredFieldsAndLoadsBack) {
  tamble::saveRecord(record);
  EXPECT_EQ(fileText(), "[Filter]\nm_diameter=3\nm_gain=0,5\nm_offset=0,125\nm_fit=2\n");
  filterDialog fresh;
  tamble::boundRecord<filterDialog> again(desc, fresh);
  tamble::resetRecord(again);
  tamble::loadRecord(again);
  EXPECT_EQ(fresh.diameter, 3);
  EXPECT_EQ(fresh.gain, 0.5f);
  EXPECT_EQ(fresh.offset, 0.125);
  EXPECT_EQ(fresh.fit, 2);
  EXPECT_EQ(fresh.preview, 0);
}

TEST_F(ParamRecord, CheckAcceptsBothEndsOfEveryRange) {
  dialog = {1, 0.0f, -1e6, 0, 0};
  EXPECT_EQ(tamble::checkRecord(record), std::nullopt);
  dialog = {999, 2.5f, 0.5, 2, 0};
  EXPECT_EQ(tamble::checkRecord(record), std::nullopt);
}

TEST_F(ParamRecord, CheckNamesTheFirstFieldOutOfRange) {
  dialog.diameter = 0;
  EXPECT_EQ(tamble::checkRecord(record), "Filter Diameter: enter a number between 1 and 999");
  dialog.gain = std::nextafter(2.5f, 3.0f);  // also out: the first one is named
  EXPECT_EQ(tamble::checkRecord(record), "Filter Diameter: enter a number between 1 and 999");
  dialog.diameter = 1000;
  EXPECT_EQ(tamble::checkRecord(record), "Filter Diameter: enter a number between 1 and 999");
  dialog.diameter = 5;
  EXPECT_EQ(tamble::checkRecord(record), "Gain: enter a number between 0 and 2.5");
  dialog.gain = std::numeric_limits<float>::quiet_NaN();
  EXPECT_EQ(tamble::checkRecord(record), "Gain: enter a number between 0 and 2.5");
  dialog.gain = 1;
  dialog.offset = 0.5000001;  // no caption: the key names it
  EXPECT_EQ(tamble::checkRecord(record), "m_offset: enter a number between -1000000 and 0.5");
  dialog.offset = 0;
  dialog.fit = 3;
  EXPECT_EQ(tamble::checkRecord(record), "Fit: choose one of 0=Linear, 1=Quadratic, 2=Cubic");
  dialog.fit = -1;
  EXPECT_TRUE(tamble::checkRecord(record).has_value());
  dialog.preview = 12345;  // no range, no complaint
  dialog.fit = 0;
  EXPECT_EQ(tamble::checkRecord(record), std::nullopt);
}

TEST_F(ParamRecord, AssignTakesTypedValues) {
  auto assign = [this](const char* key, const char* text) {
    const auto error = tamble::assignParam(record, key, text);
    EXPECT_EQ(error, std::nullopt) << key << "=" << text;
  };
  assign("diameter", "7");
  EXPECT_EQ(dialog.diameter, 7);
  assign("m_diameter", "2.0");
  EXPECT_EQ(dialog.diameter, 2);
  assign("diameter", "1e3");  // no range check here
  EXPECT_EQ(dialog.diameter, 1000);
  assign("diameter", " -4 ");
  EXPECT_EQ(dialog.diameter, -4);
  assign("gain", "0,75");
  EXPECT_EQ(dialog.gain, 0.75f);
  assign("gain", "+2.5E-1");
  EXPECT_EQ(dialog.gain, 0.25f);
  assign("m_offset", "-3,125");
  EXPECT_EQ(dialog.offset, -3.125);
  assign("offset", ".5");
  EXPECT_EQ(dialog.offset, 0.5);
  assign("fit", "0");
  EXPECT_EQ(dialog.fit, 0);
  assign("fit", "quadratic");
  EXPECT_EQ(dialog.fit, 1);
  assign("m_fit", "CUBIC");
  EXPECT_EQ(dialog.fit, 2);
  assign("preview", "1");
  EXPECT_EQ(dialog.preview, 1);
}

TEST_F(ParamRecord, AssignRefusesWithTheKeyAndTheText) {
  const filterDialog before = dialog;
  const std::pair<const char*, const char*> bad[] = {
      {"diameter", "2.5"},  {"diameter", ""},  {"diameter", "abc"}, {"diameter", "5x"},
      {"diameter", "1e10"}, {"gain", "1,2,3"}, {"gain", "1.5.2"},   {"gain", "inf"},
      {"gain", "nan"},      {"gain", "1e39"},  {"offset", "5 6"},   {"offset", "+-5"},
      {"offset", "0x10"},   {"fit", "7"},      {"fit", "quad"},     {"fit", "1.5"},
  };
  for (const auto& [key, text] : bad) {
    const auto error = tamble::assignParam(record, key, text);
    ASSERT_TRUE(error.has_value()) << key << "=" << text;
    EXPECT_NE(error->find(key), std::string::npos) << *error;
    EXPECT_NE(error->find(std::string("'") + text + "'"), std::string::npos) << *error;
  }
  EXPECT_EQ(dialog.diameter, before.diameter);
  EXPECT_EQ(dialog.gain, before.gain);
  EXPECT_EQ(dialog.offset, before.offset);
  EXPECT_EQ(dialog.fit, before.fit);
  EXPECT_NE(tamble::assignParam(record, "fit", "7")->find("0=Linear, 1=Quadratic, 2=Cubic"),
            std::string::npos);

  const auto unknown = tamble::assignParam(record, "radius", "5");
  ASSERT_TRUE(unknown.has_value());
  for (const char* key : {"radius", "m_diameter", "m_gain", "m_offset", "m_fit", "m_preview"})
    EXPECT_NE(unknown->find(key), std::string::npos) << *unknown;
  EXPECT_TRUE(tamble::assignParam(record, "m_m_diameter", "5").has_value());
  EXPECT_TRUE(tamble::assignParam(record, "Diameter", "5").has_value());
}

TEST_F(ParamRecord, DescribeListsEveryField) {
  const std::string text = tamble::describeRecord(record);
  EXPECT_EQ(text.substr(0, text.find('\n')), "Median filter");
  EXPECT_NE(text.find("\n  m_diameter=3  (int, 1 - 999)  Filter Diameter\n"), std::string::npos)
      << text;
  EXPECT_NE(text.find("\n  m_gain=0.5  (float, 0 - 2.5)  Gain\n"), std::string::npos) << text;
  EXPECT_NE(text.find("\n  m_offset=0.125  (double, -1000000 - 0.5)\n"), std::string::npos) << text;
  EXPECT_NE(text.find("\n  m_fit=2  (0=Linear, 1=Quadratic, 2=Cubic)  Fit\n"), std::string::npos)
      << text;
  EXPECT_NE(text.find("\n  m_preview=1  (int)  Preview\n"), std::string::npos) << text;
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 6);
}

}  // namespace
