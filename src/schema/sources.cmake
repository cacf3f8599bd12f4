# Schema objects: existence probes, tables, fields, indexes, relations, saved
# queries, table structure, and what the schema methods say only to SQL Server.
zmdb_sources(${CMAKE_CURRENT_LIST_DIR}/statements.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/probes.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/tables.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/fields.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/indexes.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/relations.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/queries.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/listings.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/structure.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/structure_sql.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/server.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/server_indexes.cpp)
