#include "platform/qemu/qcow2.h"

#include <gmock/gmock.h>

#include <string>

namespace parlen::qemu {
namespace {

using testing::Optional;

constexpr std::uint64_t cluster = 512;        // the smallest
constexpr std::uint64_t reach = 64 * 512;     // of a table of the second level
constexpr std::uint64_t copied = 1UL << 63U;  // not shared with a snapshot

/// The bytes of a file, written number by number.
class File {
 public:
  /// An image of version 3 with clusters of 512 bytes, and its first table at 512 with room for
  /// two tables of the second level.
  explicit File(std::uint64_t diskLength = 2 * reach, std::uint64_t features = 0) {
    bytes.replace(0, 4, "QFI\xfb");
    put(4, 3, 4);
    put(20, 9, 4);
    put(24, diskLength);
    put(36, 2, 4);
    put(40, 512);
    put(72, features);
  }
  File& put(std::size_t at, std::uint64_t value, std::size_t width = 8) {
    for (std::size_t i = 0; i < width; ++i) {
      bytes[at + i] = static_cast<char>(value >> (8 * (width - 1 - i)));
    }
    return *this;
  }
  std::string bytes = std::string(8192, '\0');
};

/// Where the contents of the image end; nothing if its header is refused.
std::optional<std::uint64_t> endOf(const File& file) {
  auto walk = Qcow2Walk::begin(file.bytes);
  if (!walk) return std::nullopt;
  while (const auto range = walk->next()) {
    EXPECT_LE(range->end(), walk->end());
    walk->add(std::string_view(file.bytes).substr(range->offset, range->length));
  }
  return walk->end();
}

TEST(Qcow2Walk, EndsWithTheFirstTableOfAnEmptyImage) { EXPECT_THAT(endOf(File()), Optional(528)); }

TEST(Qcow2Walk, EndsWithAWholeTableOfTheSecondLevel) {
  EXPECT_THAT(endOf(File().put(520, copied | 1024)), Optional(1024 + cluster));
}

TEST(Qcow2Walk, EndsWithTheLastCluster) {
  File file;
  file.put(512, copied | 1024).put(520, copied | 3072);
  file.put(1024, copied | 4096).put(1032, copied | 2048).put(3072, copied | 3584);

  EXPECT_THAT(endOf(file), Optional(4096 + cluster));
}

TEST(Qcow2Walk, DoesNotNeedWhatReadsAsZeros) {
  EXPECT_THAT(endOf(File().put(512, copied | 1024).put(1024, copied | 4096 | 1)),
              Optional(1024 + cluster));
}

TEST(Qcow2Walk, NeedsNothingBeyondTheGuestsDisk) {
  const auto withDisk = [](std::uint64_t length) {
    File file(length);
    file.put(512, copied | 1024).put(520, copied | 2048).put(1032, copied | 4096);
    return endOf(file);
  };

  EXPECT_THAT(withDisk(2 * reach), Optional(4096 + cluster));
  EXPECT_THAT(withDisk(reach), Optional(4096 + cluster));  // the second table is beyond it
  EXPECT_THAT(withDisk(cluster + 100), Optional(4096 + 100));
  EXPECT_THAT(withDisk(cluster), Optional(1024 + cluster));
  EXPECT_THAT(withDisk(0), Optional(528));
}

TEST(Qcow2Walk, CountsTheSectorsOfACompressedCluster) {
  const auto withEntry = [](std::uint64_t furtherSectors, std::uint64_t offset) {
    constexpr unsigned offsetBits = 61;  // 62 - (9 - 8)
    return endOf(File()
                     .put(512, copied | 1024)
                     .put(1024, 1UL << 62U | furtherSectors << offsetBits | offset));
  };

  EXPECT_THAT(withEntry(0, 4096), Optional(4608));
  EXPECT_THAT(withEntry(0, 4607), Optional(4608));
  EXPECT_THAT(withEntry(1, 4607), Optional(5120));
}

TEST(Qcow2Walk, CountsTheSectorsOfALargeCompressedCluster) {
  File file;
  file.put(20, 16, 4);  // 64 KiB: 8 bits count sectors, 54 are the offset
  file.bytes.resize(3UL * 65536UL);
  file.put(512, copied | 65536).put(65536, 1UL << 62U | 127UL << 54U | 131072 | 5);

  EXPECT_THAT(endOf(file), Optional(131072 + 128 * 512));
}

TEST(Qcow2Walk, NeedsOnlyTheSubclustersThatAreAllocated) {
  const auto withSubclusters = [](std::uint64_t bits) {
    File file(reach, 16);
    file.put(512, copied | 1024).put(1024, copied | 4096).put(1032, bits);
    return endOf(file);
  };

  EXPECT_THAT(withSubclusters(0xffff'ffff), Optional(4096 + cluster));
  EXPECT_THAT(withSubclusters(5), Optional(4096 + 3 * 16));
  EXPECT_THAT(withSubclusters(0xffff'ffff'0000'0000), Optional(1024 + cluster));
}

TEST(Qcow2Walk, ReadsEachTableOnceInTheOrderOfTheFile) {
  File file;
  file.put(36, 4, 4).put(24, 4 * reach);
  file.put(512, copied | 3072).put(520, copied | 1024).put(528, copied | 1024);
  auto walk = Qcow2Walk::begin(file.bytes).value();

  EXPECT_EQ(walk.next(), (Qcow2Walk::Range{.offset = 512, .length = 32}));
  walk.add(std::string_view(file.bytes).substr(512, 32));
  EXPECT_EQ(walk.end(), 3072 + cluster);
  EXPECT_EQ(walk.next(), (Qcow2Walk::Range{.offset = 1024, .length = cluster}));
  walk.add(std::string(cluster, '\0'));
  EXPECT_EQ(walk.next(), (Qcow2Walk::Range{.offset = 3072, .length = cluster}));
  walk.add(std::string(cluster, '\0'));
  EXPECT_EQ(walk.next(), std::nullopt);
}

TEST(Qcow2Walk, KnowsFeaturesFromVersion3On) {
  File file(reach, 16);
  file.put(4, 2, 4).put(512, copied | 1024).put(1024, copied | 4096);

  EXPECT_THAT(endOf(file), Optional(4096 + cluster));
}

TEST(Qcow2Walk, RefusesWhatQemuRefuses) {
  EXPECT_EQ(Qcow2Walk::begin(""), std::nullopt);
  EXPECT_EQ(Qcow2Walk::begin(File().bytes.substr(0, 71)), std::nullopt);
  EXPECT_EQ(endOf(File().put(0, 0)), std::nullopt);
  EXPECT_EQ(endOf(File().put(20, 8, 4)), std::nullopt);
  EXPECT_EQ(endOf(File().put(20, 22, 4)), std::nullopt);
  EXPECT_EQ(endOf(File().put(36, 4 * 1024 * 1024 + 1, 4)), std::nullopt);
  EXPECT_EQ(endOf(File().put(40, 513)), std::nullopt);
}

}  // namespace
}  // namespace parlen::qemu
