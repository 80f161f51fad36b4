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
#include <string>

#include "platform/posix/descriptor.h"
#include "platform/qemu/kvm_mapping.h"
#include "platform/qemu/kvm_probe.h"

namespace parlen::qemu {
namespace {

using posix::Descriptor;

constexpr std::size_t pageSize = 4096;
constexpr std::uint64_t codeAddress = 0x1000;
constexpr std::uint16_t serialPort = 0x3f8;
constexpr std::uint8_t letter = 0x4f;

// finit; mov al, letter; mov dx, serialPort; out dx, al; hlt. Virtualization that is only half
// there fails at the floating-point instruction.
constexpr std::array<std::uint8_t, 11> code{0x9b, 0xdb, 0xe3, 0xb0, letter, 0x66,
                                            0xba, 0xf8, 0x03, 0xee, 0xf4};

/// Linux Documentation/virt/kvm/api.rst, KVM_SET_TSS_ADDR: Intel processors need three pages below
/// 4 GiB that no memory slot uses.
bool setTaskStatePages(const Descriptor& machine) {
  constexpr unsigned long taskStatePages = 0xfffbd000;
  return ::ioctl(machine.get(), KVM_SET_TSS_ADDR, taskStatePages) == 0;
}

kvm_segment flatSegment(std::uint8_t type, std::uint16_t selector) {
  kvm_segment segment{};
  segment.limit = 0xffffffff;
  segment.selector = selector;
  segment.type = type;
  segment.present = 1;
  segment.db = 1;
  segment.s = 1;
  segment.g = 1;
  return segment;
}

/// Sets 32-bit protected mode without paging, with flat segments, and the instruction pointer.
bool enterProtectedMode(const Descriptor& processor) {
  // Segment types of the Intel SDM, volume 3: code, execute/read; data, read/write; both accessed.
  constexpr std::uint8_t executable = 11;
  constexpr std::uint8_t writable = 3;
  kvm_sregs segments{};
  if (::ioctl(processor.get(), KVM_GET_SREGS, &segments) != 0) return false;
  segments.cs = flatSegment(executable, 8);
  segments.ds = segments.es = segments.fs = segments.gs = segments.ss = flatSegment(writable, 16);
  segments.cr0 |= 1U;
  if (::ioctl(processor.get(), KVM_SET_SREGS, &segments) != 0) return false;
  kvm_regs registers{};
  registers.rip = codeAddress;
  registers.rflags = 2;  // bit 1 is reserved and always set (Intel SDM, volume 1, EFLAGS)
  return ::ioctl(processor.get(), KVM_SET_REGS, &registers) == 0;
}

bool runsTo(const Descriptor& processor, const kvm_run& state, std::uint32_t reason) {
  return ::ioctl(processor.get(), KVM_RUN, nullptr) == 0 && state.exit_reason == reason;
}

bool writesTheLetterAndHalts(const Descriptor& processor, const Mapping& shared) {
  const auto& state = *static_cast<const kvm_run*>(shared.get());
  if (!runsTo(processor, state, KVM_EXIT_IO)) return false;
  const auto* written = static_cast<const std::uint8_t*>(shared.get()) + state.io.data_offset;
  if (state.io.direction != KVM_EXIT_IO_OUT || state.io.port != serialPort || *written != letter) {
    return false;
  }
  return runsTo(processor, state, KVM_EXIT_HLT);
}

/// The beginning of /proc/cpuinfo; empty if it cannot be read.
std::string readProcessorInformation() {
  const Descriptor file(::open("/proc/cpuinfo", O_RDONLY | O_CLOEXEC));
  constexpr std::size_t maxLength = 65536;  // holds at least the first processor's flags
  std::string text(maxLength, '\0');
  const ssize_t count = file ? ::read(file.get(), text.data(), text.size()) : 0;
  text.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
  return text;
}

}  // namespace

bool kvmWorks() {
  constexpr std::chrono::seconds limit{1};
  return kvmWorks(readProcessorInformation(), runsGuestCode, limit);
}

bool runsGuestCode() {
  const Descriptor device(::open("/dev/kvm", O_RDWR | O_CLOEXEC));
  // The order of the calls is that of Linux Documentation/virt/kvm/api.rst.
  if (!device || ::ioctl(device.get(), KVM_GET_API_VERSION, 0) != KVM_API_VERSION) return false;
  const Descriptor machine(::ioctl(device.get(), KVM_CREATE_VM, 0));
  const Mapping memory(pageSize, MAP_PRIVATE | MAP_ANONYMOUS, -1);
  if (!machine || !memory || !setTaskStatePages(machine) ||
      !addMemory(machine, memory, codeAddress)) {
    return false;
  }
  std::ranges::copy(code, static_cast<std::uint8_t*>(memory.get()));

  const Descriptor processor(::ioctl(machine.get(), KVM_CREATE_VCPU, 0));
  const int sharedSize = ::ioctl(device.get(), KVM_GET_VCPU_MMAP_SIZE, 0);
  if (!processor || sharedSize < static_cast<int>(sizeof(kvm_run))) return false;
  const Mapping shared(static_cast<std::size_t>(sharedSize), MAP_SHARED, processor.get());
  return shared && enterProtectedMode(processor) && writesTheLetterAndHalts(processor, shared);
}

}  // namespace parlen::qemu
