#pragma once

#include <cstdint>
#include <span>

namespace parlen::text {

/// The property of a character that decides where clusters end (UAX #29): Grapheme_Cluster_Break
/// or, for emoji that can be joined, Extended_Pictographic.
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

/// All characters that are not `other`, in ascending order, without overlaps.
std::span<const GraphemeRange> graphemeRanges();

}  // namespace parlen::text
