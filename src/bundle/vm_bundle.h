#pragma once

#include <string>
#include <string_view>

namespace parlen {

/// `path`, as typed, made absolute with the working directory of this moment: without doubled or
/// trailing slashes and "." components.
std::string absolutePath(std::string_view path);

/// The directory that holds `absolute`, which absolutePath gave; "/" holds itself.
std::string parentOf(const std::string& absolute);

/// A bundle: the directory that holds one guest, and the paths of its members. The one place
/// where the members' names are written. A value: nothing but `exists` touches the file system.
class VMBundle {
 public:
  /// `path` as typed, taken as a directory; relative to the working directory of this moment.
  explicit VMBundle(std::string_view path);

  /// The directory: absolute, without a trailing slash.
  const std::string& root() const { return root_; }
  /// The last component of `root`, or "/".
  std::string name() const;

  /// The guest's raw disk image.
  std::string disk() const { return member("Disk.img"); }
  /// The variable store of the guest's firmware, in the host's format.
  std::string auxiliaryStorage() const { return member("AuxiliaryStorage"); }
  /// Two opaque records of the host, stored as they are.
  static constexpr std::string_view hardwareModelName = "HardwareModel";
  static constexpr std::string_view machineIdentifierName = "MachineIdentifier";
  std::string hardwareModel() const { return member(hardwareModelName); }
  std::string machineIdentifier() const { return member(machineIdentifierName); }
  /// The file that VMSettings is kept in.
  std::string settings() const { return member("vm.json"); }
  /// The exchange folder that the parent may share with the guest.
  std::string share() const { return member("share"); }
  /// The guest's configuration, which belongs to the parent: never read or written here.
  std::string guestConfig() const { return share() + "/parlen-vm.json"; }
  /// Reserved; no command uses it.
  std::string logs() const { return member("logs"); }

  /// Whether a directory, or a link to one, is at `root`.
  bool exists() const;

 private:
  std::string member(std::string_view name) const;

  std::string root_;
};

}  // namespace parlen
