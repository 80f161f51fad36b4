#pragma once

#include <cstdint>
#include <span>

namespace parlen::text {

/// What a character's part in a grapheme cluster depends on: its Grapheme_Cluster_Break property
/// or, for the emoji that can be joined, Extended_Pictographic.
enum class GraphemeBreak : std::uint8_t {
  other,
  carriageReturn,
  lineFeed,
  control,
  extend,
  zeroWidthJoiner,
  regionalIndicator,
  prepend,
  spacingMark,
  hangulL,
  hangulV,
  hangulT,
  hangulLV,
  hangulLVT,
  extendedPictographic,
};

struct GraphemeRange {
  char32_t first;
  char32_t last;
  GraphemeBreak property;
};

/// Every character that is not `other`, in ascending order, without overlaps.
std::span<const GraphemeRange> graphemeRanges();

}  // namespace parlen::text
