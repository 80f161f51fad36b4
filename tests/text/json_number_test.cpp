#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <utility>

#include "text/json_reader.h"

namespace parlen::text {
namespace {

constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max();
constexpr std::uint64_t highestUnsigned = std::numeric_limits<std::uint64_t>::max();

JsonValue number(std::string_view text) {
  auto result = parseJson(text);
  EXPECT_TRUE(result) << text << ": " << (result ? "" : describe(result.error()));
  return result ? std::move(*result) : JsonValue();
}

TEST(JsonNumber, ReadsPlainIntegersExactly) {
  EXPECT_EQ(number("0").asInt64(), 0);
  EXPECT_EQ(number("-1").asInt64(), -1);
  EXPECT_EQ(number("9007199254740993").asInt64(), 9007199254740993);
  EXPECT_EQ(number("9223372036854775807").asInt64(), highest);
  EXPECT_EQ(number("-9223372036854775808").asInt64(), lowest);
  EXPECT_EQ(number("18446744073709551615").asUInt64(), highestUnsigned);
}

TEST(JsonNumber, ReturnsNoIntegerThatDoesNotFit) {
  EXPECT_EQ(number("9223372036854775808").asInt64(), std::nullopt);
  EXPECT_EQ(number("9223372036854775808").asUInt64(), 9223372036854775808U);
  EXPECT_EQ(number("-9223372036854775809").asInt64(), std::nullopt);
  EXPECT_EQ(number("-18446744073709551615").asInt64(), std::nullopt);
  EXPECT_EQ(number("18446744073709551616").asUInt64(), std::nullopt);
  EXPECT_EQ(number("184467440737095516150").asUInt64(), std::nullopt);
  EXPECT_EQ(number("1e20").asUInt64(), std::nullopt);
  EXPECT_EQ(number("-1").asUInt64(), std::nullopt);
}

TEST(JsonNumber, SeesAnIntegerHoweverItIsWritten) {
  for (const std::string_view text :
       {"100", "100.0", "100.000", "1e2", "1E2", "1e+2", "1.0e2", "1000e-1", "0.1e3", "10.0E1",
        "0.0001e6", "1000000e-4", "1e0000000000000000000000002"}) {
    EXPECT_EQ(number(text), JsonValue(100)) << text;
    EXPECT_EQ(number(text).asInt64(), 100) << text;
    EXPECT_EQ(number(text).asUInt64(), 100U) << text;
  }
  EXPECT_EQ(number("-2.5e1").asInt64(), -25);
  EXPECT_EQ(number("1.8446744073709551615e19").asUInt64(), highestUnsigned);
  EXPECT_EQ(number("-922337203685477580800e-2").asInt64(), lowest);
}

TEST(JsonNumber, SeesZeroHoweverItIsWritten) {
  for (const std::string_view text : {"0", "-0", "0.0", "-0.0", "0e5", "0e-5", "-0.000E+99",
                                      "0e999999999999999999999999", "0e-999999999999999999999"}) {
    EXPECT_EQ(number(text), JsonValue(0)) << text;
  }
}

TEST(JsonNumber, ReturnsNoIntegerForAFraction) {
  for (const std::string_view text :
       {"50.5", "0.5", "-0.5", "1e-1", "100.00000000000000000000000000001", "15e-1",
        "9007199254740992.5", "1e-999999999999999999999", "0.0000001e6"}) {
    EXPECT_EQ(number(text).asInt64(), std::nullopt) << text;
    EXPECT_EQ(number(text).asUInt64(), std::nullopt) << text;
    EXPECT_TRUE(number(text).asDouble()) << text;
  }
}

TEST(JsonNumber, ReadsTheNearestDouble) {
  EXPECT_EQ(number("0.1").asDouble(), 0.1);
  EXPECT_EQ(number("-2.5").asDouble(), -2.5);
  EXPECT_EQ(number("1e100").asDouble(), 1e100);
  EXPECT_EQ(number("9007199254740993").asDouble(), 9007199254740992.0);
  EXPECT_EQ(number("18446744073709551616").asDouble(), 18446744073709551616.0);
  EXPECT_EQ(number("1.7976931348623157e308").asDouble(), std::numeric_limits<double>::max());
  EXPECT_EQ(number("5e-324").asDouble(), std::numeric_limits<double>::denorm_min());
  EXPECT_EQ(number("1e-400").asDouble(), 0.0);
}

TEST(JsonNumber, RejectsWhatNoFiniteDoubleHolds) {
  for (const std::string& text :
       {std::string("1e309"), std::string("-1e309"), std::string("1.7976931348623159e308"),
        std::string("1e99999999999999999999"), std::string(400, '9'),
        "-" + std::string(400, '9')}) {
    const auto result = parseJson("[" + text + "]");
    ASSERT_FALSE(result) << text;
    EXPECT_EQ(result.error(), (JsonError{1, "a number is too large"}));
  }
}

TEST(JsonNumber, ReadsVeryLongNumbers) {
  const std::string zeros(100'000, '0');
  EXPECT_EQ(number("0." + zeros + "1e100001").asInt64(), 1);
  EXPECT_EQ(number("1" + zeros + "e-100000").asInt64(), 1);
  EXPECT_EQ(number("7." + zeros).asInt64(), 7);
  EXPECT_EQ(number("0." + zeros + "1").asDouble(), 0.0);
  EXPECT_EQ(number("0." + std::string(100'000, '3')).asDouble(), 1.0 / 3);
}

TEST(JsonNumber, RejectsEveryOtherSpelling) {
  for (const std::string_view text :
       {"+1",  "-",     "--1", ".5",  "-.5",   "1.",   "-1.",   "1.e2",  "1e",       "1E+",
        "1e-", "1e1.5", "01",  "-01", "00",    "0x10", "1_000", "1,5",   "Infinity", "-Infinity",
        "NaN", "inf",   "nan", "1f",  "1e2e3", "- 1",  "1 .5",  "1.5.5", "\xD9\xA1"}) {
    EXPECT_FALSE(parseJson(text)) << text;
  }
}

}  // namespace
}  // namespace parlen::text
