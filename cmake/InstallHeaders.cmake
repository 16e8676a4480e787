# Part of `cmake --install`: headers keep their folders below include/zintar. One whose text says "Not installed API" is
# the library's own. Looked up when installing, so that editing a header configures nothing.

foreach(folder IN LISTS header_folders)
  file(GLOB_RECURSE headers RELATIVE ${source_folder} ${source_folder}/${folder}/*.h)
  foreach(header IN LISTS headers)
    file(READ ${source_folder}/${header} text)
    string(REGEX REPLACE "[ \n/]+" " " text "${text}")
    if(NOT text MATCHES "Not installed API")
      cmake_path(GET header PARENT_PATH header_folder)
      file(INSTALL ${source_folder}/${header} DESTINATION ${CMAKE_INSTALL_PREFIX}/${destination}/${header_folder})
    endif()
  endforeach()
endforeach()
