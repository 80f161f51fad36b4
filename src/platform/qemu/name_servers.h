#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace parlen::qemu {

/// The name servers that passt must be told of, in order, from the contents of two files in the
/// format of resolv.conf(5): `system` is the host's /etc/resolv.conf, `uplinks` is
/// /run/systemd/resolve/resolv.conf, where systemd-resolved(8) keeps the servers behind its own
/// address 127.0.0.53. Empty if passt finds one in /etc/resolv.conf by itself, or if there is none
/// that a guest reaches: not those on the host's loopback addresses. Pure.
std::vector<std::string> nameServers(std::string_view system, std::string_view uplinks);

/// The same with the contents of this host's files.
std::vector<std::string> hostNameServers();

}  // namespace parlen::qemu
