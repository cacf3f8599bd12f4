// What the fuzz targets share: a check that stops the process with the
// condition that failed (libFuzzer keeps the input that led there), and the
// input as text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#define FUZZ_CHECK(condition)                                                                  \
  do {                                                                                         \
    if (!(condition)) {                                                                        \
      std::fprintf(stderr, "fuzz check failed: %s (%s:%d)\n", #condition, __FILE__, __LINE__); \
      std::abort();                                                                            \
    }                                                                                          \
  } while (false)

namespace zmdb::fuzz {

inline std::string Text(const std::uint8_t* data, std::size_t size) {
  return std::string(reinterpret_cast<const char*>(data), size);
}

}  // namespace zmdb::fuzz
