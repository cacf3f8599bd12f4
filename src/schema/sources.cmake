# Schema objects: existence probes.
zmdb_sources(${CMAKE_CURRENT_LIST_DIR}/statements.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/probes.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/fields.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/queries.cpp)
