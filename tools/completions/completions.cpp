#include "completions.h"

#include <map>
#include <ranges>
#include <string_view>
#include <vector>

#include "app/subcommands.h"

namespace parlen::completions {
namespace {

constexpr std::string_view generated =
    "# Generated from the program's table of subcommands by scripts/generate-completions.\n";

auto shownSubcommands() {
  return subcommands() | std::views::filter([](const Subcommand& subcommand) {
           return !subcommand.description.empty();
         });
}

/// `value` as one word of a shell, which here never has a quote in it.
std::string quoted(std::string_view value) { return "'" + std::string(value) + "'"; }

std::string bashWords(std::span<const Option> options) {
  std::string words;
  for (const Option& option : options)
    words.append(words.empty() ? "--" : " --").append(option.name);
  return words;
}

/// How bash completes a value; empty if there is nothing to offer.
std::string_view bashAction(OptionValue value) {
  if (value == OptionValue::file) return "-f";
  if (value == OptionValue::directory) return "-d";
  return "";
}

/// The lines of a `case` that offer the values of options.
std::string bashValues(const Subcommand& subcommand) {
  std::string lines;
  for (const Option& option : subcommand.options) {
    if (option.value == OptionValue::none) continue;
    lines.append("    ").append(subcommand.name).append(":--").append(option.name).append(")");
    const std::string_view action = bashAction(option.value);
    lines.append(action.empty() ? std::string(" return ;;\n")
                                : " _parlen_mac_vm_paths " + std::string(action) + "; return ;;\n");
  }
  return lines;
}

std::string zshAction(OptionValue value) {
  if (value == OptionValue::file) return ":file:_files";
  if (value == OptionValue::directory) return ":directory:_files -/";
  if (value == OptionValue::none) return "";
  return value == OptionValue::number ? ":number:" : ":text:";
}

std::string fishAction(OptionValue value) {
  if (value == OptionValue::file) return " -r -F";
  if (value == OptionValue::directory) return " -x -a '(__fish_complete_directories)'";
  return value == OptionValue::none ? "" : " -x";
}

}  // namespace

std::string forBash() {
  std::string names;
  std::string values;
  std::string options;
  for (const Subcommand& subcommand : shownSubcommands()) {
    names.append(names.empty() ? "" : " ").append(subcommand.name);
    values.append(bashValues(subcommand));
    options.append("    ").append(subcommand.name).append(") options=");
    options.append(quoted(bashWords(subcommand.options))).append(" ;;\n");
  }
  return "# bash completion for parlen-mac-vm.\n" + std::string(generated) + R"(
_parlen_mac_vm_paths() {
  local IFS=$'\n'
  compopt -o filenames 2>/dev/null
  COMPREPLY=($(compgen "$1" -- "${COMP_WORDS[COMP_CWORD]}"))
}

_parlen_mac_vm() {
  local word=${COMP_WORDS[COMP_CWORD]} options=
  COMPREPLY=()
  if [[ $COMP_CWORD -eq 1 ]]; then
    COMPREPLY=($(compgen -W )" +
         quoted(names) + R"( -- "$word"))
    return
  fi
  case ${COMP_WORDS[1]}:${COMP_WORDS[COMP_CWORD-1]} in
)" + values +
         R"(  esac
  case ${COMP_WORDS[1]} in
)" + options +
         R"(  esac
  COMPREPLY=($(compgen -W "$options" -- "$word"))
}

complete -F _parlen_mac_vm parlen-mac-vm
)";
}

std::string forZsh() {
  std::string names;
  std::string cases;
  for (const Subcommand& subcommand : shownSubcommands()) {
    names.append("    ").append(
        quoted(std::string(subcommand.name).append(":").append(subcommand.description)));
    names.append("\n");
    cases.append("    ").append(subcommand.name).append(")\n      _arguments");
    for (const Option& option : subcommand.options) {
      cases.append(" \\\n        ");
      cases.append(quoted("--" + std::string(option.name) + "[" + std::string(option.description) +
                          "]" + zshAction(option.value)));
    }
    cases.append("\n      ;;\n");
  }
  return "#compdef parlen-mac-vm\n" + std::string(generated) + R"(
_parlen-mac-vm() {
  local -a subcommands=(
)" + names +
         R"(  )
  if (( CURRENT == 2 )); then
    _describe subcommand subcommands
    return
  fi
  local subcommand=$words[2]
  shift words
  (( CURRENT-- ))
  case $subcommand in
)" + cases +
         R"(  esac
}

_parlen-mac-vm "$@"
)";
}

std::string forFish() {
  std::string lines;
  for (const Subcommand& subcommand : shownSubcommands()) {
    lines.append("complete -c parlen-mac-vm -n __fish_use_subcommand -a ").append(subcommand.name);
    lines.append(" -d ").append(quoted(subcommand.description)).append("\n");
    for (const Option& option : subcommand.options) {
      lines.append("complete -c parlen-mac-vm -n '__fish_seen_subcommand_from ");
      lines.append(subcommand.name).append("' -l ").append(option.name);
      lines.append(fishAction(option.value)).append(" -d ").append(quoted(option.description));
      lines.append("\n");
    }
  }
  return "# fish completion for parlen-mac-vm.\n" + std::string(generated) +
         "\ncomplete -c parlen-mac-vm -f\n" + lines;
}

}  // namespace parlen::completions
