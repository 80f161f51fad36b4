#include "fuzz.h"
#include "text/graphemes.h"
#include "text/utf8.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using parlen::fuzz::require;
  const std::string_view input = parlen::fuzz::asText(data, size);
  const bool valid = parlen::text::isValidUtf8(input);
  for (std::string_view rest = input; !rest.empty();) {
    const std::string_view cluster = parlen::text::nextGrapheme(rest);
    // A part of the input itself, not of a copy, and at its very front.
    require(!cluster.empty() && cluster.data() == rest.data() && cluster.size() <= rest.size());
    require(!valid || parlen::text::isValidUtf8(cluster));
    // A cluster stays whole when nothing follows it.
    require(parlen::text::nextGrapheme(cluster) == cluster);
    rest.remove_prefix(cluster.size());
  }
  return 0;
}
