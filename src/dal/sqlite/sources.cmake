# The embedded file store: Jet SQL on SQLite.
zmdb_sources(
  ${CMAKE_CURRENT_LIST_DIR}/jetsql.cpp
  ${CMAKE_CURRENT_LIST_DIR}/coltypes.cpp
  ${CMAKE_CURRENT_LIST_DIR}/functions.cpp
  ${CMAKE_CURRENT_LIST_DIR}/functions_text.cpp
  ${CMAKE_CURRENT_LIST_DIR}/functions_math.cpp
  ${CMAKE_CURRENT_LIST_DIR}/functions_date.cpp
  ${CMAKE_CURRENT_LIST_DIR}/functions_like.cpp
  ${CMAKE_CURRENT_LIST_DIR}/backend.cpp
  ${CMAKE_CURRENT_LIST_DIR}/sysprops.cpp
  ${CMAKE_CURRENT_LIST_DIR}/rebuild.cpp
  ${CMAKE_CURRENT_LIST_DIR}/schema.cpp)
