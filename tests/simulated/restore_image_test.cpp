#include "platform/simulated/restoration.h"

#include <gtest/gtest.h>

namespace parlen::simulated {
namespace {

TEST(RestoreImage, HoldsAModelAndItsMinimums) {
  EXPECT_EQ(parseRestoreImage(R"({"simulatedRestoreImage":1,"hardwareModel":"sim-1",)"
                              R"("minimumCPUCount":2,"minimumMemorySize":4294967296})"),
            (RestoreImageContent{"sim-1", 2, 4294967296}));
}

TEST(RestoreImage, NeedsNothingButItsMark) {
  EXPECT_EQ(parseRestoreImage(R"({"simulatedRestoreImage":1})"),
            (RestoreImageContent{std::nullopt, 1, 0}));
}

TEST(RestoreImage, IsNothingElse) {
  for (const char* bytes :
       {"", "x", "[]", "{}", R"({"simulatedRestoreImage":2})", R"({"simulatedRestoreImage":true})",
        R"({"hardwareModel":"sim-1"})", R"({"simulatedRestoreImage":1,"hardwareModel":null})",
        R"({"simulatedRestoreImage":1,"minimumCPUCount":-1})",
        R"({"simulatedRestoreImage":1,"minimumCPUCount":1.5})",
        R"({"simulatedRestoreImage":1,"minimumMemorySize":-1})",
        R"({"simulatedRestoreImage":1,"minimumMemorysize":1})"}) {
    EXPECT_FALSE(parseRestoreImage(bytes)) << bytes;
  }
}

TEST(RestoreImage, IsNotLong) {
  const std::string image = R"({"simulatedRestoreImage":1})";
  const std::string padding(longestRestoreImage - image.size(), ' ');
  EXPECT_TRUE(parseRestoreImage(image + padding));
  EXPECT_FALSE(parseRestoreImage(image + padding + " "));
}

}  // namespace
}  // namespace parlen::simulated
