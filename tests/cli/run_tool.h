// Runs the built zmdb tool as a process and keeps what it wrote, and makes
// the small database files the command tests read.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "zmdb/dal/connection.h"

namespace zmdb::cli::testing {

// The staff table both command tests fill, each with rows of its own.
inline const std::string kCreateStaff =
    "CREATE TABLE Staff (ID LONG PRIMARY KEY, Name TEXT(20), Salary CURRENCY, Hired DATETIME, "
    "Active YESNO)";

struct ToolRun {
  int exitCode = -1;
  std::string out, err;
};

inline std::string ReadAll(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline std::string ShellQuoted(const std::string& arg) {
  std::string q = "'";
  for (char c : arg) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return q + "'";
}

// `zmdb args...` in `dir`, stdin empty, stdout and stderr apart. With
// `terminal`, stderr is a pseudo-terminal (through script(1)), merged into out.
inline ToolRun RunZmdb(const std::filesystem::path& dir, const std::vector<std::string>& args,
                       bool terminal = false) {
  std::string command = ShellQuoted(ZMDB_TOOL);
  for (const std::string& a : args) command += " " + ShellQuoted(a);
  const auto out = dir / "stdout.txt", err = dir / "stderr.txt";
  std::string shell = "cd " + ShellQuoted(dir.string()) + " && ";
  if (terminal) {
    shell += "script -qec " + ShellQuoted(command) + " /dev/null";
  } else {
    shell += command;
  }
  shell += " </dev/null >" + ShellQuoted(out.string()) + " 2>" + ShellQuoted(err.string());
  const int status = std::system(shell.c_str());
  ToolRun r;
  r.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  r.out = ReadAll(out);
  r.err = ReadAll(err);
  return r;
}

// A fresh directory per test, with a database file made by the statements given.
class ToolTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    std::string name = std::string(info->test_suite_name()) + "_" + info->name();
    for (char& c : name) {
      if (c == '/') c = '_';
    }
    dir_ = std::filesystem::temp_directory_path() /
           ("zmdb_cli_" + name + "_" + std::to_string(::getpid()));
    std::filesystem::remove_all(dir_);
    std::filesystem::create_directories(dir_);
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }

  std::string MakeDatabase(const std::string& file, const std::vector<std::string>& statements) {
    const std::string path = (dir_ / file).string();
    std::ofstream(path, std::ios::binary).close();
    auto cn = dal::Connection::Create();
    cn->Open("PROVIDER=Microsoft.Jet.OLEDB.4.0;Data Source=" + path + ";");
    for (const std::string& s : statements) cn->Execute(s);
    cn->Close();
    return path;
  }

  ToolRun Zmdb(const std::vector<std::string>& args, bool terminal = false) {
    return RunZmdb(dir_, args, terminal);
  }

  std::filesystem::path dir_;
};

// A failed command: exit code 1, nothing on stdout, one line on stderr.
inline void ExpectOneLineFailure(const ToolRun& r) {
  EXPECT_EQ(r.exitCode, 1) << r.err;
  EXPECT_EQ(r.out, "");
  ASSERT_FALSE(r.err.empty());
  EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << r.err;
}

}  // namespace zmdb::cli::testing
