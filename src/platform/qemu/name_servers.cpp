#include "platform/qemu/name_servers.h"

#include <algorithm>
#include <cstddef>

#include "platform/linux/files.h"

namespace parlen::qemu {
namespace {

constexpr std::string_view spaces = " \t\r";

/// The next word of `line`, which loses it; empty at the end of the line.
std::string_view takeWord(std::string_view& line) {
  line.remove_prefix(std::min(line.find_first_not_of(spaces), line.size()));
  const std::string_view word = line.substr(0, line.find_first_of(spaces));
  line.remove_prefix(word.size());
  return word;
}

/// An address with a zone (fe80::1%eth0) means something on the host only.
bool isReachable(std::string_view address) {
  return !address.empty() && !address.starts_with("127.") && address != "::1" &&
         !address.contains('%');
}

std::vector<std::string> reachableServers(std::string_view configuration) {
  std::vector<std::string> found;
  while (!configuration.empty()) {
    std::string_view line = configuration.substr(0, configuration.find('\n'));
    configuration.remove_prefix(std::min(line.size() + 1, configuration.size()));
    if (takeWord(line) != "nameserver") continue;
    const std::string_view address = takeWord(line);
    if (isReachable(address)) found.emplace_back(address);
  }
  return found;
}

}  // namespace

std::vector<std::string> nameServers(std::string_view system, std::string_view uplinks) {
  if (!reachableServers(system).empty()) return {};
  return reachableServers(uplinks);
}

std::vector<std::string> hostNameServers() {
  const linux::Files files;
  return nameServers(files.read("/etc/resolv.conf").value_or(""),
                     files.read("/run/systemd/resolve/resolv.conf").value_or(""));
}

}  // namespace parlen::qemu
