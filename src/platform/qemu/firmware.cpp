#include "platform/qemu/firmware.h"

#include <dirent.h>
#include <fnmatch.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <map>
#include <memory>
#include <utility>

#include "platform/linux/files.h"
#include "platform/qemu/guest_platform.h"
#include "text/json_reader.h"
#include "text/utf8.h"

namespace parlen::qemu {
namespace {

using text::JsonValue;

/// Whether `list` is an array with an element that `matches`.
template <class Matches>
bool contains(const JsonValue* list, Matches matches) {
  const auto* elements = list == nullptr ? nullptr : list->asArray();
  return elements != nullptr && std::ranges::any_of(*elements, matches);
}

bool containsText(const JsonValue* list, std::string_view wanted) {
  return contains(list, [wanted](const JsonValue& element) {
    const std::string* text = element.asString();
    return text != nullptr && *text == wanted;
  });
}

/// A pattern is for types with a version, such as "pc-q35-*". The board's own type stands for the
/// newest version that QEMU has, whose number is not known: the pattern must not depend on it.
bool runsOn(const JsonValue& pattern, const Board& board) {
  const std::string newest = std::string(board.versionedType) + "99.0";
  const std::string* text = pattern.asString();
  return text != nullptr && ::fnmatch(text->c_str(), newest.c_str(), 0) == 0;
}

bool isFor(const JsonValue& target, const Board& board) {
  return target.text("architecture") == board.architecture &&
         contains(target.find("machines"),
                  [&board](const JsonValue& pattern) { return runsOn(pattern, board); });
}

/// The absolute path of a raw image; nothing if the member is another one. A hardware model with a
/// control character is none, so such a path is of no use.
std::optional<std::string> rawImage(const JsonValue& mapping, std::string_view member) {
  const JsonValue* file = mapping.find(member);
  if (file == nullptr || file->text("format") != "raw") return std::nullopt;
  const auto path = file->text("filename");
  if (!path || !path->starts_with('/') || text::hasControlCharacter(*path)) return std::nullopt;
  return std::string(*path);
}

std::optional<Firmware> readMapping(const JsonValue& mapping) {
  // Without the member, which came later, the images are split.
  if (mapping.text("device") != "flash" || mapping.text("mode").value_or("split") != "split") {
    return std::nullopt;
  }
  auto code = rawImage(mapping, "executable");
  auto variables = rawImage(mapping, "nvram-template");
  if (!code || !variables) return std::nullopt;
  return Firmware{.code = *std::move(code), .variables = *std::move(variables)};
}

bool isReadableFile(const std::string& path) {
  struct stat status{};
  return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
         ::access(path.c_str(), R_OK) == 0;
}

/// The descriptors of the folder, by their names.
std::vector<std::string> descriptorNames(const std::string& folder) {
  constexpr std::string_view suffix = ".json";
  std::vector<std::string> names;
  const std::unique_ptr<DIR, int (*)(DIR*)> directory(::opendir(folder.c_str()), ::closedir);
  if (!directory) return names;
  while (const dirent* entry = ::readdir(directory.get())) {
    const std::string_view name(entry->d_name);
    if (name.ends_with(suffix) && !name.starts_with('.')) names.emplace_back(name);
  }
  return names;
}

}  // namespace

bool isInstalled(const Firmware& firmware) {
  return isReadableFile(firmware.code) && isReadableFile(firmware.variables);
}

std::optional<Firmware> readDescriptor(std::string_view bytes, const Board& board) {
  constexpr std::array<std::string_view, 3> unwanted{"secure-boot", "enrolled-keys",
                                                     "requires-smm"};
  const auto descriptor = text::parseJson(bytes);
  if (!descriptor) return std::nullopt;
  const JsonValue* features = descriptor->find("features");
  const JsonValue* mapping = descriptor->find("mapping");
  const bool fits = mapping != nullptr &&
                    containsText(descriptor->find("interface-types"), "uefi") &&
                    contains(descriptor->find("targets"),
                             [&board](const JsonValue& target) { return isFor(target, board); }) &&
                    std::ranges::none_of(unwanted, [features](std::string_view feature) {
                      return containsText(features, feature);
                    });
  return fits ? readMapping(*mapping) : std::nullopt;
}

std::vector<std::string> descriptorFolders(std::string_view configHome, std::string_view home) {
  constexpr std::string_view folder = "/qemu/firmware";
  std::vector<std::string> folders{"/usr/share/qemu/firmware", "/etc/qemu/firmware"};
  // XDG base directories (freedesktop.org): a relative path is invalid and ignored.
  if (configHome.starts_with('/')) {
    folders.push_back(std::string(configHome).append(folder));
  } else if (!home.empty()) {
    folders.push_back(std::string(home).append("/.config").append(folder));
  }
  return folders;
}

std::optional<Firmware> findFirmware(const Board& board, std::span<const std::string> folders,
                                     const std::function<bool(const Firmware&)>& wanted) {
  constexpr std::size_t maxLength = 65536;  // of a descriptor, in bytes
  std::map<std::string, std::string> paths;
  for (const std::string& folder : folders) {
    for (const std::string& name : descriptorNames(folder)) {
      paths[name] = std::string(folder).append("/").append(name);
    }
  }
  const linux::Files files;
  for (const auto& [name, path] : paths) {
    auto firmware = readDescriptor(files.readStart(path, maxLength).value_or(""), board);
    if (firmware && isInstalled(*firmware) && wanted(*firmware)) return firmware;
  }
  return std::nullopt;
}

}  // namespace parlen::qemu
