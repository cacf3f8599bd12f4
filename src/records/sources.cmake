# Records: single-value operations, next-ID generation, the working
# recordset, copying rows, field lists, null normalisation and fabricated
# recordsets.
zmdb_sources(${CMAKE_CURRENT_LIST_DIR}/statements.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/open.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/single.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/maxid.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/working.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/copying.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/nulls.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/fabricated.cpp)
