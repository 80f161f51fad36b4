#include "bundle/settings.h"

#include <gtest/gtest.h>

#include "support/tool.h"

namespace parlen::test {
namespace {

class Settings : public testing::Test {
 protected:
  Settings() { tool_.makeDirectory("b"); }

  std::optional<VMSettings> loaded(std::string_view bytes) {
    tool_.write("b/vm.json", bytes);
    return loadSettings(VMBundle(tool_.path("b")));
  }

  Tool tool_;
};

constexpr std::string_view complete =
    R"({"macAddress":"a","cpuCount":2,"memoryBytes":1,"diskGb":0})";

TEST_F(Settings, AreReadWhateverTheOrderAndTheOtherKeys) {
  const VMSettings expected{"a", 2, 1, 0};
  EXPECT_EQ(loaded(complete), expected);
  EXPECT_EQ(loaded(R"({"diskGb":0,"note":[1],"memoryBytes":1,"cpuCount":2,"macAddress":"a"})"),
            expected);
}

TEST_F(Settings, AreReadToTheEndsOfTheirRanges) {
  const auto settings = loaded(
      R"({"macAddress":"","cpuCount":-9223372036854775808,"memoryBytes":18446744073709551615,"diskGb":9223372036854775807})");
  EXPECT_EQ(settings, (VMSettings{"", INT64_MIN, UINT64_MAX, INT64_MAX}));
}

TEST_F(Settings, AreNothingWhenAnythingIsMissingOrWrong) {
  for (const char* bytes : {
           "",
           "[]",
           "{}",
           "null",
           "{",
           "[1,2]",
           R"({"cpuCount":2,"memoryBytes":1,"diskGb":0})",
           R"({"macAddress":"a","memoryBytes":1,"diskGb":0})",
           R"({"macAddress":"a","cpuCount":2,"diskGb":0})",
           R"({"macAddress":"a","cpuCount":2,"memoryBytes":1})",
           R"({"MacAddress":"a","cpuCount":2,"memoryBytes":1,"diskGb":0})",
           R"({"macAddress":5,"cpuCount":2,"memoryBytes":1,"diskGb":0})",
           R"({"macAddress":null,"cpuCount":2,"memoryBytes":1,"diskGb":0})",
           R"({"macAddress":"a","cpuCount":"2","memoryBytes":1,"diskGb":0})",
           R"({"macAddress":"a","cpuCount":2.5,"memoryBytes":1,"diskGb":0})",
           R"({"macAddress":"a","cpuCount":true,"memoryBytes":1,"diskGb":0})",
           R"({"macAddress":"a","cpuCount":9223372036854775808,"memoryBytes":1,"diskGb":0})",
           R"({"macAddress":"a","cpuCount":2,"memoryBytes":-1,"diskGb":0})",
           R"({"macAddress":"a","cpuCount":2,"memoryBytes":18446744073709551616,"diskGb":0})",
           R"({"macAddress":"a","cpuCount":2,"memoryBytes":1,"diskGb":1e30})",
           R"({"macAddress":"a","cpuCount":2,"memoryBytes":1,"diskGb":0} x)",
       }) {
    EXPECT_EQ(loaded(bytes), std::nullopt) << bytes;
  }
}

TEST_F(Settings, AreNothingWithoutAFile) {
  EXPECT_EQ(loadSettings(VMBundle(tool_.path("b"))), std::nullopt);
  EXPECT_EQ(loadSettings(VMBundle(tool_.path("none"))), std::nullopt);
  tool_.makeDirectory("b/vm.json");
  EXPECT_EQ(loadSettings(VMBundle(tool_.path("b"))), std::nullopt);
  EXPECT_EQ(tool_.warnings(), "");
}

TEST_F(Settings, TakeANegativeCpuCountForTheValidationToReject) {
  const auto settings = loaded(R"({"macAddress":"a","cpuCount":-1,"memoryBytes":1,"diskGb":0})");
  ASSERT_TRUE(settings);
  EXPECT_EQ(settings->cpuCount, -1);
}

TEST_F(Settings, AreWrittenToTheByte) {
  const VMBundle bundle(tool_.path("b"));
  ASSERT_TRUE(saveSettings({"0a:1b:2c:3d:4e:5f", 4, 4294967296, 80}, bundle, MemberFile::created));
  EXPECT_EQ(tool_.read("b/vm.json"),
            "{\n"
            "  \"cpuCount\" : 4,\n"
            "  \"diskGb\" : 80,\n"
            "  \"macAddress\" : \"0a:1b:2c:3d:4e:5f\",\n"
            "  \"memoryBytes\" : 4294967296\n"
            "}");
}

TEST_F(Settings, AreReadBackAsTheyWereWrittenAndDropOtherKeys) {
  const VMBundle bundle(tool_.path("b"));
  tool_.write("b/vm.json", std::string(2000, ' ') + R"({"note":1})");
  for (const VMSettings& settings :
       {VMSettings{"a", 2, 1, 0}, VMSettings{"", INT64_MIN, UINT64_MAX, -1},
        VMSettings{"\"/é\n", 0, 0, INT64_MAX}}) {
    ASSERT_TRUE(saveSettings(settings, bundle, MemberFile::replaced));
    EXPECT_EQ(loadSettings(bundle), settings);
    EXPECT_FALSE(tool_.read("b/vm.json").contains("note"));
  }
}

TEST_F(Settings, AreNotWrittenWhereTheSystemDoesNotLetThem) {
  const auto result =
      saveSettings({"a", 2, 1, 0}, VMBundle(tool_.path("none")), MemberFile::created);
  ASSERT_FALSE(result);
  EXPECT_TRUE(result.error().description.contains("vm.json")) << result.error().description;
}

TEST_F(Settings, AreNotWrittenWithAnAddressThatIsNotUtf8) {
  const auto result =
      saveSettings({"\xff", 2, 1, 0}, VMBundle(tool_.path("b")), MemberFile::replaced);
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().description, "could not encode the settings: the address is not UTF-8");
}

TEST_F(Settings, OfANewBundleReplaceNothing) {
  tool_.write("b/vm.json", "precious");
  EXPECT_FALSE(saveSettings({"a", 2, 1, 0}, VMBundle(tool_.path("b")), MemberFile::created));
  EXPECT_EQ(tool_.read("b/vm.json"), "precious");
}

struct CpuCase {
  int processors, minimum, maximum;
  std::int64_t expected;
};

TEST(DefaultCpuCount, IsHalfTheProcessorsWithinTheLimits) {
  for (const CpuCase& c : {CpuCase{8, 1, 10, 4}, CpuCase{3, 1, 10, 2}, CpuCase{64, 1, 8, 8},
                           CpuCase{8, 1, 1, 1}, CpuCase{1, 1, 1, 1}, CpuCase{1, 1, 8, 2},
                           CpuCase{10, 1, 8, 5}, CpuCase{7, 1, 8, 3}, CpuCase{4, 6, 8, 6}}) {
    const Tool tool(R"({"host":{"processorCount":)" + std::to_string(c.processors) +
                    R"(,"minimumCPUCount":)" + std::to_string(c.minimum) +
                    R"(,"maximumCPUCount":)" + std::to_string(c.maximum) + "}}");
    EXPECT_EQ(defaultCpuCount(), c.expected) << c.processors << " processors";
  }
}

TEST(DefaultMemoryBytes, IsFourGibibytesWithinTheLimits) {
  constexpr std::uint64_t gibibyte = std::uint64_t{1} << 30U;
  const std::uint64_t cases[][3] = {{2, 16, 4}, {8, 16, 8}, {1, 3, 3}, {4, 4, 4}};
  for (const auto& [minimum, maximum, expected] : cases) {
    const Tool tool(R"({"host":{"minimumMemorySize":)" + std::to_string(minimum * gibibyte) +
                    R"(,"maximumMemorySize":)" + std::to_string(maximum * gibibyte) + "}}");
    EXPECT_EQ(defaultMemoryBytes(), expected * gibibyte);
  }
}

}  // namespace
}  // namespace parlen::test
