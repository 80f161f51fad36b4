#include "platform/gtk/evdev_codes.h"

#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

#include <set>

#include "input/key_tables.h"

namespace parlen::gtk {
namespace {

TEST(EvdevCodes, HoldEveryKeyThatHasANameInAChord) {
  for (const auto& [name, code] : vmNamedKeys.entries) {
    EXPECT_TRUE(evdevCode(code)) << name << " " << code;
  }
}

TEST(EvdevCodes, HoldEveryKeyThatTypesACharacter) {
  for (char character = CharKeyTable::first; character <= CharKeyTable::last; ++character) {
    const auto key = vmCharKeys.find({&character, 1});
    ASSERT_TRUE(key);
    EXPECT_TRUE(evdevCode(key->code)) << character;
  }
}

TEST(EvdevCodes, NameEachKeyOnce) {
  std::set<int> virtualCodes;
  std::set<int> evdevCodes;
  for (const KeyCodes& key : keyCodes) {
    EXPECT_TRUE(virtualCodes.insert(key.virtualCode).second) << key.virtualCode;
    EXPECT_TRUE(evdevCodes.insert(key.evdevCode).second) << key.evdevCode;
  }
}

TEST(EvdevCodes, TypeTheCharactersOfTheUsLayout) {
  struct Typed {
    const char* character;
    int key;
  };
  constexpr Typed typed[] = {
      {"a", KEY_A},          {"s", KEY_S},          {"q", KEY_Q},          {"y", KEY_Y},
      {"z", KEY_Z},          {"m", KEY_M},          {"1", KEY_1},          {"5", KEY_5},
      {"6", KEY_6},          {"0", KEY_0},          {"-", KEY_MINUS},      {"=", KEY_EQUAL},
      {"[", KEY_LEFTBRACE},  {"]", KEY_RIGHTBRACE}, {"\\", KEY_BACKSLASH}, {";", KEY_SEMICOLON},
      {"'", KEY_APOSTROPHE}, {"`", KEY_GRAVE},      {",", KEY_COMMA},      {".", KEY_DOT},
      {"/", KEY_SLASH},      {" ", KEY_SPACE}};
  for (const auto& [character, key] : typed) {
    EXPECT_EQ(evdevCode(vmCharKeys.find(character)->code), key) << character;
  }
}

TEST(EvdevCodes, GiveTheNamedKeysTheirPlaces) {
  EXPECT_EQ(evdevCode(vmNamedKeys["return"]), KEY_ENTER);
  EXPECT_EQ(evdevCode(vmNamedKeys["tab"]), KEY_TAB);
  EXPECT_EQ(evdevCode(vmNamedKeys["delete"]), KEY_BACKSPACE);
  EXPECT_EQ(evdevCode(vmNamedKeys["forward-delete"]), KEY_DELETE);
  EXPECT_EQ(evdevCode(vmNamedKeys["escape"]), KEY_ESC);
  EXPECT_EQ(evdevCode(vmNamedKeys["home"]), KEY_HOME);
  EXPECT_EQ(evdevCode(vmNamedKeys["end"]), KEY_END);
  EXPECT_EQ(evdevCode(vmNamedKeys["page-up"]), KEY_PAGEUP);
  EXPECT_EQ(evdevCode(vmNamedKeys["page-down"]), KEY_PAGEDOWN);
  EXPECT_EQ(evdevCode(vmNamedKeys["left"]), KEY_LEFT);
  EXPECT_EQ(evdevCode(vmNamedKeys["right"]), KEY_RIGHT);
  EXPECT_EQ(evdevCode(vmNamedKeys["down"]), KEY_DOWN);
  EXPECT_EQ(evdevCode(vmNamedKeys["up"]), KEY_UP);
  EXPECT_EQ(evdevCode(vmNamedKeys["cmd"]), KEY_LEFTMETA);
  EXPECT_EQ(evdevCode(vmNamedKeys["shift"]), KEY_LEFTSHIFT);
  EXPECT_EQ(evdevCode(vmNamedKeys["option"]), KEY_LEFTALT);
  EXPECT_EQ(evdevCode(vmNamedKeys["ctrl"]), KEY_LEFTCTRL);
}

TEST(EvdevCodes, KnowNoKeyThatTheKeyboardDoesNotHave) {
  EXPECT_FALSE(evdevCode(10));
  EXPECT_FALSE(evdevCode(0xffff));
}

TEST(EvdevCodes, TellTheModifiersByTheirKind) {
  for (const auto& [name, flags] : vmModifierFlags.entries) {
    const std::uint64_t flag = modifierFlag(*vmNamedKeys.find(name));
    EXPECT_EQ(flags & flag, flag) << name;
    EXPECT_NE(flag, 0U) << name;
  }
  EXPECT_EQ(modifierFlag(vmNamedKeys["return"]), 0U);
}

}  // namespace
}  // namespace parlen::gtk
