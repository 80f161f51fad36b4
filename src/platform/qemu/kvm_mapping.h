#pragma once

#include <sys/mman.h>

#include <cstddef>

namespace parlen::qemu {

/// A mapping of memory, unmapped at the end; false if mmap failed.
class Mapping {
 public:
  Mapping(std::size_t size, int flags, int descriptor)
      : size_(size),
        address_(::mmap(nullptr, size, PROT_READ | PROT_WRITE, flags, descriptor, 0)) {}
  Mapping(const Mapping&) = delete;
  Mapping& operator=(const Mapping&) = delete;
  ~Mapping() {
    if (*this) ::munmap(address_, size_);
  }
  explicit operator bool() const { return address_ != MAP_FAILED; }
  void* get() const { return address_; }

 private:
  std::size_t size_;
  void* address_;
};

}  // namespace parlen::qemu
