#pragma once

#include <string>

#include "platform/geometry.h"

namespace parlen::simulated {

// Geometry as the trace's lines have it: lists of numbers.
std::string list(const platform::Point& point);
std::string list(const platform::Size& size);
std::string list(const platform::Rect& rect);

}  // namespace parlen::simulated
