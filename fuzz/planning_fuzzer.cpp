#include <algorithm>

#include "fuzz.h"
#include "input/key_planning.h"
#include "input/key_tables.h"

namespace parlen {
namespace {

using fuzz::require;

/// The planned keys type the text again; a text that cannot be typed has a reason.
void checkText(std::string_view text) {
  const auto strokes = planText(text);
  if (!strokes) return require(!strokes.error().reason.empty());
  std::string typed;
  for (std::size_t index = 0; index < strokes->size(); ++index) {
    const KeyStroke stroke = (*strokes)[index];
    require(stroke.modifiers.size() <= 1);
    typed += stroke.characters == "\r" ? "\n" : stroke.characters;
  }
  require(typed == text);
}

void checkChord(std::string_view chord) {
  const auto stroke = planChord(chord);
  if (!stroke) return require(!stroke.error().reason.empty());
  require(std::ranges::all_of(stroke->modifiers, [](std::string_view name) {
    return vmModifierFlags.find(name).has_value();
  }));
  require(stroke->characters.empty() ||
          vmCharKeys.find(stroke->characters)->code == stroke->keyCode);
}

}  // namespace
}  // namespace parlen

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input = parlen::fuzz::asText(data, size);
  parlen::checkText(input);
  parlen::checkChord(input);
  return 0;
}
