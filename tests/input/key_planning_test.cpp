#include "input/key_planning.h"

#include <gtest/gtest.h>

#include "input/key_tables.h"

namespace parlen {

std::ostream& operator<<(std::ostream& out, const KeyStroke& stroke) {
  out << "(" << stroke.keyCode << ", [";
  for (const std::string_view modifier : stroke.modifiers) out << " " << modifier;
  return out << " ], " << testing::PrintToString(stroke.characters) << ")";
}

namespace {

using Strokes = std::vector<KeyStroke>;

std::string refusalOf(const auto& plan) { return plan ? "planned" : plan.error().reason; }

Strokes typed(std::string_view text) {
  const auto plan = planText(text);
  EXPECT_TRUE(plan) << refusalOf(plan);
  Strokes strokes;
  for (std::size_t i = 0; plan && i < plan->size(); ++i) strokes.push_back((*plan)[i]);
  return strokes;
}

KeyStroke pressed(std::string_view chord) {
  const auto plan = planChord(chord);
  EXPECT_TRUE(plan) << refusalOf(plan);
  return plan.value_or(KeyStroke{});
}

std::string textRefusal(std::string_view text) { return refusalOf(planText(text)); }
std::string chordRefusal(std::string_view chord) { return refusalOf(planChord(chord)); }

std::string notTypeable(const std::string& character) {
  return "not typeable on the US layout: '" + character + "'";
}

std::string notAModifier(const std::string& token) {
  return "'" + token + "' is not a modifier (cmd, shift, option, ctrl come first)";
}

TEST(PlanText, HoldsShiftWhereTheCharacterNeedsIt) {
  EXPECT_EQ(typed("Hi!\n"),
            (Strokes{{4, {"shift"}, "H"}, {34, {}, "i"}, {18, {"shift"}, "!"}, {36, {}, "\r"}}));
}

TEST(PlanText, TypesATabWithItsOwnKey) {
  EXPECT_EQ(typed("a\tb"), (Strokes{{0, {}, "a"}, {48, {}, "\t"}, {11, {}, "b"}}));
}

TEST(PlanText, TypesNothingForAnEmptyText) { EXPECT_EQ(typed(""), Strokes{}); }

TEST(PlanText, TypesRepeatedCharacters) {
  EXPECT_EQ(typed("\n\na a"),
            (Strokes{{36, {}, "\r"}, {36, {}, "\r"}, {0, {}, "a"}, {49, {}, " "}, {0, {}, "a"}}));
}

TEST(PlanText, TypesEveryPrintableAsciiCharacter) {
  std::string text;
  for (char c = CharKeyTable::first; c <= CharKeyTable::last; ++c) text += c;
  const Strokes strokes = typed(text);
  ASSERT_EQ(strokes.size(), 95U);
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::string character(1, text[i]);
    const auto key = vmCharKeys.find(character);
    ASSERT_TRUE(key);
    const auto modifiers =
        key->shift ? std::vector<std::string_view>{"shift"} : std::vector<std::string_view>{};
    EXPECT_EQ(strokes[i], (KeyStroke{key->code, modifiers, character}));
  }
}

TEST(PlanText, RefusesEveryOtherAsciiCharacter) {
  for (int code = 0; code < 128; ++code) {
    if ((code >= ' ' && code <= '~') || code == '\n' || code == '\t') continue;
    const std::string character(1, static_cast<char>(code));
    EXPECT_EQ(textRefusal("a" + character), notTypeable(character)) << code;
  }
}

TEST(PlanText, RefusesWhatIsNotOnTheKeyboard) {
  EXPECT_EQ(textRefusal("é"), notTypeable("é"));
  EXPECT_EQ(textRefusal("\u00A0"), notTypeable("\u00A0"));
  EXPECT_EQ(textRefusal("\u2028"), notTypeable("\u2028"));
}

TEST(PlanText, RefusesUnicodeEquivalentsOfKeyboardCharacters) {
  // The Kelvin sign and the Greek question mark; compared as Unicode equivalents they would be "K"
  // and ";".
  EXPECT_EQ(textRefusal("\u212A"), notTypeable("\u212A"));
  EXPECT_EQ(textRefusal("\u037E"), notTypeable("\u037E"));
}

TEST(PlanText, RefusesCarriageReturnAndLineFeedAsOneCharacter) {
  EXPECT_EQ(textRefusal("x\r\ny"), notTypeable("\r\n"));
}

TEST(PlanText, RefusesALoneCarriageReturn) {
  EXPECT_EQ(textRefusal("x\ry"), notTypeable("\r"));
  EXPECT_EQ(textRefusal("\n\r"), notTypeable("\r"));
  EXPECT_EQ(textRefusal("\r\r\n"), notTypeable("\r"));
}

TEST(PlanText, RefusesALetterWithACombiningMarkWhole) {
  EXPECT_EQ(textRefusal("e\u0301"), notTypeable("e\u0301"));
  EXPECT_EQ(textRefusal("be\u0301\u0302d"), notTypeable("e\u0301\u0302"));
}

TEST(PlanText, RefusesACombiningMarkAfterALineFeed) {
  EXPECT_EQ(textRefusal("\n\u0301"), notTypeable("\u0301"));
}

TEST(PlanText, NamesAnEmojiOfSeveralCodePointsWhole) {
  EXPECT_EQ(textRefusal("a👩‍👩‍👧b"), notTypeable("👩‍👩‍👧"));
  EXPECT_EQ(textRefusal("🇩🇪🇫🇷"), notTypeable("🇩🇪"));
  EXPECT_EQ(textRefusal("1️⃣"), notTypeable("1️⃣"));
}

TEST(PlanText, NamesTheFirstCharacterThatCannotBeTyped) {
  EXPECT_EQ(textRefusal("abcöüd"), notTypeable("ö"));
}

TEST(PlanText, RefusesANulWithoutLosingIt) {
  using namespace std::string_literals;
  EXPECT_EQ(textRefusal("a\0b"s), notTypeable("\0"s));
}

TEST(PlanChord, PressesAPlainKey) { EXPECT_EQ(pressed("a"), (KeyStroke{0, {}, "a"})); }

TEST(PlanChord, AddsShiftAfterTheWrittenModifiers) {
  EXPECT_EQ(pressed("cmd+A"), (KeyStroke{0, {"cmd", "shift"}, "A"}));
  EXPECT_EQ(pressed("ctrl+option+?"), (KeyStroke{44, {"ctrl", "option", "shift"}, "?"}));
}

TEST(PlanChord, AddsNoShiftThatIsHeldAlready) {
  EXPECT_EQ(pressed("shift+A"), (KeyStroke{0, {"shift"}, "A"}));
  EXPECT_EQ(pressed("shift+cmd+A"), (KeyStroke{0, {"shift", "cmd"}, "A"}));
}

TEST(PlanChord, KeepsTheModifiersInTheirOrder) {
  EXPECT_EQ(pressed("cmd+shift+t"), (KeyStroke{17, {"cmd", "shift"}, "t"}));
  EXPECT_EQ(pressed("shift+cmd+t"), (KeyStroke{17, {"shift", "cmd"}, "t"}));
  EXPECT_EQ(pressed("ctrl+option+shift+cmd+a"),
            (KeyStroke{0, {"ctrl", "option", "shift", "cmd"}, "a"}));
}

TEST(PlanChord, KeepsARepeatedModifier) {
  EXPECT_EQ(pressed("shift+shift+a"), (KeyStroke{0, {"shift", "shift"}, "a"}));
}

TEST(PlanChord, KeepsModifiersThatOutliveTheChord) {
  std::string chord = "cmd+option+ctrl+Q";
  const KeyStroke stroke = pressed(chord);
  chord.assign(chord.size(), 'x');
  EXPECT_EQ(stroke, (KeyStroke{12, {"cmd", "option", "ctrl", "shift"}, "Q"}));
}

TEST(PlanChord, KeepsManyModifiers) {
  std::string chord;
  for (int i = 0; i < 10'000; ++i) chord += "ctrl+shift+";
  const KeyStroke stroke = pressed(chord + "a");
  ASSERT_EQ(stroke.modifiers.size(), 20'000U);
  EXPECT_EQ(stroke.modifiers.front(), "ctrl");
  EXPECT_EQ(stroke.modifiers.back(), "shift");
}

TEST(PlanChord, KeepsTheCharacterAsWrittenUnderShift) {
  EXPECT_EQ(pressed("shift+1"), (KeyStroke{18, {"shift"}, "1"}));
  EXPECT_EQ(pressed("shift+a"), (KeyStroke{0, {"shift"}, "a"}));
}

TEST(PlanChord, GivesANamedKeyNoCharacters) {
  EXPECT_EQ(pressed("ctrl+option+delete"), (KeyStroke{51, {"ctrl", "option"}, ""}));
  EXPECT_EQ(pressed("return"), (KeyStroke{36, {}, ""}));
  EXPECT_EQ(pressed("space"), (KeyStroke{49, {}, ""}));
}

TEST(PlanChord, PressesEveryNamedKeyButTheModifiers) {
  int named = 0;
  for (const auto& [name, code] : vmNamedKeys.entries) {
    if (vmModifierFlags.find(name)) continue;
    EXPECT_EQ(pressed("cmd+" + std::string(name)), (KeyStroke{code, {"cmd"}, ""}));
    ++named;
  }
  EXPECT_EQ(named, 14);
}

TEST(PlanChord, PressesEveryTypeableCharacter) {
  for (char c = CharKeyTable::first; c <= CharKeyTable::last; ++c) {
    const std::string character(1, c);
    const KeyStroke stroke = pressed("cmd+" + character);
    const auto key = vmCharKeys.find(character);
    ASSERT_TRUE(key);
    std::vector<std::string_view> modifiers{"cmd"};
    if (key->shift) modifiers.emplace_back("shift");
    EXPECT_EQ(stroke, (KeyStroke{key->code, modifiers, character}));
  }
}

TEST(PlanChord, TreatsATrailingPlusAsThePlusKey) {
  EXPECT_EQ(pressed("+"), (KeyStroke{24, {"shift"}, "+"}));
  EXPECT_EQ(pressed("cmd++"), (KeyStroke{24, {"cmd", "shift"}, "+"}));
  EXPECT_EQ(pressed("shift++"), (KeyStroke{24, {"shift"}, "+"}));
}

TEST(PlanChord, DropsTheTokenBeforeASingleTrailingPlus) {
  EXPECT_EQ(pressed("cmd+"), (KeyStroke{24, {"shift"}, "+"}));
  EXPECT_EQ(pressed("ctrl+cmd+"), (KeyStroke{24, {"ctrl", "shift"}, "+"}));
  EXPECT_EQ(pressed("anything at all+"), (KeyStroke{24, {"shift"}, "+"}));
}

TEST(PlanChord, RefusesAnEmptyChord) { EXPECT_EQ(chordRefusal(""), "malformed chord ''"); }

TEST(PlanChord, RefusesAModifierAsTheKey) {
  const auto refusal = [](const std::string& token) {
    return "the final token must be a key, not a modifier (got '" + token + "')";
  };
  EXPECT_EQ(chordRefusal("cmd+shift"), refusal("shift"));
  EXPECT_EQ(chordRefusal("cmd"), refusal("cmd"));
  EXPECT_EQ(chordRefusal("option"), refusal("option"));
  EXPECT_EQ(chordRefusal("ctrl+ctrl"), refusal("ctrl"));
}

TEST(PlanChord, RefusesTheFirstTokenThatIsNoModifier) {
  EXPECT_EQ(chordRefusal("alt+a"), notAModifier("alt"));
  EXPECT_EQ(chordRefusal("Cmd+a"), notAModifier("Cmd"));
  EXPECT_EQ(chordRefusal("cmd+x+y+a"), notAModifier("x"));
  EXPECT_EQ(chordRefusal("return+a"), notAModifier("return"));
  EXPECT_EQ(chordRefusal("cmd + a"), notAModifier("cmd "));
}

TEST(PlanChord, RefusesAnEmptyModifier) {
  EXPECT_EQ(chordRefusal("+a"), notAModifier(""));
  EXPECT_EQ(chordRefusal("cmd++a"), notAModifier(""));
  EXPECT_EQ(chordRefusal("++"), notAModifier(""));
  EXPECT_EQ(chordRefusal("+++"), notAModifier(""));
  EXPECT_EQ(chordRefusal("+cmd++"), notAModifier(""));
}

TEST(PlanChord, ChecksTheModifiersFromTheLeft) {
  EXPECT_EQ(chordRefusal("a++b"), notAModifier("a"));
  EXPECT_EQ(chordRefusal("x+y+a"), notAModifier("x"));
}

TEST(PlanChord, ChecksTheModifiersBeforeTheKey) {
  EXPECT_EQ(chordRefusal("alt+Return"), notAModifier("alt"));
  EXPECT_EQ(chordRefusal("alt+shift"), notAModifier("alt"));
}

TEST(PlanChord, RefusesAKeyThatDoesNotExist) {
  EXPECT_EQ(chordRefusal("cmd+ab"), "unknown key 'ab'");
  EXPECT_EQ(chordRefusal("cmd+é"), "unknown key 'é'");
  EXPECT_EQ(chordRefusal("Return"), "unknown key 'Return'");
  EXPECT_EQ(chordRefusal("cmd+\t"), "unknown key '\t'");
  EXPECT_EQ(chordRefusal("\n"), "unknown key '\n'");
  EXPECT_EQ(chordRefusal("\r\n"), "unknown key '\r\n'");
  EXPECT_EQ(chordRefusal("cmd+ a"), "unknown key ' a'");
}

TEST(PlanChord, TreatsAPlusWithACombiningMarkAsAnotherCharacter) {
  EXPECT_EQ(chordRefusal("+\u0301"), "unknown key '+\u0301'");
  EXPECT_EQ(chordRefusal("cmd++\u0301"), "unknown key '+\u0301'");
  EXPECT_EQ(chordRefusal("cmd+\u0301a"), "unknown key 'cmd+\u0301a'");
}

}  // namespace
}  // namespace parlen
