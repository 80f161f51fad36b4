#include "input/key_tables.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "input/timings.h"

namespace parlen {
namespace {

struct ExpectedKey {
  char character;
  std::uint16_t code;
  bool shift;
};

// In ASCII order; the table itself is ordered by the keys of the keyboard.
constexpr ExpectedKey everyCharacter[] = {
    {' ', 49, false},  {'!', 18, true},  {'"', 39, true},   {'#', 20, true},  {'$', 21, true},
    {'%', 23, true},   {'&', 26, true},  {'\'', 39, false}, {'(', 25, true},  {')', 29, true},
    {'*', 28, true},   {'+', 24, true},  {',', 43, false},  {'-', 27, false}, {'.', 47, false},
    {'/', 44, false},  {'0', 29, false}, {'1', 18, false},  {'2', 19, false}, {'3', 20, false},
    {'4', 21, false},  {'5', 23, false}, {'6', 22, false},  {'7', 26, false}, {'8', 28, false},
    {'9', 25, false},  {':', 41, true},  {';', 41, false},  {'<', 43, true},  {'=', 24, false},
    {'>', 47, true},   {'?', 44, true},  {'@', 19, true},   {'A', 0, true},   {'B', 11, true},
    {'C', 8, true},    {'D', 2, true},   {'E', 14, true},   {'F', 3, true},   {'G', 5, true},
    {'H', 4, true},    {'I', 34, true},  {'J', 38, true},   {'K', 40, true},  {'L', 37, true},
    {'M', 46, true},   {'N', 45, true},  {'O', 31, true},   {'P', 35, true},  {'Q', 12, true},
    {'R', 15, true},   {'S', 1, true},   {'T', 17, true},   {'U', 32, true},  {'V', 9, true},
    {'W', 13, true},   {'X', 7, true},   {'Y', 16, true},   {'Z', 6, true},   {'[', 33, false},
    {'\\', 42, false}, {']', 30, false}, {'^', 22, true},   {'_', 27, true},  {'`', 50, false},
    {'a', 0, false},   {'b', 11, false}, {'c', 8, false},   {'d', 2, false},  {'e', 14, false},
    {'f', 3, false},   {'g', 5, false},  {'h', 4, false},   {'i', 34, false}, {'j', 38, false},
    {'k', 40, false},  {'l', 37, false}, {'m', 46, false},  {'n', 45, false}, {'o', 31, false},
    {'p', 35, false},  {'q', 12, false}, {'r', 15, false},  {'s', 1, false},  {'t', 17, false},
    {'u', 32, false},  {'v', 9, false},  {'w', 13, false},  {'x', 7, false},  {'y', 16, false},
    {'z', 6, false},   {'{', 33, true},  {'|', 42, true},   {'}', 30, true},  {'~', 50, true},
};

TEST(CharKeys, GiveTheKeyOfEveryPrintableAsciiCharacter) {
  ASSERT_EQ(std::size(everyCharacter), 95U);
  EXPECT_EQ(vmCharKeys.size(), 95U);
  for (const ExpectedKey& expected : everyCharacter) {
    EXPECT_EQ(vmCharKeys.find(std::string(1, expected.character)),
              (CharKey{expected.code, expected.shift}))
        << expected.character;
  }
}

TEST(CharKeys, HaveNoOtherByte) {
  int found = 0;
  for (int byte = 0; byte < 256; ++byte) {
    const bool printable = byte >= ' ' && byte <= '~';
    const auto key = vmCharKeys.find(std::string(1, static_cast<char>(byte)));
    EXPECT_EQ(key.has_value(), printable) << byte;
    found += key ? 1 : 0;
  }
  EXPECT_EQ(found, 95);
}

TEST(CharKeys, FindOnlyWholeCharacters) {
  EXPECT_EQ(vmCharKeys.find(""), std::nullopt);
  EXPECT_EQ(vmCharKeys.find("ab"), std::nullopt);
  EXPECT_EQ(vmCharKeys.find("a\u0301"), std::nullopt);
  EXPECT_EQ(vmCharKeys.find("é"), std::nullopt);
}

TEST(CharKeys, HaveNoUnicodeEquivalents) {
  // Unicode calls the first three equivalent to ";", "`" and "K"; the last are a wide "a" and a
  // no-break space.
  for (const char* character : {"\u037E", "\u1FEF", "\u212A", "\uFF41", "\u00A0"}) {
    EXPECT_EQ(vmCharKeys.find(character), std::nullopt) << character;
  }
}

TEST(CharKeys, GiveEachKeyAndShiftToOneCharacter) {
  std::set<std::pair<std::uint16_t, bool>> taken;
  for (const ExpectedKey& expected : everyCharacter) {
    const auto key = vmCharKeys.find(std::string(1, expected.character));
    ASSERT_TRUE(key);
    EXPECT_TRUE(taken.emplace(key->code, key->shift).second) << expected.character;
  }
}

TEST(NamedKeys, GiveTheCodeOfEveryName) {
  const NamedValue<std::uint16_t> expected[] = {
      {"cmd", 55},    {"ctrl", 59},   {"delete", 51},          {"down", 125},
      {"end", 119},   {"escape", 53}, {"forward-delete", 117}, {"home", 115},
      {"left", 123},  {"option", 58}, {"page-down", 121},      {"page-up", 116},
      {"return", 36}, {"right", 124}, {"shift", 56},           {"space", 49},
      {"tab", 48},    {"up", 126}};
  EXPECT_EQ(vmNamedKeys.entries.size(), std::size(expected));
  for (const auto& [name, code] : expected) EXPECT_EQ(vmNamedKeys.find(name), code) << name;
}

TEST(NamedKeys, AreMatchedAsTheyAreWritten) {
  for (const char* name : {"", "Return", "RETURN", "return ", "retur", "enter", "f1"}) {
    EXPECT_EQ(vmNamedKeys.find(name), std::nullopt) << name;
  }
}

TEST(ModifierFlags, CarryTheFlagAndTheLeftKeysBit) {
  EXPECT_EQ(vmModifierFlags.entries.size(), 4U);
  EXPECT_EQ(vmModifierFlags.find("cmd"), 0x100008U);
  EXPECT_EQ(vmModifierFlags.find("shift"), 0x20002U);
  EXPECT_EQ(vmModifierFlags.find("option"), 0x80020U);
  EXPECT_EQ(vmModifierFlags.find("ctrl"), 0x40001U);
}

TEST(ModifierFlags, ShareNoBit) {
  std::uint64_t seen = 0;
  for (const auto& [name, flags] : vmModifierFlags.entries) {
    EXPECT_EQ(seen & flags, 0U) << name;
    seen |= flags;
  }
}

TEST(ModifierFlags, HaveNoAliases) {
  for (const char* name : {"", "Cmd", "command", "alt", "opt", "control", "super", "fn"}) {
    EXPECT_EQ(vmModifierFlags.find(name), std::nullopt) << name;
  }
}

TEST(ModifierFlags, BelongToKeysThatHaveACode) {
  for (const auto& [name, flags] : vmModifierFlags.entries) {
    EXPECT_TRUE(vmNamedKeys.find(name)) << name;
  }
}

TEST(Timings, AreThoseOfTheProtocol) {
  EXPECT_EQ(inputDelayMinMs, 20);
  EXPECT_EQ(inputDelayMaxMs, 1000);
  EXPECT_EQ(inputKeyHoldMs, 40);
  EXPECT_EQ(inputKeyGapMs, 60);
  EXPECT_EQ(inputModifierLeadMs, 40);
}

}  // namespace
}  // namespace parlen
