# Headless stand-ins for the host's list, combo, progress and label controls.
zmdb_sources(${CMAKE_CURRENT_LIST_DIR}/controls.cpp)
# Filling list and combo boxes from tables and statements.
zmdb_sources(${CMAKE_CURRENT_LIST_DIR}/lists.cpp)
# The form inventory: the form-description parser and the two methods over it.
zmdb_sources(${CMAKE_CURRENT_LIST_DIR}/form_text.cpp ${CMAKE_CURRENT_LIST_DIR}/forms.cpp)
