#include "platform/mac_address.h"

#include <gtest/gtest.h>

namespace parlen::platform {
namespace {

TEST(MacAddress, ReadsEitherCaseAndWritesLowerCase) {
  const auto address = parseMacAddress("0A:1b:2C:3d:4E:ff");
  ASSERT_TRUE(address);
  EXPECT_EQ(toString(*address), "0a:1b:2c:3d:4e:ff");
}

TEST(MacAddress, RefusesEveryOtherText) {
  for (const char* text : {"", "none", "0a:1b:2c:3d:4e", "0a:1b:2c:3d:4e:ff:00",
                           "0a-1b-2c-3d-4e-ff", "a:1b:2c:3d:4e:ff0", "0a:1b:2c:3d:4e:fg",
                           " 0a:1b:2c:3d:4e:f", "0a:1b:2c:3d:4e:f:", "0a1b2c3d4eff"}) {
    EXPECT_FALSE(parseMacAddress(text)) << text;
  }
}

TEST(MacAddress, RefusesATruncatedOrChangedText) {
  const std::string good = "0a:1b:2c:3d:4e:5f";
  for (std::size_t at = 0; at < good.size(); ++at) {
    EXPECT_FALSE(parseMacAddress(good.substr(0, at))) << at;
    std::string bad = good;
    bad[at] = 'x';
    EXPECT_FALSE(parseMacAddress(bad)) << bad;
  }
}

TEST(MacAddress, IsMadeUnicastAndLocallyAdministered) {
  for (unsigned first = 0; first <= 0xFF; ++first) {
    const MacAddress address =
        locallyAdministered({static_cast<std::uint8_t>(first), 1, 2, 3, 4, 5});
    EXPECT_EQ(address.octets[0] & 3U, 2U);
    EXPECT_EQ(address.octets[0] >> 2U, first >> 2U);
    EXPECT_EQ(address.octets[5], 5);
  }
}

}  // namespace
}  // namespace parlen::platform
