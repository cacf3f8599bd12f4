# The server store: databases reached through the ODBC driver manager.
target_sources(zmdb PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/types.cpp
  ${CMAKE_CURRENT_LIST_DIR}/api.cpp
  ${CMAKE_CURRENT_LIST_DIR}/cursor.cpp
  ${CMAKE_CURRENT_LIST_DIR}/backend.cpp)
target_link_libraries(zmdb PUBLIC ODBC::ODBC)
