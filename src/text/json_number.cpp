#include "text/json_number.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>

namespace parlen::text {
namespace {

bool isDigit(char character) { return character >= '0' && character <= '9'; }

/// Scans a text from left to right.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : text_(text) {}

  std::size_t position() const { return position_; }

  bool skipOneOf(std::string_view characters) {
    if (position_ == text_.size()) return false;
    if (characters.find(text_[position_]) == std::string_view::npos) return false;
    ++position_;
    return true;
  }

  std::string_view skipDigits() {
    const std::size_t start = position_;
    while (position_ < text_.size() && isDigit(text_[position_])) ++position_;
    return text_.substr(start, position_ - start);
  }

 private:
  std::string_view text_;
  std::size_t position_ = 0;
};

/// The parts of a number's text.
struct WrittenNumber {
  bool negative = false;
  std::string_view whole;
  std::string_view fraction;
  bool negativeExponent = false;
  std::string_view exponent;
  std::size_t length = 0;  // 0: no number
};

WrittenNumber readNumber(std::string_view text) {
  Scanner scanner(text);
  WrittenNumber number;
  number.negative = scanner.skipOneOf("-");
  // No other integer part may start with 0.
  number.whole = scanner.skipOneOf("0") ? std::string_view("0") : scanner.skipDigits();
  if (number.whole.empty()) return {};
  if (scanner.skipOneOf(".")) {
    number.fraction = scanner.skipDigits();
    if (number.fraction.empty()) return {};
  }
  if (scanner.skipOneOf("eE")) {
    number.negativeExponent = scanner.skipOneOf("+-") && text[scanner.position() - 1] == '-';
    number.exponent = scanner.skipDigits();
    if (number.exponent.empty()) return {};
  }
  number.length = scanner.position();
  return number;
}

/// The exponent, limited to a range that the digits of no text in memory can compensate.
std::int64_t boundedExponent(const WrittenNumber& number) {
  constexpr std::int64_t bound = 1'000'000'000'000'000;
  std::int64_t exponent = 0;
  for (const char digit : number.exponent) {
    exponent = std::min(bound, exponent * 10 + (digit - '0'));
  }
  return number.negativeExponent ? -exponent : exponent;
}

/// Builds an integer from decimal digits and records whether it still fits.
class Magnitude {
 public:
  void append(unsigned digit) {
    constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();
    fits_ = fits_ && value_ <= (largest - digit) / 10;
    if (fits_) value_ = value_ * 10 + digit;
  }
  /// Stops as soon as the value no longer fits, so `count` may be any number.
  void appendZeros(std::int64_t count) {
    for (; count > 0 && fits_ && value_ != 0; --count) append(0);
  }
  bool isZero() const { return fits_ && value_ == 0; }
  std::optional<std::uint64_t> value() const {
    return fits_ ? std::optional(value_) : std::nullopt;
  }

 private:
  std::uint64_t value_ = 0;
  bool fits_ = true;
};

/// The absolute value if it is integral and fits. Zeros are added only when another digit follows;
/// trailing zeros count for the exponent, so that 1000e-3 and 0.5e1 are recognized as integral.
std::optional<std::uint64_t> integralMagnitude(const WrittenNumber& number) {
  Magnitude magnitude;
  std::int64_t zeros = 0;
  const auto add = [&](char digit) {
    if (digit == '0') {
      ++zeros;
      return;
    }
    magnitude.appendZeros(zeros);
    magnitude.append(static_cast<unsigned>(digit - '0'));
    zeros = 0;
  };
  std::ranges::for_each(number.whole, add);
  std::ranges::for_each(number.fraction, add);
  if (magnitude.isZero()) return 0;
  const std::int64_t power =
      zeros - static_cast<std::int64_t>(number.fraction.size()) + boundedExponent(number);
  if (power < 0) return std::nullopt;
  magnitude.appendZeros(power);
  return magnitude.value();
}

std::optional<JsonValue> integer(const WrittenNumber& number) {
  const std::optional<std::uint64_t> magnitude = integralMagnitude(number);
  if (!magnitude) return std::nullopt;
  if (!number.negative) return JsonValue(*magnitude);
  constexpr std::uint64_t lowest = std::uint64_t{1} << 63;
  if (*magnitude > lowest) return std::nullopt;
  return JsonValue(static_cast<std::int64_t>(0 - *magnitude));
}

}  // namespace

std::size_t jsonNumberLength(std::string_view text) { return readNumber(text).length; }

std::optional<JsonValue> jsonNumber(std::string_view token) {
  if (std::optional<JsonValue> exact = integer(readNumber(token))) return exact;
  // The process keeps the C locale, whose decimal separator is a point.
  const double value = std::strtod(std::string(token).c_str(), nullptr);
  if (!std::isfinite(value)) return std::nullopt;
  return JsonValue(value);
}

}  // namespace parlen::text
