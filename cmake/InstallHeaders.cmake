# Part of `cmake --install`: headers keep their folders below include/zintar. One named …_p.h is the library's own.
# Looked up when installing, so that a new header configures nothing.

foreach(folder IN LISTS header_folders)
  file(GLOB_RECURSE headers RELATIVE ${source_folder} ${source_folder}/${folder}/*.h)
  list(FILTER headers EXCLUDE REGEX "_p\\.h$")
  foreach(header IN LISTS headers)
    cmake_path(GET header PARENT_PATH header_folder)
    file(INSTALL ${source_folder}/${header} DESTINATION ${CMAKE_INSTALL_PREFIX}/${destination}/${header_folder})
  endforeach()
endforeach()
