#include "text/concatenate.h"

#include <cstddef>

namespace parlen::text {

std::string concatenate(std::initializer_list<std::string_view> parts) {
  std::size_t length = 0;
  for (const std::string_view part : parts) length += part.size();
  std::string whole;
  whole.reserve(length);
  for (const std::string_view part : parts) whole += part;
  return whole;
}

}  // namespace parlen::text
