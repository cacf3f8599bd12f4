// The field-type vocabulary. Every table here is closed and written once, in
// the grouping the library documents; the tables disagree with each other on
// purpose (lossy round trips, Boolean categorised differently per scheme) and
// callers rely on that, so nothing is completed or made symmetric.
#include "zmdb/types/typemap.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace zmdb::types {
namespace {

struct CodeName {
  std::int32_t code;
  std::string_view name;
};

// Display names of ADO codes.
constexpr std::array kAdoNames{
    CodeName{0, "Empty"},
    CodeName{2, "SmallInt"},
    CodeName{3, "Int"},
    CodeName{4, "Single"},
    CodeName{5, "Double"},
    CodeName{6, "Money"},
    CodeName{7, "DateTime"},
    CodeName{8, "BSTR"},
    CodeName{9, "IDispatch"},
    CodeName{10, "Error"},
    CodeName{11, "Bit"},
    CodeName{12, "Variant"},
    CodeName{13, "IUnknown"},
    CodeName{14, "Decimal"},
    CodeName{16, "TinyInt"},
    CodeName{17, "UnsignedTinyInt"},
    CodeName{18, "UnsignedSmallInt"},
    CodeName{19, "UnsignedInt"},
    CodeName{20, "BigInt"},
    CodeName{21, "UnsignedBigInt"},
    CodeName{72, "GUID"},
    CodeName{128, "Binary"},
    CodeName{129, "Char"},
    CodeName{130, "WChar"},
    CodeName{131, "Numeric"},
    CodeName{132, "UserDefined"},
    CodeName{133, "SmallDateTime"},  // a date without time, named as SQL Server does
    CodeName{134, "DateTime"},
    CodeName{135, "DateTime"},
    CodeName{200, "VarChar"},
    CodeName{201, "Text"},
    CodeName{202, "VarWChar"},
    CodeName{203, "Text"},
    CodeName{204, "VarBinary"},
    CodeName{205, "LongVarBinary"},
};

// Display names of DAO codes (13 and 14 name no DAO type).
constexpr std::array kDaoNames{
    CodeName{1, "Bit"},
    CodeName{2, "Byte"},
    CodeName{3, "Int"},
    CodeName{4, "Long"},
    CodeName{5, "Money"},
    CodeName{6, "Single"},
    CodeName{7, "Double"},
    CodeName{8, "Date / Time"},
    CodeName{9, "Binary"},
    CodeName{10, "VarChar"},
    CodeName{11, "Long Binary (OLE Object)"},
    CodeName{12, "Text"},
    CodeName{15, "GUID"},
    CodeName{16, "Big Integer"},
    CodeName{17, "VarBinary"},
    CodeName{18, "Char"},
    CodeName{19, "Numeric"},
    CodeName{20, "Decimal"},
    CodeName{21, "Float"},
    CodeName{22, "DateTime"},
    CodeName{23, "DateTime"},
};

// DAO constant names, "edb"-prefixed.
constexpr std::array kDaoConstants{
    CodeName{1, "edbBoolean"}, CodeName{2, "edbByte"},        CodeName{3, "edbInteger"},
    CodeName{4, "edbLong"},    CodeName{5, "edbCurrency"},    CodeName{6, "edbSingle"},
    CodeName{7, "edbDouble"},  CodeName{8, "edbDate"},        CodeName{9, "edbBinary"},
    CodeName{10, "edbText"},   CodeName{11, "edbLongBinary"}, CodeName{12, "edbMemo"},
    CodeName{15, "edbGUID"},   CodeName{16, "edbBigInt"},     CodeName{17, "edbVarBinary"},
    CodeName{18, "edbChar"},   CodeName{19, "edbNumeric"},    CodeName{20, "edbDecimal"},
    CodeName{21, "edbFloat"},  CodeName{22, "edbTime"},       CodeName{23, "edbTimeStamp"},
};

// Returns the name listed for code in table, or "" when the code is not listed.
template <std::size_t N>
std::string Lookup(const std::array<CodeName, N>& table, std::int32_t code) {
  const auto* it = std::find_if(table.begin(), table.end(),
                                [code](const CodeName& entry) { return entry.code == code; });
  return it == table.end() ? std::string{} : std::string{it->name};
}

}  // namespace

// Display name of code in the ADO or DAO name table; "" when not listed.
std::string FieldTypeDesc(std::int32_t code, bool isAdo) {
  return isAdo ? Lookup(kAdoNames, code) : Lookup(kDaoNames, code);
}

// The library's column-type word for a DAO code; "" for 13, 14 and anything
// outside 1..23. dbDouble is "INT" and the binaries are "TEXT" by design.
std::string HXTypeOfDao(std::int32_t daoCode) {
  using namespace dao;
  switch (daoCode) {
    case dbBoolean:
    case dbText:
    case dbGUID:
    case dbVarBinary:
    case dbChar:
      return "VARCHAR";
    case dbByte:
    case dbInteger:
    case dbLong:
    case dbDouble:
    case dbBigInt:
      return "INT";
    case dbCurrency:
    case dbSingle:
    case dbNumeric:
    case dbDecimal:
    case dbFloat:
      return "FLOAT";
    case dbDate:
    case dbTime:
    case dbTimeStamp:
      return "DATETIME";
    case dbBinary:
    case dbLongBinary:
    case dbMemo:
      return "TEXT";
    default:
      return {};
  }
}

namespace {

// Category word of an ADO code; "" when not listed.
std::string AdoCategory(std::int32_t code) {
  using namespace ado;
  switch (code) {
    case adSmallInt:
    case adInteger:
    case adSingle:
    case adDouble:
    case adCurrency:
    case adDecimal:
    case adTinyInt:
    case adUnsignedTinyInt:
    case adUnsignedSmallInt:
    case adUnsignedInt:
    case adBigInt:
    case adUnsignedBigInt:
    case adNumeric:
      return "Numeric";
    case adDate:
    case adDBDate:
    case adDBTime:
    case adDBTimeStamp:
      return "Date";
    case adBSTR:
    case adChar:
    case adWChar:
    case adVarChar:
    case adLongVarChar:
    case adVarWChar:
    case adLongVarWChar:
      return "Character";
    case adBinary:
    case adVarBinary:
    case adLongVarBinary:
      return "Binary";
    case adEmpty:
    case adIDispatch:
    case adError:
    case adBoolean:
    case adVariant:
    case adIUnknown:
    case adGUID:
    case adUserDefined:
      return "Other";
    default:
      return {};
  }
}

// Category word of a DAO code; "" when not listed. Unlike the ADO side,
// Boolean and dbBinary are "Numeric" here.
std::string DaoCategory(std::int32_t code) {
  using namespace dao;
  switch (code) {
    case dbBoolean:
    case dbByte:
    case dbInteger:
    case dbLong:
    case dbCurrency:
    case dbSingle:
    case dbDouble:
    case dbBinary:
    case dbBigInt:
    case dbNumeric:
    case dbDecimal:
    case dbFloat:
      return "Numeric";
    case dbDate:
    case dbTime:
    case dbTimeStamp:
      return "Date";
    case dbText:
    case dbMemo:
    case dbChar:
      return "Character";
    case dbLongBinary:
    case dbVarBinary:
      return "Binary";
    case dbGUID:
      return "Other";
    default:
      return {};
  }
}

}  // namespace

// Category word ("Numeric", "Date", "Character", "Binary", "Other") of code in
// the chosen scheme; "" when the scheme's table does not list it.
std::string FieldCategory(std::int32_t code, bool isAdo) {
  return isAdo ? AdoCategory(code) : DaoCategory(code);
}

// "edb"-prefixed DAO constant name; "" for 13, 14 and outside 1..23.
std::string DaoConstantName(std::int32_t daoCode) {
  return Lookup(kDaoConstants, daoCode);
}

// The text shown when a conversion does not know code: "Type:<code> no define!".
std::string NoDefineMessage(std::int32_t code) {
  return "Type:" + std::to_string(code) + " no define!";
}

}  // namespace zmdb::types
