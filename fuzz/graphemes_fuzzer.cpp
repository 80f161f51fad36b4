#include "fuzz.h"
#include "text/graphemes.h"
#include "text/utf8.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using parlen::fuzz::require;
  const std::string_view input = parlen::fuzz::asText(data, size);
  const bool valid = parlen::text::isValidUtf8(input);
  for (std::string_view rest = input; !rest.empty();) {
    const std::string_view cluster = parlen::text::nextGrapheme(rest);
    // The cluster is the start of the input itself, not a copy.
    require(!cluster.empty() && cluster.data() == rest.data() && cluster.size() <= rest.size());
    require(!valid || parlen::text::isValidUtf8(cluster));
    // A cluster at the end of a text is divided no further.
    require(parlen::text::nextGrapheme(cluster) == cluster);
    rest.remove_prefix(cluster.size());
  }
  return 0;
}
