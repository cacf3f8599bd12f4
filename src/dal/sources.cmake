# The data-access layer: backend-independent objects (Connection, Recordset,
# Field, Errors), the client-side filter, the routing of connection strings
# and the registry of the stores routes lead to.
zmdb_sources(
  ${CMAKE_CURRENT_LIST_DIR}/filter.cpp
  ${CMAKE_CURRENT_LIST_DIR}/connstr.cpp
  ${CMAKE_CURRENT_LIST_DIR}/router.cpp
  ${CMAKE_CURRENT_LIST_DIR}/store_registry.cpp
  ${CMAKE_CURRENT_LIST_DIR}/typecodes.cpp
  ${CMAKE_CURRENT_LIST_DIR}/connection.cpp
  ${CMAKE_CURRENT_LIST_DIR}/recordset.cpp
  ${CMAKE_CURRENT_LIST_DIR}/recordset_writeback.cpp
  ${CMAKE_CURRENT_LIST_DIR}/rowstore.cpp
  ${CMAKE_CURRENT_LIST_DIR}/writeback.cpp
  ${CMAKE_CURRENT_LIST_DIR}/rows_cursor.cpp
  ${CMAKE_CURRENT_LIST_DIR}/engine_errors.cpp
  ${CMAKE_CURRENT_LIST_DIR}/command.cpp)
