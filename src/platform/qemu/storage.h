#pragma once

#include <string>
#include <utility>

#include "platform/host.h"
#include "platform/qemu/installation.h"

namespace parlen::qemu {

/// The guest's own copy of the firmware's variable store.
class AuxiliaryStorage : public platform::AuxiliaryStorage {
 public:
  explicit AuxiliaryStorage(std::string path) : path_(std::move(path)) {}
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

enum class DiskKind { file, blockDevice };
enum class DiskAccess { readOnly, readWrite };

class DiskAttachment : public platform::DiskAttachment {
 public:
  DiskAttachment(std::string path, DiskKind kind, DiskAccess access)
      : path_(std::move(path)), kind_(kind), access_(access) {}
  const std::string& path() const { return path_; }
  DiskKind kind() const { return kind_; }
  DiskAccess access() const { return access_; }

 private:
  std::string path_;
  DiskKind kind_;
  DiskAccess access_;
};

/// Copies the firmware's empty store to `path`, where nothing may be.
platform::Result<> createAuxiliaryStorage(const std::string& path, const GuestPlatform& platform);

/// Whether the file at `path` can be a guest's store: its length and its volume header.
platform::Result<> checkAuxiliaryStorage(const std::string& path, const GuestPlatform& platform);

/// Opens the image as the guest will, to hear now what would be refused then.
platform::Result<DiskAttachment> attachDisk(const std::string& path, DiskAccess access);

}  // namespace parlen::qemu
