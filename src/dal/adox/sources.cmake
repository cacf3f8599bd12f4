target_sources(zmdb PRIVATE ${CMAKE_CURRENT_LIST_DIR}/catalog.cpp)
