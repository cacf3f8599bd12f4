# The DAO-style schema objects (engine, databases, table definitions, fields,
# indexes, saved queries, relations), built on the schema-store interface.
zmdb_sources(
  ${CMAKE_CURRENT_LIST_DIR}/common.cpp
  ${CMAKE_CURRENT_LIST_DIR}/tabledef.cpp
  ${CMAKE_CURRENT_LIST_DIR}/database.cpp
  ${CMAKE_CURRENT_LIST_DIR}/engine.cpp)
# SELECT ... INTO a foreign target, and databases of the installable drivers.
zmdb_sources(${CMAKE_CURRENT_LIST_DIR}/select_into.cpp ${CMAKE_CURRENT_LIST_DIR}/foreign.cpp)
