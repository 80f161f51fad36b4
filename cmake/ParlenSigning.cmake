# parlen_sign(<target>)
#
# On a Mac, gives the program the right to run virtual machines, which lies in its signature.
# Signing comes last in the build and again after each link, because linking drops it; so would stripping.
# The right is not a restricted one: a signature without a certificate carries it.
set(PARLEN_SIGNING_IDENTITY - CACHE STRING "Who signs the program on a Mac (-: nobody, ad hoc)")
set(PARLEN_ENTITLEMENTS ${CMAKE_SOURCE_DIR}/src/app/parlen-mac-vm.entitlements)

function(parlen_sign target)
  if(NOT CMAKE_SYSTEM_NAME STREQUAL Darwin)
    return()
  endif()
  find_program(PARLEN_CODESIGN codesign REQUIRED)
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${PARLEN_ENTITLEMENTS})
  # No search paths to be rewritten by the installation, which would drop the signature as well.
  set_property(TARGET ${target} PROPERTY SKIP_BUILD_RPATH ON)
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND ${PARLEN_CODESIGN} --force --sign ${PARLEN_SIGNING_IDENTITY}
            --entitlements ${PARLEN_ENTITLEMENTS} $<TARGET_FILE:${target}>
    VERBATIM)
endfunction()

# parlen_check_signature(<target>)
#
# A test that reads back what the program's signature grants.
function(parlen_check_signature target)
  add_test(NAME Signature.GrantsTheProgramVirtualMachines
    COMMAND ${PARLEN_CODESIGN} --display --entitlements - --xml $<TARGET_FILE:${target}>)
  set_property(TEST Signature.GrantsTheProgramVirtualMachines PROPERTY
    PASS_REGULAR_EXPRESSION "com\\.apple\\.security\\.virtualization</key>[ \\n]*<true/>")
endfunction()
