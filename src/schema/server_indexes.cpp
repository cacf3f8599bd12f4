// The SQL Server side of the index methods: statements on schema dbo (pure
// text), the rows of sp_MShelpindex read late-bound, and a column's type
// text read through a one-row query.
#include "zmdb/schema/server_indexes.h"

#include <fmt/format.h>

#include <array>
#include <string_view>

#include "zmdb/dal/ado.h"
#include "zmdb/frame/component.h"
#include "zmdb/records/open.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/object.h"
#include "zmdb/schema/statements.h"
#include "zmdb/types/typemap.h"

namespace zmdb::schema {

namespace {
using rt::Variant;

// The types whose column text carries no size.
constexpr std::array<std::string_view, 9> kSizeless{
    "DateTime", "SmallInt", "Bit", "Money", "Smallmoney", "Tinyint", "Float", "Decimal", "Int"};

// The value of field `name` of the recordset's current row.
Variant FieldValue(const Variant& rs, const std::string& name) {
  return rt::GetProp(rt::ItemOf(rt::GetProp(rs, "Fields"), Variant(name)), "Value");
}
}  // namespace

std::string IndexHelpStatement(std::string_view table) {
  return fmt::format("sp_MShelpindex 'dbo.{}', NULL, 1", table);
}

std::vector<std::string> KeyColumns(std::string_view fields) {
  std::vector<std::string> out;
  std::size_t start = 0;
  while (start <= fields.size()) {
    std::size_t end = fields.find(',', start);
    if (end == std::string_view::npos) end = fields.size();
    std::string_view part = fields.substr(start, end - start);
    while (!part.empty() && part.front() == ' ') part.remove_prefix(1);
    while (!part.empty() && part.back() == ' ') part.remove_suffix(1);
    if (!part.empty()) out.emplace_back(part);
    start = end + 1;
  }
  return out;
}

std::string KeyList(const std::vector<std::string>& columns) {
  std::string list;
  for (const std::string& c : columns) list += fmt::format("{}[{}]", list.empty() ? "" : ",", c);
  return list;
}

std::string ColumnTypeText(std::string_view typeWord, std::int32_t definedSize) {
  for (std::string_view w : kSizeless) {
    if (w == typeWord) return fmt::format(" [{}] ", typeWord);
  }
  return fmt::format(" [{}] ({}) ", typeWord, definedSize);
}

std::string AddPrimaryKeyStatement(std::string_view table, std::string_view name,
                                   const std::vector<std::string>& columns, bool clustered,
                                   std::string_view group) {
  return fmt::format(
      "ALTER TABLE [dbo].{} WITH NOCHECK ADD CONSTRAINT [{}] PRIMARY KEY {}({}) ON [{}]", table,
      name, clustered ? "CLUSTERED" : "NONCLUSTERED", KeyList(columns), group);
}

std::vector<std::string> PrimaryKeyStatements(std::string_view table, std::string_view name,
                                              const std::vector<std::string>& columns,
                                              const std::vector<std::string>& typeTexts,
                                              bool clustered, std::string_view group) {
  std::vector<std::string> out;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    out.push_back(fmt::format("DELETE FROM [dbo].{} WHERE {} IS NULL", table, columns[i]));
    out.push_back(fmt::format("ALTER TABLE [dbo].{} ALTER COLUMN {}{} NOT NULL", table, columns[i],
                              i < typeTexts.size() ? typeTexts[i] : std::string()));
  }
  out.push_back(AddPrimaryKeyStatement(table, name, columns, clustered, group));
  return out;
}

std::string CreateIndexStatement(std::string_view table, std::string_view name,
                                 const std::vector<std::string>& columns, bool clustered,
                                 std::string_view group) {
  return fmt::format("CREATE {}INDEX {} ON [dbo].[{}] ({}) ON [{}]", clustered ? "CLUSTERED " : "",
                     name, table, KeyList(columns), group);
}

std::string DropIndexStatement(std::string_view table, std::string_view name) {
  return fmt::format("DROP INDEX dbo.{}.{}", table, name);
}

std::string DropConstraintStatement(std::string_view table, std::string_view name) {
  return fmt::format("ALTER TABLE dbo.{} DROP CONSTRAINT {}", table, name);
}

rt::Record IndexRecordFromHelpRow(const Variant& rs) {
  IndexRec r;
  r.Name = rt::TextOf(FieldValue(rs, "Name"));
  for (int n = 1; n <= 16; ++n) {
    const std::string col = rt::TextOf(FieldValue(rs, fmt::format("IndCol{}", n)));
    if (!col.empty()) r.Fields += col + ",";
  }
  if (!r.Fields.empty()) r.Fields.pop_back();
  r.Group = rt::TextOf(FieldValue(rs, "SegName"));
  const std::int32_t status = rt::CLng(FieldValue(rs, "Status"));
  r.Clustered = (status & 16) != 0;
  r.Unique = (status & 2) != 0;
  r.Primary = (status & 2048) != 0;
  return r.ToRecord();
}

std::string FieldSqlStr(const Variant& conn, std::string_view table, std::string_view field) {
  auto rs = records::OpenReadOnly(FieldProbeStatement(table, field), conn, dal::ado::adOpenStatic);
  const auto f = rs->fields()->Item(Variant(std::int32_t{0}));
  const std::string text = ColumnTypeText(types::FieldTypeDesc(f->Type(), true), f->DefinedSize());
  records::CloseAndRelease(rs);
  return text;
}

}  // namespace zmdb::schema
