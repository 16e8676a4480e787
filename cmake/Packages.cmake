# What ./package makes with CPack: a Debian package for each component's libraries, one for what is needed to build with
# them, one for the programs, and one for the demo. All are of one version and name one another with it.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_SOURCE_DIR}/build/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_PACKAGE_CONTACT "${ZN_PACKAGE_MAINTAINER}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${ZN_PACKAGE_RELEASE})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})  # for one another
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(version ${PROJECT_VERSION}-${ZN_PACKAGE_RELEASE})

# The documents that Debian wants with each package. Its changelog has one entry, whose time is that of the commit.
set(made ${PROJECT_BINARY_DIR}/packages)
file(CONFIGURE OUTPUT ${made}/changelog.Debian @ONLY CONTENT
"znmessaging (@version@) unstable; urgency=medium

  * Made with ./package. What changed is in changelog.gz.

 -- @ZN_PACKAGE_MAINTAINER@  @ZN_PACKAGE_TIME@
")
file(CONFIGURE OUTPUT ${made}/copyright @ONLY CONTENT
"Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/
Upstream-Name: ZNMessaging

Files: *
Copyright: 2026 The ZNMessaging authors
License: Apache-2.0

License: Apache-2.0
 Licensed under the Apache License, Version 2.0. On Debian systems its text is in
 /usr/share/common-licenses/Apache-2.0.
")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS CHANGELOG.md)
execute_process(COMMAND sh -c "gzip -9nc '${PROJECT_SOURCE_DIR}/CHANGELOG.md' >changelog.gz && gzip -9nf changelog.Debian"
                WORKING_DIRECTORY ${made} COMMAND_ERROR_IS_FATAL ANY)

# zn_package(COMPONENT NAME name SECTION section SUMMARY summary DESCRIPTION text [IS_ALIKE] [DEPENDS other...]
#            [NEEDS package...]): the package of a component. DEPENDS names packages of ours, which it needs in its own
# version, NEEDS others that shared libraries do not tell of. IS_ALIKE: on all machines.
function(zn_package component)
  cmake_parse_arguments(arg "IS_ALIKE" "NAME;SECTION;SUMMARY;DESCRIPTION" "DEPENDS;NEEDS" ${ARGN})
  install(FILES ${made}/copyright ${made}/changelog.Debian.gz ${made}/changelog.gz NOTICE
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${arg_NAME} COMPONENT ${component})
  set(needs ${arg_NEEDS})
  foreach(other IN LISTS arg_DEPENDS)
    list(APPEND needs "${other} (= ${version})")
  endforeach()
  list(JOIN needs ", " needs)
  string(TOUPPER ${component} key)
  set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${arg_NAME} PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${arg_SECTION} PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_PACKAGE_DEPENDS "${needs}" PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_DESCRIPTION "${arg_SUMMARY}\n${arg_DESCRIPTION}" PARENT_SCOPE)
  if(arg_SECTION STREQUAL "libs")
    # The system's cache of libraries is renewed by a trigger. Scripts of the same purpose are made unless there are some:
    # these are looked for, and left out as they do not exist.
    file(WRITE ${made}/triggers "activate-noawait ldconfig\n")
    set(CPACK_DEBIAN_${key}_PACKAGE_CONTROL_EXTRA ${made}/triggers ${made}/none/postinst ${made}/none/postrm PARENT_SCOPE)
  endif()
  if(arg_IS_ALIKE)
    set(CPACK_DEBIAN_${key}_PACKAGE_ARCHITECTURE all PARENT_SCOPE)
    set(CPACK_DEBIAN_${key}_PACKAGE_SHLIBDEPS OFF PARENT_SCOPE)
  endif()
  set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} ${component} PARENT_SCOPE)
endfunction()

set(about "ZNMessaging gives C++20 applications on Linux push notifications, an inbox\nand device triggers.\n.\n")
set(CPACK_COMPONENTS_ALL)
zn_package(data NAME znmessaging-data SECTION misc IS_ALIKE SUMMARY "push, inbox and device triggers - resources"
           DESCRIPTION "${about}This package has what its libraries read when they run.")
zn_package(ZNMessaging NAME libznmessaging1.0 SECTION libs DEPENDS znmessaging-data
           SUMMARY "push, inbox and device triggers - libraries"
           DESCRIPTION "${about}This package has the module with the libraries beneath it, for any\nprocess.")
zn_package(ZNSimulator NAME libznsimulator1.0 SECTION libs DEPENDS libznmessaging1.0
           SUMMARY "push, inbox and device triggers - simulated device"
           DESCRIPTION "${about}This package has a device with virtual time on which everything is\nobservable, for tests.")
zn_package(ZNFreedesktop NAME libznfreedesktop1.0 SECTION libs DEPENDS libznmessaging1.0
           SUMMARY "push, inbox and device triggers - desktop session"
           DESCRIPTION "${about}This package has the device of a desktop session: notifications, push,\nbadge and links over D-Bus.")
zn_package(ZNQt NAME libznqt1.0 SECTION libs DEPENDS libznfreedesktop1.0
           SUMMARY "push, inbox and device triggers - Qt windows"
           DESCRIPTION "${about}This package has the device of a desktop session with Qt 6: event loop and\nwindows.")

zn_package(ZNMessaging-dev NAME libznmessaging-dev SECTION libdevel DEPENDS libznmessaging1.0
           SUMMARY "push, inbox and device triggers - development files"
           DESCRIPTION "${about}This package has headers, and what CMake and pkg-config need to find the\nlibraries.")
zn_package(ZNSimulator-dev NAME libznsimulator-dev SECTION libdevel DEPENDS libznmessaging-dev libznsimulator1.0
           SUMMARY "push, inbox and device triggers - development of tests"
           DESCRIPTION "${about}This package has what is needed to build tests with the simulated device.")
zn_package(ZNFreedesktop-dev NAME libznfreedesktop-dev SECTION libdevel DEPENDS libznmessaging-dev libznfreedesktop1.0
           SUMMARY "push, inbox and device triggers - desktop development"
           DESCRIPTION "${about}This package has what is needed to build with the device of a desktop\nsession.")
zn_package(ZNQt-dev NAME libznqt-dev SECTION libdevel DEPENDS libznfreedesktop-dev libznqt1.0 NEEDS qt6-base-dev
           SUMMARY "push, inbox and device triggers - development with Qt"
           DESCRIPTION "${about}This package has what is needed to build with the Qt device.")

zn_package(tools NAME znmessaging-tools SECTION devel DEPENDS libznmessaging1.0 libznsimulator1.0
           SUMMARY "push, inbox and device triggers - programs"
           DESCRIPTION "${about}This package has the scenario runner zinsim, servers for development, a\nsender of pushes and the notification service extension.")
zn_package(zinhost NAME zinhost SECTION net DEPENDS libznqt1.0 NEEDS hicolor-icon-theme
           SUMMARY "push, inbox and device triggers - demo shop"
           DESCRIPTION "${about}This package has a small shop for the desktop, which shows how an\napplication uses the module.")
include(CPack)
