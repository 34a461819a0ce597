# Lists what the dynamic loader loads for PROGRAM (glibc's LD_TRACE_LOADED_OBJECTS, as ldd does:
# nothing of the program runs) and fails when a library matches UNWANTED. The list must hold
# libQt6Core, or it is not a list of the program's libraries and proves nothing.
execute_process(COMMAND ${CMAKE_COMMAND} -E env LD_TRACE_LOADED_OBJECTS=1 ${PROGRAM}
  OUTPUT_VARIABLE loaded ERROR_VARIABLE errors RESULT_VARIABLE status)
if(NOT status EQUAL 0 OR NOT loaded MATCHES "libQt6Core")
  message(FATAL_ERROR "No list of the libraries of ${PROGRAM} (status ${status}): ${loaded}${errors}")
endif()
if(loaded MATCHES "(${UNWANTED})")
  message(FATAL_ERROR "${PROGRAM} loads ${CMAKE_MATCH_1}:\n${loaded}")
endif()
message(STATUS "${PROGRAM} loads no ${UNWANTED}")
