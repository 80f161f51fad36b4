#include "platform/linux/sparse_copy.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

namespace parlen::linux {
namespace {

constexpr off_t kernelChunk = off_t{256} << 20;  // for one call that moves the data by itself
constexpr std::size_t bufferSize = std::size_t{128} * 1024;
constexpr std::size_t blockSize = 4096;

struct Extent {
  off_t begin;
  off_t end;
};

bool isZero(const char* bytes, std::size_t count) {
  // Every byte equals the one before it, and the first is zero.
  return count == 0 || (bytes[0] == 0 && std::memcmp(bytes, bytes + 1, count - 1) == 0);
}

int writeAt(int target, const char* bytes, std::size_t count, off_t offset) {
  while (count > 0) {
    const ssize_t written = pwrite(target, bytes, count, offset);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return errno;
    bytes += written;
    count -= static_cast<std::size_t>(written);
    offset += written;
  }
  return 0;
}

// Blocks of zeros become holes: a new file reads as zeros wherever nothing was written.
int writeBlocks(int target, const char* bytes, std::size_t count, off_t offset) {
  for (std::size_t done = 0; done < count;) {
    const std::size_t block = std::min(blockSize, count - done);
    if (!isZero(bytes + done, block)) {
      const off_t position = offset + static_cast<off_t>(done);
      if (const int code = writeAt(target, bytes + done, block, position)) return code;
    }
    done += block;
  }
  return 0;
}

int copyThroughBuffer(int source, int target, Extent extent) {
  const auto buffer = std::make_unique_for_overwrite<char[]>(bufferSize);
  while (extent.begin < extent.end) {
    const auto wanted = std::min<off_t>(bufferSize, extent.end - extent.begin);
    const ssize_t count =
        pread(source, buffer.get(), static_cast<std::size_t>(wanted), extent.begin);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errno;
    if (count == 0) break;  // the source was truncated meanwhile
    const auto read = static_cast<std::size_t>(count);
    if (const int code = writeBlocks(target, buffer.get(), read, extent.begin)) return code;
    extent.begin += count;
  }
  return 0;
}

int copyInKernel(int source, int target, Extent extent) {
  off_t from = extent.begin;
  off_t to = extent.begin;
  while (from < extent.end) {
    const auto wanted = static_cast<std::size_t>(std::min(kernelChunk, extent.end - from));
    const ssize_t count = copy_file_range(source, &from, target, &to, wanted, 0);
    if (count < 0 && errno == EINTR) continue;
    // Not every pair of file systems can; what is really wrong shows in the plain copy too.
    if (count <= 0) return copyThroughBuffer(source, target, {from, extent.end});
  }
  return 0;
}

// The next run of data at or after `offset`; an empty one at the end when there is none.
Extent nextData(int source, off_t offset, off_t size) {
  const off_t begin = lseek(source, offset, SEEK_DATA);
  if (begin < 0) return errno == ENXIO ? Extent{size, size} : Extent{offset, size};
  const off_t end = lseek(source, begin, SEEK_HOLE);
  return {std::min(begin, size), end < 0 ? size : std::min(end, size)};
}

// Some file systems have holes but report only data.
bool hidesItsHoles(const struct stat& status, Extent first) {
  return first.begin == 0 && first.end == status.st_size && status.st_blocks < status.st_size / 512;
}

int copyData(int source, const struct stat& status, int target) {
  const off_t size = status.st_size;
  Extent data = nextData(source, 0, size);
  const auto copy = hidesItsHoles(status, data) ? copyThroughBuffer : copyInKernel;
  for (; data.begin < size; data = nextData(source, data.end, size)) {
    if (const int code = copy(source, target, data)) return code;
  }
  return 0;
}

}  // namespace

int copyContent(int source, const struct stat& status, int target) {
  if (status.st_size == 0) return 0;
  if (ioctl(target, FICLONE, source) == 0) return 0;
  if (const int code = copyData(source, status, target)) return code;
  return ftruncate(target, status.st_size) == 0 ? 0 : errno;
}

}  // namespace parlen::linux
