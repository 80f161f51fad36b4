find_package(Python3 COMPONENTS Interpreter)

# parlen_python_tests(<label> SUITES <module.Class...> [PYTHON <interpreter>] [TIMEOUT <seconds>]
#                     [ENVIRONMENT <name=value...>])
#
# One CTest entry for each class of the folder's Python tests, by the class's full name. They find
# the tree, the build and the program by PARLEN_SOURCE, PARLEN_BUILD, PARLEN_CMAKE and
# PARLEN_PROGRAM. A class that passes, but has left something out, counts as skipped. Without a
# Python there are none.
function(parlen_python_tests label)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "PYTHON;TIMEOUT" "SUITES;ENVIRONMENT")
  if(NOT Python3_FOUND)
    return()
  endif()
  if(NOT arg_PYTHON)
    # Not the target Python3::Interpreter: a build for another processor would start it by its
    # emulator.
    set(arg_PYTHON ${Python3_EXECUTABLE})
  endif()
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 600)
  endif()
  set(environment
    "PARLEN_SOURCE=${CMAKE_SOURCE_DIR}" "PARLEN_BUILD=${CMAKE_BINARY_DIR}"
    "PARLEN_CMAKE=${CMAKE_COMMAND}" "PARLEN_PROGRAM=${PARLEN_TESTED_PROGRAM}")
  foreach(suite ${arg_SUITES})
    add_test(NAME ${suite}
      COMMAND ${arg_PYTHON} -B -W ignore::DeprecationWarning -m unittest -v ${suite}
      WORKING_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR})
    set_tests_properties(${suite} PROPERTIES
      LABELS ${label} TIMEOUT ${arg_TIMEOUT}
      SKIP_REGULAR_EXPRESSION "OK \\(skipped="
      ENVIRONMENT "${environment};${arg_ENVIRONMENT}")
  endforeach()
endfunction()
