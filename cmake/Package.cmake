# Debian packages made by CPack from the install components (scripts/package.sh):
#   libzmdbfunc0       runtime  the shared library
#   libzmdbfunc-dev    dev      headers, the .so link, the CMake package, zmdbfunc.pc
#   zmdb-tools         tools    the zmdb command-line tool
#   python3-zmdbfunc   python   the Python module (when the tree has one)
# The split follows Debian's library packaging: programs depend on the
# runtime package alone, and a later soname (libzmdbfunc1) can be installed
# beside this one.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zmdbfunc)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "ZMDBFunc developers")
set(CPACK_PACKAGE_CONTACT "ZMDBFunc developers <zmdbfunc@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
  "One component object over embedded file databases and ODBC server databases")
set(CPACK_PACKAGE_DESCRIPTION
  "ZMDBFunc gives desktop database applications one object, clsZMDBFunc, through
which they create, inspect, change, copy, back up and export databases, tables,
fields, indexes, relations, saved queries, views and rows, on an embedded file
store (SQLite, speaking Jet SQL) and on server databases reached through ODBC.")
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_INSTALL_DIRECTORY zmdbfunc)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# Dependencies on shared libraries come from dpkg-shlibdeps (libc, libstdc++,
# SQLite, unixODBC, fmt); the packages of this project depend on each other
# through the components' DEPENDS, at the same version.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
# A shlibs file, so that packages built against the library depend on it; the
# library package also triggers ldconfig.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libzmdbfunc0)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
# The ODBC drivers are needed only for the servers one talks to.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SUGGESTS "tdsodbc, odbc-postgresql")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libzmdbfunc-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
# The automation headers include nlohmann/json.hpp; zmdbfunc.pc requires it.
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "nlohmann-json3-dev (>= 3.10)")
set(CPACK_DEBIAN_DEV_PACKAGE_SHLIBDEPS OFF)

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME zmdb-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION database)

set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-zmdbfunc)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3")
set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS OFF)

include(CPack)

cpack_add_component(runtime DISPLAY_NAME "Shared library"
  DESCRIPTION "The shared library libzmdbfunc.so.0")
cpack_add_component(dev DISPLAY_NAME "Development files" DEPENDS runtime
  DESCRIPTION "Headers, CMake package and pkg-config file for building against ZMDBFunc")
cpack_add_component(tools DISPLAY_NAME "Command-line tool" DEPENDS runtime
  DESCRIPTION "zmdb: drive the component object from scripts, as JSON")
if(EXISTS ${PROJECT_SOURCE_DIR}/python/zmdbfunc)
  cpack_add_component(python DISPLAY_NAME "Python module" DEPENDS runtime
    DESCRIPTION "The zmdbfunc Python module over the C interface (ctypes)")
endif()
