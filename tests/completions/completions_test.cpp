#include "completions.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>

#include "app/command_line.h"
#include "app/subcommands.h"

namespace parlen {
namespace {

std::string read(const std::string& name) {
  std::ifstream file(std::string(PARLEN_COMPLETIONS) + "/" + name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

TEST(Completions, InTheTreeAreOfTheTable) {
  constexpr const char* hint = "run scripts/generate-completions";
  EXPECT_EQ(read("parlen-mac-vm.bash"), completions::forBash()) << hint;
  EXPECT_EQ(read("_parlen-mac-vm"), completions::forZsh()) << hint;
  EXPECT_EQ(read("parlen-mac-vm.fish"), completions::forFish()) << hint;
}

TEST(Completions, NeedNoEscapes) {
  for (const Subcommand& subcommand : subcommands()) {
    EXPECT_EQ(subcommand.description.find_first_of("'[]:\\"), std::string_view::npos);
    for (const Option& option : subcommand.options) {
      EXPECT_EQ(option.description.find_first_of("'[]:\\"), std::string_view::npos) << option.name;
    }
  }
}

/// The options that a subcommand's line of the usage text names.
std::set<std::string> usageOptions(std::string_view subcommand) {
  const std::size_t at = usage.find("\n  " + std::string(subcommand) + " ");
  if (at == std::string_view::npos) return {};
  const std::string line(usage.substr(at + 1, usage.find('\n', at + 1) - at - 1));
  const std::regex word("--([a-z-]+)");
  std::set<std::string> names;
  for (std::sregex_iterator match(line.begin(), line.end(), word), end; match != end; ++match) {
    names.insert((*match)[1]);
  }
  return names;
}

TEST(Subcommands, HaveTheOptionsOfTheUsageText) {
  for (const Subcommand& subcommand : subcommands()) {
    std::set<std::string> names;
    for (const Option& option : subcommand.options) names.emplace(option.name);
    EXPECT_EQ(names, usageOptions(subcommand.name)) << subcommand.name;
    EXPECT_FALSE(names.empty()) << subcommand.name;
  }
}

}  // namespace
}  // namespace parlen
