#import "platform/macos/bridge.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace parlen::macos {
namespace {

TEST(Guard, MakesAWarningOfWhatAppKitRaises) {
  std::vector<std::string> warnings;
  const Guard guard([&](std::string_view warning) { warnings.emplace_back(warning); });
  bool wentOn = false;

  guard([&] {
    NSArray* none = @[];
    (void)none[0];
    wentOn = true;
  });

  EXPECT_FALSE(wentOn);
  ASSERT_EQ(warnings.size(), 1U);
  EXPECT_TRUE(warnings[0].starts_with("the window system failed: ")) << warnings[0];
  EXPECT_TRUE(warnings[0].ends_with(" (NSRangeException)")) << warnings[0];
}

TEST(Guard, KeepsQuietAboutWhatWorks) {
  bool called = false;
  Guard([](std::string_view warning) { FAIL() << warning; })([&] { called = true; });
  EXPECT_TRUE(called);
}

TEST(Paths, KeepTheNameOfAFileThatIsNoText) {
  EXPECT_EQ(fromText(toPath("/tmp/caf\xc3\xa9")), "/tmp/caf\xc3\xa9");
  EXPECT_EQ(fromText(toPath("/tmp/caf\xe9")), "/dev/null/caf\xc3\xa9");
  EXPECT_EQ(fromText(toPath("\xff")), "/dev/null/\xc3\xbf");
}

}  // namespace
}  // namespace parlen::macos
