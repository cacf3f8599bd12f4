// A fresh folder per test, named after the test and the process, removed
// after it.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <system_error>

namespace zmdb::testing {

// A folder made empty when constructed and removed with everything in it when
// destroyed. Its name carries `tag` (by default the running test's suite and
// name) and the process id, so parallel test processes never share one.
class TempFolder {
 public:
  TempFolder() : TempFolder(RunningTest()) {}
  explicit TempFolder(const std::string& tag)
      : path_(std::filesystem::temp_directory_path() /
              ("zmdb_" + tag + "_" + std::to_string(::getpid()))) {
    std::filesystem::remove_all(path_);
    std::filesystem::create_directories(path_);
  }
  ~TempFolder() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }
  // A file's path inside the folder, as text.
  std::string operator/(const std::string& name) const { return (path_ / name).string(); }

  // "suite_name" of the running test, with the slashes of parameterised
  // names made underscores; "process" outside a test.
  static std::string RunningTest() {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    if (info == nullptr) return "process";
    std::string tag = std::string(info->test_suite_name()) + "_" + info->name();
    std::replace(tag.begin(), tag.end(), '/', '_');
    return tag;
  }

 private:
  std::filesystem::path path_;
};

// The bytes of a file ("" when it cannot be read), and a file made to hold `bytes`.
inline std::string FileBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}
inline void WriteFileBytes(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

class TempFolderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    folder_.emplace();
    dir_ = folder_->path();
  }
  void TearDown() override { folder_.reset(); }

  std::optional<TempFolder> folder_;
  std::filesystem::path dir_;
};

}  // namespace zmdb::testing
