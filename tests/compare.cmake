# Runs AGENT on SCENARIO and compares what it prints with EXPECTED; ACTUAL is where that goes. With
# FIRST, a command, that is carried out before all others, and printed before all that is EXPECTED.
set(inputs ${SCENARIO})
if(FIRST)
  file(WRITE ${ACTUAL}.first "${FIRST}\n")
  file(WRITE ${ACTUAL}.echo "> ${FIRST}\n")
  execute_process(COMMAND ${CMAKE_COMMAND} -E cat ${ACTUAL}.echo ${EXPECTED}
                  OUTPUT_FILE ${ACTUAL}.expected)
  list(PREPEND inputs ${ACTUAL}.first)
  set(EXPECTED ${ACTUAL}.expected)
endif()
execute_process(COMMAND ${AGENT} ${inputs} OUTPUT_FILE ${ACTUAL} RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "exit status ${status}")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${EXPECTED} ${ACTUAL}
                RESULT_VARIABLE differs)
if(differs)
  execute_process(COMMAND diff -u ${EXPECTED} ${ACTUAL})
  message(FATAL_ERROR "the output is not ${EXPECTED}")
endif()
