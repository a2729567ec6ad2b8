# Plays SCENARIO with SIM and compares what it prints with EXPECTED, byte for byte.
execute_process(COMMAND ${SIM} run ${SCENARIO} OUTPUT_VARIABLE printed RESULT_VARIABLE status)
file(READ ${EXPECTED} expected)
if(NOT status EQUAL 0 OR NOT printed STREQUAL expected)
    message(FATAL_ERROR "status ${status}; ${SCENARIO} should print ${EXPECTED}, and printed:\n${printed}")
endif()
