# zn_desktop_host(TARGET ID id NAME name [ICON icon] [SCHEMES scheme...] [CATEGORIES category...] [ARGUMENTS argument...]
#                 [KEYWORDS word...] [BACKGROUND_ARGUMENTS argument...] [DESTINATION bin] [COMPONENT component])
#
# Makes the two files by which a session knows a host application, and installs them beside the program:
# share/applications/ID.desktop, which launchers show and which takes links of the schemes named, and
# share/dbus-1/services/ID.service, by which a push or a click starts the host when it does not run. ID is the
# applicationID of its zn::FreedesktopDevice. ARGUMENTS are given at every start, BACKGROUND_ARGUMENTS besides where the
# session starts it by itself: it should show no window then until it is activated. ICON is a name that icon themes know,
# or an .svg file, which is installed as share/icons/hicolor/scalable/apps/ID.svg; without it the name is ID. Both files are
# also below share in the build folder, for trying the host there: with that folder in XDG_DATA_DIRS when the session's
# bus starts.
function(zn_desktop_host target)
  cmake_parse_arguments(arg "" "ID;NAME;ICON;DESTINATION;COMPONENT"
                        "SCHEMES;CATEGORIES;KEYWORDS;ARGUMENTS;BACKGROUND_ARGUMENTS" ${ARGN})
  if(NOT arg_ID MATCHES "^[A-Za-z_][A-Za-z0-9_-]*(\\.[A-Za-z_][A-Za-z0-9_-]*)+$" OR NOT arg_NAME)
    message(FATAL_ERROR "zn_desktop_host(${target}): it takes an ID such as com.example.Shop, and a NAME")
  endif()
  include(GNUInstallDirs)
  set(component)
  if(arg_COMPONENT)
    set(component COMPONENT ${arg_COMPONENT})
  endif()
  if(arg_ICON MATCHES "\\.svg$")
    set(icon_folder share/icons/hicolor/scalable/apps)
    configure_file(${arg_ICON} ${CMAKE_BINARY_DIR}/${icon_folder}/${arg_ID}.svg COPYONLY)
    install(FILES ${arg_ICON} DESTINATION ${icon_folder} RENAME ${arg_ID}.svg ${component})
    set(arg_ICON)
  endif()
  if(NOT arg_ICON)
    set(arg_ICON ${arg_ID})
  endif()
  if(NOT arg_DESTINATION)
    set(arg_DESTINATION ${CMAKE_INSTALL_BINDIR})
  endif()
  foreach(list ARGUMENTS BACKGROUND_ARGUMENTS)
    set(text_${list})
    foreach(argument IN LISTS arg_${list})
      string(APPEND text_${list} " \"${argument}\"")
    endforeach()
  endforeach()
  set(entry "[Desktop Entry]\nType=Application\nName=${arg_NAME}\nIcon=${arg_ICON}\n")
  string(APPEND entry "Exec=\"@program@\"${text_ARGUMENTS} %u\n")
  string(APPEND entry "DBusActivatable=true\nStartupNotify=true\nX-GNOME-UsesNotifications=true\n")
  list(TRANSFORM arg_SCHEMES REPLACE "(.+)" "x-scheme-handler/\\1")
  foreach(key_and_list MimeType=arg_SCHEMES Categories=arg_CATEGORIES Keywords=arg_KEYWORDS)
    string(REGEX MATCH "(.+)=(.+)" ignored "${key_and_list}")
    set(key ${CMAKE_MATCH_1})
    list(JOIN ${CMAKE_MATCH_2} ";" values)
    if(values)
      string(APPEND entry "${key}=${values};\n")
    endif()
  endforeach()
  set(service "[D-BUS Service]\nName=${arg_ID}\nExec=\"@program@\"${text_ARGUMENTS}${text_BACKGROUND_ARGUMENTS}\n")

  set(entry_file share/applications/${arg_ID}.desktop)
  set(service_file share/dbus-1/services/${arg_ID}.service)
  foreach(kind entry service)
    string(REPLACE "@program@" "$<TARGET_FILE:${target}>" built "${${kind}}")
    file(GENERATE OUTPUT ${CMAKE_BINARY_DIR}/${${kind}_file} CONTENT "${built}")
    # Where it is installed is known then only.
    set(template ${CMAKE_CURRENT_BINARY_DIR}/${target}-${kind}.in)
    file(GENERATE OUTPUT ${template} CONTENT "${${kind}}")
    cmake_path(GET ${kind}_file FILENAME name)
    cmake_path(GET ${kind}_file PARENT_PATH folder)
    install(CODE "
      file(READ \"${template}\" text)
      cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_PREFIX NORMALIZE OUTPUT_VARIABLE prefix)
      string(REPLACE \"@program@\" \"\${prefix}/${arg_DESTINATION}/$<TARGET_FILE_NAME:${target}>\" text \"\${text}\")
      file(WRITE \"${CMAKE_CURRENT_BINARY_DIR}/installed/${name}\" \"\${text}\")
      file(INSTALL \"${CMAKE_CURRENT_BINARY_DIR}/installed/${name}\" DESTINATION \"\${CMAKE_INSTALL_PREFIX}/${folder}\")"
      ${component})
  endforeach()
endfunction()
