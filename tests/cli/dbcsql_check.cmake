# Runs `zmdb session` on one request and checks the start of its response.
execute_process(
  COMMAND ${CMAKE_COMMAND} -E echo "{\"call\":\"dbCSql\",\"args\":{\"fsSQL\":\"select iif(a>0,1,2) from t\"}}"
  COMMAND ${ZMDB} session
  OUTPUT_VARIABLE out
  RESULT_VARIABLE rc)
set(expected "{\"result\":\"SELECT (CASE WHEN A>0 THEN 1 ELSE 2 END) FROM T\",")
string(FIND "${out}" "${expected}" at)
if(NOT rc EQUAL 0 OR NOT at EQUAL 0)
  message(FATAL_ERROR "zmdb session answered (rc=${rc}):\n${out}")
endif()
