// The table structure as records, and type by type between the ADO codes
// and the DAO field types a store's schema builds a table from.
#include "zmdb/dal/schema_store.h"
#include "zmdb/dal/typecodes.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/errors.h"
#include "zmdb/runtime/object.h"
#include "zmdb/runtime/text.h"
#include "zmdb/schema/structure.h"
#include "zmdb/types/typemap.h"

namespace zmdb::schema {

namespace {
using rt::Variant;
namespace ado = dal::typecodes::ado;
namespace dao = dal::typecodes::dao;

constexpr std::int32_t kCurrencyPrecision = 19, kCurrencyScale = 4;
constexpr std::int32_t kLongestFileText = 255, kLongestFileBinary = 510;
constexpr std::int32_t kLongestServerText = 4000, kLongestServerBinary = 8000;

// "Photo: IDispatch, ADO type 9", what a refusal names.
std::string Refusal(const FieldStructure& f) {
  const std::string name = types::FieldTypeDesc(f.type, true);
  return f.name + ": " + (name.empty() ? "" : name + ", ") + "ADO type " + std::to_string(f.type);
}
}  // namespace

rt::Record ToRecord(const FieldStructure& f) {
  return rt::Record("FieldStruct", {{"Name", Variant(f.name)},
                                    {"Type", Variant(f.type)},
                                    {"DefinedSize", Variant(f.definedSize)},
                                    {"Attributes", Variant(f.attributes)},
                                    {"Required", Variant(f.required)},
                                    {"AllowZeroLength", Variant(f.allowZeroLength)},
                                    {"DefaultValue", Variant(f.defaultValue)},
                                    {"Description", Variant(f.description)},
                                    {"OrdinalPosition", Variant(f.ordinalPosition)},
                                    {"Precision", Variant(f.precision)},
                                    {"NumericScale", Variant(f.numericScale)}});
}

FieldStructure FromRecord(const rt::Record& r) {
  FieldStructure f;
  const auto read = [&](std::string_view member, auto convert, auto& into) {
    if (r.Has(member) && !r[member].IsNull() && !r[member].IsEmpty()) into = convert(r[member]);
  };
  const auto text = [](const Variant& v) { return rt::CStr(v); };
  const auto number = [](const Variant& v) { return rt::CLng(v); };
  const auto flag = [](const Variant& v) { return rt::CBool(v); };
  f.name = rt::CStr(r["Name"]);
  f.type = rt::CLng(r["Type"]);
  read("DefinedSize", number, f.definedSize);
  read("Attributes", number, f.attributes);
  read("Required", flag, f.required);
  read("AllowZeroLength", flag, f.allowZeroLength);
  read("DefaultValue", text, f.defaultValue);
  read("Description", text, f.description);
  read("OrdinalPosition", number, f.ordinalPosition);
  read("Precision", number, f.precision);
  read("NumericScale", number, f.numericScale);
  return f;
}

std::optional<std::int32_t> DaoTypeOf(const FieldStructure& f, TargetStore target) {
  const bool server = target == TargetStore::Server;
  const std::int32_t longestText = server ? kLongestServerText : kLongestFileText;
  const std::int32_t longestBinary = server ? kLongestServerBinary : kLongestFileBinary;
  switch (f.type) {
    case ado::adVarWChar:
    case ado::adVarChar:
    case ado::adWChar:
    case ado::adChar:
    case ado::adBSTR:
      return f.definedSize > longestText ? dao::dbMemo : dao::dbText;
    case ado::adLongVarWChar:
    case ado::adLongVarChar:
      return dao::dbMemo;
    case ado::adInteger:
      return dao::dbLong;
    case ado::adSmallInt:
    case ado::adTinyInt:
      return dao::dbInteger;
    case ado::adUnsignedTinyInt:
      return dao::dbByte;
    case ado::adBigInt:
      return dao::dbBigInt;
    case ado::adCurrency:
      return dao::dbCurrency;
    case ado::adSingle:
      return dao::dbSingle;
    case ado::adDouble:
      return dao::dbDouble;
    case ado::adDBTime:
      // A server keeps a time of day as such; the file store as a date.
      return server ? dao::dbTime : dao::dbDate;
    case ado::adDate:
    case ado::adDBDate:
    case ado::adDBTimeStamp:
      return dao::dbDate;
    case ado::adBoolean:
      return dao::dbBoolean;
    case ado::adGUID:
      return dao::dbGUID;
    case ado::adBinary:
    case ado::adVarBinary:
      return f.definedSize > longestBinary ? dao::dbLongBinary : dao::dbBinary;
    case ado::adLongVarBinary:
      return dao::dbLongBinary;
    case ado::adDecimal:
    case ado::adNumeric:
      if (f.precision == kCurrencyPrecision && f.numericScale == kCurrencyScale) {
        return dao::dbCurrency;
      }
      return dao::dbDecimal;
    default:
      return std::nullopt;
  }
}

std::string FirstUnholdableField(const std::vector<FieldStructure>& fields) {
  for (const auto& f : fields) {
    if (!DaoTypeOf(f, TargetStore::File)) return Refusal(f);
  }
  return {};
}

std::string CopyTableDataStatement(const std::string& source, const std::string& target,
                                   const std::string& condition) {
  std::string sql = "INSERT INTO " + target + " SELECT * FROM " + source;
  if (!condition.empty()) sql += " WHERE " + condition;
  return sql;
}

}  // namespace zmdb::schema
