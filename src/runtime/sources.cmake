# Host runtime stand-ins: Variant, text, conversions, Format, errors, host contracts.
zmdb_sources(
  ${CMAKE_CURRENT_LIST_DIR}/error.cpp
  ${CMAKE_CURRENT_LIST_DIR}/errors.cpp
  ${CMAKE_CURRENT_LIST_DIR}/variant.cpp
  ${CMAKE_CURRENT_LIST_DIR}/text.cpp
  ${CMAKE_CURRENT_LIST_DIR}/text_encoding.cpp
  ${CMAKE_CURRENT_LIST_DIR}/convert.cpp
  ${CMAKE_CURRENT_LIST_DIR}/number_parse.cpp
  ${CMAKE_CURRENT_LIST_DIR}/date_parse.cpp
  ${CMAKE_CURRENT_LIST_DIR}/datetime.cpp
  ${CMAKE_CURRENT_LIST_DIR}/format.cpp
  ${CMAKE_CURRENT_LIST_DIR}/object.cpp
  ${CMAKE_CURRENT_LIST_DIR}/host.cpp)
