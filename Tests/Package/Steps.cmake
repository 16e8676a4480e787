# What the tests of this folder share.

function(run_or_fail what output)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${what} failed (${result}):\n${out}${err}")
  endif()
  set(${output} "${out}${err}" PARENT_SCOPE)
endfunction()

function(expect_output what expected)
  run_or_fail("${what}" output ${ARGN})
  if(NOT output STREQUAL expected)
    message(FATAL_ERROR "${what}: expected:\n${expected}\nbut got:\n${output}")
  endif()
endfunction()
