# How libraries and applications of this project are declared: one line each in the top CMakeLists.txt.

include(CheckCXXSourceCompiles)
find_library(ZN_EXPAT_ARCHIVE libexpat.a)

add_library(zn_settings INTERFACE)
target_compile_options(zn_settings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -fno-plt
  $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)  # GCC 12 reports it falsely for std::string (its bug 105651)
if(ZN_PRECOMPILE_HEADERS)  # likewise, since it no longer knows then that it is in a header of the system
  target_compile_options(zn_settings INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-stringop-overflow -Wno-array-bounds>)
endif()
if(ZN_SANITIZE)
  target_compile_options(zn_settings INTERFACE -fsanitize=${ZN_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)  # GCC 12 reports it falsely for std::regex when it sanitizes
  target_link_options(zn_settings INTERFACE -fsanitize=${ZN_SANITIZE})
endif()

# zn_precompile(TARGET KIND header...): reads headers that nearly every source includes once for all targets of a kind,
# whose compiler flags are the same. ./test asan goes without, and so finds a source that lacks an include.
function(zn_precompile target kind)
  if(NOT ZN_PRECOMPILE_HEADERS)
    return()
  endif()
  get_property(first GLOBAL PROPERTY ZN_FIRST_${kind})
  if(first)
    target_precompile_headers(${target} REUSE_FROM ${first})
  else()
    target_precompile_headers(${target} PRIVATE ${ARGN})
    set_property(GLOBAL PROPERTY ZN_FIRST_${kind} ${target})
  endif()
endfunction()
set(ZN_USUAL_HEADERS <algorithm> <atomic> <chrono> <condition_variable> <functional> <map> <memory> <mutex> <optional>
    <span> <string> <string_view> <unordered_map> <utility> <vector>)

# zn_library(NAME [COMPONENT component] FOLDERS folder... [EXCEPT folder...] [OBJECTS target...] LINK public...
#            PRIVATE private...): a library of all sources in the folders, but for some, and of the objects of other
# targets, exported as Zintar::NAME. A component is what find_package finds, and packages hold, together; it is
# ZNMessaging if none is named.
function(zn_library name)
  cmake_parse_arguments(arg "" "COMPONENT" "FOLDERS;EXCEPT;OBJECTS;LINK;PRIVATE" ${ARGN})
  if(NOT arg_COMPONENT)
    set(arg_COMPONENT ZNMessaging)
  endif()
  set(patterns)
  foreach(folder IN LISTS arg_FOLDERS)
    list(APPEND patterns ${folder}/*.cpp)
  endforeach()
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${patterns})
  foreach(folder IN LISTS arg_EXCEPT)
    list(FILTER sources EXCLUDE REGEX "/${folder}/")
  endforeach()
  if(NOT sources)
    return()
  endif()
  list(TRANSFORM arg_OBJECTS REPLACE "(.+)" "$<TARGET_OBJECTS:\\1>" OUTPUT_VARIABLE objects)
  add_library(${name} ${sources} ${objects})
  add_library(Zintar::${name} ALIAS ${name})
  target_include_directories(${name} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
                                            $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/zintar>)
  target_compile_features(${name} PUBLIC cxx_std_20)
  target_link_libraries(${name} PUBLIC ${arg_LINK} PRIVATE $<BUILD_INTERFACE:zn_settings> ${arg_PRIVATE})
  if(BUILD_SHARED_LIBS)
    target_link_options(${name} PRIVATE LINKER:--version-script=${PROJECT_SOURCE_DIR}/cmake/exports.map)
    set_target_properties(${name} PROPERTIES LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/exports.map)
  endif()
  # The binary interface may change with a minor version.
  set_target_properties(${name} PROPERTIES VERSION ${PROJECT_VERSION} DEFINE_SYMBOL ""
                        SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
  zn_precompile(${name} LIBRARY ${ZN_USUAL_HEADERS})
  get_property(components GLOBAL PROPERTY ZN_COMPONENTS)
  if(NOT arg_COMPONENT IN_LIST components)
    set_property(GLOBAL APPEND PROPERTY ZN_COMPONENTS ${arg_COMPONENT})
  endif()
  set_property(GLOBAL APPEND PROPERTY ZN_LIBRARIES_OF_${arg_COMPONENT} ${name})
  set_property(GLOBAL APPEND PROPERTY ZN_HEADERS_OF_${arg_COMPONENT} ${arg_FOLDERS})
endfunction()

# The objects of one of our libraries as an archive, from which a program takes only what it calls. Only for a program
# that takes all its libraries so, since a library's shared instances must be there once in a process.
function(zn_archive name library)
  if(NOT TARGET ${name})
    add_library(${name} STATIC $<TARGET_OBJECTS:${library}>)
    target_include_directories(${name} INTERFACE ${PROJECT_SOURCE_DIR})
  endif()
endfunction()

# Where the system has what that takes, a program without shared libraries, which starts in half the time. Its addresses
# are as random as those of others.
function(zn_link_statically name)
  if(ZN_SANITIZE OR NOT ZN_LINK_EXTENSION_STATICALLY)
    target_link_libraries(${name} PRIVATE EXPAT::EXPAT)
    return()
  endif()
  set(CMAKE_REQUIRED_LINK_OPTIONS -static-pie)
  check_cxx_source_compiles("int main() {}" ZN_HAS_STATIC_PIE)
  if(ZN_HAS_STATIC_PIE AND ZN_EXPAT_ARCHIVE)
    # Such a program relocates itself, and refuses a path to libraries.
    set_target_properties(${name} PROPERTIES POSITION_INDEPENDENT_CODE ON SKIP_BUILD_RPATH ON ZN_IS_STATIC ON)
    target_link_options(${name} PRIVATE -static-pie -Wl,--gc-sections)
    target_link_libraries(${name} PRIVATE ${ZN_EXPAT_ARCHIVE})
  else()
    target_link_options(${name} PRIVATE -static-libstdc++ -static-libgcc -Wl,--gc-sections)
    target_link_libraries(${name} PRIVATE EXPAT::EXPAT)
  endif()
endfunction()

# zn_application(NAME [COMPONENT component] FOLDER folder [PARTS library] LINK library... [ARCHIVES library...]): a
# program, of the component "tools" if none is named. PARTS is what is made of all sources but main.cpp, for others who need them.
function(zn_application name)
  cmake_parse_arguments(arg "" "COMPONENT;FOLDER;PARTS" "LINK;ARCHIVES" ${ARGN})
  if(NOT arg_COMPONENT)
    set(arg_COMPONENT tools)
  endif()
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${arg_FOLDER}/*.cpp)
  if(NOT sources)
    return()
  endif()
  if(arg_PARTS)
    list(FILTER sources EXCLUDE REGEX "/main\\.cpp$")
    add_library(${arg_PARTS} STATIC ${sources})
    target_link_libraries(${arg_PARTS} PUBLIC ${arg_LINK} zn_command_line PRIVATE zn_settings)
    set(sources ${arg_FOLDER}/main.cpp)
    list(PREPEND arg_LINK ${arg_PARTS})
  endif()
  add_executable(${name} ${sources})
  foreach(library IN LISTS arg_ARCHIVES)
    zn_archive(${library}Archive ${library})
    target_link_libraries(${name} PRIVATE ${library}Archive)
  endforeach()
  if(arg_ARCHIVES)
    target_compile_features(${name} PRIVATE cxx_std_20)
    target_link_libraries(${name} PRIVATE Threads::Threads)
    zn_link_statically(${name})
  endif()
  target_link_libraries(${name} PRIVATE zn_settings zn_command_line ${arg_LINK})
  set_target_properties(${name} PROPERTIES ZN_COMPONENT ${arg_COMPONENT})
  set_property(GLOBAL APPEND PROPERTY ZN_APPLICATIONS ${name})
endfunction()
