#include "platform/simulated/geometry_trace.h"

#include <array>

#include "platform/simulated/json_members.h"

namespace parlen::simulated {

std::string list(const platform::Point& point) {
  return jsonArray(std::array{point.x, point.y}, number);
}

std::string list(const platform::Size& size) {
  return jsonArray(std::array{size.width, size.height}, number);
}

std::string list(const platform::Rect& rect) {
  return jsonArray(std::array{rect.x, rect.y, rect.width, rect.height}, number);
}

}  // namespace parlen::simulated
