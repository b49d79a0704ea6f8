# Runs AGENT on SCENARIO and compares what it prints with EXPECTED; ACTUAL is where that goes.
execute_process(COMMAND ${AGENT} ${SCENARIO} OUTPUT_FILE ${ACTUAL} RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "exit status ${status}")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${EXPECTED} ${ACTUAL}
                RESULT_VARIABLE differs)
if(differs)
  execute_process(COMMAND diff -u ${EXPECTED} ${ACTUAL})
  message(FATAL_ERROR "the output is not ${EXPECTED}")
endif()
