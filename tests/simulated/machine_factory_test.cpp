#include <limits>

#include "simulated/fixture.h"

namespace parlen::test {
namespace {

using MachineFactory = HostTest;

TEST_F(MachineFactory, CreatesTheStorageOfAModel) {
  auto& machines = host().machines();
  const auto model = host().identities().hardwareModel("parlen-simulated-hardware-model:m");
  ASSERT_TRUE(machines.createAuxiliaryStorage(path("s"), *model));
  EXPECT_EQ(read("s"), "parlen-simulated-auxiliary-storage:m");
}

TEST_F(MachineFactory, DoesNotCreateStorageWhereSomethingExists) {
  write("s", "precious");
  const auto model = host().identities().hardwareModel("parlen-simulated-hardware-model:m");
  const auto created = host().machines().createAuxiliaryStorage(path("s"), *model);
  ASSERT_FALSE(created);
  EXPECT_TRUE(created.error().description.contains(path("s"))) << created.error().description;
  EXPECT_EQ(read("s"), "precious");
}

TEST_F(MachineFactory, ReportsStorageThatCannotBeWritten) {
  const auto model = host().identities().hardwareModel("parlen-simulated-hardware-model:m");
  const auto created = host().machines().createAuxiliaryStorage(path("no/s"), *model);
  ASSERT_FALSE(created);
  EXPECT_NE(created.error().description.find(path("no/s")), std::string::npos);
}

TEST_F(MachineFactory, OpensStorageThatIsMissing) {
  EXPECT_TRUE(host().machines().openAuxiliaryStorage(path("missing")));
}

TEST_F(MachineFactory, AttachesADiskAndLeavesItsBytes) {
  write("d", "content");
  EXPECT_TRUE(host().machines().attachDisk(path("d"), false));
  EXPECT_TRUE(host().machines().attachDisk(path("d"), true));
  EXPECT_EQ(read("d"), "content");
}

TEST_F(MachineFactory, DoesNotAttachWhatIsNoFile) {
  ASSERT_TRUE(system_.files().createDirectories(path("directory")));
  for (const std::string name : {"missing", "directory"}) {
    const auto attached = host().machines().attachDisk(path(name), true);
    ASSERT_FALSE(attached) << name;
    EXPECT_NE(attached.error().description.find(path(name)), std::string::npos);
  }
}

TEST_F(MachineFactory, FailsToAttachAsTheScenarioSays) {
  useScenario(
      R"({"configuration":{"attachError":{"domain":"D","code":-7,"description":"no disk today"}}})");
  write("d", "content");
  const auto attached = host().machines().attachDisk(path("d"), false);
  ASSERT_FALSE(attached);
  EXPECT_EQ(attached.error(), (platform::PlatformError{"D", -7, "no disk today"}));
}

TEST_F(MachineFactory, ValidatesCpuCountsWithinTheLimitsOnly) {
  auto guest = installedGuest();
  for (const std::int64_t count : {1, 8}) {
    guest.cpuCount = count;
    EXPECT_TRUE(host().machines().validate(guest)) << count;
  }
  for (const std::int64_t count : {std::int64_t{0}, std::int64_t{9}, std::int64_t{-1},
                                   std::numeric_limits<std::int64_t>::min()}) {
    guest.cpuCount = count;
    const auto valid = host().machines().validate(guest);
    ASSERT_FALSE(valid) << count;
    EXPECT_EQ(valid.error().description, "the CPU count " + std::to_string(count) +
                                             " is not within this host's limits, 1 to 8");
  }
}

TEST_F(MachineFactory, ValidatesMemorySizesWithinTheLimitsOnly) {
  auto guest = installedGuest();
  for (const std::uint64_t size : {134217728ULL, 17179869184ULL}) {
    guest.memorySize = size;
    EXPECT_TRUE(host().machines().validate(guest)) << size;
  }
  for (const std::uint64_t size : {0ULL, 134217727ULL, 17179869185ULL}) {
    guest.memorySize = size;
    const auto valid = host().machines().validate(guest);
    ASSERT_FALSE(valid) << size;
    EXPECT_EQ(valid.error().description,
              "the memory size " + std::to_string(size) +
                  " is not within this host's limits, 134217728 to 17179869184");
  }
}

TEST_F(MachineFactory, FailsToValidateAsTheScenarioSays) {
  useScenario(R"({"configuration":{"validateError":{"description":"not like this"}}})");
  const auto valid = host().machines().validate(installedGuest());
  ASSERT_FALSE(valid);
  EXPECT_EQ(valid.error(),
            (platform::PlatformError{"ParlenSimulatedErrorDomain", 1, "not like this"}));
}

TEST_F(MachineFactory, AbortsOnAMachineOfAnInvalidConfiguration) {
  auto guest = installedGuest();
  guest.cpuCount = 0;
  EXPECT_THROW(host().machines().createMachine(guest), ProcessTrapped);
  EXPECT_EQ(system_.streams().error,
            "parlen-mac-vm: the simulated host cannot go on: "
            "a machine was made of a configuration that is not valid\n");
}

}  // namespace
}  // namespace parlen::test
