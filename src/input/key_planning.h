#pragma once

#include <cstdint>
#include <expected>
#include <string>
#include <string_view>
#include <vector>

namespace parlen {

/// One press of a key, with the modifiers that are held meanwhile.
struct KeyStroke {
  std::uint16_t keyCode = 0;
  /// Names in vmModifierFlags, in the order of pressing; one may come twice.
  std::vector<std::string> modifiers;
  /// The text that the press produces; empty for a named key.
  std::string characters;

  friend bool operator==(const KeyStroke&, const KeyStroke&) = default;
};

/// Why a request cannot be typed: a complete sentence, shown to the parent unchanged.
struct InputRefusal {
  std::string reason;

  friend bool operator==(const InputRefusal&, const InputRefusal&) = default;
};

/// The strokes that type `text` on a US keyboard, one for each user-perceived character, or the
/// refusal of its first character that has no key. Nothing is planned in part. Any thread.
std::expected<std::vector<KeyStroke>, InputRefusal> planText(std::string_view text);

/// The one stroke that presses `chord`: modifier names and at last a key's name or a character,
/// joined by "+", as in "cmd+shift+t". The plus key is "+" itself ("cmd++"). Any thread.
std::expected<KeyStroke, InputRefusal> planChord(std::string_view chord);

}  // namespace parlen
