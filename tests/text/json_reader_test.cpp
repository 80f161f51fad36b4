#include "text/json_reader.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <utility>

namespace parlen::text {
namespace {

JsonValue parsed(std::string_view text) {
  auto result = parseJson(text);
  EXPECT_TRUE(result) << text << ": " << (result ? "" : describe(result.error()));
  return result ? std::move(*result) : JsonValue("unparsed");
}

std::string errorFor(std::string_view text) {
  const auto result = parseJson(text);
  return result ? "parsed" : describe(result.error());
}

std::string nested(int depth, std::string_view open, std::string_view inner,
                   std::string_view close) {
  std::string text;
  for (int level = 0; level < depth; ++level) text += open;
  text += inner;
  for (int level = 0; level < depth; ++level) text += close;
  return text;
}

TEST(JsonReader, ReadsEachKindOfValueAtTheTop) {
  EXPECT_EQ(parsed("null"), JsonValue());
  EXPECT_EQ(parsed("true"), JsonValue(true));
  EXPECT_EQ(parsed("false"), JsonValue(false));
  EXPECT_EQ(parsed("42"), JsonValue(42));
  EXPECT_EQ(parsed("\"stop\""), JsonValue("stop"));
  EXPECT_EQ(parsed("[]"), JsonValue(JsonArray()));
  EXPECT_EQ(parsed("{}"), JsonValue(JsonObject()));
}

TEST(JsonReader, ReadsValuesInsideValues) {
  const JsonValue value = parsed(R"({"a":[1,{"b":null},[]],"c":{"d":false}})");

  const JsonValue expected =
      JsonObject{{"a", JsonArray{1, JsonObject{{"b", JsonValue()}}, JsonArray()}},
                 {"c", JsonObject{{"d", false}}}};
  EXPECT_EQ(value, expected);
}

TEST(JsonReader, SkipsWhiteSpaceAroundEveryToken) {
  EXPECT_EQ(parsed(" \t\r\n{ \t\r\n\"a\" \t\r\n: \t\r\n[ \t\r\n1 \t\r\n, \t\r\n2 ] \t\r\n, \"b\" : "
                   "{\n} } \r"),
            JsonValue(JsonObject{{"a", JsonArray{1, 2}}, {"b", JsonObject()}}));
}

TEST(JsonReader, AcceptsNoOtherWhiteSpace) {
  for (const std::string_view other : {"\f", "\v", "\xC2\xA0", "\xE2\x80\xA8", "\xEF\xBB\xBF"}) {
    EXPECT_EQ(errorFor(std::string(other) + "1"), "a value is missing or malformed at byte 0");
    EXPECT_EQ(errorFor("1" + std::string(other)), "something follows the value at byte 1");
  }
  EXPECT_EQ(errorFor(std::string_view("1\0", 2)), "something follows the value at byte 1");
}

TEST(JsonReader, LetsTheLastOfTwoMembersWithOneKeyCount) {
  EXPECT_EQ(parsed(R"({"a":1,"b":2,"a":"three"})"),
            JsonValue(JsonObject{{"a", "three"}, {"b", 2}}));
  EXPECT_EQ(parsed(R"({"a":1,"\u0061":2})"), JsonValue(JsonObject{{"a", 2}}));
}

TEST(JsonReader, TellsKeysApartByEveryByte) {
  EXPECT_EQ(parsed(R"({"":1,"a":2,"A":3,"a\u0000":4})"),
            JsonValue(JsonObject{{"", 1}, {"a", 2}, {"A", 3}, {std::string("a\0", 2), 4}}));
}

const std::pair<std::string_view, std::string_view> brokenTexts[] = {
    {"", "a value is missing at byte 0"},
    {" \n", "a value is missing at byte 2"},
    {"nul", "a value is missing or malformed at byte 0"},
    {"True", "a value is missing or malformed at byte 0"},
    {"NaN", "a value is missing or malformed at byte 0"},
    {"'a'", "a value is missing or malformed at byte 0"},
    {"// x\n1", "a value is missing or malformed at byte 0"},
    {"nullx", "something follows the value at byte 4"},
    {"1 2", "something follows the value at byte 2"},
    {"{} {}", "something follows the value at byte 3"},
    {"[1]]", "something follows the value at byte 3"},
    {"[", "a value is missing at byte 1"},
    {"[1", "a comma or the end of an array is missing at byte 2"},
    {"[1,", "a value is missing at byte 3"},
    {"[1,]", "a value is missing or malformed at byte 3"},
    {"[,1]", "a value is missing or malformed at byte 1"},
    {"[1 2]", "a comma or the end of an array is missing at byte 3"},
    {"[1}", "a comma or the end of an array is missing at byte 2"},
    {"]", "a value is missing or malformed at byte 0"},
    {"{", "the name of a member is missing at byte 1"},
    {"{]", "the name of a member is missing at byte 1"},
    {"{1:2}", "the name of a member is missing at byte 1"},
    {"{a:2}", "the name of a member is missing at byte 1"},
    {"{\"a\"", "the colon after the name of a member is missing at byte 4"},
    {"{\"a\"}", "the colon after the name of a member is missing at byte 4"},
    {"{\"a\":", "a value is missing at byte 5"},
    {"{\"a\":}", "a value is missing or malformed at byte 5"},
    {"{\"a\":1", "a comma or the end of an object is missing at byte 6"},
    {"{\"a\":1,", "the name of a member is missing at byte 7"},
    {"{\"a\":1,}", "the name of a member is missing at byte 7"},
    {"{,}", "the name of a member is missing at byte 1"},
    {"{\"a\":1]", "a comma or the end of an object is missing at byte 6"},
    {"[\"a\xFF\"]", "a string is not valid UTF-8 at byte 3"},
    {"{\"a", "a string is not closed at byte 1"},
};

TEST(JsonReader, SaysWhatIsWrongAndWhere) {
  for (const auto& [text, message] : brokenTexts) EXPECT_EQ(errorFor(text), message) << text;
}

TEST(JsonReader, RejectsEveryCutOfADocument) {
  const std::string_view document =
      R"({"type":"text","text":"a\n\ud83d\ude00","delayMs":1e2,"more":[null,true,{"x":-0.5}]})";
  for (std::size_t cut = 0; cut < document.size(); ++cut) {
    EXPECT_FALSE(parseJson(document.substr(0, cut))) << cut;
  }
  EXPECT_TRUE(parseJson(document));
}

TEST(JsonReader, AcceptsNestingUpToTheLimitOnly) {
  EXPECT_TRUE(parseJson(nested(512, "[", "", "]")));
  EXPECT_TRUE(parseJson(nested(511, "{\"a\":", "{}", "}")));
  EXPECT_TRUE(parseJson(nested(256, "[{\"a\":", "1", "}]")));
  EXPECT_EQ(errorFor(nested(513, "[", "", "]")),
            "arrays and objects are nested too deeply at byte 512");
  EXPECT_EQ(errorFor(nested(512, "{\"a\":", "{}", "}")),
            "arrays and objects are nested too deeply at byte 2560");
  EXPECT_EQ(errorFor(nested(256, "[{\"a\":", "[]", "}]")),
            "arrays and objects are nested too deeply at byte 1536");
}

TEST(JsonReader, StopsAtTheLimitHoweverDeepTheTextGoes) {
  EXPECT_EQ(errorFor(std::string(1'000'000, '[')),
            "arrays and objects are nested too deeply at byte 512");
}

TEST(JsonReader, CountsDepthAndNotBrackets) {
  std::string siblings = "[";
  for (int count = 0; count < 2000; ++count) siblings += "[],{},";
  siblings += "[]]";

  EXPECT_EQ(parsed(siblings).asArray()->size(), 4001U);
}

TEST(JsonReader, KeepsEveryOneOfManyMembers) {
  std::string text = "{";
  for (int index = 0; index < 100'000; ++index) {
    text += '"' + std::to_string(index) + "\":" + std::to_string(index) + ',';
  }
  text.back() = '}';

  const JsonValue value = parsed(text);
  EXPECT_EQ(value.asObject()->size(), 100'000U);
  EXPECT_EQ(value.find("99999")->asInt64(), 99999);
}

// --- Only some members ---

constexpr std::array<std::string_view, 3> someNames = {"a", "b", "c"};

JsonValue someMembers(std::string_view text) {
  auto result = parseJsonMembers(text, someNames);
  EXPECT_TRUE(result) << text << ": " << (result ? "" : describe(result.error()));
  return result ? std::move(*result) : JsonValue("unparsed");
}

TEST(JsonMembers, AreThoseThatAreNamed) {
  EXPECT_EQ(someMembers(R"({"x":"y","b":"\u0041\n","a":true,"z":[{"c":1}],"c":1e2})"),
            JsonValue(JsonObject{{"a", true}, {"b", "A\n"}, {"c", 100}}));
  EXPECT_EQ(someMembers(R"({"\u0061":1})"), JsonValue(JsonObject{{"a", 1}}));
  EXPECT_EQ(someMembers(R"({"A":1,"aa":2,"":3})"), JsonValue(JsonObject{}));
}

TEST(JsonMembers, AreNullWhereTheyAreNotScalar) {
  EXPECT_EQ(someMembers(R"({"a":[1,2],"b":{"a":1},"c":null})"),
            JsonValue(JsonObject{{"a", JsonValue()}, {"b", JsonValue()}, {"c", JsonValue()}}));
}

TEST(JsonMembers, KeepTheLastOfTwoValues) {
  EXPECT_EQ(someMembers(R"({"a":1,"a":"x","b":"y","b":2,"c":3,"c":[3]})"),
            JsonValue(JsonObject{{"a", "x"}, {"b", 2}, {"c", JsonValue()}}));
}

TEST(JsonMembers, AreNullOfATextThatIsNoObject) {
  for (const std::string_view text : {"[1,{\"a\":1}]", "\"a\"", "1", "null", " true "}) {
    EXPECT_EQ(someMembers(text), JsonValue()) << text;
  }
}

TEST(JsonMembers, FailLikeTheWholeText) {
  const auto sameError = [](std::string_view text) {
    const auto whole = parseJson(text);
    const auto members = parseJsonMembers(text, someNames);
    ASSERT_FALSE(whole) << text;
    ASSERT_FALSE(members) << text;
    EXPECT_EQ(describe(members.error()), describe(whole.error())) << text;
  };
  for (const auto& [text, message] : brokenTexts) {
    sameError(text);
    sameError("{\"x\":" + std::string(text));
    sameError("{\"x\":[" + std::string(text) + "],");
  }
  for (const std::string_view value : {R"("\ud800")", R"("\x")", R"("\u12")", "\"\t\"", "1e999"}) {
    sameError("{\"a\":" + std::string(value) + "}");
    sameError("{\"x\":" + std::string(value) + "}");
    sameError("[" + std::string(value) + "]");
  }
  sameError("{\"x\":" + nested(512, "[", "", "]") + "}");
  sameError("{\"a\":" + nested(512, "{\"x\":", "1", "}") + "}");
}

TEST(JsonMembers, MayBeNestedUpToTheLimit) {
  EXPECT_EQ(someMembers("{\"x\":" + nested(511, "[", "", "]") + ",\"a\":1}"),
            JsonValue(JsonObject{{"a", 1}}));
}

}  // namespace
}  // namespace parlen::text
