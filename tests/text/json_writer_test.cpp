#include "text/json_writer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

#include "text/json_reader.h"

namespace parlen::text {
namespace {

TEST(JsonWriter, QuotesATextWithTheEscapesThatParentsRelyOn) {
  EXPECT_EQ(quoteJson(""), "\"\"");
  EXPECT_EQ(quoteJson("plain"), "\"plain\"");
  EXPECT_EQ(quoteJson("a\"b\\c/d\ne\xC3\xA9"), "\"a\\\"b\\\\c\\/d\\ne\xC3\xA9\"");
  EXPECT_EQ(quoteJson("/tmp/vm1"), R"("\/tmp\/vm1")");
  EXPECT_EQ(quoteJson("\n\r\t\b\f"), R"("\n\r\t\b\f")");
}

TEST(JsonWriter, EscapesEveryCharacterInOneWay) {
  for (int character = 0; character < 0x80; ++character) {
    const std::string text(1, static_cast<char>(character));
    constexpr std::string_view named = "\"\\/\n\r\t\b\f";
    constexpr std::string_view letters = "\"\\/nrtbf";
    std::string expected = text;
    if (const std::size_t index = named.find(text); index != std::string_view::npos) {
      expected = std::string("\\") + letters[index];
    } else if (character < 0x20) {
      expected = std::string("\\u00") + (character < 0x10 ? '0' : '1') +
                 "0123456789abcdef"[character % 16];
    }
    EXPECT_EQ(quoteJson(text), '"' + expected + '"') << character;
  }
}

TEST(JsonWriter, CopiesCharactersBeyondAsciiUnchanged) {
  const std::string text = "\xC2\x80\xE2\x80\xA8\xEF\xBF\xBF\xF0\x9F\x98\x80";
  EXPECT_EQ(quoteJson(text), '"' + text + '"');
}

TEST(JsonWriter, DoesNotQuoteATextThatIsNotUtf8) {
  for (const std::string_view text : {"\xFF", "a\xC3", "\xED\xA0\x80", "\xC0\xAF"}) {
    EXPECT_EQ(quoteJson(text), std::nullopt);
  }
}

TEST(JsonWriter, WritesACompactLineSortedByKey) {
  const JsonValue report = JsonObject{
      {"type", "status"},       {"supported", true},
      {"bundle", "/v"},         {"memoryBytes", std::uint64_t{4294967296}},
      {"exists", false},        {"diskGb", std::int64_t{80}},
      {"disk", true},           {"diskBytes", std::uint64_t{85899345920}},
      {"machineIdentifier", 1}, {"macAddress", "0a:1b:2c:3d:4e:5f"},
  };

  EXPECT_EQ(writeCompactSorted(report),
            R"({"bundle":"\/v","disk":true,"diskBytes":85899345920,"diskGb":80,"exists":false,)"
            R"("macAddress":"0a:1b:2c:3d:4e:5f","machineIdentifier":1,"memoryBytes":4294967296,)"
            R"("supported":true,"type":"status"})");
}

TEST(JsonWriter, WritesPrettyMembersOnLinesOfTheirOwn) {
  const JsonValue settings = JsonObject{{"macAddress", "a/b"},
                                        {"cpuCount", std::int64_t{4}},
                                        {"memoryBytes", std::uint64_t{4294967296}},
                                        {"diskGb", std::int64_t{80}}};

  EXPECT_EQ(writePrettySorted(settings),
            "{\n"
            "  \"cpuCount\" : 4,\n"
            "  \"diskGb\" : 80,\n"
            "  \"macAddress\" : \"a\\/b\",\n"
            "  \"memoryBytes\" : 4294967296\n"
            "}");
}

TEST(JsonWriter, WritesValuesInsideValues) {
  const JsonValue value =
      JsonObject{{"b", JsonArray{1, JsonValue(), "x"}}, {"a", JsonObject{{"c", false}}}};

  EXPECT_EQ(writeCompactSorted(value), R"({"a":{"c":false},"b":[1,null,"x"]})");
  EXPECT_EQ(writePrettySorted(value),
            "{\n"
            "  \"a\" : {\n"
            "    \"c\" : false\n"
            "  },\n"
            "  \"b\" : [\n"
            "    1,\n"
            "    null,\n"
            "    \"x\"\n"
            "  ]\n"
            "}");
}

TEST(JsonWriter, WritesWhatIsEmpty) {
  EXPECT_EQ(writeCompactSorted(JsonObject()), "{}");
  EXPECT_EQ(writeCompactSorted(JsonArray()), "[]");
  EXPECT_EQ(writePrettySorted(JsonObject()), "{\n}");
  EXPECT_EQ(writeCompactSorted(JsonValue()), "null");
}

TEST(JsonWriter, WritesTheEndsOfTheIntegers) {
  EXPECT_EQ(writeCompactSorted(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
  EXPECT_EQ(writeCompactSorted(std::numeric_limits<std::int64_t>::max()), "9223372036854775807");
  EXPECT_EQ(writeCompactSorted(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
  EXPECT_EQ(writeCompactSorted(0), "0");
}

TEST(JsonWriter, WritesTheShortestDoubleThatReadsBackTheSame) {
  EXPECT_EQ(writeCompactSorted(0.25), "0.25");
  EXPECT_EQ(writeCompactSorted(0.1), "0.1");
  EXPECT_EQ(writeCompactSorted(-1280.5), "-1280.5");
  EXPECT_EQ(writeCompactSorted(28.0), "28");
  EXPECT_EQ(writeCompactSorted(1e300), "1e+300");
  for (const double value : {0.1 + 0.2, 1.0 / 3, std::numeric_limits<double>::max(),
                             std::numeric_limits<double>::denorm_min(), 123456.789}) {
    const auto text = writeCompactSorted(value);
    ASSERT_TRUE(text);
    EXPECT_EQ(parseJson(*text)->asDouble(), value) << *text;
  }
}

TEST(JsonWriter, FailsOnATextThatIsNotUtf8) {
  EXPECT_EQ(writeCompactSorted(JsonObject{{"bundle", "/\xFF"}}), std::nullopt);
  EXPECT_EQ(writeCompactSorted(JsonObject{{"\xFF", 1}}), std::nullopt);
  EXPECT_EQ(writePrettySorted(JsonObject{{"a", 1}, {"macAddress", "\xC3"}}), std::nullopt);
  EXPECT_EQ(writeCompactSorted(JsonArray{1, JsonArray{"\x80"}}), std::nullopt);
}

TEST(JsonWriter, FailsOnANumberThatIsNotFinite) {
  EXPECT_EQ(writeCompactSorted(std::numeric_limits<double>::infinity()), std::nullopt);
  EXPECT_EQ(writePrettySorted(JsonArray{std::numeric_limits<double>::quiet_NaN()}), std::nullopt);
}

TEST(JsonWriter, WritesWhatReadsBackAsTheSameValue) {
  const JsonValue value = JsonObject{{"\n/\"\x01\xC3\xA9", JsonArray{"\\", 0.5, -3, true}},
                                     {"", JsonObject{{"z", JsonValue()}}}};

  EXPECT_EQ(parseJson(*writeCompactSorted(value)), value);
  EXPECT_EQ(parseJson(*writePrettySorted(value)), value);
}

}  // namespace
}  // namespace parlen::text
