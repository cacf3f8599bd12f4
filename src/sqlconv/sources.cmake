# Jet-to-SQL-Server statement translation.
target_sources(zmdb PRIVATE ${CMAKE_CURRENT_LIST_DIR}/translator.cpp ${CMAKE_CURRENT_LIST_DIR}/methods.cpp)
