# Schema objects: existence probes, indexes, relations and table structure.
zmdb_sources(${CMAKE_CURRENT_LIST_DIR}/statements.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/probes.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/server_indexes.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/indexes.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/relations.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/structure.cpp)
