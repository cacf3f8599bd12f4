# Schema objects: existence probes.
target_sources(zmdb PRIVATE ${CMAKE_CURRENT_LIST_DIR}/statements.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/probes.cpp)
