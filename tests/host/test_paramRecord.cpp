// Numbers in the parameter store and the records that bind dialog fields to it.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

#include "host/paramRecord.h"
#include "host/platform.h"
#include "host/store.h"
#include "tests/support/tempFolder.h"
#include "tests/support/textFile.h"

namespace fs = std::filesystem;
using tamble::paramType;

namespace {

// Points the process-wide store at a file of its own for each test.
class ParamStore : public tamble::testing::tempFolderTest {
 protected:
  void SetUp() override {
    tempFolderTest::SetUp();
    file = dir / "store.ini";
    tamble::useStore(file.string());
  }
  void TearDown() override {
    tamble::useStore({});
    tempFolderTest::TearDown();
  }
  // What write_param put into the store, as text.
  std::string stored(const std::string& key) const { return reg_get_string("N", key, "<none>"); }
  fs::path file;
};

using ParamNumbers = ParamStore;

// Numbers read with either decimal mark; missing, unreadable or overflowing texts give the default.
TEST_F(ParamNumbers, ReadsEitherDecimalMarkOrGivesTheDefault) {
  const struct {
    const char* text;  // null: no such key
    int i;
    float f;
    double d;
  } rows[] = {
      {"1,5", 1, 1.5f, 1.5},        {"-2.5e-3", -2, -0.0025f, -0.0025},
      {"12abc", 12, 12.0f, 12.0},   {"1e999", 1, 4.5f, 4.25},
      {"3000000000", 4, 3e9f, 3e9}, {nullptr, 4, 4.5f, 4.25},
      {"no key", 4, 4.5f, 4.25},    {"", 4, 4.5f, 4.25},
  };
  for (const auto& row : rows) {
    if (row.text) reg_set_string("N", "k", row.text);
    const std::string key = row.text ? "k" : "absent";
    SCOPED_TRACE(key + "=" + (row.text ? row.text : ""));
    EXPECT_EQ(tamble::read_param("N", key, 4), row.i);
    EXPECT_EQ(tamble::read_param("N", key, 4.5f), row.f);
    EXPECT_EQ(tamble::read_param("N", key, 4.25), row.d);
  }
}

// Floats are written with six digits, doubles with sixteen, both with a decimal comma.
TEST_F(ParamNumbers, WritesDecimalCommasWithSixOrSixteenDigits) {
  for (const auto& [value, text] :
       {std::pair{1234567.0f, "1,23457e+06"}, {1.0f / 3.0f, "0,333333"}}) {
    tamble::write_param("N", "f", value);
    EXPECT_EQ(stored("f"), text);
  }
  for (const auto& [value, text] :
       {std::pair{1.0 / 3.0, "0,3333333333333333"}, {-1e-5, "-1e-05"}}) {
    tamble::write_param("N", "d", value);
    EXPECT_EQ(stored("d"), text);
  }
  tamble::write_param("N", "i", -1000000);
  EXPECT_EQ(stored("i"), "-1000000");
}

// Doubles of up to 15 significant digits come back from the store exactly.
TEST_F(ParamNumbers, WhatSurvivesTheRoundTrip) {
  for (double v : {1.0 / 3.0, -123456.789012345, 6.02214076e23}) {
    tamble::write_param("N", "d", v);
    EXPECT_EQ(tamble::read_param("N", "d", 0.0), v) << v;
  }
}

// A dialog's values as plain members, the way dialog classes keep them; the
// initializers are the defaults.
struct filterDialog {
  int diameter = 5;
  float gain = 0.1f;
  double offset = -0.25;
  int fit = 1;
  int preview = 0;
};

tamble::paramInfo info(std::string key, paramType type, std::string caption) {
  tamble::paramInfo i;
  i.key = std::move(key);
  i.type = type;
  i.caption = std::move(caption);
  return i;
}

tamble::recordDescriptor<filterDialog> describe(std::string section) {
  tamble::recordDescriptor<filterDialog> d{"filterDialog", std::move(section), "Median filter", {}};
  auto diameter = info("m_diameter", paramType::Int, "Filter Diameter");
  diameter.range = {1, 999};
  auto gain = info("m_gain", paramType::Float, "Gain");
  gain.range = {0, 2.5};
  auto offset = info("m_offset", paramType::Double, "");
  offset.range = {-1e6, 0.5};
  auto fit = info("m_fit", paramType::Radio, "Fit");
  fit.choices = {{0, "Linear"}, {1, "Quadratic"}, {2, "Cubic"}};
  auto preview = info("m_preview", paramType::Int, "Preview");
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

// Loading reads stored fields in order; missing or unreadable ones keep their value.
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

// A record without a section neither loads nor saves.
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
  EXPECT_EQ(tamble::testing::readText(file), "m_diameter=9\n");
}

// checkRecord names the first field out of range or choice, by caption or key.
TEST_F(ParamRecord, CheckNamesTheFirstFieldOutOfRange) {
  dialog.diameter = 0;
  EXPECT_EQ(tamble::checkRecord(record), "Filter Diameter: enter a number between 1 and 999");
  dialog.gain = std::numeric_limits<float>::quiet_NaN();  // also out: the first one is named
  EXPECT_EQ(tamble::checkRecord(record), "Filter Diameter: enter a number between 1 and 999");
  dialog.diameter = 5;
  EXPECT_EQ(tamble::checkRecord(record), "Gain: enter a number between 0 and 2.5");
  dialog.gain = 1;
  dialog.offset = 0.5000001;  // no caption: the key names it
  EXPECT_EQ(tamble::checkRecord(record), "m_offset: enter a number between -1000000 and 0.5");
  dialog.offset = 0;
  dialog.fit = 3;
  EXPECT_EQ(tamble::checkRecord(record), "Fit: choose one of 0=Linear, 1=Quadratic, 2=Cubic");
  dialog.preview = 12345;  // no range, no complaint
  dialog.fit = 0;
  EXPECT_EQ(tamble::checkRecord(record), std::nullopt);
}

// Typed values take either mark, sign, exponent, blanks, keys with or without "m_", labels.
TEST_F(ParamRecord, AssignTakesTypedValues) {
  const struct {
    const char *key, *text;
    std::size_t field;
    double value;
  } rows[] = {{"m_diameter", "2.0", 0, 2},  {"diameter", " -4 ", 0, -4},
              {"gain", "+2.5E-1", 1, 0.25}, {"m_offset", "-3,125", 2, -3.125},
              {"fit", "0", 3, 0},           {"m_fit", "CUBIC", 3, 2}};
  for (const auto& row : rows) {
    EXPECT_EQ(tamble::assignParam(record, row.key, row.text), std::nullopt)
        << row.key << "=" << row.text;
    EXPECT_EQ(record.value(row.field), row.value) << row.key << "=" << row.text;
  }
}

// Bad values and unknown keys are refused with the key, the text and the choices.
TEST_F(ParamRecord, AssignRefusesWithTheKeyAndTheText) {
  const filterDialog before = dialog;
  const std::pair<const char*, const char*> bad[] = {
      {"diameter", "2.5"}, {"diameter", ""}, {"diameter", "5x"}, {"diameter", "1e10"},
      {"gain", "1,2,3"},   {"gain", "nan"},  {"gain", "1e39"},   {"fit", "quad"},
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
  EXPECT_TRUE(tamble::assignParam(record, "Diameter", "5").has_value());
}

// describeRecord lists every field with its value, type, range and caption.
TEST_F(ParamRecord, DescribeListsEveryField) {
  EXPECT_EQ(tamble::describeRecord(record),
            "Median filter\n  m_diameter=3  (int, 1 - 999)  Filter Diameter\n"
            "  m_gain=0.5  (float, 0 - 2.5)  Gain\n  m_offset=0.125  (double, -1000000 - 0.5)\n"
            "  m_fit=2  (0=Linear, 1=Quadratic, 2=Cubic)  Fit\n  m_preview=1  (int)  Preview\n");
}

}  // namespace
