# Headless stand-ins for the host's list, combo, progress and label controls.
target_sources(zmdb PRIVATE ${CMAKE_CURRENT_LIST_DIR}/controls.cpp)
