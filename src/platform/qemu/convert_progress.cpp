#include "platform/qemu/convert_progress.h"

#include <algorithm>
#include <optional>

namespace parlen::qemu {
namespace {

constexpr std::size_t longestNumber = 6;  // "100.00"

/// "12.34" as a fraction of 100; nothing for any other text.
std::optional<double> fractionOf(std::string_view percentage) {
  constexpr double hundredthsInAll = 10000;
  const std::size_t point = percentage.find('.');
  if (point == 0 || point == std::string_view::npos || percentage.size() - point != 3) {
    return std::nullopt;
  }
  int hundredths = 0;
  for (const char character : percentage) {
    if (character == '.') continue;
    hundredths = hundredths * 10 + (character - '0');
  }
  return std::min(1.0, hundredths / hundredthsInAll);
}

}  // namespace

std::vector<double> ConvertProgress::add(std::string_view bytes) {
  std::vector<double> fractions;
  for (const char byte : bytes) {
    if (byte == '(') {
      inside_ = true;
      number_.clear();
    } else if (inside_ && byte == '/') {
      inside_ = false;
      if (const auto fraction = fractionOf(number_)) fractions.push_back(*fraction);
    } else if (inside_ && number_.size() < longestNumber &&
               ((byte >= '0' && byte <= '9') || (byte == '.' && !number_.contains('.')))) {
      number_ += byte;
    } else {
      inside_ = false;
    }
  }
  return fractions;
}

}  // namespace parlen::qemu
