#include "platform/linux/find_program.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace parlen::linux {
namespace {

constexpr std::string_view systemDirectories = "/usr/local/bin:/usr/bin:/bin";

// 0 if the file can be executed, otherwise the errno value that exec would give.
int checkProgram(const std::string& path) {
  struct stat status{};
  if (stat(path.c_str(), &status) != 0) return errno;
  if (!S_ISREG(status.st_mode)) return EACCES;
  return access(path.c_str(), X_OK) == 0 ? 0 : errno;
}

}  // namespace

std::expected<std::string, int> findProgram(std::string_view name) {
  if (name.find('/') != std::string_view::npos) {
    std::string path(name);
    if (const int code = checkProgram(path)) return std::unexpected(code);
    return path;
  }
  const char* path = std::getenv("PATH");
  if (path == nullptr || *path == '\0') return findProgram(name, systemDirectories);
  const auto found = findProgram(name, path);
  if (found) return found;
  const auto installed = findProgram(name, systemDirectories);
  return installed || found.error() == ENOENT ? installed : found;
}

std::expected<std::string, int> findProgram(std::string_view name, std::string_view directories) {
  // Like a shell: a file that may not be executed does not end the search, but is what is reported.
  int result = ENOENT;
  for (;;) {
    const std::size_t colon = directories.find(':');
    const std::string_view directory = directories.substr(0, colon);
    std::string path(directory.empty() ? "." : directory);
    path.append("/").append(name);
    const int code = checkProgram(path);
    if (code == 0) return path;
    if (code != ENOENT && code != ENOTDIR) result = code;
    if (colon == std::string_view::npos) return std::unexpected(result);
    directories.remove_prefix(colon + 1);
  }
}

}  // namespace parlen::linux
