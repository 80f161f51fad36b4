#include "text/graphemes.h"

#include <algorithm>
#include <cstdint>

#include "text/grapheme_table.h"
#include "text/utf8.h"

namespace parlen::text {
namespace {

using enum GraphemeBreak;

/// A set of properties, one bit each.
using PropertySet = std::uint32_t;

template <class... Properties>
constexpr PropertySet setOf(Properties... properties) {
  return ((PropertySet{1} << static_cast<unsigned>(properties)) | ... | PropertySet{0});
}

constexpr PropertySet lineBreaks = setOf(carriageReturn, lineFeed, control);
constexpr PropertySet alwaysJoining = setOf(extend, zeroWidthJoiner, spacingMark);

/// The properties that join a cluster whose last character has this one, whatever came before.
constexpr PropertySet joiningAfter(GraphemeBreak last) {
  switch (last) {
    case carriageReturn:
      return setOf(lineFeed);
    case lineFeed:
    case control:
      return 0;
    case prepend:
      return ~lineBreaks;
    case hangulL:
      return alwaysJoining | setOf(hangulL, hangulV, hangulLV, hangulLVT);
    case hangulV:
    case hangulLV:
      return alwaysJoining | setOf(hangulV, hangulT);
    case hangulT:
    case hangulLVT:
      return alwaysJoining | setOf(hangulT);
    case other:
    case extend:
    case zeroWidthJoiner:
    case regionalIndicator:
    case spacingMark:
    case extendedPictographic:
      return alwaysJoining;
  }
  return 0;
}

GraphemeBreak propertyOf(char32_t codePoint) {
  if (codePoint >= 0x20 && codePoint < 0x7F) return other;
  const auto ranges = graphemeRanges();
  const auto range = std::ranges::lower_bound(ranges, codePoint, {}, &GraphemeRange::last);
  if (range == ranges.end() || codePoint < range->first) return other;
  return range->property;
}

/// What must be known of the cluster so far to decide whether the next character joins it.
class Cluster {
 public:
  explicit Cluster(GraphemeBreak first) { add(first); }

  bool accepts(GraphemeBreak next) const {
    if ((joiningAfter(last_) & setOf(next)) != 0) return true;
    if (next == extendedPictographic) return last_ == zeroWidthJoiner && pictographBefore_;
    // Regional indicators pair up, two to a flag.
    return next == regionalIndicator && last_ == regionalIndicator && unpairedIndicator_;
  }

  void add(GraphemeBreak next) {
    pictographBefore_ = pictograph_;
    pictograph_ = next == extendedPictographic || (next == extend && pictograph_);
    unpairedIndicator_ = next == regionalIndicator && !unpairedIndicator_;
    last_ = next;
  }

 private:
  GraphemeBreak last_ = other;
  bool pictograph_ = false;         // ends in a pictograph, maybe with extending characters
  bool pictographBefore_ = false;   // the same before the last character
  bool unpairedIndicator_ = false;  // ends in an odd number of regional indicators
};

struct Character {
  GraphemeBreak property;
  std::size_t length;
};

Character firstCharacter(std::string_view text) {
  const DecodedCharacter decoded = decodeFirst(text);
  return {propertyOf(decoded.codePoint.value_or(replacementCharacter)), decoded.length};
}

}  // namespace

std::string_view nextGrapheme(std::string_view text) {
  if (text.empty()) return text;
  const Character first = firstCharacter(text);
  Cluster cluster(first.property);
  std::size_t length = first.length;
  while (length < text.size()) {
    const Character next = firstCharacter(text.substr(length));
    if (!cluster.accepts(next.property)) break;
    cluster.add(next.property);
    length += next.length;
  }
  return text.substr(0, length);
}

}  // namespace parlen::text
