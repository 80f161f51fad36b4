#pragma once

#include <linux/input-event-codes.h>

#include <array>
#include <cstdint>
#include <optional>

#include "platform/key_codes.h"

namespace parlen::gtk {

/// One key of a US keyboard in the two numberings. Both name places on the keyboard, not
/// characters.
struct KeyCodes {
  vk::KeyCode virtualCode;
  std::uint16_t evdevCode;  // a KEY_ constant of Linux's input-event-codes.h
};

inline constexpr std::array keyCodes = std::to_array<KeyCodes>({
    {vk::ansiQ, KEY_Q},
    {vk::ansiW, KEY_W},
    {vk::ansiE, KEY_E},
    {vk::ansiR, KEY_R},
    {vk::ansiT, KEY_T},
    {vk::ansiY, KEY_Y},
    {vk::ansiU, KEY_U},
    {vk::ansiI, KEY_I},
    {vk::ansiO, KEY_O},
    {vk::ansiP, KEY_P},
    {vk::ansiA, KEY_A},
    {vk::ansiS, KEY_S},
    {vk::ansiD, KEY_D},
    {vk::ansiF, KEY_F},
    {vk::ansiG, KEY_G},
    {vk::ansiH, KEY_H},
    {vk::ansiJ, KEY_J},
    {vk::ansiK, KEY_K},
    {vk::ansiL, KEY_L},
    {vk::ansiZ, KEY_Z},
    {vk::ansiX, KEY_X},
    {vk::ansiC, KEY_C},
    {vk::ansiV, KEY_V},
    {vk::ansiB, KEY_B},
    {vk::ansiN, KEY_N},
    {vk::ansiM, KEY_M},

    {vk::ansiGrave, KEY_GRAVE},
    {vk::ansi1, KEY_1},
    {vk::ansi2, KEY_2},
    {vk::ansi3, KEY_3},
    {vk::ansi4, KEY_4},
    {vk::ansi5, KEY_5},
    {vk::ansi6, KEY_6},
    {vk::ansi7, KEY_7},
    {vk::ansi8, KEY_8},
    {vk::ansi9, KEY_9},
    {vk::ansi0, KEY_0},
    {vk::ansiMinus, KEY_MINUS},
    {vk::ansiEqual, KEY_EQUAL},

    {vk::ansiLeftBracket, KEY_LEFTBRACE},
    {vk::ansiRightBracket, KEY_RIGHTBRACE},
    {vk::ansiBackslash, KEY_BACKSLASH},
    {vk::ansiSemicolon, KEY_SEMICOLON},
    {vk::ansiQuote, KEY_APOSTROPHE},
    {vk::ansiComma, KEY_COMMA},
    {vk::ansiPeriod, KEY_DOT},
    {vk::ansiSlash, KEY_SLASH},

    {vk::returnKey, KEY_ENTER},
    {vk::tab, KEY_TAB},
    {vk::space, KEY_SPACE},
    {vk::deleteKey, KEY_BACKSPACE},
    {vk::escape, KEY_ESC},
    {vk::forwardDelete, KEY_DELETE},

    {vk::home, KEY_HOME},
    {vk::end, KEY_END},
    {vk::pageUp, KEY_PAGEUP},
    {vk::pageDown, KEY_PAGEDOWN},
    {vk::leftArrow, KEY_LEFT},
    {vk::rightArrow, KEY_RIGHT},
    {vk::downArrow, KEY_DOWN},
    {vk::upArrow, KEY_UP},

    {vk::command, KEY_LEFTMETA},
    {vk::shift, KEY_LEFTSHIFT},
    {vk::option, KEY_LEFTALT},
    {vk::control, KEY_LEFTCTRL},
    {vk::rightCommand, KEY_RIGHTMETA},
    {vk::rightShift, KEY_RIGHTSHIFT},
    {vk::rightOption, KEY_RIGHTALT},
    {vk::rightControl, KEY_RIGHTCTRL},
});

constexpr std::optional<std::uint16_t> evdevCode(vk::KeyCode virtualCode) {
  for (const KeyCodes& key : keyCodes) {
    if (key.virtualCode == virtualCode) return key.evdevCode;
  }
  return std::nullopt;
}

/// The flag that a modifier key sets, on either side; 0 for a key that is no modifier.
constexpr modifier::Flags modifierFlag(vk::KeyCode virtualCode) {
  switch (virtualCode) {
    case vk::command:
    case vk::rightCommand:
      return modifier::command;
    case vk::shift:
    case vk::rightShift:
      return modifier::shift;
    case vk::option:
    case vk::rightOption:
      return modifier::option;
    case vk::control:
    case vk::rightControl:
      return modifier::control;
    default:
      return 0;
  }
}

}  // namespace parlen::gtk
