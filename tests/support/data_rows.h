// The rows of a "|"-separated file under tests/data.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace zmdb::testing {

// Each line's cells, blanks at either end of a cell dropped; blank lines and
// lines starting with "#" are skipped. A file that cannot be read fails the
// test and gives no rows.
inline std::vector<std::vector<std::string>> DataRows(const std::string& name) {
  std::ifstream in(std::string(ZMDB_TEST_DATA) + "/" + name);
  EXPECT_TRUE(in) << "cannot read " << name;
  std::vector<std::vector<std::string>> rows;
  for (std::string line; std::getline(in, line);) {
    if (line.empty() || line[0] == '#') continue;
    std::vector<std::string> cells;
    std::stringstream cut(line);
    for (std::string cell; std::getline(cut, cell, '|');) {
      const auto b = cell.find_first_not_of(" \t");
      cells.push_back(b == std::string::npos
                          ? std::string()
                          : cell.substr(b, cell.find_last_not_of(" \t") - b + 1));
    }
    rows.push_back(std::move(cells));
  }
  return rows;
}

}  // namespace zmdb::testing
