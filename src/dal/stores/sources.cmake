# The stores the library comes with, registered with the store registry.
zmdb_sources(${CMAKE_CURRENT_LIST_DIR}/builtin.cpp)
