# Compiles and links for macOS on another system: zig's compiler, and the stand-in where the
# frameworks' SDK would be. Only scripts/check-macos uses it. PARLEN_ZIG: the zig program.
if(CMAKE_HOST_APPLE)
  message(FATAL_ERROR "On a Mac the program is built with the real SDK.")
endif()
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR arm64)
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES PARLEN_ZIG)

foreach(language C CXX OBJCXX)
  set(CMAKE_${language}_COMPILER ${PARLEN_ZIG} c++)
  # -iframework makes the stand-in's headers system headers, as the SDK's are. Nothing runs, so
  # nothing is optimized; zig would then add a sanitizer.
  set(CMAKE_${language}_FLAGS_INIT
    "-target aarch64-macos -iframework ${CMAKE_CURRENT_LIST_DIR}/Frameworks -O0 -fno-sanitize=all")
  set(CMAKE_${language}_ARCHIVE_CREATE "${PARLEN_ZIG} ar rcs <TARGET> <OBJECTS>")
  set(CMAKE_${language}_ARCHIVE_FINISH "")
endforeach()
set(CMAKE_C_COMPILER ${PARLEN_ZIG} cc)
set(CMAKE_EXE_LINKER_FLAGS_INIT
  "-F ${CMAKE_CURRENT_LIST_DIR}/Frameworks -L ${CMAKE_CURRENT_LIST_DIR}/lib")
# The headers of the C and C++ libraries are zig's own.
set(CMAKE_OSX_SYSROOT "")

# Tools that only a Mac has and that are not needed here.
set(CMAKE_INSTALL_NAME_TOOL true)
set(PARLEN_CODESIGN true CACHE STRING "")

# GoogleTest is compiled from its sources, and nothing that is built here can run here.
set(GTest_DIR ${CMAKE_CURRENT_LIST_DIR}/googletest)
set(CMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE PRE_TEST)
