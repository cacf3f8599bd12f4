# Headless stand-ins for the host's list, combo, progress and label controls.
zmdb_sources(${CMAKE_CURRENT_LIST_DIR}/controls.cpp)
# Filling list and combo boxes from tables and statements.
zmdb_sources(${CMAKE_CURRENT_LIST_DIR}/lists.cpp)
