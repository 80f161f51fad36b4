#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "text/json_reader.h"

namespace parlen::text {
namespace {

/// The decoded content of a literal, or the error.
std::string content(std::string_view literal) {
  const auto result = parseJson('"' + std::string(literal) + '"');
  return result ? *result->asString() : describe(result.error());
}

TEST(JsonString, ResolvesEveryEscape) {
  EXPECT_EQ(content(R"(\"\\\/\b\f\n\r\t)"), "\"\\/\b\f\n\r\t");
  EXPECT_EQ(content(R"(a\u0041\u00e9\u20AC\uFFFF)"), "aA\xC3\xA9\xE2\x82\xAC\xEF\xBF\xBF");
  EXPECT_EQ(content(R"(\u0000)"), std::string(1, '\0'));
  EXPECT_EQ(content(R"(\u001f\u007f)"), "\x1F\x7F");
}

TEST(JsonString, JoinsSurrogatePairs) {
  EXPECT_EQ(content(R"(\ud83d\ude00)"), "\xF0\x9F\x98\x80");
  EXPECT_EQ(content(R"(\uD800\uDC00)"), "\xF0\x90\x80\x80");
  EXPECT_EQ(content(R"(\uDBFF\uDFFF)"), "\xF4\x8F\xBF\xBF");
  EXPECT_EQ(content(R"(\ud7ff\ue000)"), "\xED\x9F\xBF\xEE\x80\x80");
}

TEST(JsonString, RejectsALoneSurrogate) {
  for (const std::string_view literal :
       {R"(\ud800)", R"(\udbff)", R"(\udc00)", R"(\udfff)", R"(\ud800\ud800)", R"(\ude00\ud83d)",
        R"(\ud800\n)", R"(\ud800x)", R"(\ud800\u0041)", R"(\ud800\udc0)", R"(\ud800\u)"}) {
    EXPECT_EQ(content(literal), "an escaped surrogate in a string stands alone at byte 1")
        << literal;
  }
  EXPECT_EQ(content(R"(ab\ud83d\ude00\ud83d)"),
            "an escaped surrogate in a string stands alone at byte 15");
}

TEST(JsonString, RejectsAnEscapeOfAnyOtherCharacter) {
  for (int character = 0; character < 256; ++character) {
    const char letter = static_cast<char>(character);
    if (std::string_view("\"\\/bfnrtu").find(letter) != std::string_view::npos) continue;
    EXPECT_EQ(content(std::string("a\\") + letter), "an escape in a string is unknown at byte 2")
        << character;
  }
}

TEST(JsonString, RejectsAnEscapeWithoutItsFourDigits) {
  for (const std::string_view literal :
       {R"(\u)", R"(\u1)", R"(\u12)", R"(\u123)", R"(\u123g)", R"(\u-123)", R"(\u 123)",
        R"(\u+123)", R"(\U0041)", R"(\u12\n)", R"(\u00:0)"}) {
    EXPECT_TRUE(content(literal).ends_with(" at byte 1")) << literal;
  }
  EXPECT_EQ(content(R"(\u123)"),
            "an escape in a string lacks its four hexadecimal digits at byte 1");
}

TEST(JsonString, RejectsEveryControlCharacterAsItIs) {
  for (char character = 0; character < 0x20; ++character) {
    EXPECT_EQ(content(std::string("a") + character),
              "a control character in a string is not escaped at byte 2");
  }
  EXPECT_EQ(content("\x7F"), "\x7F");
}

TEST(JsonString, TakesAnyOtherTextAsItIs) {
  const std::string_view text = "\xC3\xA9 \xE2\x80\xA8 \xEF\xBB\xBF \xF0\x9F\x98\x80 / ' \x7F";
  EXPECT_EQ(content(text), text);
  EXPECT_EQ(content(""), "");
}

TEST(JsonString, RejectsBytesThatAreNotUtf8) {
  for (const std::string_view bytes : {"\x80", "\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80",
                                       "\xC3", "\xFF", "\xE2\x82\\u00AC", "\xC3\\n"}) {
    EXPECT_EQ(content("ab" + std::string(bytes)), "a string is not valid UTF-8 at byte 3");
  }
}

TEST(JsonString, RejectsAStringThatIsNotClosed) {
  EXPECT_EQ(describe(parseJson("[\"abc").error()), "a string is not closed at byte 1");
  EXPECT_EQ(describe(parseJson("[\"abc\\\"").error()), "a string is not closed at byte 1");
  EXPECT_EQ(describe(parseJson("[\"abc\\").error()), "an escape in a string is unknown at byte 5");
}

TEST(JsonString, HoldsTheSameRulesForKeys) {
  EXPECT_EQ(describe(parseJson("{\"\\x\":1}").error()),
            "an escape in a string is unknown at byte 2");
  EXPECT_EQ(*parseJson(R"({"\u0061":1})"), JsonValue(JsonObject{{"a", 1}}));
}

}  // namespace
}  // namespace parlen::text
