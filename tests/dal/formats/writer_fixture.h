// What the writer tests share: a fresh folder per test, a table of every kind
// of column with awkward values, and an independent reader run as a python
// process that prints one JSON line per row.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "temp_folder.h"
#include "zmdb/dal/formats/format.h"
#include "zmdb/runtime/datetime.h"

namespace zmdb::dal::formats::testing {

// What `command` prints on its standard output; a command that fails fails
// the test, with what it printed.
inline std::string CommandOutput(const std::string& command) {
  std::string out;
  FILE* pipe = ::popen(command.c_str(), "r");
  if (!pipe) {
    ADD_FAILURE() << "cannot run " << command;
    return out;
  }
  std::array<char, 4096> chunk{};
  for (std::size_t n; (n = std::fread(chunk.data(), 1, chunk.size(), pipe)) > 0;)
    out.append(chunk.data(), n);
  EXPECT_EQ(::pclose(pipe), 0) << command << ":\n" << out;
  return out;
}

// The lines of `text`, a last line without its end included.
inline std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::size_t start = 0;
  for (std::size_t end; (end = text.find('\n', start)) != std::string::npos; start = end + 1)
    lines.push_back(text.substr(start, end - start));
  if (start < text.size()) lines.push_back(text.substr(start));
  return lines;
}

using zmdb::testing::FileBytes;

class WriterTest : public zmdb::testing::TempFolderTest {
 protected:
  // The lines `script` prints when the system's python3 (where the Debian
  // readers are installed) runs it with `args` (sys.argv[1:]);
  // a failing script fails the test. Neither may hold a single quote.
  static std::vector<std::string> RunPython(const std::string& script,
                                            const std::vector<std::string>& args) {
    std::string command = "/usr/bin/python3 -c '" + script + "'";
    for (const auto& a : args) command += " '" + a + "'";
    return Lines(CommandOutput(command + " 2>&1"));
  }
};

// A table of every kind of column: numbers, currency, a decimal handed over as
// text, Booleans, dates, Chinese text, long memo text, binary; with Nulls.
inline std::vector<Column> EveryTypeColumns() {
  return {
      {"ID", 3, 4, 10, 0},       {"名称", 202, 50, 0, 0}, {"Small", 2, 2, 5, 0},
      {"Price", 6, 8, 19, 4},    {"Ratio", 5, 8, 15, 0},  {"Amount", 131, 19, 18, 3},
      {"Flag", 11, 2, 0, 0},     {"Made", 7, 8, 0, 0},    {"Note", 203, 536870910, 0, 0},
      {"Blob", 205, 1000, 0, 0},
  };
}

// Text of `n` characters: a Chinese word and an ASCII tail, repeated.
inline std::string Memo(std::size_t n) {
  std::string text;
  const char* parts[] = {"墨", "水", "a", "b"};
  for (std::size_t i = 0; i < n; ++i) text += parts[i % 4];
  return text;
}

inline std::vector<std::vector<rt::Variant>> EveryTypeRows() {
  using rt::Variant;
  const Variant null = Variant::Null();
  const rt::SafeArray blob(rt::VarType::Byte, 0,
                           {Variant(std::uint8_t{1}), Variant(std::uint8_t{2})});
  return {
      {Variant(std::int32_t{1}), Variant("墨水"), Variant(std::int16_t{-7}),
       Variant(rt::Currency{123400}), Variant(0.125), Variant("12345.678"), Variant(true),
       Variant(rt::MakeDate(2024, 2, 29)), Variant(Memo(300)), Variant(blob)},
      {Variant(std::int32_t{2}), null, null, null, null, null, null, null, null, null},
      {Variant(std::int32_t{3}), Variant("say \"hi\", then\r\nleave"), Variant(std::int16_t{0}),
       Variant(rt::Currency{-5}), Variant(-1.5e10), Variant(std::int32_t{42}), Variant(false),
       Variant(rt::MakeDate(1999, 12, 31, 23, 59, 58)), Variant(""), null},
      {Variant(std::int32_t{4}), Variant("café"), Variant(std::int16_t{1}),
       Variant(rt::Currency{0}), Variant(3.0), Variant("not a number"), Variant(true),
       Variant(rt::Date{0.4375}), Variant("short"), null},
  };
}

inline void WriteTable(TableWriter& writer, const std::vector<Column>& columns,
                       const std::vector<std::vector<rt::Variant>>& rows) {
  writer.Begin(columns);
  for (const auto& row : rows) writer.Row(row);
  writer.Finish();
}

}  // namespace zmdb::dal::formats::testing
