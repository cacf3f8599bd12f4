# The automation interface: JSON values, sessions, late-bound dispatch.
target_sources(zmdb PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/json_value.cpp
  ${CMAKE_CURRENT_LIST_DIR}/session.cpp)
