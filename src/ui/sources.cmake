# Headless stand-ins for the host's list, combo, progress and label controls.
zmdb_sources(${CMAKE_CURRENT_LIST_DIR}/controls.cpp)
# The form inventory: the form-description parser and the two methods over it.
zmdb_sources(${CMAKE_CURRENT_LIST_DIR}/form_text.cpp ${CMAKE_CURRENT_LIST_DIR}/forms.cpp)
