# Builds src/platform/macos for this Linux machine, against what stands for Apple's frameworks here.
# Only `scripts/test macos-run` uses it. GCC's Objective-C headers come from the compiler's own folder:
# see CMakeLists.txt.
set(CMAKE_C_COMPILER clang-19)
set(CMAKE_CXX_COMPILER clang++-19)
set(CMAKE_OBJCXX_COMPILER /usr/bin/clang++-19)
# What the build asks for: macOS's host, on a system that is not macOS.
set(PARLEN_MACOS_ON_LINUX ON)

# GNUstep's Objective-C, as clang compiles it for a runtime that is GCC's: message lookup by name.
string(CONCAT CMAKE_OBJCXX_FLAGS_INIT
  "-fobjc-runtime=gnustep-1.9 -Xclang -fobjc-dispatch-method=legacy -fblocks -fexceptions "
  "-fobjc-exceptions -fconstant-string-class=NSConstantString")
