#include <charconv>

/// In the C++ library of macOS 13.3 and later only.
const char* endOf(char* first, char* last, double value) {
  return std::to_chars(first, last, value).ptr;
}
