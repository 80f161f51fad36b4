# Compiles for macOS as an Xcode of a certain age would: its clang, the C++ library of that age with
# Apple's availability markup, Darwin's C headers, and the stand-in where the frameworks' SDK would
# be. Nothing is linked: the rules that would do so leave empty files. Only scripts/check-macos uses it.
# PARLEN_CLANG: the version of clang. PARLEN_LIBCXX: the folder of the C++ library's headers.
# PARLEN_DARWIN_HEADERS: the folder of Darwin's.
if(CMAKE_HOST_APPLE)
  message(FATAL_ERROR "On a Mac the program is built with the real SDK.")
endif()
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR arm64)
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES PARLEN_CLANG PARLEN_LIBCXX PARLEN_DARWIN_HEADERS)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)

# The processor and the oldest system are in the target.
set(CMAKE_OSX_ARCHITECTURES "" CACHE STRING "")
set(CMAKE_OSX_SYSROOT "")
find_program(PARLEN_C_COMPILER clang-${PARLEN_CLANG} REQUIRED)
find_program(PARLEN_CXX_COMPILER clang++-${PARLEN_CLANG} REQUIRED)
execute_process(COMMAND ${PARLEN_C_COMPILER} -print-resource-dir
  OUTPUT_VARIABLE resources OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
string(CONCAT darwin
  "-target arm64-apple-macosx13.0 -D__ENVIRONMENT_OS_VERSION_MIN_REQUIRED__=130000 "
  "-iframework ${CMAKE_CURRENT_LIST_DIR}/Frameworks -nostdinc")
set(headers "-isystem ${resources}/include -isystem ${PARLEN_DARWIN_HEADERS}")
set(CMAKE_C_COMPILER ${PARLEN_C_COMPILER})
set(CMAKE_C_FLAGS_INIT "${darwin} ${headers}")
foreach(language CXX OBJCXX)
  set(CMAKE_${language}_COMPILER ${PARLEN_CXX_COMPILER})
  set(CMAKE_${language}_FLAGS_INIT
    "${darwin} -nostdinc++ -isystem ${PARLEN_LIBCXX} ${headers} -Wunguarded-availability")
endforeach()
foreach(language C CXX OBJCXX)
  # Nothing runs, so the compiler stops before it would make code.
  set(CMAKE_${language}_COMPILE_OBJECT
    "${CMAKE_CURRENT_LIST_DIR}/check-only <OBJECT> <CMAKE_${language}_COMPILER> <DEFINES> <INCLUDES> <FLAGS> -o <OBJECT> -c <SOURCE>")
  set(CMAKE_${language}_FLAGS_MINSIZEREL "-DNDEBUG" CACHE STRING "")
  set(CMAKE_${language}_CREATE_STATIC_LIBRARY "<CMAKE_COMMAND> -E touch <TARGET>")
  set(CMAKE_${language}_LINK_EXECUTABLE "<CMAKE_COMMAND> -E touch <TARGET>")
endforeach()

# Tools that only a Mac has and that are not needed here.
set(CMAKE_INSTALL_NAME_TOOL true)
set(PARLEN_CODESIGN true CACHE STRING "")

# Of GoogleTest the headers are enough.
set(GTest_DIR ${CMAKE_CURRENT_LIST_DIR}/googletest)
set(PARLEN_GOOGLETEST_HEADERS_ONLY ON)
set(CMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE PRE_TEST)
