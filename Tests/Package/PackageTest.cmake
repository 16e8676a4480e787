# Variables: source, build (folders of the project), work (a folder of the test's own), compiler, flags, launcher,
# generator (what the project was built with).

function(run_or_fail what output)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${what} failed (${result}):\n${out}${err}")
  endif()
  set(${output} "${out}${err}" PARENT_SCOPE)
endfunction()

function(build_against_package project target)
  run_or_fail("configuring ${target}" log ${CMAKE_COMMAND} -S ${project} -B ${work}/${target} -G ${generator}
              -DCMAKE_PREFIX_PATH=${work}/elsewhere -DCMAKE_CXX_COMPILER=${compiler} "-DCMAKE_CXX_FLAGS=${flags}"
              -DCMAKE_CXX_COMPILER_LAUNCHER=${launcher})
  run_or_fail("building ${target}" log ${CMAKE_COMMAND} --build ${work}/${target})
endfunction()

function(expect_output output expected)
  if(NOT output STREQUAL expected)
    message(FATAL_ERROR "expected:\n${expected}\nbut got:\n${output}")
  endif()
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
run_or_fail("the example" output ${host})
expect_output("${output}" "at the start: 0 in the inbox\nthe click asks for the screen Parcels\nafter a click: 1 in the inbox, 0 unread\n")
run_or_fail("the example's second start" output ${host})
expect_output("${output}" "at the start: 1 in the inbox\nthe click asks for the screen Parcels\nafter a click: 1 in the inbox, 0 unread\n")

build_against_package(${source}/Examples/intercepted-host intercepted-host)
set(host ${work}/intercepted-host/intercepted-host ${configuration})
set(click "the shop hears of a click on parcel\nthe click is dealt with\n")
run_or_fail("the example without the proxy" output ${host})
expect_output("${output}" "${click}")
run_or_fail("the example with the proxy" output ${host} with-proxy)
expect_output("${output}" "the module broadcasts the click\n${click}")

build_against_package(${source}/Examples/inbox-screen inbox-screen)
run_or_fail("the example with a list of its own" output ${work}/inbox-screen/own-list ${configuration})
expect_output("${output}" "messages: 2, unread: 1
  * Your parcel (14 Nov 2023)
    Autumn sale (11 Nov 2023)
messages: 2, unread: 0
    Your parcel (14 Nov 2023)
    Autumn sale (11 Nov 2023)
messages: 1, unread: 0
    Your parcel (14 Nov 2023)
")
set(screen ${work}/inbox-screen/embedded-screen ${configuration})
run_or_fail("the example with the inbox screen" output ${screen})
set(parcel "14-Nov  Your parcel: It comes between 14:00 and 16:00.")
set(sale "11-Nov  Autumn sale: 20 % off until Sunday.")
set(colors "#1B2A41 on #FFFDF7]")
expect_output("${output}" "Your messages
  ${parcel}  [Inter-Bold, ${colors}
  ${sale}  [Inter-Regular, ${colors}
open order 7
Your messages
  ${parcel}  [Inter-Regular, ${colors}
  ${sale}  [Inter-Regular, ${colors}
Your messages
  ${parcel}  [Inter-Regular, ${colors}
")
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
