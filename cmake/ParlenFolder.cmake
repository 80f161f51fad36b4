# Link-time optimization drops a third of the code. A start takes a page fault for each page it uses.
if(CMAKE_BUILD_TYPE MATCHES "^(Release|MinSizeRel)$")
  set(CMAKE_INTERPROCEDURAL_OPTIMIZATION ON)
endif()

# The compiler options of every target.
add_library(parlen_options INTERFACE)
target_compile_options(parlen_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror
  $<$<CXX_COMPILER_ID:Clang,AppleClang>:-Wreserved-identifier>)
if(CMAKE_BUILD_TYPE MATCHES "^(Release|MinSizeRel)$")
  # Let the linker drop what the program does not use.
  target_compile_options(parlen_options INTERFACE -ffunction-sections -fdata-sections)
endif()
# Packages have the flags that Debian's and Fedora's builds have.
if(PARLEN_HARDENING)
  set(CMAKE_POSITION_INDEPENDENT_CODE ON)
  target_compile_options(parlen_options INTERFACE
    -fstack-protector-strong -fstack-clash-protection -Wformat -Werror=format-security
    -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -D_GLIBCXX_ASSERTIONS)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|amd64)$")
    target_compile_options(parlen_options INTERFACE -fcf-protection)
  elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
    target_compile_options(parlen_options INTERFACE -mbranch-protection=standard)
  endif()
  target_link_options(parlen_options INTERFACE -Wl,-z,relro -Wl,-z,now)
endif()
# When it optimizes, g++ 12 reports both of these wrongly in inlined code of std::variant and
# std::string (GCC bugs 105329 and 105562).
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(parlen_options INTERFACE -Wno-maybe-uninitialized -Wno-restrict)
endif()

# Everyday builds parse the standard library once, not once per file. The other presets (clang,
# release) compile each file with its own includes only, so that a missing include is an error.
option(PARLEN_PRECOMPILED_HEADERS "Precompile the standard library's headers" OFF)
option(PARLEN_PRECOMPILED_GTEST "Precompile gtest/gtest.h alone, which hides no missing include" OFF)
# Without the time of its making, a precompiled header is the same in each build folder.
target_compile_options(parlen_options INTERFACE
  "$<$<CXX_COMPILER_ID:Clang>:SHELL:-Xclang -fno-pch-timestamp>")
if(PARLEN_PRECOMPILED_HEADERS)
  file(WRITE ${CMAKE_BINARY_DIR}/empty.cpp "")
  add_library(parlen_precompiled OBJECT ${CMAKE_BINARY_DIR}/empty.cpp)
  target_link_libraries(parlen_precompiled PRIVATE parlen_options)
  target_precompile_headers(parlen_precompiled PRIVATE
    <algorithm> <array> <chrono> <cstdint> <expected> <functional> <map> <memory> <mutex>
    <optional> <string> <string_view> <utility> <variant> <vector>)
  if(PARLEN_TESTS)
    add_library(parlen_precompiled_tests OBJECT ${CMAKE_BINARY_DIR}/empty.cpp)
    target_link_libraries(parlen_precompiled_tests PRIVATE parlen_options GTest::gtest GTest::gmock)
    target_precompile_headers(parlen_precompiled_tests PRIVATE
      <gmock/gmock.h> <gtest/gtest.h> <algorithm> <chrono> <expected> <fstream> <functional> <thread>)
  endif()
elseif(PARLEN_PRECOMPILED_GTEST)
  file(WRITE ${CMAKE_BINARY_DIR}/empty.cpp "")
  add_library(parlen_precompiled_tests OBJECT ${CMAKE_BINARY_DIR}/empty.cpp)
  target_link_libraries(parlen_precompiled_tests PRIVATE parlen_options GTest::gtest GTest::gmock)
  target_precompile_headers(parlen_precompiled_tests PRIVATE <gtest/gtest.h>)
endif()

# parlen_precompile(<target> <parlen_precompiled or parlen_precompiled_tests>)
#
# For the target's C++ alone: the headers are not precompiled as Objective-C++.
function(parlen_precompile target headers)
  if(NOT TARGET ${headers})
    return()
  endif()
  get_target_property(sources ${target} SOURCES)
  list(FILTER sources INCLUDE REGEX "\\.mm$")
  set_property(SOURCE ${sources} PROPERTY SKIP_PRECOMPILE_HEADERS ON)
  target_precompile_headers(${target} REUSE_FROM ${headers})
endfunction()

# parlen_folder(<folder> SOURCES <files...> LINKS <targets...>)
#
# Adds the static library parlen_<folder> (each / is a _) from src/<folder>. Its headers are included
# as "<folder>/name.h", and only by targets that link it: each folder has its own include directory,
# with symbolic links to its headers only, so that an include of a folder that is not among LINKS
# does not compile.
function(parlen_folder folder)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LINKS")
  string(REPLACE "/" "_" name ${folder})
  set(view ${CMAKE_BINARY_DIR}/include/${name})
  file(GLOB headers CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/src/${folder}/*.h)
  file(REMOVE_RECURSE ${view})
  file(MAKE_DIRECTORY ${view}/${folder})
  foreach(header ${headers})
    get_filename_component(file ${header} NAME)
    file(CREATE_LINK ${header} ${view}/${folder}/${file} SYMBOLIC)
  endforeach()
  if(arg_SOURCES)
    add_library(parlen_${name} STATIC ${arg_SOURCES})
    target_include_directories(parlen_${name} PUBLIC ${view})
    target_link_libraries(parlen_${name} PUBLIC ${arg_LINKS} PRIVATE parlen_options)
    parlen_precompile(parlen_${name} parlen_precompiled)
  else()
    add_library(parlen_${name} INTERFACE)
    target_include_directories(parlen_${name} INTERFACE ${view})
    target_link_libraries(parlen_${name} INTERFACE ${arg_LINKS})
  endif()
endfunction()

# parlen_test(<name> SOURCES <files...> LINKS <targets...> [COST <number>])
#
# Adds a GoogleTest program and one CTest entry for each of its tests, labelled with <name>. Those
# that cost more start earlier.
function(parlen_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "COST" "SOURCES;LINKS")
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE ${arg_LINKS} parlen_options GTest::gtest_main GTest::gmock)
  parlen_precompile(${name} parlen_precompiled_tests)
  if(NOT arg_COST)
    set(arg_COST 0)
  endif()
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES LABELS ${name} COST ${arg_COST})
endfunction()

# parlen_program_options(<target>)
#
# Link options of the program in a release build on Linux. The program starts once per command, so
# its start time counts: the C++ library is linked statically and only libc dynamically, the program
# is not position-independent, and it has few segments and little code, because a page fault costs
# more than the code of that page takes to run. In a package it is as distributions want it:
# position-independent, and with its code in a segment of its own, for a tenth of a millisecond.
function(parlen_program_options target)
  if(CMAKE_SYSTEM_NAME STREQUAL Linux AND CMAKE_BUILD_TYPE MATCHES "^(Release|MinSizeRel)$")
    target_link_options(${target} PRIVATE
      -static-libstdc++ -static-libgcc $<$<CXX_COMPILER_ID:GNU>:-flto=auto>
      -Wl,--as-needed -Wl,--gc-sections -Wl,-O1)
    if(PARLEN_HARDENING)
      target_link_options(${target} PRIVATE -pie)
    else()
      target_link_options(${target} PRIVATE -no-pie -Wl,-z,noseparate-code)
    endif()
  endif()
endfunction()
