#include "support/tool.h"

#include <gtest/gtest.h>

#include <utility>

#include "app/dispatch.h"
#include "events/event_stream.h"
#include "platform/simulated/host.h"

namespace parlen::test {
namespace {

/// Removes `{"ms":1.234,` from a trace line.
std::string withoutTime(const std::string& line) {
  const std::size_t comma = line.find(',');
  EXPECT_TRUE(line.starts_with(R"({"ms":)")) << line;
  return "{" + line.substr(comma + 1);
}

std::vector<std::string> linesOf(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    lines.emplace_back(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return lines;
}

}  // namespace

Tool::Tool(std::string_view scenario) {
  write("scenario.json", scenario);
  auto host = simulated::makeHost(
      system_,
      {.scenarioPath = path("scenario.json"), .tracePath = path("trace.jsonl"), .warn = warn});
  EXPECT_TRUE(host.has_value()) << host.error();
  host_ = *std::move(host);
  platform::usePlatform(&system_, host_.get());
  const auto record = [this](std::string_view what) {
    recorded_.push_back({std::string(what), calls().size()});
  };
  system_.streams().recorder = record;
  system_.process().recorder = record;
}

Tool::~Tool() {
  platform::usePlatform(&system_, host_.get());  // another one may have been in use since
  startUp({});  // what the run has left in the process-wide variables refers to this test's system
  platform::usePlatform(nullptr, nullptr);
}

Outcome Tool::run(std::vector<std::string> words) {
  startUp(std::move(words));
  try {
    dispatch();
  } catch (const ProcessEnded& end) {
    return endedWith(end.status);
  } catch (const ProcessTrapped&) {
    return trapped();
  } catch (const LoopIdle&) {
    return stillRunning();
  }
}

void Tool::sendAt(int milliseconds, std::string_view bytes) {
  system_.loop().postDelayed(std::chrono::milliseconds(milliseconds),
                             [this, chunk = std::string(bytes)] { system_.streams().send(chunk); });
}

void Tool::raiseAt(int milliseconds, platform::TerminationSignal signal) {
  system_.loop().postDelayed(std::chrono::milliseconds(milliseconds), [this, signal] {
    EXPECT_TRUE(system_.process().raise(signal)) << "the signal's default action would apply";
  });
}

std::vector<std::string> Tool::trace() {
  std::vector<std::string> calls;
  for (const std::string& line : linesOf(read("trace.jsonl"))) calls.push_back(withoutTime(line));
  return calls;
}

std::vector<std::string> Tool::calls() {
  constexpr std::string_view before = R"({"call":")";
  std::vector<std::string> names;
  for (const std::string& line : trace()) {
    names.push_back(line.substr(before.size(), line.find('"', before.size()) - before.size()));
  }
  return names;
}

std::vector<std::string> Tool::recording() {
  const std::vector<std::string> traced = calls();
  std::vector<std::string> all;
  std::size_t taken = 0;
  for (const auto& [what, callsBefore] : recorded_) {
    for (; taken < callsBefore; ++taken) all.push_back(traced[taken]);
    all.push_back(what);
  }
  all.insert(all.end(), traced.begin() + static_cast<std::ptrdiff_t>(taken), traced.end());
  return all;
}

void Tool::write(const std::string& name, std::string_view bytes) {
  const auto written = system_.files().replace(path(name), bytes);
  EXPECT_TRUE(written.has_value()) << written.error().description;
}

std::string Tool::read(const std::string& name) {
  const auto bytes = system_.files().read(path(name));
  EXPECT_TRUE(bytes.has_value()) << bytes.error().description;
  return bytes.value_or("");
}

void Tool::makeDirectory(const std::string& name) {
  EXPECT_TRUE(system_.files().createDirectories(path(name)).has_value());
}

std::string Tool::makeBundle(const std::string& name) {
  makeDirectory(name + "/share");
  write(name + "/Disk.img", "parlen-simulated-guest and then its data");
  write(name + "/HardwareModel", "parlen-simulated-hardware-model:sim-1");
  write(name + "/MachineIdentifier",
        "parlen-simulated-machine-identifier:0123456789abcdef0123456789abcdef");
  write(name + "/AuxiliaryStorage", "parlen-simulated-auxiliary-storage:sim-1");
  write(name + "/vm.json",
        "{\n  \"cpuCount\" : 4,\n  \"diskGb\" : 80,\n"
        "  \"macAddress\" : \"0a:00:00:00:00:01\",\n  \"memoryBytes\" : 4294967296\n}");
  return path(name);
}

std::string Tool::makeRestoreImage(const std::string& name) {
  write(name, R"({"simulatedRestoreImage":1,"hardwareModel":"sim-1"})");
  return path(name);
}

}  // namespace parlen::test
