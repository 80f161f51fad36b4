#include <cstdio>
#include <string>
#include <string_view>

#include "completions.h"

namespace {

/// Writes the file; false with a message if that fails.
bool write(const std::string& path, std::string_view bytes) {
  std::FILE* file = std::fopen(path.c_str(), "w");
  const bool written =
      file != nullptr && std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  const bool closed = file != nullptr && std::fclose(file) == 0;
  if (!written || !closed) std::perror(path.c_str());
  return written && closed;
}

}  // namespace

/// write-completions <folder>: writes the completion scripts into the folder.
int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs("usage: write-completions <folder>\n", stderr);
    return 2;
  }
  const std::string folder = std::string(argv[1]) + "/";
  const bool written = write(folder + "parlen-mac-vm.bash", parlen::completions::forBash()) &&
                       write(folder + "_parlen-mac-vm", parlen::completions::forZsh()) &&
                       write(folder + "parlen-mac-vm.fish", parlen::completions::forFish());
  return written ? 0 : 1;
}
