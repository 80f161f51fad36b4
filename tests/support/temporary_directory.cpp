#include "support/temporary_directory.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace parlen::test {

TemporaryDirectory::TemporaryDirectory() {
  const auto base = std::filesystem::canonical(std::filesystem::temp_directory_path());
  path_ = (base / "parlen-test-XXXXXX").string();
  if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("no temporary directory");
}

TemporaryDirectory::~TemporaryDirectory() {
  // A test may have left directories that may not be written; removal then needs the permission
  // back.
  std::error_code ignored;
  for (auto entry = std::filesystem::recursive_directory_iterator(
           path_, std::filesystem::directory_options::skip_permission_denied, ignored);
       entry != std::filesystem::recursive_directory_iterator(); entry.increment(ignored)) {
    if (entry->is_directory(ignored) && !entry->is_symlink(ignored)) {
      std::filesystem::permissions(entry->path(), std::filesystem::perms::owner_all,
                                   std::filesystem::perm_options::add, ignored);
    }
  }
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace parlen::test
