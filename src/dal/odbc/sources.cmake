# The server store: databases reached through the ODBC driver manager.
zmdb_sources(
  ${CMAKE_CURRENT_LIST_DIR}/types.cpp
  ${CMAKE_CURRENT_LIST_DIR}/api.cpp
  ${CMAKE_CURRENT_LIST_DIR}/cursor.cpp
  ${CMAKE_CURRENT_LIST_DIR}/backend.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ddl.cpp
  ${CMAKE_CURRENT_LIST_DIR}/schema.cpp)
