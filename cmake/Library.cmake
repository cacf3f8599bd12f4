# The shared library applications link, `zmdbfunc` (libzmdbfunc.so.0), and
# what `cmake --install` puts beside it: the public headers, the CMake package
# (find_package(ZMDBFunc CONFIG) -> ZMDBFunc::zmdb) and zmdbfunc.pc.
#
# The library holds every layer's archive whole and exports only the public
# API. The tests reach internals (the backends, the statement builders), so
# they link `zmdb` instead: the archives, or one shared library of them with
# every symbol visible (src/CMakeLists.txt).
# Included from the top-level CMakeLists.txt after src/, so every layer exists.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

get_property(zmdb_layers GLOBAL PROPERTY ZMDB_LAYERS)
# The C interface is a layer like the others when it is part of the tree.
if(TARGET zmdb_capi AND NOT zmdb_capi IN_LIST zmdb_layers)
  list(APPEND zmdb_layers zmdb_capi)
endif()

add_library(zmdbfunc SHARED ${PROJECT_SOURCE_DIR}/src/exports.map)
add_library(ZMDBFunc::zmdb ALIAS zmdbfunc)
set_target_properties(zmdbfunc PROPERTIES
  OUTPUT_NAME zmdbfunc
  EXPORT_NAME zmdb
  VERSION ${PROJECT_VERSION}
  SOVERSION 0
  LINKER_LANGUAGE CXX
  LINK_DEPENDS ${PROJECT_SOURCE_DIR}/src/exports.map)
# Each layer's archive is loaded whole once; where the layers name each other
# again further down the link line, nothing is left to load.
target_link_libraries(zmdbfunc
  PRIVATE -Wl,--whole-archive ${zmdb_layers} -Wl,--no-whole-archive zmdb_options
  PUBLIC nlohmann_json::nlohmann_json)
# Only the public API is exported (src/exports.map); an unresolved symbol
# fails the link of the library rather than of the application.
target_link_options(zmdbfunc PRIVATE
  -Wl,--version-script=${PROJECT_SOURCE_DIR}/src/exports.map -Wl,--no-undefined)
target_compile_features(zmdbfunc INTERFACE cxx_std_20)
# A fuzz build links only its targets: the sanitizers' run time is not linked
# into shared libraries, so the library's own link would not resolve.
if(ZMDB_FUZZ)
  set_target_properties(zmdbfunc PROPERTIES EXCLUDE_FROM_ALL ON)
endif()
# Programs of this tree compile against their layer view (zmdb_layer_target)
# and get the whole include tree only when they have none.
target_include_directories(zmdbfunc INTERFACE
  "$<BUILD_INTERFACE:$<$<NOT:$<BOOL:$<TARGET_PROPERTY:ZMDB_LAYER_VIEW>>>:${PROJECT_SOURCE_DIR}/include>>"
  "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>")

# Installed programs find the library relative to themselves, so an install
# into any prefix runs without LD_LIBRARY_PATH; /usr needs no search path.
set(ZMDB_INSTALL_RPATH "")
if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  set(ZMDB_INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
endif()

install(TARGETS zmdbfunc EXPORT ZMDBFuncTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev)

# The public headers: what an application needs to use the component object
# and the objects it hands out. runtime/ (Variant, errors, host contracts),
# frame/ (the component, the method table, library-wide state), the
# data-access object roles (connection, recordset, command, DAO, ADOX), the
# headless controls passed as Ctrl arguments (ui/), the JSON automation
# session (automation/), and the C interface (zmdb/*.h). The backends'
# factories, the writers' helpers and the folders behind the methods
# (connect, records, schema, sqlconv, types) stay internal: applications reach
# them through the methods.
set(zmdb_public_dirs runtime frame ui automation dal/dao dal/adox dal/stores)
set(zmdb_public_dal ado.h backend.h command.h connection.h connstr.h engine_errors.h filter.h
  recordset.h router.h schema_store.h typecodes.h)
foreach(dir IN LISTS zmdb_public_dirs)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/zmdb/${dir}/
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zmdb/${dir} COMPONENT dev
    FILES_MATCHING PATTERN "*.h" PATTERN "*.inc")
endforeach()
list(TRANSFORM zmdb_public_dal PREPEND ${PROJECT_SOURCE_DIR}/include/zmdb/dal/)
install(FILES ${zmdb_public_dal} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zmdb/dal COMPONENT dev)
file(GLOB zmdb_top_headers ${PROJECT_SOURCE_DIR}/include/zmdb/*.h)
if(zmdb_top_headers)
  install(FILES ${zmdb_top_headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zmdb COMPONENT dev)
endif()

# The CMake package.
set(zmdb_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/ZMDBFunc)
install(EXPORT ZMDBFuncTargets NAMESPACE ZMDBFunc:: DESTINATION ${zmdb_cmake_dir} COMPONENT dev)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/ZMDBFuncConfig.cmake.in
  ${PROJECT_BINARY_DIR}/ZMDBFuncConfig.cmake INSTALL_DESTINATION ${zmdb_cmake_dir})
# 0.x: a minor version may break the interface.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ZMDBFuncConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/ZMDBFuncConfig.cmake
  ${PROJECT_BINARY_DIR}/ZMDBFuncConfigVersion.cmake DESTINATION ${zmdb_cmake_dir} COMPONENT dev)

# zmdbfunc.pc, written when installing so that its prefix is the one
# installed into (cmake --install --prefix, or the package's /usr).
set(zmdb_pc_in ${PROJECT_SOURCE_DIR}/cmake/zmdbfunc.pc.in)
set(zmdb_pc ${PROJECT_BINARY_DIR}/zmdbfunc.pc)
install(CODE "
  set(ZMDB_PC_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
  set(ZMDB_PC_LIBDIR \"${CMAKE_INSTALL_LIBDIR}\")
  set(ZMDB_PC_INCLUDEDIR \"${CMAKE_INSTALL_INCLUDEDIR}\")
  set(ZMDB_PC_VERSION \"${PROJECT_VERSION}\")
  configure_file(\"${zmdb_pc_in}\" \"${zmdb_pc}\" @ONLY)" COMPONENT dev)
install(FILES ${zmdb_pc} DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)

# The Python module, when the tree has one, goes where Debian's python3 looks.
set(ZMDB_PYTHON_DIR "lib/python3/dist-packages" CACHE STRING
  "Where the Python module is installed, below the prefix")
if(EXISTS ${PROJECT_SOURCE_DIR}/python/zmdbfunc)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/python/zmdbfunc DESTINATION ${ZMDB_PYTHON_DIR}
    COMPONENT python FILES_MATCHING PATTERN "*.py" PATTERN "__pycache__" EXCLUDE)
endif()
