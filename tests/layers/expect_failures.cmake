# Runs the layer check on a small tree of wrong includes (wrong/) under the
# repository's rules and compares its report, line for line, with
# wrong/expected.txt: the check must fail, and name each file, line, include
# and rule broken, and nothing else.
get_filename_component(here "${CMAKE_CURRENT_LIST_DIR}" ABSOLUTE)
execute_process(
  COMMAND ${CMAKE_COMMAND} -DROOT=${here}/wrong -DDOC=${here}/../../docs/architecture.md
          -P ${here}/check_layers.cmake
  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(rc EQUAL 0)
  message(FATAL_ERROR "the layer check passed a tree of wrong includes:\n${out}${err}")
endif()
string(FIND "${err}" "CMake Error" end)
string(SUBSTRING "${err}" 0 ${end} report)
string(STRIP "${report}" report)
file(READ "${here}/wrong/expected.txt" expected)
string(STRIP "${expected}" expected)
if(NOT report STREQUAL expected)
  message(FATAL_ERROR "the layer check reported\n${report}\n\ninstead of\n${expected}")
endif()
if(NOT err MATCHES "7 wrong include\\(s\\) in 5 files")
  message(FATAL_ERROR "the layer check's summary is wrong:\n${err}")
endif()
