# The foreign-format writers of the data engine, one file per format.
zmdb_sources(${CMAKE_CURRENT_LIST_DIR}/codepage.cpp)
zmdb_sources(${CMAKE_CURRENT_LIST_DIR}/cells.cpp ${CMAKE_CURRENT_LIST_DIR}/excel.cpp ${CMAKE_CURRENT_LIST_DIR}/text.cpp)
zmdb_sources(${CMAKE_CURRENT_LIST_DIR}/workbook.cpp)
zmdb_sources(${CMAKE_CURRENT_LIST_DIR}/paradox.cpp)
zmdb_sources(${CMAKE_CURRENT_LIST_DIR}/dbase.cpp)
zmdb_sources(${CMAKE_CURRENT_LIST_DIR}/progress.cpp)
zmdb_sources(${CMAKE_CURRENT_LIST_DIR}/targets.cpp)
