#include "platform/qemu/qmp_parser.h"

#include <algorithm>
#include <iterator>
#include <variant>

#include "fuzz.h"
#include "platform/qemu/images.h"
#include "platform/qemu/subprocess.h"

namespace parlen::qemu {
namespace {

using fuzz::require;

/// Parses the stream in two pieces; the first byte is the place of the cut.
template <class Parser>
auto inTwoPieces(std::string_view input) {
  const std::size_t cut = static_cast<unsigned char>(input.front()) % (input.size() + 1);
  Parser parser;
  auto results = parser.add(input.substr(0, cut));
  auto rest = parser.add(input.substr(cut));
  std::move(rest.begin(), rest.end(), std::back_inserter(results));
  return results;
}

void checkMessages(std::string_view input) {
  const auto messages = QmpParser().add(input);
  require(messages == inTwoPieces<QmpParser>(input));
  for (const QmpMessage& message : messages) {
    const auto* event = std::get_if<QmpEvent>(&message);
    if (event != nullptr) require(!event->data.boolean("reason") || !event->data.text("reason"));
  }
}

void checkProgress(std::string_view input) {
  const auto fractions = ConvertProgress().add(input);
  require(fractions == inTwoPieces<ConvertProgress>(input));
  for (const double fraction : fractions) require(fraction >= 0 && fraction <= 1);
}

void checkLastMessage(std::string_view input) {
  LastMessage message("qemu");
  message.add(input);
  require(message.text().find('\n') == std::string::npos);
}

}  // namespace
}  // namespace parlen::qemu

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string_view input = parlen::fuzz::asText(data, size);
  parlen::qemu::checkMessages(input);
  parlen::qemu::checkProgress(input);
  parlen::qemu::checkLastMessage(input);
  return 0;
}
