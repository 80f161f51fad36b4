#include <charconv>

/// In the C++ library of every macOS that the program supports.
const char* endOf(char* first, char* last, int value) {
  return std::to_chars(first, last, value).ptr;
}
