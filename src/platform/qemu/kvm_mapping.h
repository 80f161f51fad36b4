#pragma once

#include <linux/kvm.h>
#include <sys/ioctl.h>
#include <sys/mman.h>

#include <cstddef>
#include <cstdint>

#include "platform/posix/descriptor.h"

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
  std::size_t size() const { return size_; }

 private:
  std::size_t size_;
  void* address_;
};

/// Makes the mapping the memory of a KVM machine that has none yet, from this guest address on;
/// false on an error.
inline bool addMemory(const posix::Descriptor& machine, const Mapping& memory,
                      std::uint64_t guestAddress) {
  const kvm_userspace_memory_region region{
      .slot = 0,
      .flags = 0,
      .guest_phys_addr = guestAddress,
      .memory_size = memory.size(),
      .userspace_addr = reinterpret_cast<std::uintptr_t>(memory.get())};
  return ::ioctl(machine.get(), KVM_SET_USER_MEMORY_REGION, &region) == 0;
}

}  // namespace parlen::qemu
