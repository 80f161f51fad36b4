#include <fcntl.h>
#include <linux/kvm.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>

#include "platform/linux/child_process.h"
#include "platform/posix/descriptor.h"
#include "platform/qemu/kvm_mapping.h"
#include "platform/qemu/kvm_probe.h"

namespace parlen::qemu {
namespace {

using posix::Descriptor;

constexpr std::size_t pageSize = 65536;  // the largest of this architecture
constexpr std::uint64_t codeAddress = 0x40000000;
constexpr std::uint64_t deviceAddress = 0x10000000;  // no memory there
constexpr std::uint8_t letter = 0x4f;

// movz x1, #letter; movz x2, #0x1000, lsl #16; strb w1, [x2]; b .
constexpr std::array<std::uint32_t, 4> code{0xd28009e1, 0xd2a20002, 0x39000041, 0x14000000};

/// Guest addresses have as many bits as the host allows: the default, 40, is more than some
/// processors have (Linux Documentation/virt/kvm/api.rst, 4.2).
Descriptor createMachine(const Descriptor& device) {
  const int bits = ::ioctl(device.get(), KVM_CHECK_EXTENSION, KVM_CAP_ARM_VM_IPA_SIZE);
  const unsigned long type = bits > 0 ? KVM_VM_TYPE_ARM_IPA_SIZE(static_cast<unsigned>(bits)) : 0;
  return Descriptor(::ioctl(device.get(), KVM_CREATE_VM, type));
}

/// Makes the processor one of the host's kind, at the first instruction, with its MMU off.
bool initialize(const Descriptor& machine, const Descriptor& processor) {
  kvm_vcpu_init target{};
  if (::ioctl(machine.get(), KVM_ARM_PREFERRED_TARGET, &target) != 0 ||
      ::ioctl(processor.get(), KVM_ARM_VCPU_INIT, &target) != 0) {
    return false;
  }
  std::uint64_t address = codeAddress;
  // Linux Documentation/virt/kvm/api.rst, 4.68: the registers of arm64 by their place in kvm_regs.
  const kvm_one_reg programCounter{
      .id = KVM_REG_ARM64 | KVM_REG_SIZE_U64 | KVM_REG_ARM_CORE | KVM_REG_ARM_CORE_REG(regs.pc),
      .addr = reinterpret_cast<std::uintptr_t>(&address)};
  return ::ioctl(processor.get(), KVM_SET_ONE_REG, &programCounter) == 0;
}

bool writesTheLetter(const Descriptor& processor, const Mapping& shared) {
  const auto& state = *static_cast<const kvm_run*>(shared.get());
  return ::ioctl(processor.get(), KVM_RUN, nullptr) == 0 && state.exit_reason == KVM_EXIT_MMIO &&
         state.mmio.is_write != 0 && state.mmio.phys_addr == deviceAddress && state.mmio.len == 1 &&
         state.mmio.data[0] == letter;
}

}  // namespace

/// /proc/cpuinfo does not tell; where the processor runs no guests there is no /dev/kvm.
bool kvmWorks() {
  constexpr std::chrono::seconds limit{1};
  return linux::holdsInChild(runsGuestCode, limit);
}

bool runsGuestCode() {
  const Descriptor device(::open("/dev/kvm", O_RDWR | O_CLOEXEC));
  if (!device || ::ioctl(device.get(), KVM_GET_API_VERSION, 0) != KVM_API_VERSION) return false;
  const Descriptor machine = createMachine(device);
  const Mapping memory(pageSize, MAP_PRIVATE | MAP_ANONYMOUS, -1);
  if (!machine || !memory || !addMemory(machine, memory, codeAddress)) return false;
  std::ranges::copy(code, static_cast<std::uint32_t*>(memory.get()));
  __builtin___clear_cache(static_cast<char*>(memory.get()),
                          static_cast<char*>(memory.get()) + sizeof code);

  const Descriptor processor(::ioctl(machine.get(), KVM_CREATE_VCPU, 0));
  const int sharedSize = ::ioctl(device.get(), KVM_GET_VCPU_MMAP_SIZE, 0);
  if (!processor || sharedSize < static_cast<int>(sizeof(kvm_run))) return false;
  const Mapping shared(static_cast<std::size_t>(sharedSize), MAP_SHARED, processor.get());
  return shared && initialize(machine, processor) && writesTheLetter(processor, shared);
}

}  // namespace parlen::qemu
