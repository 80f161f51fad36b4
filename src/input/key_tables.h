#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string_view>

/// The keys of a US ANSI keyboard. Key codes are macOS virtual key codes: they name a place on the
/// keyboard, not a character (the `kVK_` constants, the `kVK_ANSI_` ones for what types a
/// character). A host with other codes translates them at its edge.
namespace parlen {

template <class Value>
struct NamedValue {
  std::string_view name;
  Value value;
};

/// A constant map from names to values, matched byte for byte; few enough that it is walked.
template <class Value, std::size_t count>
struct NameTable {
  std::array<NamedValue<Value>, count> entries;

  constexpr std::optional<Value> find(std::string_view name) const {
    for (const auto& entry : entries) {
      if (entry.name == name) return entry.value;
    }
    return std::nullopt;
  }

  /// The value of a name that is there; any other name does not compile.
  consteval Value operator[](std::string_view name) const {
    for (const auto& entry : entries) {
      if (entry.name == name) return entry.value;
    }
    std::abort();
  }
};

/// The key codes of the keys that have a name in a chord. The modifiers' are those of the left-hand
/// keys; no chord presses one as its final key, but typing has to move them.
inline constexpr NameTable<std::uint16_t, 18> vmNamedKeys{{{
    {"return", 36},
    {"tab", 48},
    {"space", 49},
    {"delete", 51},  // to the left: the backspace key
    {"escape", 53},
    {"forward-delete", 117},
    {"home", 115},
    {"end", 119},
    {"page-up", 116},
    {"page-down", 121},
    {"left", 123},
    {"right", 124},
    {"down", 125},
    {"up", 126},
    {"cmd", 55},
    {"shift", 56},
    {"option", 58},
    {"ctrl", 59},
}}};

/// What each modifier sets in a key event's modifier flags (macOS layout): the flag of the kind in
/// the upper 16 bits, and below it the bit of the left-hand key. A real key sets both, and a guest
/// may look at either.
inline constexpr NameTable<std::uint64_t, 4> vmModifierFlags{{{
    {"cmd", 0x100000 | 0x8},
    {"shift", 0x20000 | 0x2},
    {"option", 0x80000 | 0x20},
    {"ctrl", 0x40000 | 0x1},
}}};

/// How a character is typed: the key, and whether Shift is held.
struct CharKey {
  std::uint16_t code = 0;
  bool shift = false;
  friend bool operator==(const CharKey&, const CharKey&) = default;
};

/// The keys of the printable ASCII characters, space to tilde; nothing else can be found.
class CharKeyTable {
 public:
  static constexpr char first = ' ';
  static constexpr char last = '~';

  /// A key of the keyboard and the two characters on it; the space bar has the same one twice.
  struct PhysicalKey {
    char plain;
    char shifted;
    std::uint16_t code;
  };

  template <std::size_t count>
  explicit consteval CharKeyTable(const PhysicalKey (&keys)[count]) {
    for (const PhysicalKey& key : keys) {
      slot(key.shifted) = {key.code, true};
      slot(key.plain) = {key.code, false};  // last: a space needs no Shift
    }
  }

  /// `character` is the whole text of one character; a longer text is never found.
  constexpr std::optional<CharKey> find(std::string_view character) const {
    if (character.size() != 1 || character[0] < first || character[0] > last) return std::nullopt;
    return keys_[static_cast<std::size_t>(character[0] - first)];
  }

  constexpr std::size_t size() const { return keys_.size(); }

 private:
  constexpr CharKey& slot(char c) { return keys_[static_cast<std::size_t>(c - first)]; }

  std::array<CharKey, last - first + 1> keys_{};
};

inline constexpr CharKeyTable vmCharKeys{{
    // The letters, row by row as they lie.
    {'q', 'Q', 12},
    {'w', 'W', 13},
    {'e', 'E', 14},
    {'r', 'R', 15},
    {'t', 'T', 17},
    {'y', 'Y', 16},
    {'u', 'U', 32},
    {'i', 'I', 34},
    {'o', 'O', 31},
    {'p', 'P', 35},
    {'a', 'A', 0},
    {'s', 'S', 1},
    {'d', 'D', 2},
    {'f', 'F', 3},
    {'g', 'G', 5},
    {'h', 'H', 4},
    {'j', 'J', 38},
    {'k', 'K', 40},
    {'l', 'L', 37},
    {'z', 'Z', 6},
    {'x', 'X', 7},
    {'c', 'C', 8},
    {'v', 'V', 9},
    {'b', 'B', 11},
    {'n', 'N', 45},
    {'m', 'M', 46},
    // The digit row.
    {'`', '~', 50},
    {'1', '!', 18},
    {'2', '@', 19},
    {'3', '#', 20},
    {'4', '$', 21},
    {'5', '%', 23},
    {'6', '^', 22},
    {'7', '&', 26},
    {'8', '*', 28},
    {'9', '(', 25},
    {'0', ')', 29},
    {'-', '_', 27},
    {'=', '+', 24},
    // The rest.
    {'[', '{', 33},
    {']', '}', 30},
    {'\\', '|', 42},
    {';', ':', 41},
    {'\'', '"', 39},
    {',', '<', 43},
    {'.', '>', 47},
    {'/', '?', 44},
    {' ', ' ', 49},
}};

}  // namespace parlen
