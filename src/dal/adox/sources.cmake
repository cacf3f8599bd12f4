# The ADOX-style catalogue (tables, columns, indexes, keys) on the schema-store interface.
zmdb_sources(${CMAKE_CURRENT_LIST_DIR}/catalog.cpp)
