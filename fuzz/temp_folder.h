// A folder of the fuzz process's own for the files a target writes, removed
// when the process ends.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

namespace zmdb::fuzz {

inline const std::filesystem::path& TempFolder() {
  static const std::filesystem::path folder = [] {
    std::string pattern = (std::filesystem::temp_directory_path() / "zmdb-fuzz-XXXXXX").string();
    if (!mkdtemp(pattern.data())) std::abort();
    std::atexit([] {
      std::error_code ignored;
      std::filesystem::remove_all(TempFolder(), ignored);
    });
    return std::filesystem::path(pattern);
  }();
  return folder;
}

}  // namespace zmdb::fuzz
