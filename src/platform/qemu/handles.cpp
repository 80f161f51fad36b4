#include "platform/qemu/handles.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "platform/linux/error.h"
#include "platform/posix/descriptor.h"
#include "platform/qemu/error.h"
#include "text/json_reader.h"
#include "text/json_writer.h"
#include "text/utf8.h"

namespace parlen::qemu {
namespace {

using platform::Result;
using posix::Descriptor;

constexpr std::string_view architectureKey = "architecture";
constexpr std::string_view machineTypeKey = "machineType";
constexpr std::string_view firmwareKey = "firmware";

std::string modelText(const GuestPlatform& platform) {
  return text::writeCompactSorted(
             text::JsonObject{{std::string(architectureKey), platform.board->architecture},
                              {std::string(machineTypeKey), platform.board->machineType},
                              {std::string(firmwareKey), platform.firmware.code}})
      .value_or(std::string());
}

template <std::size_t size>
std::array<std::uint8_t, size> randomBytes() {
  std::array<std::uint8_t, size> bytes{};
  // getrandom(2): up to 256 bytes are never partial, but waiting for entropy at boot may be
  // interrupted.
  while (::getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
    if (errno != EINTR) std::abort();
  }
  return bytes;
}

/// O_NONBLOCK: opening a FIFO does not wait for its other end.
Descriptor openExisting(const std::string& path, int access) {
  return Descriptor(::open(path.c_str(), access | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
}

std::unexpected<platform::PlatformError> damaged(const std::string& path) {
  return error("the auxiliary storage " + path + " is damaged: it holds no firmware variables");
}

/// A variable store is a firmware volume (UEFI PI, volume 3,
/// EFI_FIRMWARE_VOLUME_HEADER), whose signature is "_FVH" at offset 40. Until its guest is
/// installed it has another one, so that nothing takes the file for a volume.
constexpr std::size_t signatureOffset = 40;
constexpr std::size_t signatureLength = 4;
constexpr std::string_view unfinishedSignature = "_fvh";

/// What is known of a store by the start of its header.
struct StoreState {
  bool isBlank;  // all zeros so far, as some firmware comes; it makes a volume of that when it runs
  Installation installation;
};

constexpr std::string_view signatureFor(StoreState state) {
  constexpr std::string_view zeros("\0\0\0\0", signatureLength);
  if (state.installation == Installation::unfinished) return unfinishedSignature;
  return state.isBlank ? zeros : "_FVH";
}

Result<StoreState> readState(const Descriptor& store, const std::string& path) {
  std::array<char, signatureOffset + signatureLength> bytes{};
  const ssize_t count = ::pread(store.get(), bytes.data(), bytes.size(), 0);
  if (count < 0) return linux::error("read " + path, errno);
  if (count < static_cast<ssize_t>(bytes.size())) return damaged(path);
  const std::string_view header(bytes.data(), bytes.size());
  const bool isBlank = header.find_first_not_of('\0') >= signatureOffset;
  for (const auto installation : {Installation::unfinished, Installation::finished}) {
    const StoreState state{.isBlank = isBlank, .installation = installation};
    if (header.substr(signatureOffset) == signatureFor(state)) return state;
  }
  return damaged(path);
}

/// Writes the bytes, at least one, or leaves a hole for zeros. The error is an errno value.
int writeSparsely(const Descriptor& to, std::string_view bytes) {
  // Each byte is the one before it: a comparison of memory is faster than a search.
  const bool isZero = bytes.front() == '\0' && bytes.substr(1) == bytes.substr(0, bytes.size() - 1);
  if (!isZero) return posix::writeAll(to.get(), bytes);
  const off_t end = ::lseek(to.get(), static_cast<off_t>(bytes.size()), SEEK_CUR);
  return end < 0 || ::ftruncate(to.get(), end) != 0 ? errno : 0;
}

/// Copies a finished store as an unfinished one.
Result<> copyStore(const Descriptor& from, const Descriptor& to, const std::string& path) {
  constexpr std::size_t chunk = 65536;
  std::array<char, chunk> buffer{};
  bool atStart = true;
  while (true) {
    const ssize_t count = ::read(from.get(), buffer.data(), buffer.size());
    if (count == 0) return {};
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return linux::error("copy the firmware's variables to " + path, errno);
    if (std::exchange(atStart, false)) {
      std::ranges::copy(unfinishedSignature, buffer.begin() + signatureOffset);
    }
    const std::string_view bytes(buffer.data(), static_cast<std::size_t>(count));
    if (const int code = writeSparsely(to, bytes)) {
      return linux::error("write " + path, code);
    }
  }
}

/// In bytes; -1 if it is not a regular file.
off_t lengthOf(const Descriptor& file) {
  struct stat status{};
  if (::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return -1;
  return status.st_size;
}

struct Store {
  Descriptor file;
  StoreState state;
};

Result<Store> openStore(const std::string& path) {
  Descriptor file = openExisting(path, O_RDWR);
  if (!file) return linux::error("open the auxiliary storage " + path, errno);
  const auto state = readState(file, path);
  if (!state) return std::unexpected(state.error());
  return Store{.file = std::move(file), .state = *state};
}

/// Whether the store may have begun as the one that comes with the firmware: it is as long, and
/// blank only if that one is.
Result<> checkOrigin(const Store& store, const std::string& path, const Firmware& firmware) {
  const std::string& original = firmware.variables;
  const Descriptor reference = openExisting(original, O_RDONLY);
  if (!reference) return linux::error("read " + original, errno);
  const auto state = readState(reference, original);
  if (!state) return std::unexpected(state.error());
  if (lengthOf(store.file) != lengthOf(reference) || (store.state.isBlank && !state->isBlank)) {
    return damaged(path);
  }
  return {};
}

Result<> writeInstallation(const Store& store, Installation installation, const std::string& path) {
  const std::string_view signature =
      signatureFor({.isBlank = store.state.isBlank, .installation = installation});
  bool done = ::pwrite(store.file.get(), signature.data(), signature.size(), signatureOffset) ==
              static_cast<ssize_t>(signature.size());
  if (installation == Installation::unfinished) done = done && ::fdatasync(store.file.get()) == 0;
  if (!done) return linux::error("write " + path, errno);
  return {};
}

}  // namespace

HardwareModel::HardwareModel(GuestPlatform platform)
    : text_(modelText(platform)), platform_(std::move(platform)) {}

std::shared_ptr<const HardwareModel> HardwareModel::parse(std::string_view bytes,
                                                          const Installed& host) {
  const auto value = text::parseJson(bytes);
  if (!value) return nullptr;
  const auto architecture = value->text(architectureKey);
  const auto machineType = value->text(machineTypeKey);
  const auto firmware = value->text(firmwareKey);
  if (!architecture || !machineType || !firmware) return nullptr;
  // The sentence that says why a guest is not supported has all three.
  for (const std::string_view part : {*architecture, *machineType, *firmware}) {
    if (text::hasControlCharacter(part)) return nullptr;
  }
  return std::shared_ptr<const HardwareModel>(
      new HardwareModel(bytes, guestPlatform(*architecture, *machineType, *firmware, host)));
}

std::string MachineIdentifier::dataRepresentation() const { return {bytes_.begin(), bytes_.end()}; }

std::string MachineIdentifier::uuid() const {
  constexpr std::string_view digits = "0123456789abcdef";
  constexpr std::array hyphenBefore{4, 6, 8, 10};
  std::string text;
  for (int i = 0; const std::uint8_t byte : bytes_) {
    if (std::ranges::find(hyphenBefore, i++) != hyphenBefore.end()) text += '-';
    text += digits[byte >> 4U];
    text += digits[byte & 0xFU];
  }
  return text;
}

std::shared_ptr<const platform::HardwareModel> Identities::hardwareModel(std::string_view bytes) {
  const auto model = HardwareModel::parse(bytes, thisHost());
  if (model && !model->isSupported()) warn_(model->platform().error().description);
  return model;
}

std::shared_ptr<const platform::MachineIdentifier> Identities::machineIdentifier(
    std::string_view bytes) {
  MachineIdentifier::Bytes copy{};
  if (bytes.size() != copy.size()) return nullptr;
  std::ranges::copy(bytes, copy.begin());
  return std::make_shared<MachineIdentifier>(copy);
}

std::shared_ptr<const platform::MachineIdentifier> Identities::newMachineIdentifier() {
  return std::make_shared<MachineIdentifier>(randomBytes<MachineIdentifier::Bytes{}.size()>());
}

platform::MacAddress Identities::randomMacAddress() {
  return platform::locallyAdministered(randomBytes<platform::MacAddress{}.octets.size()>());
}

Result<> createAuxiliaryStorage(const std::string& path, const Firmware& firmware) {
  const std::string& original = firmware.variables;
  const Descriptor from = openExisting(original, O_RDONLY);
  if (!from) return linux::error("read " + original, errno);
  const auto state = readState(from, original);
  if (!state || state->installation != Installation::finished) return damaged(original);
  constexpr mode_t mode = 0666;  // before the umask
  Descriptor to(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
  if (!to) return linux::error("create " + path, errno);
  const auto copied = copyStore(from, to, path);
  if (copied && !to.close()) return linux::error("write " + path, errno);
  return copied;
}

Result<> setInstallation(Installation installation, const std::string& path,
                         const Firmware& firmware) {
  const auto store = openStore(path);
  if (!store) return std::unexpected(store.error());
  const auto whole = checkOrigin(*store, path, firmware);
  if (!whole || store->state.installation == installation) return whole;
  return writeInstallation(*store, installation, path);
}

Result<> checkAuxiliaryStorage(const std::string& path, const Firmware& firmware) {
  const auto store = openStore(path);
  if (!store) return std::unexpected(store.error());
  if (store->state.installation == Installation::finished) {
    return checkOrigin(*store, path, firmware);
  }
  return error("the guest's installation was not finished: its auxiliary storage " + path +
               " is incomplete");
}

Result<DiskAttachment> attachDisk(const std::string& path, DiskAccess access) {
  const std::string attempt = "open the disk image " + path;
  const Descriptor file = openExisting(path, access == DiskAccess::readOnly ? O_RDONLY : O_RDWR);
  if (!file) return linux::error(attempt, errno);
  struct stat status{};
  if (::fstat(file.get(), &status) != 0) return linux::error(attempt, errno);
  if (S_ISREG(status.st_mode)) return DiskAttachment(path, DiskKind::file, access);
  if (S_ISBLK(status.st_mode)) return DiskAttachment(path, DiskKind::blockDevice, access);
  return error("could not " + attempt + ": it is neither a file nor a block device");
}

}  // namespace parlen::qemu
