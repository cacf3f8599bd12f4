// The hidden system table (see sysprops.h).
#include <climits>

#include "schema_p.h"
#include "sysprops_p.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/datetime.h"

namespace zmdb::dal::sqlite {

namespace {

constexpr std::int32_t kDbBoolean = 1, kDbLong = 4, kDbDate = 8;

// The system table's name, quoted for SQLite.
std::string Table() {
  return "\"" + std::string(kSystemTable) + "\"";
}

// A stored cell as the Variant of the property's DAO type.
rt::Variant CellValue(const Cursor& c, std::size_t i, std::int32_t type) {
  rt::Variant v;
  switch (c.Type(i)) {
    case CellType::Null:
      return rt::Variant::Null();
    case CellType::Integer: {
      const std::int64_t n = c.Integer(i);
      v = n >= INT32_MIN && n <= INT32_MAX ? rt::Variant(static_cast<std::int32_t>(n))
                                           : rt::Variant(static_cast<double>(n));
      break;
    }
    case CellType::Real:
      v = rt::Variant(c.Real(i));
      break;
    default:
      v = rt::Variant(std::string(c.Text(i)));
      break;
  }
  if (type == kDbBoolean) return rt::Variant(rt::CBool(v));
  if (type == kDbDate) return rt::Variant(rt::CDate(v));
  if (type == kDbLong && v.IsNumeric()) return rt::Variant(rt::CLng(v));
  return v;
}

// Reads the rows of a query over the table's columns in their declared order.
std::vector<SysRow> ReadRows(Backend& b, const std::string& sql,
                             const std::vector<rt::Variant>& params) {
  std::vector<SysRow> rows;
  Result r = b.ExecuteNative(sql, params);
  if (!r.cursor) return rows;
  while (r.cursor->Step()) {
    SysRow row;
    const std::string kind(r.cursor->Text(0));
    row.kind = kind.empty() ? kTableRow : kind[0];
    row.owner = std::string(r.cursor->Text(1));
    row.item = std::string(r.cursor->Text(2));
    row.name = std::string(r.cursor->Text(3));
    row.type = static_cast<std::int32_t>(r.cursor->Integer(4));
    row.value = CellValue(*r.cursor, 5, row.type);
    rows.push_back(std::move(row));
  }
  return rows;
}

}  // namespace

// Maps the interface's object kinds to the row kinds of the table.
char RowKindOf(schema::ObjectKind kind) {
  switch (kind) {
    case schema::ObjectKind::Database:
      return kDatabaseRow;
    case schema::ObjectKind::Table:
      return kTableRow;
    case schema::ObjectKind::Field:
      return kFieldRow;
    case schema::ObjectKind::Index:
      return kIndexRow;
    case schema::ObjectKind::Query:
      return kQueryRow;
    case schema::ObjectKind::Relation:
      return kRelationRow;
  }
  return kTableRow;
}

// Once seen, the table is taken to exist for the life of the connection.
bool SysProps::Exists() {
  if (known_) return true;
  Result r = backend_.ExecuteNative("SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = ?",
                                    {rt::Variant(std::string(kSystemTable))});
  known_ = r.cursor && r.cursor->Step();
  return known_;
}

// Creates the table keyed by kind, owner, item and name; names ignore case.
void SysProps::Ensure() {
  if (Exists()) return;
  backend_.ExecuteNative(
      "CREATE TABLE IF NOT EXISTS " + Table() +
          " (kind TEXT NOT NULL, owner TEXT NOT NULL COLLATE NOCASE, item TEXT NOT NULL COLLATE "
          "NOCASE, name TEXT NOT NULL COLLATE NOCASE, type INTEGER NOT NULL, value, PRIMARY KEY "
          "(kind, owner, item, name)) WITHOUT ROWID",
      {});
  known_ = true;
}

// Reads the rows of one kind (and owner).
std::vector<SysRow> SysProps::Rows(char kind, const std::string* owner) {
  if (!Exists()) return {};
  std::string sql =
      "SELECT kind, owner, item, name, type, value FROM " + Table() + " WHERE kind = ?";
  std::vector<rt::Variant> params{rt::Variant(std::string(1, kind))};
  if (owner) {
    sql += " AND owner = ?";
    params.emplace_back(*owner);
  }
  return ReadRows(backend_, sql + " ORDER BY owner, item, name", params);
}

// The value of one property, Empty when it is not recorded.
rt::Variant SysProps::Get(char kind, std::string_view owner, std::string_view item,
                          std::string_view name) {
  if (!Exists()) return {};
  const auto rows = ReadRows(backend_,
                             "SELECT kind, owner, item, name, type, value FROM " + Table() +
                                 " WHERE kind = ? AND owner = ? AND item = ? AND name = ?",
                             {rt::Variant(std::string(1, kind)), rt::Variant(owner),
                              rt::Variant(item), rt::Variant(name)});
  return rows.empty() ? rt::Variant() : rows.front().value;
}

// Adds or replaces one property (creating the table on first use).
void SysProps::Put(char kind, std::string_view owner, std::string_view item, std::string_view name,
                   std::int32_t type, const rt::Variant& value) {
  Ensure();
  backend_.ExecuteNative("INSERT OR REPLACE INTO " + Table() +
                             " (kind, owner, item, name, type, value) VALUES (?, ?, ?, ?, ?, ?)",
                         {rt::Variant(std::string(1, kind)), rt::Variant(owner), rt::Variant(item),
                          rt::Variant(name), rt::Variant(type), value});
}

// Deletes through the collection's behaviour; 3219 when it takes none.
void SysProps::Delete(char kind, std::string_view owner, std::string_view item,
                      std::string_view name) {
  if (!Exists()) return;
  backend_.ExecuteNative(
      "DELETE FROM " + Table() + " WHERE kind = ? AND owner = ? AND item = ? AND name = ?",
      {rt::Variant(std::string(1, kind)), rt::Variant(owner), rt::Variant(item),
       rt::Variant(name)});
}

// Forgets one item with all its properties.
void SysProps::DeleteItem(char kind, std::string_view owner, std::string_view item) {
  if (!Exists()) return;
  backend_.ExecuteNative(
      "DELETE FROM " + Table() + " WHERE kind = ? AND owner = ? AND item = ?",
      {rt::Variant(std::string(1, kind)), rt::Variant(owner), rt::Variant(item)});
}

// Forgets an owner; a table's fields and indexes go with it.
void SysProps::DeleteOwner(char kind, std::string_view owner) {
  if (!Exists()) return;
  const std::string kinds = kind == kTableRow ? "'T','F','I'" : "'" + std::string(1, kind) + "'";
  backend_.ExecuteNative("DELETE FROM " + Table() + " WHERE kind IN (" + kinds + ") AND owner = ?",
                         {rt::Variant(owner)});
}

// Moves every row of an owner to its new name.
void SysProps::RenameOwner(char kind, std::string_view from, std::string_view to) {
  if (!Exists()) return;
  const std::string kinds = kind == kTableRow ? "'T','F','I'" : "'" + std::string(1, kind) + "'";
  backend_.ExecuteNative(
      "UPDATE " + Table() + " SET owner = ? WHERE kind IN (" + kinds + ") AND owner = ?",
      {rt::Variant(to), rt::Variant(from)});
}

// Moves the rows of one item to its new name.
void SysProps::RenameItem(char kind, std::string_view owner, std::string_view from,
                          std::string_view to) {
  if (!Exists()) return;
  backend_.ExecuteNative(
      "UPDATE " + Table() + " SET item = ? WHERE kind = ? AND owner = ? AND item = ?",
      {rt::Variant(to), rt::Variant(std::string(1, kind)), rt::Variant(owner), rt::Variant(from)});
}

// Dates are kept to the second, as the engine shows them.
void SysProps::Stamp(std::string_view table, bool created) {
  const rt::Variant now(rt::Now());
  if (created) Put(kTableRow, table, "", "~DateCreated", kDbDate, now);
  Put(kTableRow, table, "", "~LastUpdated", kDbDate, now);
}

}  // namespace zmdb::dal::sqlite
