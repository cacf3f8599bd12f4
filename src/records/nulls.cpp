// Field lists and null normalisation: the names and ADO type numbers of a
// table's columns, read from a one-row query, and the statements that replace
// missing values column by column with a zero.
#include <vector>

#include "zmdb/dal/ado.h"
#include "zmdb/frame/component.h"
#include "zmdb/records/open.h"
#include "zmdb/records/statements.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/host.h"

namespace zmdb {

namespace {
using rt::Variant;

// The pieces of a comma-separated list; an empty list has none.
std::vector<std::string> SplitList(const std::string& list) {
  std::vector<std::string> parts;
  if (list.empty()) return parts;
  std::size_t start = 0;
  for (std::size_t comma = list.find(','); comma != std::string::npos;
       comma = list.find(',', start)) {
    parts.push_back(list.substr(start, comma - start));
    start = comma + 1;
  }
  parts.push_back(list.substr(start));
  return parts;
}

// Drops the trailing separator; a list that never got an item cannot lose
// one, which is error 5.
void DropLastChar(std::string& list) {
  if (list.empty()) rt::Raise(rt::err::kInvalidProcCall);
  list.pop_back();
}
}  // namespace

std::string clsZMDBFunc::dbGetFieldsName(const std::string& fsTblName, const rt::Variant& Conn,
                                         const std::string& fsFields, std::string& fsRetType) {
  return Run("dbGetFieldsName", std::string(), [&](std::string& result) {
    auto rs = records::OpenReadOnly(records::FieldsNameStatement(fsTblName, fsFields), Conn,
                                    dal::ado::adOpenForwardOnly);
    std::string names;
    const auto& fields = rs->fields();
    for (std::int32_t i = 0, n = fields->Count(); i < n; ++i) {
      const auto field = fields->Item(Variant(i));
      names += field->Name() + ",";
      // Appended to what the caller passed in, which is not cleared.
      fsRetType += std::to_string(field->Type()) + ",";
    }
    records::CloseAndRelease(rs);
    DropLastChar(names);
    DropLastChar(fsRetType);
    result = names;
  });
}

std::string clsZMDBFunc::dbGetFieldsName(const std::string& fsTblName, const rt::Variant& Conn,
                                         const std::string& fsFields) {
  std::string types;
  return dbGetFieldsName(fsTblName, Conn, fsFields, types);
}

bool clsZMDBFunc::dbSetNullToZero(const std::string& fsTblName, const rt::Variant& Conn,
                                  const std::string& fsFields, const std::string& fsCondition,
                                  bool fbOnlyNumeric) {
  // The answer is False whatever happens; a failure stops at the failing
  // column, and the columns before it stay committed.
  return Run(
      "dbSetNullToZero", false,
      [&](bool&) {
        rt::SetMousePointer(rt::kPointerHourglass);
        std::string types;
        const std::vector<std::string> names =
            SplitList(dbGetFieldsName(fsTblName, Conn, fsFields, types));
        const std::vector<std::string> typeTexts = SplitList(types);
        for (std::size_t i = 0; i < names.size(); ++i) {
          if (i >= typeTexts.size()) rt::Raise(rt::err::kSubscriptOutOfRange);
          records::NullFill fill = records::NullFill::Number;
          if (fbOnlyNumeric) {
            if (dbGetFieldType(rt::CLng(Variant(typeTexts[i])), true) != "Numeric") continue;
          } else {
            // The type texts are numbers, so every column gets the text form.
            fill = records::NullFillOfType(typeTexts[i]);
            if (fill == records::NullFill::None) continue;
          }
          const std::string statement =
              records::NullToZeroStatement(fsTblName, names[i], fill, fsCondition);
          rt::CallMethod(Conn, "BeginTrans", {});
          rt::CallMethod(Conn, "Execute", {Variant(statement)});
          rt::CallMethod(Conn, "CommitTrans", {});
        }
        rt::SetMousePointer(rt::kPointerDefault);
      },
      [](const rt::ErrorInfo&, bool&) { rt::SetMousePointer(rt::kPointerDefault); });
}

}  // namespace zmdb
