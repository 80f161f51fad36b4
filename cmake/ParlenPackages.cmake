# Packages for Debian and for distributions with RPM, made by `cpack` in the presets `deb` and `rpm`.
#
# Three packages: the program, which needs only libc; its window module, which brings GTK; and the
# conformance kit, which needs Python. The first two have the libraries of their own files as computed
# dependencies. QEMU, its firmware and passt are recommended and not required: `status` and `clone` work
# without them, and `create` and `run` say what is missing. scripts/check-package holds all of them to
# what is said here.
set(PARLEN_PACKAGE_MAINTAINER "parlen-mac-vm maintainers <maintainers@parlen-mac-vm.invalid>" CACHE STRING
  "Who answers for the packages")

set(CPACK_PACKAGE_NAME ${PROJECT_NAME})
set(CPACK_PACKAGE_VENDOR "parlen-mac-vm maintainers")
set(CPACK_PACKAGE_CONTACT ${PARLEN_PACKAGE_MAINTAINER})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "create, run, clone and inspect guest virtual machines")
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL program conformance)
if(TARGET parlen-mac-vm-gtk)
  list(APPEND CPACK_COMPONENTS_ALL windows)
endif()
set(CPACK_COMPONENT_PROGRAM_DESCRIPTION
"A command-line tool that creates, runs, clones and reports on guest virtual
machines, one guest per process. It is made for a program, not for a person:
a parent reads one JSON object per line from its standard output, and steers a
running guest with JSON lines on its standard input.")
set(CPACK_COMPONENT_WINDOWS_DESCRIPTION
"The module with which parlen-mac-vm shows a guest in a window, on X11 or
Wayland. Without it guests run without a window.")
set(CPACK_COMPONENT_CONFORMANCE_DESCRIPTION
"A driver that runs any parent of parlen-mac-vm through fifty situations of a
simulated guest, and says what the parent got wrong.")

# The packages of QEMU for the processor that the program is built for, and of all devices that a guest
# has (src/platform/qemu/configuration.cpp). Debian has the devices in qemu-system-common; the network
# device's ROM is in ipxe-qemu, which qemu-system-x86 depends on and qemu-system-arm only recommends,
# and without which QEMU refuses the device.
#
# Fedora's qemu.spec: the packages with "-core" have the emulator without its modules, with TCG, the
# network back ends "user" and "stream" and every device of ours but virtio-gpu-pci, the display of
# arm64. That is the module of qemu-device-display-virtio-gpu-pci, which needs that of
# qemu-device-display-virtio-gpu and does not require it in each version. The ROM comes with qemu-common.
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
  set(debian_guests "qemu-system-arm (>= 1:7.2), qemu-efi-aarch64, ipxe-qemu")
  set(rpm_guests qemu-system-aarch64-core qemu-device-display-virtio-gpu
    qemu-device-display-virtio-gpu-pci edk2-aarch64)
  set(debian_architecture arm64)
  set(rpm_architecture aarch64)
else()
  set(debian_guests "qemu-system-x86 (>= 1:7.2), ovmf")
  set(rpm_guests qemu-system-x86-core edk2-ovmf)
  set(debian_architecture amd64)
  set(rpm_architecture x86_64)
endif()

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${debian_architecture})
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
if(CMAKE_SYSROOT)
  # Where dpkg-shlibdeps looks for another machine's libraries. Debian 12 has some in either folder.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
    ${CMAKE_SYSROOT}/lib/${CMAKE_LIBRARY_ARCHITECTURE}
    ${CMAKE_SYSROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE})
endif()
set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME ${PROJECT_NAME})
set(CPACK_DEBIAN_PROGRAM_PACKAGE_RECOMMENDS "${debian_guests}, qemu-utils, passt")
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SUGGESTS
  "${PROJECT_NAME}-gtk (= ${PROJECT_VERSION}), ${PROJECT_NAME}-conformance (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_WINDOWS_PACKAGE_NAME ${PROJECT_NAME}-gtk)
set(CPACK_DEBIAN_WINDOWS_PACKAGE_DEPENDS "${PROJECT_NAME} (= ${PROJECT_VERSION})")

set(CPACK_DEBIAN_CONFORMANCE_PACKAGE_NAME ${PROJECT_NAME}-conformance)
set(CPACK_DEBIAN_CONFORMANCE_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_CONFORMANCE_PACKAGE_DEPENDS
  "${PROJECT_NAME} (= ${PROJECT_VERSION}), python3 (>= 3.11)")

set(CPACK_RPM_COMPONENT_INSTALL ON)
set(CPACK_RPM_FILE_NAME RPM-DEFAULT)
set(CPACK_RPM_PACKAGE_ARCHITECTURE ${rpm_architecture})
set(CPACK_RPM_PACKAGE_LICENSE "none chosen yet")
set(CPACK_RPM_PACKAGE_GROUP "System/Emulators/PC")
set(CPACK_RPM_PROGRAM_PACKAGE_NAME ${PROJECT_NAME})
set(CPACK_RPM_WINDOWS_PACKAGE_NAME ${PROJECT_NAME}-gtk)
set(CPACK_RPM_WINDOWS_PACKAGE_REQUIRES "${PROJECT_NAME} = ${PROJECT_VERSION}")
set(CPACK_RPM_CONFORMANCE_PACKAGE_NAME ${PROJECT_NAME}-conformance)
set(CPACK_RPM_CONFORMANCE_PACKAGE_ARCHITECTURE noarch)
set(CPACK_RPM_CONFORMANCE_PACKAGE_REQUIRES "${PROJECT_NAME} = ${PROJECT_VERSION}, python3 >= 3.11")
# CPack has no variable for recommendations, ignores suggestions if rpmbuild has no option of that
# name, and gives rpmbuild the same lines for each package.
set(weak "")
foreach(package IN ITEMS ${rpm_guests} qemu-img passt)
  string(APPEND weak "Recommends: ${package}\n")
endforeach()
foreach(suffix IN ITEMS gtk conformance)
  string(APPEND weak "Suggests: ${PROJECT_NAME}-${suffix} = ${PROJECT_VERSION}\n")
endforeach()
set(CPACK_RPM_SPEC_MORE_DEFINE "%if \"%{name}\" == \"${PROJECT_NAME}\"\n${weak}%endif")
# Folders that belong to other packages.
set(CPACK_RPM_EXCLUDE_FROM_AUTO_FILELIST_ADDITION
  ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR}
  ${CMAKE_INSTALL_FULL_DATADIR} ${CMAKE_INSTALL_FULL_MANDIR} ${CMAKE_INSTALL_FULL_MANDIR}/man1
  ${CMAKE_INSTALL_FULL_DATADIR}/doc ${CMAKE_INSTALL_FULL_DATADIR}/bash-completion
  ${CMAKE_INSTALL_FULL_DATADIR}/bash-completion/completions ${CMAKE_INSTALL_FULL_DATADIR}/zsh
  ${CMAKE_INSTALL_FULL_DATADIR}/zsh/site-functions ${CMAKE_INSTALL_FULL_DATADIR}/fish
  ${CMAKE_INSTALL_FULL_DATADIR}/fish/vendor_completions.d)

add_subdirectory(packaging)
include(CPack)
