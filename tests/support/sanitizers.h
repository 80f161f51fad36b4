#pragma once

namespace parlen::test {

/// Whether the tests and the program are built with UndefinedBehaviorSanitizer, as they are
/// together with AddressSanitizer. It looks at an object's class through a pipe of its own and
/// reports an error where it finds no free descriptor: what a program does without one cannot be
/// tested then.
#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool needsDescriptors = true;
#elif defined(__has_feature)
inline constexpr bool needsDescriptors = __has_feature(address_sanitizer);
#else
inline constexpr bool needsDescriptors = false;
#endif

}  // namespace parlen::test
