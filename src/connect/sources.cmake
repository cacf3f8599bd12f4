# Connection strings.
target_sources(zmdb PRIVATE ${CMAKE_CURRENT_LIST_DIR}/connstr.cpp ${CMAKE_CURRENT_LIST_DIR}/methods.cpp)
