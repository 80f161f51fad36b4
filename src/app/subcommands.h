#pragma once

#include <span>
#include <string_view>

namespace parlen {

/// What follows an option on the command line.
enum class OptionValue { none, file, directory, number, text };

struct Option {
  std::string_view name;  // without the hyphens
  OptionValue value;
  std::string_view description;
};

/// A subcommand: its words, and the routine behind them, which ends the process.
struct Subcommand {
  std::string_view name;
  std::string_view description;  // empty: not for people
  std::span<const Option> options;
  void (*routine)();
};

/// All of them, in the order in which people are told of them.
std::span<const Subcommand> subcommands();

}  // namespace parlen
