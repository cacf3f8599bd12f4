# Records: single-value operations and next-ID generation.
target_sources(zmdb PRIVATE ${CMAKE_CURRENT_LIST_DIR}/statements.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/open.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/single.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/maxid.cpp)
