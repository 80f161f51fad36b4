#include "bundle/vm_bundle.h"

#include "platform/platform.h"

namespace parlen {
namespace {

/// Removes doubled and trailing slashes and "." components. ".." stays: behind a symbolic link it
/// does not cancel the component before it.
std::string tidied(std::string_view absolute) {
  std::string path;
  while (!absolute.empty()) {
    const std::size_t slash = absolute.find('/');
    const std::string_view piece = absolute.substr(0, slash);
    if (!piece.empty() && piece != ".") path.append("/").append(piece);
    absolute.remove_prefix(slash == std::string_view::npos ? absolute.size() : slash + 1);
  }
  return path.empty() ? "/" : path;
}

}  // namespace

std::string absolutePath(std::string_view path) {
  if (path.starts_with('/')) return tidied(path);
  return tidied(platform::system().files().currentDirectory() + "/" + std::string(path));
}

std::string parentOf(const std::string& absolute) {
  const std::size_t slash = absolute.rfind('/');
  return slash == 0 ? "/" : absolute.substr(0, slash);
}

VMBundle::VMBundle(std::string_view path) : root_(absolutePath(path)) {}

std::string VMBundle::name() const {
  return root_ == "/" ? root_ : root_.substr(root_.rfind('/') + 1);
}

bool VMBundle::exists() const { return platform::system().files().isDirectory(root_); }

std::string VMBundle::member(std::string_view name) const {
  std::string path = root_ == "/" ? root_ : root_ + "/";
  return path.append(name);
}

}  // namespace parlen
