# The component object, shared state, guard kinds, error capture, method table.
zmdb_sources(
  ${CMAKE_CURRENT_LIST_DIR}/component.cpp
  ${CMAKE_CURRENT_LIST_DIR}/state.cpp
  ${CMAKE_CURRENT_LIST_DIR}/guard.cpp
  ${CMAKE_CURRENT_LIST_DIR}/errors.cpp
  ${CMAKE_CURRENT_LIST_DIR}/methods.cpp)
