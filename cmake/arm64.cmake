# For arm64 Linux on a machine of another kind: Debian's cross compiler, the libraries that
# scripts/make-arm64-root fetches, and qemu-user to run what is made.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

get_filename_component(CMAKE_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../build/arm64-root ABSOLUTE)
if(NOT EXISTS ${CMAKE_SYSROOT}/complete)
  message(FATAL_ERROR "There is no ${CMAKE_SYSROOT}; scripts/make-arm64-root makes it")
endif()
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${CMAKE_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR}
  ${CMAKE_SYSROOT}/usr/lib/aarch64-linux-gnu/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig)

# It is linked statically, and looks for each path that a program opens under the folder of -L first.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64-static -L ${CMAKE_SYSROOT})
