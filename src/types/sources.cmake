# The field-type vocabulary.
zmdb_sources(${CMAKE_CURRENT_LIST_DIR}/typemap.cpp ${CMAKE_CURRENT_LIST_DIR}/methods.cpp)
