# Connection strings, the SQL Server test and the default connections.
zmdb_sources(${CMAKE_CURRENT_LIST_DIR}/connstr.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/methods.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/dialect.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/connections.cpp)
