#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace parlen::qemu {

/// Finds where the contents of a qcow2 image end in its file: QEMU reads what is missing there as
/// zeros. Follows the tables from the guest's blocks to the clusters of the file (QEMU
/// docs/interop/qcow2.txt). Snapshots and reference counts do not matter to what a guest reads. The
/// image must stand alone. Opens no file: the caller reads.
///
///     while (walk.end() <= length of the file && walk.next()) walk.add(the bytes of *walk.next());
class Qcow2Walk {
 public:
  /// Bytes of the file.
  struct Range {
    std::uint64_t offset = 0;
    std::uint64_t length = 0;
    std::uint64_t end() const { return offset + length; }
    friend bool operator==(const Range&, const Range&) = default;
  };

  /// Nothing if `header`, the beginning of the file, is not one that QEMU accepts.
  static std::optional<Qcow2Walk> begin(std::string_view header);

  /// The table to read next, of 32 MiB at most and before `end()`; nothing after the last. All but
  /// the first lie apart from each other, so that an image names no more than its own length.
  std::optional<Range> next() const;
  /// Takes the bytes of `next()`.
  void add(std::string_view table);

  /// Where the tables and clusters that are known so far end.
  std::uint64_t end() const { return end_; }

 private:
  /// A table of the second level, and where on the guest's disk its first entry is.
  struct Table {
    std::uint64_t offset;
    std::uint64_t guest;
  };

  Qcow2Walk() = default;
  void addFirstLevel(std::string_view table);
  void addSecondLevel(std::string_view table, std::uint64_t guest);
  std::uint64_t endOfCluster(std::uint64_t entry, std::uint64_t subclusters,
                             std::uint64_t guest) const;
  std::uint64_t endOfCompressed(std::uint64_t entry) const;

  std::uint64_t clusterBits_ = 0;
  std::uint64_t clusterLength_ = 0;
  std::uint64_t entryLength_ = 0;  // in the second level
  std::uint64_t diskLength_ = 0;
  std::optional<Range> firstLevel_;  // until it has been read
  std::vector<Table> secondLevel_;   // those to be read, the next one last
  std::uint64_t end_ = 0;
};

}  // namespace parlen::qemu
