#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>
#include <string>

#include "api/numbers.h"

namespace {

using zel::decimalMark;
using zel::numberForm;

// The shortest text reads back as the same value, a float as a float.
TEST(Numbers, ShortestTextReadsBackTheSameValue) {
  EXPECT_EQ(zel::numberText(0.1), "0.1");
  EXPECT_EQ(zel::numberText(0.1 + 0.2), "0.30000000000000004");
  EXPECT_EQ(zel::numberText(std::numeric_limits<double>::infinity()), "inf");
  // A float is shortest as a float, not as the double it widens to.
  EXPECT_EQ(zel::numberText(0.1f), "0.1");
  EXPECT_EQ(zel::numberText(static_cast<double>(0.1f)), "0.10000000149011612");
}

struct digitsCase {
  double value;
  int precision;
  decimalMark mark;
  const char* text;
};

class NumberDigits : public ::testing::TestWithParam<digitsCase> {};

// Digits in the default notation with the decimal mark asked.
TEST_P(NumberDigits, DefaultNotationWithTheMarkAsked) {
  const digitsCase& c = GetParam();
  EXPECT_EQ(zel::numberText(c.value, c.precision, c.mark), c.text);
}

INSTANTIATE_TEST_SUITE_P(
    Numbers, NumberDigits,
    ::testing::Values(digitsCase{0.25, 6, decimalMark::comma, "0,25"},
                      digitsCase{1234567.0, 6, decimalMark::comma, "1,23457e+06"},
                      digitsCase{1.0 / 3, 16, decimalMark::point, "0.3333333333333333"},
                      digitsCase{static_cast<float>(0.1), 6, decimalMark::comma, "0,1"}));

struct parseCase {
  const char* text;
  numberForm form;
  std::optional<double> value;
};

class NumberParse : public ::testing::TestWithParam<parseCase> {};

// Parsing accepts exactly the form asked, finite numbers only.
TEST_P(NumberParse, ReadsExactlyTheFormAsked) {
  const parseCase& c = GetParam();
  EXPECT_EQ(zel::parseNumber(c.text, c.form), c.value) << '"' << c.text << '"';
}

constexpr numberForm plain{};
constexpr numberForm comma{.comma = true};
constexpr numberForm plus{.plus = true};
constexpr numberForm blanks{.blanks = true};
constexpr numberForm store{.comma = true, .plus = true, .blanks = true};

INSTANTIATE_TEST_SUITE_P(
    Numbers, NumberParse,
    ::testing::Values(parseCase{"-.5", plain, -0.5}, parseCase{"1e3", plain, 1000.0},
                      // Each allowance only in its form.
                      parseCase{"1,5", plain, std::nullopt}, parseCase{"1,5", comma, 1.5},
                      parseCase{"+2", plain, std::nullopt}, parseCase{"+2", plus, 2.0},
                      parseCase{" 3\t", plain, std::nullopt}, parseCase{" 3\t", blanks, 3.0},
                      // Never more than one sign, one mark, one number.
                      parseCase{"++2", plus, std::nullopt}, parseCase{"1,5,3", store, std::nullopt},
                      parseCase{"1 2", blanks, std::nullopt}, parseCase{"1e", plain, std::nullopt},
                      parseCase{"", store, std::nullopt},
                      // Only finite numbers.
                      parseCase{"inf", store, std::nullopt}, parseCase{"1e999", store, std::nullopt}));

}  // namespace
