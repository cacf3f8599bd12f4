# Connection strings, the SQL Server test, the default connections and
# stored procedures, database creation.
zmdb_sources(${CMAKE_CURRENT_LIST_DIR}/connstr.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/methods.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/dialect.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/connections.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/server.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/create.cpp)
