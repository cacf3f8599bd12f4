// Checks the type vocabulary code by code against expectation tables kept
// row-per-code in tests/data/types (the implementation is organised per
// function), so a slip in either layout shows up as a mismatch.
#include "zmdb/types/typemap.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "data_rows.h"

namespace zmdb::types {
namespace {

// The rows of a data file under types/ by their code (the first column).
std::map<std::int32_t, std::vector<std::string>> ReadRows(const std::string& name,
                                                          std::size_t columns) {
  std::map<std::int32_t, std::vector<std::string>> rows;
  for (auto& cells : zmdb::testing::DataRows("types/" + name)) {
    EXPECT_EQ(cells.size(), columns) << name << ": " << cells[0];
    if (cells.size() != columns) continue;
    const std::int32_t code = std::stoi(cells[0]);
    EXPECT_TRUE(rows.emplace(code, std::move(cells)).second)
        << name << ": code " << code << " twice";
  }
  EXPECT_FALSE(rows.empty()) << name;
  return rows;
}

// Codes to sweep: the full documented range plus values outside it.
std::vector<std::int32_t> Sweep(std::int32_t last) {
  std::vector<std::int32_t> codes{INT32_MIN, -1, 999, INT32_MAX};
  for (std::int32_t c = 0; c <= last; ++c) codes.push_back(c);
  return codes;
}

// Every ADO code in 0..255 (and a few outside) against ado_codes.txt; codes
// without a row must give "" and 0.
TEST(TypeMap, AdoTablesMatchForEveryCode) {
  const auto rows = ReadRows("ado_codes.txt", 4);
  for (const std::int32_t code : Sweep(255)) {
    std::vector<std::string> want{std::to_string(code), "", "0", ""};
    if (const auto it = rows.find(code); it != rows.end()) want = it->second;
    SCOPED_TRACE("ADO code " + std::to_string(code));
    EXPECT_EQ(FieldTypeDesc(code, true), want[1]);
    EXPECT_EQ(AdoToDao(code), std::stoi(want[2]));
    EXPECT_EQ(FieldCategory(code, true), want[3]);
  }
}

// Every DAO code in 0..30 (and a few outside) against dao_codes.txt.
TEST(TypeMap, DaoTablesMatchForEveryCode) {
  const auto rows = ReadRows("dao_codes.txt", 6);
  for (const std::int32_t code : Sweep(30)) {
    std::vector<std::string> want{std::to_string(code), "", "0", "", "", ""};
    if (const auto it = rows.find(code); it != rows.end()) want = it->second;
    SCOPED_TRACE("DAO code " + std::to_string(code));
    EXPECT_EQ(FieldTypeDesc(code, false), want[1]);
    EXPECT_EQ(DaoToAdo(code), std::stoi(want[2]));
    EXPECT_EQ(HXTypeOfDao(code), want[3]);
    EXPECT_EQ(FieldCategory(code, false), want[4]);
    EXPECT_EQ(DaoConstantName(code), want[5]);
  }
}

// The round trips are lossy on purpose (each direction's rows are in the
// data files), but every DAO code the forward direction can produce
// converts back.
TEST(TypeMap, EveryProducedDaoCodeConvertsBack) {
  for (std::int32_t ado = 0; ado <= 255; ++ado) {
    if (const std::int32_t dao = AdoToDao(ado); dao != 0) {
      EXPECT_NE(DaoToAdo(dao), 0) << ado;
    }
  }
}

// The unknown-code text (a session case holds the common one), down to the
// most negative code.
TEST(TypeMap, NoDefineMessageOfExtremeCodes) {
  EXPECT_EQ(NoDefineMessage(-5), "Type:-5 no define!");
  EXPECT_EQ(NoDefineMessage(INT32_MIN), "Type:-2147483648 no define!");
}

}  // namespace
}  // namespace zmdb::types
