# Runs a table generator and compares its output with the checked-in source.
execute_process(COMMAND ${EMU} ${GEN} OUTPUT_FILE ${OUT} RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "generator ${GEN} failed: ${rc}")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${OUT} ${EXPECTED} RESULT_VARIABLE diff)
if(NOT diff EQUAL 0)
  message(FATAL_ERROR "${OUT} differs from ${EXPECTED}: regenerate the table source")
endif()
