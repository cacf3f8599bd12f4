# The layer rules of the source tree, read from the "Allowed includes" block
# of docs/architecture.md (the one place they are written). Used by the build,
# which compiles each folder's sources against an include directory holding
# only the public headers that folder may see, and by the layer check
# (tests/layers/check_layers.cmake), which runs in script mode.

# zmdb_read_layers(<doc>): sets ZMDB_LAYER_FOLDERS to the folders named in
# the block, and ZMDB_LAYER_<folder> to the folders each may include.
function(zmdb_read_layers doc)
  file(READ "${doc}" text)
  string(FIND "${text}" "```layers\n" begin)
  if(begin EQUAL -1)
    message(FATAL_ERROR "${doc}: no ```layers block")
  endif()
  math(EXPR begin "${begin} + 10")
  string(SUBSTRING "${text}" ${begin} -1 text)
  string(FIND "${text}" "```" end)
  if(end EQUAL -1)
    message(FATAL_ERROR "${doc}: the ```layers block is not closed")
  endif()
  string(SUBSTRING "${text}" 0 ${end} block)
  string(REPLACE "\n" ";" lines "${block}")
  set(folders)
  foreach(line IN LISTS lines)
    if(line MATCHES "^[ \t]*$")
      continue()
    elseif(line MATCHES "^([a-z_/]+):([a-z_/ \t]*)$")
      set(folder "${CMAKE_MATCH_1}")
      separate_arguments(allowed UNIX_COMMAND "${CMAKE_MATCH_2}")
      list(APPEND folders "${folder}")
      set(ZMDB_LAYER_${folder} "${allowed}" PARENT_SCOPE)
    else()
      message(FATAL_ERROR "${doc}: a line of the layers block is not '<folder>: <folders>': ${line}")
    endif()
  endforeach()
  set(ZMDB_LAYER_FOLDERS "${folders}" PARENT_SCOPE)
endfunction()

# The headers at the top of include/zmdb/ (the C interface, zmdb/zmdb.h) are
# the public headers of this folder.
set(ZMDB_TOP_HEADERS_FOLDER capi)

# zmdb_layer_view(<folder> <out-var>): the include directory `folder` compiles
# with. It mirrors include/ with links to the headers of the folder itself and
# of the folders it may include, and nothing else: a header of a nested folder
# (include/zmdb/dal/dao) is not reachable through its parent (dal).
function(zmdb_layer_view folder out)
  if(NOT folder IN_LIST ZMDB_LAYER_FOLDERS)
    message(FATAL_ERROR "folder '${folder}' has no line in the Allowed includes block of "
                        "docs/architecture.md")
  endif()
  string(REPLACE "/" "+" tag "${folder}")
  set(dir "${PROJECT_BINARY_DIR}/layers/${tag}")
  get_property(done GLOBAL PROPERTY ZMDB_LAYER_VIEW_${tag})
  if(NOT done)
    file(REMOVE_RECURSE "${dir}")
    foreach(seen IN ITEMS ${folder} ${ZMDB_LAYER_${folder}})
      if(seen STREQUAL ZMDB_TOP_HEADERS_FOLDER)
        file(GLOB top CONFIGURE_DEPENDS LIST_DIRECTORIES false "${PROJECT_SOURCE_DIR}/include/zmdb/*.h")
        file(MAKE_DIRECTORY "${dir}/zmdb")
        foreach(header IN LISTS top)
          get_filename_component(name "${header}" NAME)
          file(CREATE_LINK "${header}" "${dir}/zmdb/${name}" SYMBOLIC)
        endforeach()
      endif()
      set(headers_dir "${PROJECT_SOURCE_DIR}/include/zmdb/${seen}")
      if(NOT IS_DIRECTORY "${headers_dir}")
        continue()
      endif()
      file(GLOB headers CONFIGURE_DEPENDS LIST_DIRECTORIES false "${headers_dir}/*")
      file(MAKE_DIRECTORY "${dir}/zmdb/${seen}")
      foreach(header IN LISTS headers)
        get_filename_component(name "${header}" NAME)
        file(CREATE_LINK "${header}" "${dir}/zmdb/${seen}/${name}" SYMBOLIC)
      endforeach()
    endforeach()
    set_property(GLOBAL PROPERTY ZMDB_LAYER_VIEW_${tag} TRUE)
  endif()
  set(${out} "${dir}" PARENT_SCOPE)
endfunction()

# zmdb_layer_target(<target> <folder>): compile a program of the tree (a tool,
# an example) against its folder's view even though it links the umbrella
# `zmdb`, whose include directory is for applications outside the tree.
function(zmdb_layer_target target folder)
  zmdb_layer_view(${folder} view)
  set_property(TARGET ${target} PROPERTY ZMDB_LAYER_VIEW "${view}")
  target_include_directories(${target} PRIVATE "${view}")
endfunction()
