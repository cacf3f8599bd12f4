# Installs the build tree into WORKDIR/prefix and checks what an application
# developer gets there: the files (and only the public headers), the
# library's soname and exported symbols, a program built with
# find_package(ZMDBFunc CONFIG), the same program built with pkg-config, and
# the installed zmdb tool.
set(prefix "${WORKDIR}/prefix")
set(libdir "${prefix}/${LIBDIR}")
file(REMOVE_RECURSE "${WORKDIR}")
file(MAKE_DIRECTORY "${WORKDIR}")

# run(<name> <command>...): runs the command, fails the test when it fails,
# and leaves its standard output in `out`.
function(run name)
  execute_process(COMMAND ${ARGN} OUTPUT_VARIABLE output ERROR_VARIABLE errors
    RESULT_VARIABLE rc WORKING_DIRECTORY "${WORKDIR}")
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "${name} failed (${rc}):\n${ARGN}\n${output}\n${errors}")
  endif()
  set(out "${output}" PARENT_SCOPE)
endfunction()

run("cmake --install" ${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}")

# What the install holds and what it must not: the internal folders stay out.
foreach(entry
    "present:${LIBDIR}/libzmdbfunc.so"
    "present:${LIBDIR}/libzmdbfunc.so.0"
    "present:bin/zmdb"
    "present:${LIBDIR}/cmake/ZMDBFunc/ZMDBFuncConfig.cmake"
    "present:${LIBDIR}/cmake/ZMDBFunc/ZMDBFuncConfigVersion.cmake"
    "present:${LIBDIR}/pkgconfig/zmdbfunc.pc"
    "present:include/zmdb/frame/component.h"
    "present:include/zmdb/runtime/error_table.inc"
    "present:include/zmdb/dal/dao/dao.h"
    "present:include/zmdb/automation/session.h"
    "absent:include/zmdb/schema"
    "absent:include/zmdb/records"
    "absent:include/zmdb/sqlconv"
    "absent:include/zmdb/dal/sqlite"
    "absent:include/zmdb/dal/odbc"
    "absent:include/zmdb/dal/writeback.h"
    "absent:${LIBDIR}/libzmdb_runtime.a")
  string(REPLACE ":" ";" entry "${entry}")
  list(GET entry 0 want)
  list(GET entry 1 path)
  if(want STREQUAL "present" AND NOT EXISTS "${prefix}/${path}")
    message(FATAL_ERROR "the install lacks ${path}")
  elseif(want STREQUAL "absent" AND EXISTS "${prefix}/${path}")
    message(FATAL_ERROR "the install holds ${path}, which is not for applications")
  endif()
endforeach()

# The soname, and the exported symbols: the public API, not the internals.
run("readelf" readelf -d "${libdir}/libzmdbfunc.so")
if(NOT out MATCHES "Library soname: \\[libzmdbfunc\\.so\\.0\\]")
  message(FATAL_ERROR "the library's soname is not libzmdbfunc.so.0:\n${out}")
endif()
run("nm" nm -D -C --defined-only "${libdir}/libzmdbfunc.so")
set(symbols "\n${out}")
foreach(entry
    "exported:zmdb::clsZMDBFunc::dbGetJetConnect\\("
    "exported:zmdb::rt::Variant::"
    "exported:zmdb::dal::Connection::Execute\\("
    "exported:typeinfo for zmdb::dal::Connection\n"
    "exported:zmdb::automation::Session::"
    "hidden:zmdb::dal::sqlite::"
    "hidden:zmdb::dal::odbc::"
    "hidden:zmdb::sqlconv::"
    "hidden:zmdb::schema::"
    "hidden:fmt::"
    "hidden:std::")
  string(FIND "${entry}" ":" colon)
  string(SUBSTRING "${entry}" 0 ${colon} want)
  math(EXPR colon "${colon} + 1")
  string(SUBSTRING "${entry}" ${colon} -1 symbol)
  # A line of nm: address, kind, name.
  if(symbols MATCHES "\n[0-9a-f]+ [A-Za-z] ${symbol}")
    set(found TRUE)
  else()
    set(found FALSE)
  endif()
  if(want STREQUAL "exported" AND NOT found)
    message(FATAL_ERROR "the library does not export ${symbol}")
  elseif(want STREQUAL "hidden" AND found)
    message(FATAL_ERROR "the library exports ${symbol}, which is not its API")
  endif()
endforeach()

set(expected_file "${SOURCE_DIR}/expected_orders.txt")
file(READ "${expected_file}" expected)
# check_orders(<how> <program>): the program's answers are the expected ones.
function(check_orders how program)
  file(MAKE_DIRECTORY "${WORKDIR}/${how}.data")
  run("orders built with ${how}" "${program}" "${WORKDIR}/${how}.data")
  if(NOT out STREQUAL expected)
    message(FATAL_ERROR "orders built with ${how} answered:\n${out}\nexpected (${expected_file}):\n${expected}")
  endif()
endfunction()

set(cxx_flags "")
if(SANITIZE)
  set(cxx_flags "-fsanitize=address,undefined")
endif()

# 1. A CMake project using find_package(ZMDBFunc CONFIG).
set(launcher "")
if(LAUNCHER)
  set(launcher "-DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER}")
endif()
run("configuring the consumer" ${CMAKE_COMMAND} -S "${SOURCE_DIR}/consumer"
  -B "${WORKDIR}/consumer" -G "${GENERATOR}" -DCMAKE_PREFIX_PATH=${prefix}
  -DCMAKE_CXX_COMPILER=${CXX} ${launcher} "-DCMAKE_CXX_FLAGS=${cxx_flags}")
run("building the consumer" ${CMAKE_COMMAND} --build "${WORKDIR}/consumer")
check_orders(find_package "${WORKDIR}/consumer/orders")

# 2. The same program compiled with the flags pkg-config gives.
set(ENV{PKG_CONFIG_PATH} "${libdir}/pkgconfig")
run("pkg-config" pkg-config --cflags --libs zmdbfunc)
string(STRIP "${out}" pc_flags)
separate_arguments(pc_flags UNIX_COMMAND "${pc_flags}")
separate_arguments(extra UNIX_COMMAND "${cxx_flags}")
run("compiling with pkg-config" ${CXX} -std=c++20 ${extra} "${SOURCE_DIR}/consumer/orders.cpp"
  ${pc_flags} -o "${WORKDIR}/orders_pc")
set(ENV{LD_LIBRARY_PATH} "${libdir}")
check_orders(pkg-config "${WORKDIR}/orders_pc")
unset(ENV{LD_LIBRARY_PATH})

# 2b. A C program through the C interface, with the same pkg-config flags.
run("compiling C with pkg-config" ${CC} -std=c99 ${extra} "${SOURCE_DIR}/consumer/orders.c"
  ${pc_flags} -o "${WORKDIR}/orders_c")
file(MAKE_DIRECTORY "${WORKDIR}/c.data")
run("orders_c" env "LD_LIBRARY_PATH=${libdir}" "${WORKDIR}/orders_c" "${WORKDIR}/c.data")
file(READ "${SOURCE_DIR}/expected_orders_c.txt" expected_c)
if(NOT out STREQUAL expected_c)
  message(FATAL_ERROR "orders_c answered:\n${out}\nexpected:\n${expected_c}")
endif()

# 3. The installed tool finds the installed library by itself.
run("the installed zmdb" "${prefix}/bin/zmdb" call dbGetJetConnect fsDatabase=a.mdb)
if(NOT out MATCHES "\"result\":\"[^\"]*a\\.mdb")
  message(FATAL_ERROR "the installed zmdb answered:\n${out}")
endif()
file(REMOVE_RECURSE "${WORKDIR}")
