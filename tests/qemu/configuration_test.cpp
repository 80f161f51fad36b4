#include "platform/qemu/configuration.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "platform/qemu/handles.h"

namespace parlen::qemu {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

const platform::MachineLimits limits = limitsFor(4, 1024 * mebibyte);

GuestPlatform platformOf(std::string_view architecture) {
  return {.board = boardFor(architecture),
          .firmware = {.code = "/firmware/code", .variables = "/firmware/variables"}};
}

platform::MachineConfiguration valid() {
  platform::MachineConfiguration configuration;
  configuration.hardwareModel = std::make_shared<HardwareModel>(platformOf("x86_64"));
  configuration.machineIdentifier = std::make_shared<MachineIdentifier>(MachineIdentifier::Bytes{});
  configuration.auxiliaryStorage = std::make_shared<AuxiliaryStorage>("/aux");
  configuration.cpuCount = 4;
  configuration.memorySize = 1024 * mebibyte;
  return configuration;
}

std::string errorOf(const platform::MachineConfiguration& configuration) {
  const auto result = validate(configuration, limits);
  return result ? "" : result.error().description;
}

TEST(Limits, FollowTheHostsResources) {
  EXPECT_EQ(limits.minimumCPUCount, 1);
  EXPECT_EQ(limits.maximumCPUCount, 4);
  EXPECT_EQ(limits.minimumMemorySize, 128 * mebibyte);
  EXPECT_EQ(limits.maximumMemorySize, 1024 * mebibyte);
}

TEST(Limits, LeaveRoomForADefaultGuestOnASmallHost) {
  const auto small = limitsFor(1, mebibyte);

  EXPECT_EQ(small.maximumCPUCount, 2);
  EXPECT_EQ(small.maximumMemorySize, small.minimumMemorySize);
}

TEST(Limits, AreWholeMebibytesAndWhatTheBoardCanHave) {
  const auto large = limitsFor(1000, 5 * 1024 * mebibyte - 1);

  EXPECT_EQ(large.maximumCPUCount, 255);
  EXPECT_EQ(large.maximumMemorySize, (5 * 1024 - 1) * mebibyte);
}

TEST(Validation, AcceptsAMachineWithinTheLimits) { EXPECT_EQ(errorOf(valid()), ""); }

TEST(Validation, NamesTheNumberThatIsOutOfRange) {
  auto configuration = valid();
  configuration.cpuCount = 5;
  EXPECT_EQ(errorOf(configuration), "the CPU count 5 is not between 1 and 4");

  configuration.cpuCount = -1;
  EXPECT_EQ(errorOf(configuration), "the CPU count -1 is not between 1 and 4");

  configuration = valid();
  configuration.memorySize = 1;
  EXPECT_EQ(errorOf(configuration),
            "the memory size 1 is not between 134217728 and 1073741824 bytes");
}

TEST(Validation, RefusesAFractionOfAMebibyte) {
  auto configuration = valid();
  configuration.memorySize = 200 * mebibyte + 4096;

  EXPECT_EQ(errorOf(configuration), "the memory size 209719296 is no multiple of 1 MiB");
}

TEST(Validation, RefusesAMulticastAddress) {
  auto configuration = valid();
  configuration.networkDevices = {{.attachment = platform::NetworkAttachment::nat,
                                   .macAddress = platform::parseMacAddress("03:00:00:00:00:01")}};

  EXPECT_EQ(errorOf(configuration), "the MAC address 03:00:00:00:00:01 is a multicast address");
}

TEST(Validation, RefusesWhatIsNotOfThisHost) {
  auto configuration = valid();
  configuration.hardwareModel = HardwareModel::parse(
      R"({"architecture":"s390x","firmware":"none","machineType":"virtio"})", thisHost());
  EXPECT_EQ(errorOf(configuration), "the configuration has no hardware model of this host");

  configuration = valid();
  configuration.machineIdentifier = nullptr;
  EXPECT_EQ(errorOf(configuration), "the configuration has no machine identifier of this host");

  configuration = valid();
  configuration.auxiliaryStorage = nullptr;
  EXPECT_EQ(errorOf(configuration), "the configuration has no auxiliary storage of this host");

  configuration = valid();
  configuration.storageDevices = {{nullptr}};
  EXPECT_EQ(errorOf(configuration), "the configuration has a disk that is not of this host");
}

TEST(Validation, RefusesASecondDisplayAndATagThatDoesNotFit) {
  auto configuration = valid();
  configuration.graphicsDevices = {{.displays = {{}, {}}}};
  EXPECT_EQ(errorOf(configuration), "this host gives a guest one display at most");

  configuration = valid();
  configuration.directorySharingDevices = {
      {.tag = std::string(32, 'x'), .path = "/", .access = platform::ShareAccess::readOnly}};
  EXPECT_NE(errorOf(configuration), "");
}

platform::MachineConfiguration configuration() {
  MachineIdentifier::Bytes identifier{};
  for (std::size_t i = 0; i < identifier.size(); ++i) {
    identifier[i] = static_cast<std::uint8_t>(i * 0x11);
  }
  platform::MachineConfiguration machine;
  machine.hardwareModel = std::make_shared<HardwareModel>(platformOf("x86_64"));
  machine.machineIdentifier = std::make_shared<MachineIdentifier>(identifier);
  machine.auxiliaryStorage = std::make_shared<AuxiliaryStorage>("/vms/one/AuxiliaryStorage");
  machine.cpuCount = 2;
  machine.memorySize = 4294967296;
  machine.graphicsDevices = {
      {.displays = {{.widthInPixels = 1920, .heightInPixels = 1200, .pixelsPerInch = 80}}}};
  machine.storageDevices = {{std::make_shared<DiskAttachment>("/vms/one/Disk.img", DiskKind::file,
                                                              DiskAccess::readWrite)}};
  machine.networkDevices = {{.attachment = platform::NetworkAttachment::nat,
                             .macAddress = platform::parseMacAddress("02:00:00:0a:0b:0c")}};
  machine.entropyDevices = {platform::EntropyDevice::virtio};
  machine.keyboards = {platform::Keyboard::usb};
  machine.pointingDevices = {platform::PointingDevice::usbScreenCoordinate};
  machine.directorySharingDevices = {
      {.tag = "parlen-share", .path = "/in", .access = platform::ShareAccess::readOnly},
      {.tag = "parlen-logs", .path = "/out", .access = platform::ShareAccess::readWrite}};
  return machine;
}

TEST(Arguments, DescribeTheWholeMachine) {
  EXPECT_THAT(
      buildArguments(configuration(), Acceleration::emulation, Networking::user, Console::none),
      ElementsAre(
          "-nodefaults", "-no-user-config", "-S",                               //
          "-machine", "q35,pflash0=firmware,pflash1=variables",                 //
          "-accel", "tcg", "-cpu", "max", "-smp", "2", "-m", "4096M",           //
          "-rtc", "base=utc", "-uuid", "00112233-4455-6677-8899-aabbccddeeff",  //
          "-blockdev",
          "driver=raw,node-name=firmware,read-only=on,file.driver=file,"
          "file.filename=/firmware/code",
          "-blockdev",
          "driver=raw,node-name=variables,file.driver=file,"
          "file.filename=/vms/one/AuxiliaryStorage",
          "-blockdev",
          "driver=raw,node-name=disk0,discard=unmap,file.driver=file,"
          "file.filename=/vms/one/Disk.img,file.aio=threads,file.discard=unmap",
          "-device", "virtio-blk-pci,drive=disk0,write-cache=on,werror=stop,rerror=stop", "-netdev",
          "user,id=net0",                                                         //
          "-device", "virtio-net-pci,netdev=net0,mac=02:00:00:0a:0b:0c",          //
          "-object", "rng-random,filename=/dev/urandom,id=random0",               //
          "-device", "virtio-rng-pci,rng=random0",                                //
          "-device", "VGA,vgamem_mb=32,xres=1920,yres=1200",                      //
          "-device", "qemu-xhci", "-device", "usb-kbd", "-device", "usb-tablet",  //
          "-fsdev", "local,id=share0,path=/in,security_model=none,multidevs=remap,readonly=on",
          "-device", "virtio-9p-pci,fsdev=share0,mount_tag=parlen-share",  //
          "-fsdev", "local,id=share1,path=/out,security_model=none,multidevs=remap", "-device",
          "virtio-9p-pci,fsdev=share1,mount_tag=parlen-logs",  //
          "-device", "pvpanic-pci",                            //
          "-display", "none", "-vnc", "none",                  //
          "-chardev", "socket,id=control,fd=3",                //
          "-mon", "chardev=control,mode=control",              //
          "-sandbox", "on,obsolete=deny,elevateprivileges=deny,spawn=deny,resourcecontrol=deny"));
}

TEST(Arguments, DifferInBoardProcessorAndDisplayByArchitecture) {
  auto expected =
      buildArguments(configuration(), Acceleration::emulation, Networking::user, Console::none);
  std::ranges::replace(expected, "q35,pflash0=firmware,pflash1=variables",
                       "virt,gic-version=max,pflash0=firmware,pflash1=variables");
  std::ranges::replace(expected, "VGA,vgamem_mb=32,xres=1920,yres=1200",
                       "virtio-gpu-pci,xres=1920,yres=1200");
  std::ranges::replace(expected, "max", "max,pauth-impdef=on");
  auto machine = configuration();
  machine.hardwareModel = std::make_shared<HardwareModel>(platformOf("aarch64"));

  EXPECT_EQ(buildArguments(machine, Acceleration::emulation, Networking::user, Console::none),
            expected);
  std::ranges::replace(expected, "max,pauth-impdef=on", "max");
  std::ranges::replace(expected, "tcg", "kvm");
  EXPECT_EQ(buildArguments(machine, Acceleration::kvm, Networking::user, Console::none), expected);
}

TEST(Arguments, ConnectTheNetworkToASocketOfPasst) {
  auto expected =
      buildArguments(configuration(), Acceleration::emulation, Networking::user, Console::none);
  std::ranges::replace(expected, "user,id=net0",
                       "stream,id=net0,server=off,addr.type=fd,addr.str=5");

  EXPECT_EQ(
      buildArguments(configuration(), Acceleration::emulation, Networking::passt, Console::none),
      expected);
}

TEST(Arguments, GiveEachNetworkDeviceItsOwnSocket) {
  auto machine = configuration();
  machine.networkDevices.push_back(machine.networkDevices.front());

  EXPECT_THAT(buildArguments(machine, Acceleration::emulation, Networking::passt, Console::none),
              Contains("stream,id=net1,server=off,addr.type=fd,addr.str=6"));
}

TEST(Arguments, ConnectASerialPortToAnOpenFile) {
  auto expected =
      buildArguments(configuration(), Acceleration::emulation, Networking::user, Console::none);
  const std::vector<std::string> port{"-add-fd",  "fd=4,set=0",
                                      "-chardev", "file,id=console,path=/dev/fdset/0,append=on",
                                      "-serial",  "chardev:console"};
  expected.insert(std::ranges::find(expected, "-display"), port.begin(), port.end());

  EXPECT_EQ(
      buildArguments(configuration(), Acceleration::emulation, Networking::user, Console::file),
      expected);
}

TEST(Arguments, NameTheAcceleration) {
  const auto arguments =
      buildArguments(configuration(), Acceleration::kvm, Networking::user, Console::none);

  EXPECT_THAT(arguments, Contains("kvm"));
  EXPECT_THAT(arguments, Not(Contains("tcg")));
}

TEST(Arguments, DoubleTheCommasOfPaths) {
  auto machine = configuration();
  machine.auxiliaryStorage = std::make_shared<AuxiliaryStorage>("/a,b,read-only=on");
  machine.storageDevices = {
      {std::make_shared<DiskAttachment>("/c,,d", DiskKind::file, DiskAccess::readWrite)}};
  machine.directorySharingDevices[0].path = ",e";

  const auto arguments =
      buildArguments(machine, Acceleration::emulation, Networking::user, Console::none);

  EXPECT_THAT(arguments, Contains(HasSubstr("file.filename=/a,,b,,read-only=on")));
  EXPECT_THAT(arguments, Contains(HasSubstr("file.filename=/c,,,,d,file.aio")));
  EXPECT_THAT(arguments, Contains(HasSubstr("path=,,e,security_model")));
}

TEST(Arguments, LeaveTheAddressToQemuIfThereIsNone) {
  auto machine = configuration();
  machine.networkDevices[0].macAddress.reset();

  EXPECT_THAT(buildArguments(machine, Acceleration::emulation, Networking::user, Console::none),
              Contains("virtio-net-pci,netdev=net0"));
}

TEST(Arguments, OpenABlockDeviceReadOnly) {
  auto machine = configuration();
  machine.storageDevices = {
      {std::make_shared<DiskAttachment>("/dev/sdz", DiskKind::blockDevice, DiskAccess::readOnly)}};

  EXPECT_THAT(buildArguments(machine, Acceleration::emulation, Networking::user, Console::none),
              Contains("driver=raw,node-name=disk0,discard=unmap,read-only=on,"
                       "file.driver=host_device,file.filename=/dev/sdz,file.aio=threads,"
                       "file.discard=unmap"));
}

TEST(Arguments, GiveAMachineWithoutDevicesNone) {
  auto machine = configuration();
  machine.graphicsDevices.clear();
  machine.storageDevices.clear();
  machine.networkDevices.clear();
  machine.entropyDevices.clear();
  machine.keyboards.clear();
  machine.pointingDevices.clear();
  machine.directorySharingDevices.clear();

  const auto arguments =
      buildArguments(machine, Acceleration::emulation, Networking::user, Console::none);

  for (const char* part : {"VGA", "virtio-", "usb-", "-netdev", "-fsdev", "-object"}) {
    EXPECT_THAT(arguments, Not(Contains(HasSubstr(part)))) << part;
  }
}

}  // namespace
}  // namespace parlen::qemu
