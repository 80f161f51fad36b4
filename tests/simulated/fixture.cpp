#include "simulated/fixture.h"

#include <array>
#include <string_view>
#include <utility>

#include "platform/simulated/host.h"

namespace parlen::test {

void HostTest::useScenario(const std::string& json) {
  write("scenario.json", json);
  auto made = simulated::makeHost(
      system_, {path("scenario.json"), path("trace"),
                [this](std::string_view what) { warnings_.emplace_back(what); }});
  ASSERT_TRUE(made) << made.error();
  host_ = std::move(*made);
}

platform::Host& HostTest::host() {
  if (!host_) useScenario("{}");
  return *host_;
}

platform::MachineConfiguration HostTest::emptyGuest(std::uint64_t length) {
  platform::MachineConfiguration guest;
  guest.hardwareModel = host().identities().hardwareModel("parlen-simulated-hardware-model:sim-1");
  guest.machineIdentifier = host().identities().machineIdentifier(
      "parlen-simulated-machine-identifier:0123456789abcdef0123456789abcdef");
  write("AuxiliaryStorage", "parlen-simulated-auxiliary-storage:sim-1");
  guest.auxiliaryStorage = host().machines().openAuxiliaryStorage(path("AuxiliaryStorage"));
  guest.bootLoader = platform::BootLoader::macOS;
  guest.cpuCount = 4;
  guest.memorySize = 4294967296;
  write("Disk.img", std::string(length, '\0'));
  guest.storageDevices = {{*host().machines().attachDisk(path("Disk.img"), false)}};
  return guest;
}

platform::MachineConfiguration HostTest::installedGuest() {
  auto guest = emptyGuest();
  EXPECT_TRUE(system_.files().writeStart(path("Disk.img"), "parlen-simulated-guest"));
  return guest;
}

void HostTest::write(const std::string& name, const std::string& bytes) {
  const auto written = system_.files().replace(path(name), bytes);
  ASSERT_TRUE(written) << written.error().description;
}

std::string HostTest::read(const std::string& name) {
  return system_.files().read(path(name)).value_or("(unreadable)");
}

long long HostTest::milliseconds() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(system_.loop().now() - start_)
      .count();
}

void MachineTest::given(const std::string& scenario) {
  useScenario(scenario);
  use(installedGuest());
}

void MachineTest::use(const platform::MachineConfiguration& configuration) {
  machine_ = host().machines().createMachine(configuration);
  machine_->setDelegate(this);
}

std::string MachineTest::requestStop() {
  const auto asked = machine_->requestStop();
  return asked ? "asked" : asked.error().description;
}

std::string MachineTest::state() const {
  constexpr std::array words = {"stopped",  "running", "paused",   "error",
                                "starting", "pausing", "resuming", "stopping"};
  return words.at(static_cast<std::size_t>(machine_->state()));
}

platform::Completion MachineTest::told(const std::string& what) {
  return [this, what](const platform::Result<>& result) {
    note(result ? what : "not " + what + " (" + result.error().description + ")");
  };
}

void MachineTest::note(const std::string& what) {
  story_.push_back(std::to_string(milliseconds()) + " " + what + ": " + state());
}

std::shared_ptr<platform::MachineView> WindowTest::makeView() {
  if (!machine_) use(installedGuest());
  return windows().makeMachineView({0, 0, 640, 400}, *machine_, {});
}

std::unique_ptr<platform::Window> WindowTest::makeWindow(std::uint64_t styleMask) {
  return windows().makeWindow({.contentRect = {100, 50, 640, 400}, .styleMask = styleMask});
}

std::unique_ptr<platform::Window> WindowTest::makeWindowWith(
    const std::shared_ptr<platform::MachineView>& view) {
  auto window = makeWindow();
  window->setContentView(view);
  return window;
}

Calls WindowTest::newCalls() {
  constexpr std::string_view beforeName = "\"call\":\"";
  const std::string all = trace();
  Calls calls;
  while (seen_ < all.size()) {
    const std::size_t end = all.find('\n', seen_);
    const std::size_t name = all.find(beforeName, seen_) + beforeName.size();
    calls.push_back(all.substr(name, end - 1 - name));
    calls.back().erase(calls.back().find('"'), 1);
    seen_ = end + 1;
  }
  return calls;
}

platform::TitlebarAccessory barOf(std::vector<platform::BarView> views) {
  platform::TitlebarAccessory accessory;
  accessory.bar.views = std::move(views);
  return accessory;
}

}  // namespace parlen::test
