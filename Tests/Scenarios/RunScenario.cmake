# Runs one scenario and compares what it prints, byte for byte:
#   cmake -DZINSIM=program -DSCENARIO=folder/NAME -DWORK=folder -P RunScenario.cmake
# NAME.jsonl prints NAME.expected. NAME.1.jsonl, NAME.2.jsonl, ... are launches of one installation. A first line
# "# zinsim OPTIONS" gives options. All is run again with the log off, as hosts run: every other line must be the same.
# ZINSIM_UPDATE=1 in the environment writes the expected files, of which every line is then to be read.

get_filename_component(folder ${SCENARIO} DIRECTORY)
get_filename_component(name ${SCENARIO} NAME)
unset(ENV{ZN_LOG})

function(run step)
  file(STRINGS ${folder}/${step}.jsonl first LIMIT_COUNT 1 ENCODING UTF-8)
  set(options --strict --expect ${step}.expected)
  if(first MATCHES "^# zinsim (.*)$")
    separate_arguments(given UNIX_COMMAND "${CMAKE_MATCH_1}")
    list(APPEND options ${given})
  endif()
  if(DEFINED ENV{ZINSIM_WITHOUT_LOG})
    list(APPEND options --except log,error)
  elseif(DEFINED ENV{ZINSIM_UPDATE})
    list(APPEND options --update)
  endif()
  execute_process(COMMAND ${ZINSIM} ${options} ${ARGN} ${step}.jsonl WORKING_DIRECTORY ${folder} RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${step} ended with status ${status}")
  endif()
endfunction()

function(run_all)
  file(REMOVE_RECURSE ${WORK})
  if(EXISTS ${folder}/${name}.jsonl)
    run(${name})
    return()
  endif()
  set(number 1)
  while(EXISTS ${folder}/${name}.${number}.jsonl)
    run(${name}.${number} --home ${WORK}/home)
    math(EXPR number "${number} + 1")
  endwhile()
  if(number EQUAL 1)
    message(FATAL_ERROR "there is no scenario ${SCENARIO}")
  endif()
endfunction()

run_all()
set(ENV{ZINSIM_WITHOUT_LOG} 1)
run_all()
