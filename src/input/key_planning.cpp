#include "input/key_planning.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <utility>

#include "input/key_tables.h"
#include "text/graphemes.h"

namespace parlen {
namespace {

std::unexpected<InputRefusal> refuse(std::string reason) {
  return std::unexpected(InputRefusal{std::move(reason)});
}

std::string quoted(std::string_view text) { return "'" + std::string(text) + "'"; }

/// The stroke that types one user-perceived character; nullopt if no key types it.
std::optional<KeyStroke> strokeFor(std::string_view character) {
  // The events of the Return key carry a carriage return.
  if (character == "\n") return KeyStroke{vmNamedKeys["return"], {}, "\r"};
  if (character == "\t") return KeyStroke{vmNamedKeys["tab"], {}, "\t"};
  const auto key = vmCharKeys.find(character);
  if (!key) return std::nullopt;
  KeyStroke stroke{key->code, {}, std::string(character)};
  if (key->shift) stroke.modifiers.emplace_back("shift");
  return stroke;
}

/// The tokens between the plus signs. A plus with a combining mark is another character and does
/// not separate.
std::vector<std::string> splitAtPlus(std::string_view chord) {
  std::vector<std::string> tokens(1);
  while (!chord.empty()) {
    const std::string_view character = text::nextGrapheme(chord);
    chord.remove_prefix(character.size());
    if (character == "+") {
      tokens.emplace_back();
    } else {
      tokens.back() += character;
    }
  }
  return tokens;
}

/// The chord's modifiers and, as the last token, its key. Never empty.
std::vector<std::string> tokenise(std::string_view chord) {
  if (chord == "+") return {"+"};
  std::vector<std::string> tokens = splitAtPlus(chord);
  // A chord that ends with "+" means the plus key. The token before the last is dropped too. In
  // "cmd++" it is the empty token between the two; in "cmd+" it is the modifier, so that "cmd+"
  // presses the plus key alone.
  if (tokens.size() >= 2 && tokens.back().empty()) {
    tokens.resize(tokens.size() - 2);
    tokens.emplace_back("+");
  }
  return tokens;
}

std::expected<KeyStroke, InputRefusal> strokeWith(std::vector<std::string> modifiers,
                                                  std::string key) {
  if (const auto code = vmNamedKeys.find(key)) return KeyStroke{*code, std::move(modifiers), ""};
  const auto charKey = vmCharKeys.find(key);
  if (!charKey) return refuse("unknown key " + quoted(key));
  if (charKey->shift && std::ranges::find(modifiers, "shift") == modifiers.end()) {
    modifiers.emplace_back("shift");
  }
  return KeyStroke{charKey->code, std::move(modifiers), std::move(key)};
}

}  // namespace

std::expected<std::vector<KeyStroke>, InputRefusal> planText(std::string_view text) {
  std::vector<KeyStroke> strokes;
  while (!text.empty()) {
    const std::string_view character = text::nextGrapheme(text);
    auto stroke = strokeFor(character);
    if (!stroke) return refuse("not typeable on the US layout: " + quoted(character));
    strokes.push_back(std::move(*stroke));
    text.remove_prefix(character.size());
  }
  return strokes;
}

std::expected<KeyStroke, InputRefusal> planChord(std::string_view chord) {
  std::vector<std::string> modifiers = tokenise(chord);
  std::string key = std::move(modifiers.back());
  modifiers.pop_back();
  if (key.empty()) return refuse("malformed chord " + quoted(chord));
  for (const std::string& modifier : modifiers) {
    if (!vmModifierFlags.find(modifier)) {
      return refuse(quoted(modifier) + " is not a modifier (cmd, shift, option, ctrl come first)");
    }
  }
  if (vmModifierFlags.find(key)) {
    return refuse("the final token must be a key, not a modifier (got " + quoted(key) + ")");
  }
  return strokeWith(std::move(modifiers), std::move(key));
}

}  // namespace parlen
