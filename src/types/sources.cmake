# The field-type vocabulary.
target_sources(zmdb PRIVATE ${CMAKE_CURRENT_LIST_DIR}/typemap.cpp ${CMAKE_CURRENT_LIST_DIR}/methods.cpp)
