# parlen_sign(<target>)
#
# On macOS, signs the program with the entitlement com.apple.security.virtualization, without which
# the Virtualization framework runs no machine. It is not a restricted entitlement, so an ad-hoc
# signature (without a certificate) is enough. The program is signed after each link, because linking
# removes the signature; stripping would too.
set(PARLEN_SIGNING_IDENTITY - CACHE STRING "Signing identity on macOS (-: ad hoc)")
set(PARLEN_ENTITLEMENTS ${CMAKE_SOURCE_DIR}/src/app/parlen-mac-vm.entitlements)

function(parlen_sign target)
  if(NOT CMAKE_SYSTEM_NAME STREQUAL Darwin)
    return()
  endif()
  find_program(PARLEN_CODESIGN codesign REQUIRED)
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${PARLEN_ENTITLEMENTS})
  # Installing must not rewrite the search paths, which would remove the signature.
  set_property(TARGET ${target} PROPERTY SKIP_BUILD_RPATH ON)
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND ${PARLEN_CODESIGN} --force --sign ${PARLEN_SIGNING_IDENTITY}
            --entitlements ${PARLEN_ENTITLEMENTS} $<TARGET_FILE:${target}>
    VERBATIM)
endfunction()

# parlen_check_signature(<target>)
#
# Adds a test that reads the entitlements from the program's signature.
function(parlen_check_signature target)
  add_test(NAME Signature.GrantsTheProgramVirtualMachines
    COMMAND ${PARLEN_CODESIGN} --display --entitlements - --xml $<TARGET_FILE:${target}>)
  set_property(TEST Signature.GrantsTheProgramVirtualMachines PROPERTY
    PASS_REGULAR_EXPRESSION "com\\.apple\\.security\\.virtualization</key>[ \t\r\n]*<true/>")
endfunction()
