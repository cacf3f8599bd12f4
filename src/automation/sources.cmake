# The automation interface: JSON values, sessions, late-bound dispatch.
zmdb_sources(
  ${CMAKE_CURRENT_LIST_DIR}/json_value.cpp
  ${CMAKE_CURRENT_LIST_DIR}/objects.cpp
  ${CMAKE_CURRENT_LIST_DIR}/session.cpp)
