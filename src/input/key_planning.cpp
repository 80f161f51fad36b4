#include "input/key_planning.h"

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <optional>
#include <utility>

#include "input/key_tables.h"
#include "text/concatenate.h"
#include "text/graphemes.h"

namespace parlen {
namespace {

std::unexpected<InputRefusal> refuse(std::initializer_list<std::string_view> reason) {
  return std::unexpected(InputRefusal{text::concatenate(reason)});
}

/// The key that types one user-perceived character; nullopt if there is none.
std::optional<CharKey> keyFor(std::string_view character) {
  if (character == "\n") return CharKey{vmNamedKeys["return"], false};
  if (character == "\t") return CharKey{vmNamedKeys["tab"], false};
  return vmCharKeys.find(character);
}

/// The stroke that types a character. It has a key: text with another character is refused.
KeyStroke strokeFor(char character) {
  const CharKey key = keyFor({&character, 1}).value_or(CharKey{});
  KeyStroke stroke;
  stroke.keyCode = key.code;
  if (key.shift) stroke.modifiers.emplace_back("shift");
  // The events of the Return key carry a carriage return.
  stroke.characters = character == '\n' ? '\r' : character;
  return stroke;
}

/// The length of the token at the start of `text`, up to a plus sign or the end. A plus with a
/// combining mark is another character and does not separate.
std::size_t tokenLength(std::string_view text) {
  std::size_t length = 0;
  while (length < text.size()) {
    const std::string_view character = text::nextGrapheme(text.substr(length));
    if (character == "+") break;
    length += character.size();
  }
  return length;
}

/// A chord's modifiers, constants of vmModifierFlags, and its key.
struct Chord {
  std::vector<std::string_view> modifiers;
  std::string_view key;
};

/// `most` is how many modifiers the chord can have, and one Shift more.
std::expected<void, InputRefusal> addModifier(Chord& chord, std::string_view token,
                                              std::size_t most) {
  const auto* modifier = vmModifierFlags.findEntry(token);
  if (modifier == nullptr) {
    return refuse({"'", token, "' is not a modifier (cmd, shift, option, ctrl come first)"});
  }
  chord.modifiers.reserve(most);  // growing would take three times as much
  chord.modifiers.push_back(modifier->name);
  return {};
}

/// Divides a chord at its plus signs, two tokens at a time: there may be millions.
std::expected<Chord, InputRefusal> divide(std::string_view text) {
  if (text == "+") return Chord{{}, text};
  Chord chord;
  const std::size_t most = text.size() / std::string_view("cmd+").size() + 1;
  std::expected<void, InputRefusal> added;
  std::optional<std::string_view> before;  // the token before the key
  for (bool isLast = false; !isLast && added;) {
    chord.key = text.substr(0, tokenLength(text));
    isLast = chord.key.size() == text.size();
    // A chord that ends with "+" means the plus key. The token before the last is dropped too. In
    // "cmd++" it is the empty token between the two; in "cmd+" it is the modifier, so that "cmd+"
    // presses the plus key alone.
    const bool endsWithPlus = isLast && chord.key.empty();
    if (endsWithPlus) chord.key = "+";
    if (before && !endsWithPlus) added = addModifier(chord, *before, most);
    before = chord.key;
    if (!isLast) text.remove_prefix(chord.key.size() + 1);
  }
  if (!added) return std::unexpected(std::move(added.error()));
  return chord;
}

std::expected<KeyStroke, InputRefusal> strokeOf(Chord chord) {
  if (const auto code = vmNamedKeys.find(chord.key)) {
    return KeyStroke{*code, std::move(chord.modifiers), ""};
  }
  const auto charKey = vmCharKeys.find(chord.key);
  if (!charKey) return refuse({"unknown key '", chord.key, "'"});
  if (charKey->shift && std::ranges::find(chord.modifiers, "shift") == chord.modifiers.end()) {
    chord.modifiers.emplace_back("shift");
  }
  return KeyStroke{charKey->code, std::move(chord.modifiers), std::string(chord.key)};
}

}  // namespace

std::size_t KeyStrokes::size() const {
  return std::visit([](const auto& strokes) { return strokes.size(); }, strokes_);
}

KeyStroke KeyStrokes::operator[](std::size_t index) const {
  if (const auto* text = std::get_if<std::string>(&strokes_)) return strokeFor((*text)[index]);
  return std::get<std::vector<KeyStroke>>(strokes_)[index];
}

std::expected<KeyStrokes, InputRefusal> planText(std::string_view text) {
  for (std::string_view rest = text; !rest.empty();) {
    const std::string_view character = text::nextGrapheme(rest);
    if (!keyFor(character)) return refuse({"not typeable on the US layout: '", character, "'"});
    rest.remove_prefix(character.size());
  }
  return KeyStrokes(std::string(text));
}

std::expected<KeyStroke, InputRefusal> planChord(std::string_view text) {
  if (text.empty()) return refuse({"malformed chord '", text, "'"});
  auto chord = divide(text);
  if (!chord) return std::unexpected(std::move(chord.error()));
  if (vmModifierFlags.find(chord->key)) {
    return refuse({"the final token must be a key, not a modifier (got '", chord->key, "')"});
  }
  return strokeOf(*std::move(chord));
}

}  // namespace parlen
