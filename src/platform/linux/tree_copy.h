#pragma once

#include <sys/stat.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/error.h"
#include "platform/linux/descriptor.h"

namespace parlen::linux {

/// One copy of a directory with all that is in it into a new, empty one. The directories that are
/// being copied are kept in a list rather than on the stack, so that no depth can overflow it.
class TreeCopy {
 public:
  /// The paths are for error messages, and must outlive the copy.
  TreeCopy(const std::string& from, const std::string& to) : from_(from), to_(to) {}

  platform::Result<> run(Descriptor source, Descriptor target);

 private:
  using FileId = std::pair<dev_t, ino_t>;

  struct Level {
    Descriptor source;
    Descriptor target;
    struct stat status;
    std::string path;  // from the top, "" or with a slash at the end
    std::vector<std::string> names;
    std::size_t next = 0;
  };

  static FileId idOf(const struct stat& status) { return {status.st_dev, status.st_ino}; }

  // What is not said otherwise returns 0 or an errno value.
  int enter(Descriptor source, Descriptor target, std::string path);
  int leave();
  int copyEntry(const Level& level, const char* name, const std::string& path);
  int copyDirectory(const Level& level, const char* name, const struct stat& status,
                    const std::string& path);
  int linkAgain(const Level& level, const char* name, const std::string& first);
  static int copyFile(const Level& level, const char* name);
  static int copyLink(const Level& level, const char* name, const struct stat& status);
  static int copySpecial(const Level& level, const char* name, const struct stat& status);
  platform::Result<> failed(const std::string& path, int code) const;

  const std::string& from_;
  const std::string& to_;
  FileId top_;  // the copy's own top directory
  std::vector<Level> levels_;
  std::map<FileId, std::string> linked_;  // where the first of several links was copied to
};

}  // namespace parlen::linux
