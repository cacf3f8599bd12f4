# Headless stand-ins for the host's list, combo, progress and label controls.
zmdb_sources(${CMAKE_CURRENT_LIST_DIR}/controls.cpp)
