# Files: the recordset text backup file (its text format, the host's file
# table, and the backup and restore methods), and export with the
# export-type dialog.
zmdb_sources(${CMAKE_CURRENT_LIST_DIR}/file_table.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/backup_format.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/backup.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/export_plan.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/export_dialog.cpp
                            ${CMAKE_CURRENT_LIST_DIR}/export.cpp)
