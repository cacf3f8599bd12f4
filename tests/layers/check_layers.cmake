# The layer check: every include of the tree against the Allowed includes
# block of docs/architecture.md.
#
#   cmake [-DROOT=<tree>] [-DDOC=<architecture.md>] -P check_layers.cmake
#
# Scans the C++ files below src/, include/zmdb/, tools/ and examples/ of ROOT
# (default: this repository). A file's folder is its directory below src/ or
# include/zmdb/ (tools/zmdb and examples as they stand). Each
# `#include "zmdb/<folder>/..."` must name the file's own folder or one the
# block lists for it; a quoted include without "zmdb/" must name a file
# beside it: a private header (`*_p.h`) of the same folder, or a public one
# it may include. Every wrong include is reported as
#   <file>:<line>: #include "<path>": <rule broken>
# and the check fails when there is any.
cmake_minimum_required(VERSION 3.25)

get_filename_component(here "${CMAKE_CURRENT_LIST_DIR}" ABSOLUTE)
if(NOT DEFINED ROOT)
  get_filename_component(ROOT "${here}/../.." ABSOLUTE)
endif()
if(NOT DEFINED DOC)
  set(DOC "${ROOT}/docs/architecture.md")
endif()
include("${here}/../../cmake/Layers.cmake")
zmdb_read_layers("${DOC}")

# The folder of a file or directory below ROOT ("" when in none of the trees).
function(folder_of path out)
  file(RELATIVE_PATH rel "${ROOT}" "${path}")
  if(rel MATCHES "^src/(.+)$")
    set(rel "${CMAKE_MATCH_1}")
  elseif(rel MATCHES "^include/zmdb/(.+)$")
    set(rel "${CMAKE_MATCH_1}")
  elseif(rel STREQUAL "include/zmdb")
    set(rel "${ZMDB_TOP_HEADERS_FOLDER}")
  elseif(NOT rel MATCHES "^(tools|examples)(/|$)")
    set(rel "")
  endif()
  set(${out} "${rel}" PARENT_SCOPE)
endfunction()

# Appends to `problems` when `folder` may not include a public header of `target`.
macro(check_public folder target)
  if(NOT "${target}" STREQUAL "${folder}" AND NOT "${target}" IN_LIST ZMDB_LAYER_${folder})
    if(NOT "${target}" IN_LIST ZMDB_LAYER_FOLDERS)
      set(why "'${target}' is no folder of the Allowed includes block")
    else()
      string(REPLACE ";" " " allowed "${ZMDB_LAYER_${folder}}")
      if(allowed STREQUAL "")
        set(allowed "nothing")
      endif()
      set(why "folder '${folder}' may not include '${target}' (it may include: ${allowed})")
    endif()
    list(APPEND problems "${rel}:${number}: #include ${quote}${path}${close}: ${why}")
  endif()
endmacro()

set(problems)
set(scanned 0)
file(GLOB_RECURSE files LIST_DIRECTORIES false
  "${ROOT}/src/*.h" "${ROOT}/src/*.cpp" "${ROOT}/include/zmdb/*.h"
  "${ROOT}/tools/*.h" "${ROOT}/tools/*.cpp" "${ROOT}/examples/*.h" "${ROOT}/examples/*.cpp")
list(SORT files)
foreach(file IN LISTS files)
  math(EXPR scanned "${scanned} + 1")
  file(RELATIVE_PATH rel "${ROOT}" "${file}")
  get_filename_component(dir "${file}" DIRECTORY)
  folder_of("${dir}" folder)
  if(NOT folder IN_LIST ZMDB_LAYER_FOLDERS)
    list(APPEND problems "${rel}: folder '${folder}' has no line in the Allowed includes block")
    continue()
  endif()
  # One list element per line: characters that CMake lists treat specially
  # are masked first so that line numbers stay right.
  file(READ "${file}" text)
  string(REPLACE "\\" "<bs>" text "${text}")
  string(REPLACE "[" "<lb>" text "${text}")
  string(REPLACE "]" "<rb>" text "${text}")
  string(REPLACE ";" "<sc>" text "${text}")
  string(REPLACE "\n" ";" lines "${text}")
  set(number 0)
  foreach(line IN LISTS lines)
    math(EXPR number "${number} + 1")
    if(NOT line MATCHES "^[ \t]*#[ \t]*include[ \t]*([\"<])([^\">]+)([\">])")
      continue()
    endif()
    set(quote "${CMAKE_MATCH_1}")
    set(path "${CMAKE_MATCH_2}")
    set(close "${CMAKE_MATCH_3}")
    if(path MATCHES "^zmdb/[^/]+$")
      check_public("${folder}" "${ZMDB_TOP_HEADERS_FOLDER}")
    elseif(path MATCHES "^zmdb/(.+)/[^/]+$")
      set(target "${CMAKE_MATCH_1}")
      if(path MATCHES "_p\\.h$")
        list(APPEND problems "${rel}:${number}: #include ${quote}${path}${close}: a private header is included by its name beside the includer, never by a zmdb/ path")
      else()
        check_public("${folder}" "${target}")
      endif()
    elseif(quote STREQUAL "\"")
      get_filename_component(beside "${dir}/${path}" ABSOLUTE)
      folder_of("${beside}" where)
      get_filename_component(where "${where}" DIRECTORY)
      file(RELATIVE_PATH beside_rel "${ROOT}" "${beside}")
      if(NOT EXISTS "${beside}")
        list(APPEND problems "${rel}:${number}: #include ${quote}${path}${close}: a quoted include names \"zmdb/<folder>/...\" or a file beside the includer")
      elseif(path MATCHES "_p\\.h$" AND NOT where STREQUAL folder)
        list(APPEND problems "${rel}:${number}: #include ${quote}${path}${close}: private header of folder '${where}', which only that folder may include")
      elseif(beside_rel MATCHES "^include/zmdb/")
        set(target "${where}")
        check_public("${folder}" "${target}")
      elseif(NOT where STREQUAL folder)
        list(APPEND problems "${rel}:${number}: #include ${quote}${path}${close}: a file of folder '${where}' that is no public header")
      endif()
    endif()
  endforeach()
endforeach()

list(LENGTH problems count)
if(count GREATER 0)
  foreach(problem IN LISTS problems)
    message("${problem}")
  endforeach()
  message(FATAL_ERROR "${count} wrong include(s) in ${scanned} files; the rules are the Allowed "
                      "includes block of ${DOC}")
endif()
message(STATUS "layer check: ${scanned} files, every include allowed")
