#pragma once

#include <cstddef>
#include <cstdint>
#include <expected>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace parlen {

/// One press of a key while modifiers are held.
struct KeyStroke {
  std::uint16_t keyCode = 0;  // a virtual key code of parlen::vk
  /// Names in vmModifierFlags, in the order in which they are pressed; a name may occur twice. They
  /// are constants and live for ever.
  std::vector<std::string_view> modifiers;
  /// The text that the press types; empty for a named key of a chord.
  std::string characters;

  friend bool operator==(const KeyStroke&, const KeyStroke&) = default;
};

/// A list of strokes. Those of a text are kept as that text, a byte for each, and made when they
/// are asked for: a text may have millions of characters.
class KeyStrokes {
 public:
  KeyStrokes(std::initializer_list<KeyStroke> strokes) : strokes_(strokes) {}
  explicit KeyStrokes(std::vector<KeyStroke> strokes) : strokes_(std::move(strokes)) {}
  /// Every character of `text` has a key.
  explicit KeyStrokes(std::string text) : strokes_(std::move(text)) {}

  std::size_t size() const;
  KeyStroke operator[](std::size_t index) const;

 private:
  std::variant<std::vector<KeyStroke>, std::string> strokes_;
};

/// Why a request cannot be typed. The parent gets `reason` unchanged.
struct InputRefusal {
  std::string reason;

  friend bool operator==(const InputRefusal&, const InputRefusal&) = default;
};

/// Plans the strokes that type `text` on a US keyboard, one for each user-perceived character. If a
/// character has no key, returns the refusal of the first such character and no strokes. Any
/// thread.
std::expected<KeyStrokes, InputRefusal> planText(std::string_view text);

/// Plans the stroke that presses `chord`: modifiers and last a key's name or a character, joined by
/// "+", as in "cmd+shift+t". The plus key is "+" itself ("cmd++"). Any thread.
std::expected<KeyStroke, InputRefusal> planChord(std::string_view chord);

}  // namespace parlen
