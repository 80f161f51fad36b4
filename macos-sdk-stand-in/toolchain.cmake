# Compiles and links for macOS on another system: zig's compiler, and the stand-in where the frameworks'
# SDK would be. Only scripts/check-macos uses it. PARLEN_ZIG: the zig program.
if(CMAKE_HOST_APPLE)
  message(FATAL_ERROR "On a Mac the program is built with the real SDK.")
endif()
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR arm64)
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES PARLEN_ZIG)

foreach(language C CXX OBJCXX)
  set(CMAKE_${language}_COMPILER ${PARLEN_ZIG} c++)
  # The target names the processor and the oldest system; no sysroot takes zig's own headers away.
  # -iframework makes the stand-in's headers the system's, as the SDK's are.
  set(CMAKE_${language}_FLAGS_INIT
    "-target aarch64-macos.13.0 -iframework ${CMAKE_CURRENT_LIST_DIR}/Frameworks -Os")
endforeach()
set(CMAKE_C_COMPILER ${PARLEN_ZIG} cc)
set(CMAKE_AR ${CMAKE_CURRENT_LIST_DIR}/ar)
set(CMAKE_RANLIB ${CMAKE_CURRENT_LIST_DIR}/ranlib)
set(CMAKE_EXE_LINKER_FLAGS_INIT
  "-F ${CMAKE_CURRENT_LIST_DIR}/Frameworks -L ${CMAKE_CURRENT_LIST_DIR}/lib")
set(CMAKE_OSX_SYSROOT "")
set(CMAKE_OSX_ARCHITECTURES "" CACHE STRING "")
set(CMAKE_OSX_DEPLOYMENT_TARGET "" CACHE STRING "")

# Tools of a Mac's that nothing here needs.
set(CMAKE_INSTALL_NAME_TOOL true)
set(PARLEN_CODESIGN true CACHE STRING "")
