# The Qt Widgets host: the host contracts and the list, combo, progress and
# label controls over real widgets. Built only when ZMDB_QT is on, as its own
# object library (zmdb_qt_host), never part of the component library.
zmdb_sources(${CMAKE_CURRENT_LIST_DIR}/host.cpp ${CMAKE_CURRENT_LIST_DIR}/controls.cpp)
