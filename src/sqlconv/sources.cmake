# Jet-to-SQL-Server statement translation.
zmdb_sources(${CMAKE_CURRENT_LIST_DIR}/translator.cpp ${CMAKE_CURRENT_LIST_DIR}/text_tree.cpp ${CMAKE_CURRENT_LIST_DIR}/gap_text.cpp ${CMAKE_CURRENT_LIST_DIR}/methods.cpp)
