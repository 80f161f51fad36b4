#pragma once

#include <string>
#include <string_view>

namespace parlen::qemu {

/// Remembers the last thing that a program said on its standard error, however the bytes arrive.
class LastMessage {
 public:
  /// `program` is the name that begins each of the program's own lines: "qemu-img".
  explicit LastMessage(std::string_view program) : prefix_(std::string(program) + ": ") {}

  void add(std::string_view bytes);

  /// The last line, without the program's name. If that line only explains the line before (a hint,
  /// which does not begin with the program's name), both, with a blank between. Empty: it said
  /// nothing.
  std::string text() const;

 private:
  void endLine();

  std::string prefix_;
  std::string line_;      // the beginning of a line whose end has not arrived
  std::string last_;      // the last complete line
  std::string previous_;  // the one before
};

}  // namespace parlen::qemu
