# What `cmake --install` puts where: libraries, public headers, applications with their documents, resources, and what
# find_package and pkg-config find. Of a component's libraries, what is needed to build with them is the component
# NAME-dev here; find_package knows both by the one name.

include(CMakePackageConfigHelpers)

get_property(components GLOBAL PROPERTY ZN_COMPONENTS)
get_property(applications GLOBAL PROPERTY ZN_APPLICATIONS)
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/ZNMessaging)

# zn_resource(FILE COMPONENT): the libraries look for their resources in share/zintar beside their own folder or above it,
# here and where they are installed.
function(zn_resource resource component)
  cmake_path(GET resource FILENAME name)
  configure_file(${resource} ${CMAKE_BINARY_DIR}/share/zintar/${name} COPYONLY)
  install(FILES ${resource} DESTINATION share/zintar COMPONENT ${component})
endfunction()
zn_resource(ZNMessaging/ZNInbox/ZNInboxUI/ZNInbox.storyboard.json data)
if(TARGET zinhost)
  zn_resource(Apps/zinhost/zinhost.json zinhost)
endif()

# The libraries find one another, and the applications find them, wherever the installed tree is moved to.
file(RELATIVE_PATH libraries_from_applications ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
foreach(component IN LISTS components)
  get_property(libraries GLOBAL PROPERTY ZN_LIBRARIES_OF_${component})
  set_target_properties(${libraries} PROPERTIES INSTALL_RPATH "$ORIGIN")
  install(TARGETS ${libraries} EXPORT ${component}Targets
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${component} NAMELINK_COMPONENT ${component}-dev
          ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${component}-dev)
  install(EXPORT ${component}Targets NAMESPACE Zintar:: DESTINATION ${package_folder} COMPONENT ${component}-dev)
  get_property(header_folders GLOBAL PROPERTY ZN_HEADERS_OF_${component})
  install(CODE "set(source_folder \"${PROJECT_SOURCE_DIR}\")
set(header_folders \"${header_folders}\")
set(destination \"${CMAKE_INSTALL_INCLUDEDIR}/zintar\")" COMPONENT ${component}-dev)
  install(SCRIPT cmake/InstallHeaders.cmake COMPONENT ${component}-dev)
endforeach()
foreach(application IN LISTS applications)
  get_target_property(is_static ${application} ZN_IS_STATIC)
  if(NOT is_static)
    set_target_properties(${application} PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries_from_applications}")
  endif()
  get_target_property(component ${application} ZN_COMPONENT)
  install(TARGETS ${application} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT ${component})
endforeach()

# Each application describes itself: its man page, and what the shell completes.
if(applications AND NOT ZN_SANITIZE AND NOT CMAKE_CROSSCOMPILING)
  find_program(ZN_GZIP gzip REQUIRED)
  set(documents)
  foreach(application IN LISTS applications)
    set(page ${CMAKE_BINARY_DIR}/share/man/man1/${application}.1)
    set(completion ${CMAKE_BINARY_DIR}/share/bash-completion/completions/${application})
    foreach(file IN LISTS page completion)
      cmake_path(GET file PARENT_PATH folder)
      file(MAKE_DIRECTORY ${folder})
    endforeach()
    add_custom_command(OUTPUT ${page}.gz ${completion} DEPENDS ${application} VERBATIM
                       COMMAND ${application} --describe man > ${page}
                       COMMAND ${ZN_GZIP} -9nf ${page}
                       COMMAND ${application} --describe bash > ${completion}
                       COMMENT "Describing ${application}")
    list(APPEND documents ${page}.gz ${completion})
    get_target_property(component ${application} ZN_COMPONENT)
    install(FILES ${page}.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT ${component})
    install(FILES ${completion} DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT ${component})
  endforeach()
  add_custom_target(zn_documents ALL DEPENDS ${documents})
endif()

# find_package. A component without a file there says which Debian package, or switch, brings it.
get_property(libraries GLOBAL PROPERTY ZN_LIBRARIES_OF_ZNMessaging)
list(JOIN libraries " " libraries_text)
configure_package_config_file(cmake/ZNMessagingConfig.cmake.in ${PROJECT_BINARY_DIR}/ZNMessagingConfig.cmake
                              INSTALL_DESTINATION ${package_folder} PATH_VARS CMAKE_INSTALL_PREFIX)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ZNMessagingConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/ZNMessagingConfig.cmake ${PROJECT_BINARY_DIR}/ZNMessagingConfigVersion.cmake
              cmake/DesktopHost.cmake
        DESTINATION ${package_folder} COMPONENT ZNMessaging-dev)

# zn_pkg_config(COMPONENT DESCRIPTION [REQUIRES module...] [ARCHIVES_REQUIRE module...]): for builds without CMake. Who
# links archives needs what they need.
function(zn_pkg_config component description)
  cmake_parse_arguments(arg "" "" "REQUIRES;ARCHIVES_REQUIRE" ${ARGN})
  get_property(known GLOBAL PROPERTY ZN_COMPONENTS)
  if(NOT component IN_LIST known)
    return()
  endif()
  get_property(libraries GLOBAL PROPERTY ZN_LIBRARIES_OF_${component})
  list(REVERSE libraries)  # what needs others is before them
  list(TRANSFORM libraries PREPEND "-l")
  list(JOIN libraries " " links)
  if(NOT BUILD_SHARED_LIBS)
    list(APPEND arg_REQUIRES ${arg_ARCHIVES_REQUIRE})
    string(APPEND links " -pthread")
  endif()
  list(JOIN arg_REQUIRES " " requires)
  set(folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
  file(RELATIVE_PATH up ${CMAKE_INSTALL_PREFIX}/${folder} ${CMAKE_INSTALL_PREFIX})
  cmake_path(SET up NORMALIZE ${up}.)
  string(REGEX REPLACE "/\\.?$" "" up "${up}")
  file(CONFIGURE OUTPUT ${component}.pc @ONLY CONTENT "prefix=\${pcfiledir}/@up@
libdir=\${prefix}/@CMAKE_INSTALL_LIBDIR@
includedir=\${prefix}/@CMAKE_INSTALL_INCLUDEDIR@

Name: @component@
Description: @description@
Version: @PROJECT_VERSION@
Requires: @requires@
Libs: -L\${libdir} @links@
Cflags: -I\${includedir}/zintar
")
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${component}.pc DESTINATION ${folder} COMPONENT ${component}-dev)
endfunction()
zn_pkg_config(ZNMessaging "${PROJECT_DESCRIPTION} (C++20)" ARCHIVES_REQUIRE expat libcurl)
zn_pkg_config(ZNSimulator "A simulated device for tests of what uses ZNMessaging" REQUIRES ZNMessaging)
zn_pkg_config(ZNFreedesktop "ZNMessaging on a desktop session" REQUIRES ZNMessaging
              ARCHIVES_REQUIRE libsystemd libcrypto)
zn_pkg_config(ZNQt "ZNMessaging on a desktop session, with Qt's windows" REQUIRES ZNFreedesktop Qt6Widgets)
