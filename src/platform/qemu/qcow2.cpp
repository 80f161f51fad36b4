#include "platform/qemu/qcow2.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <tuple>

#include "platform/qemu/bytes.h"

namespace parlen::qemu {
namespace {

constexpr std::size_t entryLength = 8;
constexpr std::size_t extendedEntryLength = 16;
constexpr std::uint64_t offsetMask = 0x00ff'ffff'ffff'fe00;  // bits 9 to 55, in both levels
constexpr unsigned compressedBit = 62;
constexpr std::uint64_t readsAsZeros = 1;
constexpr std::uint64_t subclustersPerCluster = 32;

bool isCompressed(std::uint64_t entry) { return (entry >> compressedBit & 1U) != 0; }

}  // namespace

std::optional<Qcow2Walk> Qcow2Walk::begin(std::string_view header) {
  constexpr std::string_view magic = "QFI\xfb";
  constexpr std::size_t shortestHeader = 72;
  constexpr std::uint64_t firstVersionWithFeatures = 3;
  constexpr std::uint64_t extendedEntries = 16;
  // QEMU block/qcow2.h: MIN_CLUSTER_BITS, MAX_CLUSTER_BITS, QCOW_MAX_L1_SIZE.
  constexpr std::uint64_t minClusterBits = 9;
  constexpr std::uint64_t maxClusterBits = 21;
  constexpr std::uint64_t maxFirstLevel = 32UL * 1024UL * 1024UL;

  if (!header.starts_with(magic) || header.size() < shortestHeader) return std::nullopt;
  const std::uint64_t version = bigEndian(header, 4, 4);
  const std::uint64_t clusterBits = bigEndian(header, 20, 4);
  const std::uint64_t features = version >= firstVersionWithFeatures ? bigEndian(header, 72) : 0;
  const Range table{.offset = bigEndian(header, 40),
                    .length = bigEndian(header, 36, 4) * entryLength};
  if (clusterBits < minClusterBits || clusterBits > maxClusterBits ||
      table.length > maxFirstLevel || (table.offset & ~offsetMask) != 0) {
    return std::nullopt;
  }
  Qcow2Walk walk;
  walk.clusterBits_ = clusterBits;
  walk.clusterLength_ = std::uint64_t{1} << clusterBits;
  walk.entryLength_ = (features & extendedEntries) != 0 ? extendedEntryLength : entryLength;
  walk.diskLength_ = bigEndian(header, 24);
  walk.firstLevel_ = table;
  walk.end_ = table.end();
  return walk;
}

std::optional<Qcow2Walk::Range> Qcow2Walk::next() const {
  if (firstLevel_) return firstLevel_;
  if (secondLevel_.empty()) return std::nullopt;
  return Range{.offset = secondLevel_.back().offset, .length = clusterLength_};
}

void Qcow2Walk::add(std::string_view table) {
  if (firstLevel_) {
    firstLevel_.reset();
    return addFirstLevel(table);
  }
  const std::uint64_t guest = secondLevel_.back().guest;
  secondLevel_.pop_back();
  addSecondLevel(table, guest);
}

void Qcow2Walk::addFirstLevel(std::string_view table) {
  const std::uint64_t reach = clusterLength_ / entryLength_ * clusterLength_;  // of one entry
  std::uint64_t guest = 0;
  for (std::size_t at = 0; at < table.size() && guest < diskLength_; at += entryLength) {
    // Always aligned in an image that passes qemu-img's check.
    const std::uint64_t offset = bigEndian(table, at) & offsetMask & ~(clusterLength_ - 1);
    if (offset != 0) secondLevel_.push_back({.offset = offset, .guest = guest});
    guest += reach;
  }
  // From the end of the file to its beginning, and of those with the same offset only the one that
  // is the first for the guest.
  std::ranges::sort(secondLevel_, [](const Table& left, const Table& right) {
    return std::tie(right.offset, left.guest) < std::tie(left.offset, right.guest);
  });
  const auto repeated = std::ranges::unique(secondLevel_, {}, &Table::offset);
  secondLevel_.erase(repeated.begin(), repeated.end());
  if (secondLevel_.empty()) return;
  end_ = std::max(end_, secondLevel_.front().offset + clusterLength_);
}

void Qcow2Walk::addSecondLevel(std::string_view table, std::uint64_t guest) {
  for (std::size_t at = 0; at < table.size() && guest < diskLength_; at += entryLength_) {
    const std::uint64_t entry = bigEndian(table, at);
    const std::uint64_t subclusters = bigEndian(table, at + entryLength);
    end_ = std::max(end_, isCompressed(entry) ? endOfCompressed(entry)
                                              : endOfCluster(entry, subclusters, guest));
    guest += clusterLength_;
  }
}

/// 0 if nothing of it is read from the file. Entries of 16 bytes end with two bits for each
/// subcluster: the lower half says which are allocated.
std::uint64_t Qcow2Walk::endOfCluster(std::uint64_t entry, std::uint64_t subclusters,
                                      std::uint64_t guest) const {
  const std::uint64_t offset = entry & offsetMask;
  std::uint64_t length = clusterLength_;
  if (entryLength_ == extendedEntryLength) {
    const auto allocated = static_cast<std::uint32_t>(subclusters);
    length = clusterLength_ / subclustersPerCluster *
             static_cast<std::uint64_t>(std::bit_width(allocated));
  } else if ((entry & readsAsZeros) != 0) {
    length = 0;
  }
  if (offset == 0 || length == 0) return 0;
  // The last cluster may reach beyond the guest's disk, where it need not be in the file.
  return offset + std::min(length, diskLength_ - guest);
}

/// In sectors: a writer that leaves out the unused end of the last one (qemu-img does not) makes an
/// image that looks as if it lacked bytes.
std::uint64_t Qcow2Walk::endOfCompressed(std::uint64_t entry) const {
  constexpr std::uint64_t sectorLength = 512;
  constexpr std::uint64_t smallestClusterBits = 8;
  const std::uint64_t offsetBits = compressedBit - (clusterBits_ - smallestClusterBits);
  const std::uint64_t offset = entry & ((std::uint64_t{1} << offsetBits) - 1);
  const std::uint64_t furtherSectors =
      (entry & ((std::uint64_t{1} << compressedBit) - 1)) >> offsetBits;
  return offset / sectorLength * sectorLength + (1 + furtherSectors) * sectorLength;
}

}  // namespace parlen::qemu
