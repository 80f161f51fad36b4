#include "text/utf8.h"

#include <gtest/gtest.h>

#include <string>

namespace parlen::text {
namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";

struct Sample {
  char32_t codePoint;
  std::string_view bytes;
};

// The first and last character of each encoded length, and both sides of the surrogates.
constexpr Sample samples[] = {
    {0x0, {"\0", 1}},
    {0x7F, "\x7F"},
    {0x80, "\xC2\x80"},
    {0x7FF, "\xDF\xBF"},
    {0x800, "\xE0\xA0\x80"},
    {0xD7FF, "\xED\x9F\xBF"},
    {0xE000, "\xEE\x80\x80"},
    {0xFFFF, "\xEF\xBF\xBF"},
    {0x10000, "\xF0\x90\x80\x80"},
    {0x10FFFF, "\xF4\x8F\xBF\xBF"},
};

TEST(Utf8, DecodesTheEndsOfEveryRange) {
  for (const Sample& sample : samples) {
    const DecodedCharacter decoded = decodeFirst(std::string(sample.bytes) + "tail");
    EXPECT_EQ(decoded.codePoint, sample.codePoint);
    EXPECT_EQ(decoded.length, sample.bytes.size());
  }
}

TEST(Utf8, EncodesTheEndsOfEveryRange) {
  for (const Sample& sample : samples) {
    std::string text = "a";
    appendUtf8(text, sample.codePoint);
    EXPECT_EQ(text, "a" + std::string(sample.bytes));
  }
}

TEST(Utf8, DecodesWhatItEncodesForEveryCharacter) {
  for (char32_t codePoint = 0; codePoint <= 0x10FFFF; ++codePoint) {
    if (codePoint == 0xD800) codePoint = 0xE000;
    std::string text;
    appendUtf8(text, codePoint);
    const DecodedCharacter decoded = decodeFirst(text);
    ASSERT_EQ(decoded.codePoint, codePoint);
    ASSERT_EQ(decoded.length, text.size());
  }
}

// There are as many well-formed sequences as characters, and every character decodes (above), so no
// other sequence is accepted.
TEST(Utf8, AcceptsNoSequenceOfThreeBytesButThoseOfCharacters) {
  int accepted = 0;
  for (unsigned first = 0x80; first <= 0xFF; ++first) {
    for (unsigned second = 0; second <= 0xFF; ++second) {
      for (unsigned third = 0; third <= 0xFF; ++third) {
        const char bytes[] = {static_cast<char>(first), static_cast<char>(second),
                              static_cast<char>(third)};
        const DecodedCharacter decoded = decodeFirst({bytes, 3});
        if (decoded.codePoint && decoded.length == 3) ++accepted;
      }
    }
  }
  EXPECT_EQ(accepted, 0x10000 - 0x800 - 0x800);
}

TEST(Utf8, AcceptsNoSequenceOfFourBytesButThoseOfCharacters) {
  int accepted = 0;
  for (unsigned first = 0xF0; first <= 0xFF; ++first) {
    for (unsigned second = 0; second <= 0xFF; ++second) {
      const char bytes[] = {static_cast<char>(first), static_cast<char>(second), '\x80', '\xBF'};
      if (decodeFirst({bytes, 4}).codePoint) ++accepted;
    }
  }
  // Each pair of first bytes stands for 4096 characters.
  EXPECT_EQ(accepted, 0x100000 / 4096);
}

TEST(Utf8, RejectsWhatIsNotWellFormed) {
  const std::string_view rejected[] = {
      "\x80",
      "\xBF",  // a continuation alone
      "\xC0\x80",
      "\xC1\xBF",  // overlong
      "\xE0\x80\x80",
      "\xE0\x9F\xBF",  //
      "\xF0\x80\x80\x80",
      "\xF0\x8F\xBF\xBF",
      "\xED\xA0\x80",
      "\xED\xBF\xBF",  // surrogates
      "\xF4\x90\x80\x80",
      "\xF5\x80\x80\x80",
      "\xF8\x88\x80\x80\x80",
      "\xFE",
      "\xFF",
      "\xC3",
      "\xE2\x82",
      "\xF0\x9F\x98",  // truncated
      "\xC3(",
      "\xE2(\x82",
      "\xE2\x82(",
      "\xF0\x9F\x98(",
  };
  for (const std::string_view bytes : rejected) {
    EXPECT_FALSE(decodeFirst(bytes).codePoint);
    EXPECT_FALSE(isValidUtf8(bytes));
    EXPECT_FALSE(isValidUtf8("a" + std::string(bytes) + "b"));
  }
}

TEST(Utf8, CountsTheBytesBeforeTheFirstThatAreNotWellFormed) {
  EXPECT_EQ(validUtf8Length(""), 0U);
  EXPECT_EQ(validUtf8Length("abc"), 3U);
  EXPECT_EQ(validUtf8Length("\xC3\xA9"), 2U);
  EXPECT_EQ(validUtf8Length("a\xC3\xA9\xC3"), 3U);
  EXPECT_EQ(validUtf8Length("\xFF"), 0U);
}

TEST(Utf8, FindsControlCharacters) {
  for (const std::string_view plain : {"", " ~", "\u00a0", "/firmware/é/한/😀"}) {
    EXPECT_FALSE(hasControlCharacter(plain)) << plain;
  }
  for (const std::string_view text :
       {"a\nb", "\x1b[31m", "a\x7f", "\u0080", "a\u009f", "a\xff", "\x1f"}) {
    EXPECT_TRUE(hasControlCharacter(text)) << text;
  }
  EXPECT_TRUE(hasControlCharacter(std::string_view("a\0", 2)));
}

TEST(Utf8, LeavesValidTextAloneWhenRepairing) {
  for (const Sample& sample : samples) EXPECT_EQ(repairUtf8(sample.bytes), sample.bytes);
  EXPECT_EQ(repairUtf8(""), "");
}

TEST(Utf8, ReplacesEachMaximalSubpartByOneCharacter) {
  struct Case {
    std::string_view bytes;
    std::string repaired;
  };
  const std::string r(replacement);
  const Case cases[] = {
      {"a\xFFz", "a" + r + "z"},
      {"\xC3", r},
      {"\xC3(", r + "("},
      {"\xE2\x82", r},
      {"\xF0\x9F\x98(", r + "("},
      {"\xC0\x80", r + r},
      {"\xED\xA0\x80", r + r + r},
      {"\xF4\x90\x80\x80", r + r + r + r},
      {"\xE2\x82\xC3\xA9", r + "\xC3\xA9"},
  };
  for (const Case& sample : cases) EXPECT_EQ(repairUtf8(sample.bytes), sample.repaired);
}

}  // namespace
}  // namespace parlen::text
