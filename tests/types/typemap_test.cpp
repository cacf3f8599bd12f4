// Checks the type vocabulary code by code against an expectation table kept
// here row-per-code (the implementation is organised per function), so a
// slip in either layout shows up as a mismatch.
#include "zmdb/types/typemap.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <string>
#include <vector>

namespace zmdb::types {
namespace {

struct AdoRow {
  std::int32_t code;
  const char* desc;
  std::int32_t dao;
  const char* category;
};

const AdoRow kAdo[] = {
    {0, "Empty", 10, "Other"},
    {2, "SmallInt", 3, "Numeric"},
    {3, "Int", 3, "Numeric"},
    {4, "Single", 6, "Numeric"},
    {5, "Double", 7, "Numeric"},
    {6, "Money", 5, "Numeric"},
    {7, "DateTime", 8, "Date"},
    {8, "BSTR", 10, "Character"},
    {9, "IDispatch", 3, "Other"},
    {10, "Error", 10, "Other"},
    {11, "Bit", 1, "Other"},
    {12, "Variant", 10, "Other"},
    {13, "IUnknown", 3, "Other"},
    {14, "Decimal", 20, "Numeric"},
    {16, "TinyInt", 3, "Numeric"},
    {17, "UnsignedTinyInt", 2, "Numeric"},
    {18, "UnsignedSmallInt", 3, "Numeric"},
    {19, "UnsignedInt", 3, "Numeric"},
    {20, "BigInt", 16, "Numeric"},
    {21, "UnsignedBigInt", 16, "Numeric"},
    {72, "GUID", 15, "Other"},
    {128, "Binary", 9, "Binary"},
    {129, "Char", 10, "Character"},
    {130, "WChar", 10, "Character"},
    {131, "Numeric", 19, "Numeric"},
    {132, "UserDefined", 10, "Other"},
    {133, "SmallDateTime", 8, "Date"},
    {134, "DateTime", 22, "Date"},
    {135, "DateTime", 23, "Date"},
    {200, "VarChar", 10, "Character"},
    {201, "Text", 12, "Character"},
    {202, "VarWChar", 10, "Character"},
    {203, "Text", 12, "Character"},
    {204, "VarBinary", 9, "Binary"},
    {205, "LongVarBinary", 11, "Binary"},
};

struct DaoRow {
  std::int32_t code;
  const char* desc;
  std::int32_t ado;
  const char* hx;
  const char* category;
  const char* constant;
};

const DaoRow kDao[] = {
    {1, "Bit", 11, "VARCHAR", "Numeric", "edbBoolean"},
    {2, "Byte", 17, "INT", "Numeric", "edbByte"},
    {3, "Int", 3, "INT", "Numeric", "edbInteger"},
    {4, "Long", 3, "INT", "Numeric", "edbLong"},
    {5, "Money", 6, "FLOAT", "Numeric", "edbCurrency"},
    {6, "Single", 4, "FLOAT", "Numeric", "edbSingle"},
    {7, "Double", 5, "INT", "Numeric", "edbDouble"},
    {8, "Date / Time", 7, "DATETIME", "Date", "edbDate"},
    {9, "Binary", 128, "TEXT", "Numeric", "edbBinary"},
    {10, "VarChar", 202, "VARCHAR", "Character", "edbText"},
    {11, "Long Binary (OLE Object)", 205, "TEXT", "Binary", "edbLongBinary"},
    {12, "Text", 203, "TEXT", "Character", "edbMemo"},
    {15, "GUID", 72, "VARCHAR", "Other", "edbGUID"},
    {16, "Big Integer", 20, "INT", "Numeric", "edbBigInt"},
    {17, "VarBinary", 0, "VARCHAR", "Binary", "edbVarBinary"},
    {18, "Char", 0, "VARCHAR", "Character", "edbChar"},
    {19, "Numeric", 131, "FLOAT", "Numeric", "edbNumeric"},
    {20, "Decimal", 14, "FLOAT", "Numeric", "edbDecimal"},
    {21, "Float", 0, "FLOAT", "Numeric", "edbFloat"},
    {22, "DateTime", 134, "DATETIME", "Date", "edbTime"},
    {23, "DateTime", 135, "DATETIME", "Date", "edbTimeStamp"},
};

// Codes to sweep: the full documented range plus values outside it.
std::vector<std::int32_t> Sweep(std::int32_t last) {
  std::vector<std::int32_t> codes{INT32_MIN, -1, 999, INT32_MAX};
  for (std::int32_t c = 0; c <= last; ++c) codes.push_back(c);
  return codes;
}

// Every ADO code in 0..255 (and a few outside) against the ADO rows; codes
// without a row must give "" and 0.
TEST(TypeMap, AdoTablesMatchForEveryCode) {
  for (const std::int32_t code : Sweep(255)) {
    AdoRow want{code, "", 0, ""};
    for (const AdoRow& row : kAdo)
      if (row.code == code) want = row;
    SCOPED_TRACE("ADO code " + std::to_string(code));
    EXPECT_EQ(FieldTypeDesc(code, true), want.desc);
    EXPECT_EQ(AdoToDao(code), want.dao);
    EXPECT_EQ(FieldCategory(code, true), want.category);
  }
}

// Every DAO code in 0..30 (and a few outside) against the DAO rows.
TEST(TypeMap, DaoTablesMatchForEveryCode) {
  for (const std::int32_t code : Sweep(30)) {
    DaoRow want{code, "", 0, "", "", ""};
    for (const DaoRow& row : kDao)
      if (row.code == code) want = row;
    SCOPED_TRACE("DAO code " + std::to_string(code));
    EXPECT_EQ(FieldTypeDesc(code, false), want.desc);
    EXPECT_EQ(DaoToAdo(code), want.ado);
    EXPECT_EQ(HXTypeOfDao(code), want.hx);
    EXPECT_EQ(FieldCategory(code, false), want.category);
    EXPECT_EQ(DaoConstantName(code), want.constant);
  }
}

// The round trips are lossy on purpose; pin the documented cases.
TEST(TypeMap, ConversionAsymmetriesAreKept) {
  EXPECT_EQ(DaoToAdo(AdoToDao(3)), 3);
  EXPECT_EQ(DaoToAdo(4), 3);
  EXPECT_EQ(AdoToDao(200), 10);
  EXPECT_EQ(DaoToAdo(AdoToDao(200)), 202);
  EXPECT_EQ(AdoToDao(19), 3);  // unsigned 32-bit still lands on the 16-bit dbInteger
  for (const std::int32_t dao : {17, 18, 21}) EXPECT_EQ(DaoToAdo(dao), 0) << dao;
  // Every DAO code the forward direction can produce converts back.
  for (std::int32_t ado = 0; ado <= 255; ++ado) {
    if (const std::int32_t dao = AdoToDao(ado); dao != 0) {
      EXPECT_NE(DaoToAdo(dao), 0) << ado;
    }
  }
}

// Words that differ between the two schemes for similar types.
TEST(TypeMap, WordsDisagreeAcrossSchemesAsDocumented) {
  EXPECT_EQ(FieldTypeDesc(4, true), "Single");
  EXPECT_EQ(FieldTypeDesc(4, false), "Long");
  EXPECT_EQ(HXTypeOfDao(6), "FLOAT");
  EXPECT_EQ(HXTypeOfDao(7), "INT");
  EXPECT_EQ(FieldCategory(11, true), "Other");
  EXPECT_EQ(FieldCategory(1, false), "Numeric");
  EXPECT_EQ(FieldCategory(9, false), "Numeric");
  EXPECT_EQ(FieldCategory(128, true), "Binary");
}

// The ADO path of the column-type word: convert first, then look up; an
// unknown ADO code continues as DAO 0 and gives "".
TEST(TypeMap, ColumnWordThroughAdoConversion) {
  const struct {
    std::int32_t ado;
    const char* word;
  } cases[] = {{202, "VARCHAR"},  {203, "TEXT"}, {5, "INT"}, {4, "FLOAT"}, {11, "VARCHAR"},
               {135, "DATETIME"}, {205, "TEXT"}, {999, ""},  {1, ""}};
  for (const auto& c : cases) EXPECT_EQ(HXTypeOfDao(AdoToDao(c.ado)), c.word) << c.ado;
}

// The unknown-code text, including negative and extreme codes.
TEST(TypeMap, NoDefineMessageText) {
  EXPECT_EQ(NoDefineMessage(999), "Type:999 no define!");
  EXPECT_EQ(NoDefineMessage(18), "Type:18 no define!");
  EXPECT_EQ(NoDefineMessage(0), "Type:0 no define!");
  EXPECT_EQ(NoDefineMessage(-5), "Type:-5 no define!");
  EXPECT_EQ(NoDefineMessage(INT32_MIN), "Type:-2147483648 no define!");
}

}  // namespace
}  // namespace zmdb::types
