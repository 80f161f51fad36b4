#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace parlen::qemu {

/// Reads the fractions out of what the image tool prints while it converts: "    (12.34/100%)" and
/// a carriage return, again and again, in whatever pieces it arrives.
class ConvertProgress {
 public:
  /// The fractions that these bytes complete, each between 0 and 1.
  std::vector<double> add(std::string_view bytes);

 private:
  std::string number_;   // the digits and the point after an opening parenthesis
  bool inside_ = false;  // between the parenthesis and the slash
};

}  // namespace parlen::qemu
