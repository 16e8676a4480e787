# What `cmake --install` puts where: libraries, public headers, applications, resources, and the package that
# find_package finds.

include(CMakePackageConfigHelpers)

# The libraries look for their resources in share/zintar beside their own folder or above it: here and where they are
# installed.
set(resources ZNMessaging/ZNInbox/ZNInboxUI/ZNInbox.storyboard.json)
if(TARGET zinhost)
  list(APPEND resources Apps/zinhost/zinhost.json)
endif()
foreach(resource IN LISTS resources)
  cmake_path(GET resource FILENAME resource_name)
  configure_file(${resource} ${CMAKE_BINARY_DIR}/share/zintar/${resource_name} COPYONLY)
endforeach()
install(FILES ${resources} DESTINATION share/zintar)

get_property(libraries GLOBAL PROPERTY ZN_LIBRARIES)
get_property(applications GLOBAL PROPERTY ZN_APPLICATIONS)
get_property(header_folders GLOBAL PROPERTY ZN_HEADER_FOLDERS)
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/ZNMessaging)

# The libraries find one another, and the applications find them, wherever the installed tree is moved to.
file(RELATIVE_PATH libraries_from_applications ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
set_target_properties(${libraries} PROPERTIES INSTALL_RPATH "$ORIGIN")
if(applications)
  foreach(application IN LISTS applications)
    get_target_property(is_static ${application} ZN_IS_STATIC)
    if(NOT is_static)
      set_target_properties(${application} PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries_from_applications}")
    endif()
  endforeach()
endif()

# A component is found by those who ask for it, with what it needs.
foreach(library IN LISTS libraries)
  set(export ZNMessaging)
  get_target_property(is_component ${library} ZN_COMPONENT)
  if(is_component)
    set(export ${library})
    install(EXPORT ${export}Targets NAMESPACE Zintar:: DESTINATION ${package_folder})
  endif()
  install(TARGETS ${library} EXPORT ${export}Targets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
endforeach()
install(TARGETS ${applications} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

install(CODE "set(source_folder \"${PROJECT_SOURCE_DIR}\")
set(header_folders \"${header_folders}\")
set(destination \"${CMAKE_INSTALL_INCLUDEDIR}/zintar\")")
install(SCRIPT cmake/InstallHeaders.cmake)

configure_package_config_file(cmake/ZNMessagingConfig.cmake.in ${PROJECT_BINARY_DIR}/ZNMessagingConfig.cmake
                              INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ZNMessagingConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/ZNMessagingConfig.cmake ${PROJECT_BINARY_DIR}/ZNMessagingConfigVersion.cmake
              cmake/DesktopHost.cmake
        DESTINATION ${package_folder})
install(EXPORT ZNMessagingTargets NAMESPACE Zintar:: DESTINATION ${package_folder})
