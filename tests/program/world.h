#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <system_error>

#include "program.h"
#include "support/event_lines.h"
#include "support/temporary_directory.h"

namespace parlen::test {

/// Files for the real program: a scenario, a trace, an installed bundle.
class World {
 public:
  explicit World(std::string_view scenario = "{}") { write("scenario.json", scenario); }
  ~World() {
    keepSeen("trace", read("trace.jsonl"));
    keepFile("scenario", path("scenario.json"));
    for (const auto& entry : std::filesystem::directory_iterator(path(""))) {
      keepFile("vm", entry.path() / "vm.json");
    }
  }
  World(const World&) = delete;
  World& operator=(const World&) = delete;

  std::string path(const std::string& name) const { return directory_ / name; }

  void write(const std::string& name, std::string_view bytes) const {
    std::ofstream(path(name), std::ios::binary) << bytes;
  }

  std::string read(const std::string& name) const {
    std::ostringstream text;
    text << std::ifstream(path(name), std::ios::binary).rdbuf();
    return text.str();
  }

  Environment environment() const {
    return {{"PARLEN_SCENARIO", path("scenario.json")}, {"PARLEN_TRACE", path("trace.jsonl")}};
  }

  /// Creates "vm" with the program itself, in a world where everything works.
  std::string makeBundle() const {
    write("image", R"({"simulatedRestoreImage":1,"hardwareModel":"sim-1"})");
    const Finished created =
        finish({"create", "--ipsw", path("image"), "--bundle", path("vm"), "--disk-gb", "1"});
    EXPECT_EQ(created.exit, exitedWith(0));
    return path("vm");
  }

 private:
  /// A whole file as one line: JSON has line feeds between its words only.
  static void keepFile(std::string_view kind, const std::filesystem::path& path) {
    std::error_code unreadable;
    if (!std::filesystem::is_regular_file(path, unreadable)) return;
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    std::string line = text.str();
    std::ranges::replace(line, '\n', ' ');
    keepSeen(kind, line + "\n");
  }

  TemporaryDirectory directory_;
};

}  // namespace parlen::test
