#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

/// The keys of a US keyboard under the two numbers that they have: the virtual key codes that the
/// program speaks, and the codes of the Linux input layer. Both name places on the keyboard.
namespace parlen::gtk {

struct KeyNumbers {
  std::uint16_t virtualCode;
  std::uint16_t evdevCode;
};

inline constexpr std::array keyNumbers = {
    // The letters, row by row as they lie.
    KeyNumbers{12, 16},
    KeyNumbers{13, 17},
    KeyNumbers{14, 18},
    KeyNumbers{15, 19},
    KeyNumbers{17, 20},
    KeyNumbers{16, 21},
    KeyNumbers{32, 22},
    KeyNumbers{34, 23},
    KeyNumbers{31, 24},
    KeyNumbers{35, 25},
    KeyNumbers{0, 30},
    KeyNumbers{1, 31},
    KeyNumbers{2, 32},
    KeyNumbers{3, 33},
    KeyNumbers{5, 34},
    KeyNumbers{4, 35},
    KeyNumbers{38, 36},
    KeyNumbers{40, 37},
    KeyNumbers{37, 38},
    KeyNumbers{6, 44},
    KeyNumbers{7, 45},
    KeyNumbers{8, 46},
    KeyNumbers{9, 47},
    KeyNumbers{11, 48},
    KeyNumbers{45, 49},
    KeyNumbers{46, 50},
    // The digit row: grave, 1 to 0, minus, equal.
    KeyNumbers{50, 41},
    KeyNumbers{18, 2},
    KeyNumbers{19, 3},
    KeyNumbers{20, 4},
    KeyNumbers{21, 5},
    KeyNumbers{23, 6},
    KeyNumbers{22, 7},
    KeyNumbers{26, 8},
    KeyNumbers{28, 9},
    KeyNumbers{25, 10},
    KeyNumbers{29, 11},
    KeyNumbers{27, 12},
    KeyNumbers{24, 13},
    // Brackets, backslash, semicolon, apostrophe, comma, period, slash.
    KeyNumbers{33, 26},
    KeyNumbers{30, 27},
    KeyNumbers{42, 43},
    KeyNumbers{41, 39},
    KeyNumbers{39, 40},
    KeyNumbers{43, 51},
    KeyNumbers{47, 52},
    KeyNumbers{44, 53},
    // Return, tab, space, backspace, escape, forward delete.
    KeyNumbers{36, 28},
    KeyNumbers{48, 15},
    KeyNumbers{49, 57},
    KeyNumbers{51, 14},
    KeyNumbers{53, 1},
    KeyNumbers{117, 111},
    // Home, end, page up, page down, left, right, down, up.
    KeyNumbers{115, 102},
    KeyNumbers{119, 107},
    KeyNumbers{116, 104},
    KeyNumbers{121, 109},
    KeyNumbers{123, 105},
    KeyNumbers{124, 106},
    KeyNumbers{125, 108},
    KeyNumbers{126, 103},
    // Command (the key with the logo), shift, option, control: left, then right.
    KeyNumbers{55, 125},
    KeyNumbers{56, 42},
    KeyNumbers{58, 56},
    KeyNumbers{59, 29},
    KeyNumbers{54, 126},
    KeyNumbers{60, 54},
    KeyNumbers{61, 100},
    KeyNumbers{62, 97},
};

constexpr std::optional<std::uint16_t> evdevCode(std::uint16_t virtualCode) {
  for (const KeyNumbers& key : keyNumbers) {
    if (key.virtualCode == virtualCode) return key.evdevCode;
  }
  return std::nullopt;
}

/// The flag of a modifier's kind, left or right, or 0 for a key that is no modifier.
constexpr std::uint64_t modifierFlag(std::uint16_t virtualCode) {
  switch (virtualCode) {
    case 54:
    case 55:
      return 0x100000;  // command
    case 56:
    case 60:
      return 0x20000;  // shift
    case 58:
    case 61:
      return 0x80000;  // option
    case 59:
    case 62:
      return 0x40000;  // control
    default:
      return 0;
  }
}

}  // namespace parlen::gtk
