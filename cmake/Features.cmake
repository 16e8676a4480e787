# What is asked of the libraries that are installed, and which parts of the project can be built with them.

include(CheckCXXSourceCompiles)

# An end of the process that does not wait for a silent name service.
set(CMAKE_REQUIRED_LIBRARIES CURL::libcurl)
check_cxx_source_compiles("#include <curl/curl.h>
int main() { return CURLOPT_QUICK_EXIT == 0; }" ZN_CURL_LEAVES_QUICKLY)
unset(CMAKE_REQUIRED_LIBRARIES)
if(NOT ZN_CURL_LEAVES_QUICKLY)
  message(FATAL_ERROR "libcurl ${CURL_VERSION_STRING} is too old: it does not know CURLOPT_QUICK_EXIT (7.87 does)")
endif()

# zn_decide(RESULT SWITCH WHAT missing...): sets RESULT to whether a part of the project is built. Where something is
# missing, a switch that is ON makes that an error, and AUTO a warning.
function(zn_decide result switch what)
  set(wanted ON)
  if(NOT ${switch} STREQUAL "AUTO")
    set(wanted ${${switch}})
  endif()
  if(wanted AND ARGN)
    list(JOIN ARGN ", " missing)
    if(NOT ${switch} STREQUAL "AUTO")
      message(FATAL_ERROR "${switch} is ${${switch}}, but these are missing: ${missing}")
    endif()
    message(WARNING "Without ${what}, as these are missing: ${missing}. With -D${switch}=OFF this is not said.")
    set(wanted OFF)
  endif()
  set(${result} ${wanted} PARENT_SCOPE)
endfunction()

set(missing)
if(ZN_BUILD_APPLICATIONS OR ZN_BUILD_TESTS)
  # The library's headers use OpenSSL themselves; its pkg-config file does not say so.
  pkg_check_modules(httplib IMPORTED_TARGET cpp-httplib)
  find_package(OpenSSL)
  if(httplib_FOUND AND OPENSSL_FOUND)
    add_library(zn_httplib INTERFACE)
    target_link_libraries(zn_httplib INTERFACE PkgConfig::httplib OpenSSL::SSL OpenSSL::Crypto)
  else()
    list(APPEND missing "cpp-httplib (libcpp-httplib-dev)")
  endif()
  find_package(CLI11)
  if(NOT CLI11_FOUND)
    list(APPEND missing "CLI11 (libcli11-dev)")
  endif()
endif()
zn_decide(ZN_BUILDS_APPLICATIONS ZN_BUILD_APPLICATIONS "the programs and their tests" ${missing})

set(missing)
if(ZN_BUILD_TESTS)
  find_package(GTest)
  if(NOT GTest_FOUND)
    list(APPEND missing "GoogleTest (libgtest-dev)")
  endif()
endif()
if(ZN_BUILDS_APPLICATIONS)
  zn_decide(ZN_BUILDS_TESTS ZN_BUILD_TESTS "the tests" ${missing})
elseif(ZN_BUILD_TESTS STREQUAL "AUTO")
  set(ZN_BUILDS_TESTS OFF)  # they test the programs, too, about which everything is said
else()
  zn_decide(ZN_BUILDS_TESTS ZN_BUILD_TESTS "the tests" "the programs (ZN_BUILD_APPLICATIONS)" ${missing})
endif()
