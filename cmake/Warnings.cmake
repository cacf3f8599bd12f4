# Project-wide compiler settings applied to every target through zmdb_options.
add_library(zmdb_options INTERFACE)
target_compile_options(zmdb_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion
  -Wimplicit-fallthrough
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Wold-style-cast -Woverloaded-virtual>)
if(ZMDB_WERROR)
  target_compile_options(zmdb_options INTERFACE -Werror)
endif()
if(ZMDB_SANITIZE)
  target_compile_options(zmdb_options INTERFACE -fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(zmdb_options INTERFACE -fsanitize=address,undefined)
endif()
if(ZMDB_FUZZ)
  # Coverage for libFuzzer in every layer; the targets add -fsanitize=fuzzer.
  target_compile_options(zmdb_options INTERFACE
    -fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(zmdb_options INTERFACE -fsanitize=address,undefined)
endif()
