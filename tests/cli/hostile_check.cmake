# Runs `zmdb session` on the request lines that once crashed it (the seeds in
# data/fuzz/json_session) followed by a good one: every line gets one answer,
# each bad one an error and the good one its result, and the session ends
# normally. Then `zmdb call` refuses an argument nested too deep.
file(GLOB seeds "${DATA}/fuzz/json_session/*.json")
set(input "")
foreach(seed IN LISTS seeds)
  file(READ "${seed}" line)
  string(APPEND input "${line}")
endforeach()
string(APPEND input "{\"call\":\"dbGetDAODesc\",\"args\":{\"feDAO\":10}}\n")
file(WRITE "${WORKDIR}/hostile_lines.json" "${input}")
execute_process(COMMAND ${ZMDB} session
  INPUT_FILE "${WORKDIR}/hostile_lines.json"
  OUTPUT_VARIABLE out
  RESULT_VARIABLE rc)
# A ";" would split a CMake list: answers are read one line each.
string(REPLACE ";" "," lines "${out}")
string(REGEX MATCHALL "[^\n]+" answers "${lines}")
list(LENGTH seeds count)
math(EXPR count "${count} + 1")
list(LENGTH answers got)
if(NOT rc EQUAL 0 OR NOT got EQUAL count)
  message(FATAL_ERROR "zmdb session gave ${got} answers for ${count} lines (rc=${rc}):\n${out}")
endif()
list(POP_BACK answers good)
foreach(answer IN LISTS answers)
  string(JSON number ERROR_VARIABLE missing GET "${answer}" raised Number)
  if(missing)
    message(FATAL_ERROR "a hostile line was answered without an error:\n${answer}")
  endif()
endforeach()
string(JSON result GET "${good}" result)
if(NOT result STREQUAL "edbText")
  message(FATAL_ERROR "the session did not go on after the hostile lines:\n${good}")
endif()

string(REPEAT "[" 50000 open)
string(REPEAT "]" 50000 close)
execute_process(COMMAND ${ZMDB} call dbGetDAODesc "feDAO=${open}${close}"
  ERROR_VARIABLE err
  RESULT_VARIABLE rc)
if(NOT rc EQUAL 2 OR NOT err MATCHES "nests more than")
  message(FATAL_ERROR "zmdb call with a deep argument (rc=${rc}):\n${err}")
endif()
