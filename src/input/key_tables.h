#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "platform/key_codes.h"

/// The names and characters that an input request may use, and their keys on a US ANSI keyboard.
namespace parlen {

template <class Value>
struct NamedValue {
  std::string_view name;
  Value value;
};

/// A constant map from names to values. Names are compared byte for byte, one after the other.
template <class Value, std::size_t count>
struct NameTable {
  std::array<NamedValue<Value>, count> entries;

  constexpr std::optional<Value> find(std::string_view name) const {
    const NamedValue<Value>* entry = findEntry(name);
    return entry != nullptr ? std::optional(entry->value) : std::nullopt;
  }

  /// The entry itself; null if there is none.
  constexpr const NamedValue<Value>* findEntry(std::string_view name) const {
    for (const auto& entry : entries) {
      if (entry.name == name) return &entry;
    }
    return nullptr;
  }

  /// The value of a name in the table; any other name does not compile.
  consteval Value operator[](std::string_view name) const {
    for (const auto& entry : entries) {
      if (entry.name == name) return entry.value;
    }
    std::abort();
  }
};

/// The key codes of the keys that have a name in a chord. A modifier is its left-hand key; a chord
/// cannot end with one, but pressing it sends an event for that key.
inline constexpr NameTable<std::uint16_t, 18> vmNamedKeys{{{
    {"return", vk::returnKey},
    {"tab", vk::tab},
    {"space", vk::space},
    {"delete", vk::deleteKey},  // backspace
    {"escape", vk::escape},
    {"forward-delete", vk::forwardDelete},
    {"home", vk::home},
    {"end", vk::end},
    {"page-up", vk::pageUp},
    {"page-down", vk::pageDown},
    {"left", vk::leftArrow},
    {"right", vk::rightArrow},
    {"down", vk::downArrow},
    {"up", vk::upArrow},
    {"cmd", vk::command},
    {"shift", vk::shift},
    {"option", vk::option},
    {"ctrl", vk::control},
}}};

/// The bits that each modifier sets in a key event's modifier flags: the flag of its kind and the
/// bit of the left-hand key. A real key sets both, and a guest may test either.
inline constexpr NameTable<std::uint64_t, 4> vmModifierFlags{{{
    {"cmd", modifier::command | modifier::leftCommandKey},
    {"shift", modifier::shift | modifier::leftShiftKey},
    {"option", modifier::option | modifier::leftOptionKey},
    {"ctrl", modifier::control | modifier::leftControlKey},
}}};

/// How a character is typed: the key, and whether Shift is held.
struct CharKey {
  std::uint16_t code = 0;
  bool shift = false;
  friend bool operator==(const CharKey&, const CharKey&) = default;
};

/// The keys of the printable ASCII characters, space to tilde. It has no other characters.
class CharKeyTable {
 public:
  static constexpr char first = ' ';
  static constexpr char last = '~';

  /// A key and its two characters; the space bar has the same character twice.
  struct PhysicalKey {
    char plain;
    char shifted;
    std::uint16_t code;
  };

  template <std::size_t count>
  explicit consteval CharKeyTable(const PhysicalKey (&keys)[count]) {
    for (const PhysicalKey& key : keys) {
      slot(key.shifted) = {key.code, true};
      slot(key.plain) = {key.code, false};  // second: a space needs no Shift
    }
  }

  /// Finds the key of `character`; nullopt unless it is one byte that is in the table.
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
    // The letters, row by row.
    {'q', 'Q', vk::ansiQ},
    {'w', 'W', vk::ansiW},
    {'e', 'E', vk::ansiE},
    {'r', 'R', vk::ansiR},
    {'t', 'T', vk::ansiT},
    {'y', 'Y', vk::ansiY},
    {'u', 'U', vk::ansiU},
    {'i', 'I', vk::ansiI},
    {'o', 'O', vk::ansiO},
    {'p', 'P', vk::ansiP},
    {'a', 'A', vk::ansiA},
    {'s', 'S', vk::ansiS},
    {'d', 'D', vk::ansiD},
    {'f', 'F', vk::ansiF},
    {'g', 'G', vk::ansiG},
    {'h', 'H', vk::ansiH},
    {'j', 'J', vk::ansiJ},
    {'k', 'K', vk::ansiK},
    {'l', 'L', vk::ansiL},
    {'z', 'Z', vk::ansiZ},
    {'x', 'X', vk::ansiX},
    {'c', 'C', vk::ansiC},
    {'v', 'V', vk::ansiV},
    {'b', 'B', vk::ansiB},
    {'n', 'N', vk::ansiN},
    {'m', 'M', vk::ansiM},
    // The digit row.
    {'`', '~', vk::ansiGrave},
    {'1', '!', vk::ansi1},
    {'2', '@', vk::ansi2},
    {'3', '#', vk::ansi3},
    {'4', '$', vk::ansi4},
    {'5', '%', vk::ansi5},
    {'6', '^', vk::ansi6},
    {'7', '&', vk::ansi7},
    {'8', '*', vk::ansi8},
    {'9', '(', vk::ansi9},
    {'0', ')', vk::ansi0},
    {'-', '_', vk::ansiMinus},
    {'=', '+', vk::ansiEqual},
    // Punctuation and the space bar.
    {'[', '{', vk::ansiLeftBracket},
    {']', '}', vk::ansiRightBracket},
    {'\\', '|', vk::ansiBackslash},
    {';', ':', vk::ansiSemicolon},
    {'\'', '"', vk::ansiQuote},
    {',', '<', vk::ansiComma},
    {'.', '>', vk::ansiPeriod},
    {'/', '?', vk::ansiSlash},
    {' ', ' ', vk::space},
}};

}  // namespace parlen
