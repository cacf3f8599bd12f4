# The embedded file store: Jet SQL on SQLite.
target_sources(zmdb PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/jetsql.cpp
  ${CMAKE_CURRENT_LIST_DIR}/coltypes.cpp
  ${CMAKE_CURRENT_LIST_DIR}/functions.cpp
  ${CMAKE_CURRENT_LIST_DIR}/backend.cpp
  ${CMAKE_CURRENT_LIST_DIR}/sysprops.cpp
  ${CMAKE_CURRENT_LIST_DIR}/rebuild.cpp
  ${CMAKE_CURRENT_LIST_DIR}/schema_catalog.cpp
  ${CMAKE_CURRENT_LIST_DIR}/schema_tables.cpp
  ${CMAKE_CURRENT_LIST_DIR}/schema_indexes.cpp
  ${CMAKE_CURRENT_LIST_DIR}/schema_relations.cpp
  ${CMAKE_CURRENT_LIST_DIR}/schema_queries.cpp
  ${CMAKE_CURRENT_LIST_DIR}/schema_links.cpp
  ${CMAKE_CURRENT_LIST_DIR}/schema_txn.cpp)
