# The C interface (include/zmdb/zmdb.h): values, entry points, host callbacks.
zmdb_sources(
  ${CMAKE_CURRENT_LIST_DIR}/api.cpp
  ${CMAKE_CURRENT_LIST_DIR}/host.cpp
  ${CMAKE_CURRENT_LIST_DIR}/values.cpp)
