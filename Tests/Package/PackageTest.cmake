# Variables: source, build (folders of the project), work (a folder of the test's own), compiler, flags, launcher,
# generator (what the project was built with).

include(${CMAKE_CURRENT_LIST_DIR}/Steps.cmake)

function(build_against_package project target)
  run_or_fail("configuring ${target}" log ${CMAKE_COMMAND} -S ${project} -B ${work}/${target} -G ${generator}
              -DCMAKE_PREFIX_PATH=${work}/elsewhere -DCMAKE_CXX_COMPILER=${compiler} "-DCMAKE_CXX_FLAGS=${flags}"
              -DCMAKE_CXX_COMPILER_LAUNCHER=${launcher})
  run_or_fail("building ${target}" log ${CMAKE_COMMAND} --build ${work}/${target})
endfunction()

# A path with blanks, as a user may have it.
string(APPEND work "/of a user")
file(REMOVE_RECURSE ${work})
file(MAKE_DIRECTORY ${work})
run_or_fail("installing" log ${CMAKE_COMMAND} --install ${build} --prefix ${work}/installed)
file(RENAME ${work}/installed ${work}/elsewhere)

foreach(application zinsim zinserver zinextension zinstory)
  run_or_fail("the moved ${application}" log ${work}/elsewhere/bin/${application} --help)
endforeach()

build_against_package(${CMAKE_CURRENT_LIST_DIR}/AllHeaders all-headers)
if(NOT flags MATCHES "sanitize")  # which exports names of its own
  run_or_fail("the check of headers and names" log
              ${CMAKE_CURRENT_LIST_DIR}/interface.sh ${source} ${work}/elsewhere ${compiler})
endif()

# A server of the developer's own may listen where the example's configuration says; nothing does at port 1.
set(configuration ${work}/configuration.json)
file(READ ${source}/Examples/configuration.json text)
string(REPLACE "127.0.0.1:8088" "127.0.0.1:1" text "${text}")
file(WRITE ${configuration} "${text}")
set(ENV{no_proxy} 127.0.0.1)

build_against_package(${source}/Examples/minimal-host minimal-host)
set(ENV{XDG_DATA_HOME} ${work}/data)
set(host ${work}/minimal-host/minimal-host ${configuration})
foreach(before 0 1)
  expect_output("the example's start" "at the start: ${before} in the inbox\nthe click asks for the screen Parcels\nafter a click: 1 in the inbox, 0 unread\n"
                ${host})
endforeach()

build_against_package(${source}/Examples/intercepted-host intercepted-host)
set(host ${work}/intercepted-host/intercepted-host ${configuration})
set(click "the shop hears of a click on parcel\nthe click is dealt with\n")
expect_output("the example without the proxy" "${click}" ${host})
expect_output("the example with the proxy" "the module broadcasts the click\n${click}" ${host} with-proxy)

build_against_package(${source}/Examples/event-loop-host event-loop-host)
run_or_fail("the example with an event loop" log ${CMAKE_COMMAND} -E env ZN_LOG=1
            python3 -B ${CMAKE_CURRENT_LIST_DIR}/event_loop.py ${work}/event-loop-host/event-loop-host
            ${work}/elsewhere/bin/zinserver ${source}/Examples ${work})

if(EXISTS ${work}/elsewhere/include/zintar/ZNDevices/Freedesktop/FreedesktopDevice.h)
  build_against_package(${source}/Examples/glib-host glib-host)
  run_or_fail("installing the example" log
              ${CMAKE_COMMAND} --install ${work}/glib-host --prefix ${work}/installed)
  file(READ ${work}/installed/share/dbus-1/services/com.example.GLibHost.service service)
  if(NOT service MATCHES "Name=com.example.GLibHost\nExec=\"${work}/installed/bin/glib-host\" ")
    message(FATAL_ERROR "the session would not find the example:\n${service}")
  endif()
endif()

build_against_package(${source}/Examples/inbox-screen inbox-screen)
run_or_fail("the example with a list of its own" output ${work}/inbox-screen/own-list ${configuration})
if(NOT output MATCHES "unread: 1\n  . Your parcel.*messages: 2, unread: 0\n    Your parcel .14 Nov 2023.\n    Autumn sale .11 Nov 2023.\nmessages: 1, unread: 0\n")
  message(FATAL_ERROR "the example with a list of its own:\n${output}")
endif()
set(screen ${work}/inbox-screen/embedded-screen ${configuration})
run_or_fail("the example with the inbox screen" output ${screen})
set(parcel "14-Nov  Your parcel: It comes between 14:00 and 16:00.")
if(NOT output MATCHES "${parcel}  .Inter-Bold, #1B2A41 on #FFFDF7]\n.*open order 7\n.*\nYour messages\n  ${parcel}  .Inter-Regular, [^\n]*\n$")
  message(FATAL_ERROR "the example with the inbox screen:\n${output}")
endif()
# Without its resources the library says so, and goes on.
file(RENAME ${work}/elsewhere/share/zintar ${work}/resources)
set(ENV{ZN_LOG} 1)
execute_process(COMMAND ${screen} RESULT_VARIABLE status ERROR_VARIABLE output OUTPUT_QUIET)
unset(ENV{ZN_LOG})
file(RENAME ${work}/resources ${work}/elsewhere/share/zintar)
if(NOT status EQUAL 1 OR NOT output MATCHES "Exception\\(ZNInbox\\) Initialize VC : there is no ZNInbox.storyboard.json")
  message(FATAL_ERROR "without resources: ${status}\n${output}")
endif()

file(READ ${source}/Examples/minimal-host/main.cpp example)
file(READ ${source}/README.md readme)
string(FIND "${readme}" "${example}" place)
if(place EQUAL -1)
  message(FATAL_ERROR "README.md does not show Examples/minimal-host/main.cpp as it is")
endif()
