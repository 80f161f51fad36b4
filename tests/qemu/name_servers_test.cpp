#include "platform/qemu/name_servers.h"

#include <gmock/gmock.h>

namespace parlen::qemu {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* uplinks = "nameserver 192.0.2.1\nnameserver 2001:db8::1\n";

TEST(NameServers, AreThoseBehindTheLoopbackAddress) {
  EXPECT_THAT(nameServers("nameserver 127.0.0.53\noptions edns0\n", uplinks),
              ElementsAre("192.0.2.1", "2001:db8::1"));
  EXPECT_THAT(nameServers("nameserver ::1", uplinks), ElementsAre("192.0.2.1", "2001:db8::1"));
}

TEST(NameServers, AreLeftToPasstWhereItFindsOne) {
  EXPECT_THAT(nameServers("nameserver 127.0.0.53\nnameserver 198.51.100.1\n", uplinks), IsEmpty());
}

TEST(NameServers, AreNoneWhereNoneCanBeReached) {
  EXPECT_THAT(nameServers("nameserver 127.0.0.1", ""), IsEmpty());
  EXPECT_THAT(nameServers("", "nameserver 127.0.0.1\nnameserver fe80::1%eth0\n"), IsEmpty());
}

TEST(NameServers, AreReadFromLinesOfOtherThings) {
  EXPECT_THAT(nameServers("",
                          "# nameserver 192.0.2.9\n\n  nameserver\t192.0.2.1 # the first\r\n"
                          "nameservers 192.0.2.8\nnameserver\nsearch nameserver 192.0.2.7\n"
                          "nameserver 192.0.2.2"),
              ElementsAre("192.0.2.1", "192.0.2.2"));
}

}  // namespace
}  // namespace parlen::qemu
