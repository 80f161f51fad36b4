# GoogleTest from the sources that Debian's libgtest-dev brings.
add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
foreach(target gtest gtest_main gmock gmock_main)
  if(NOT TARGET GTest::${target})
    add_library(GTest::${target} ALIAS ${target})
  endif()
endforeach()
