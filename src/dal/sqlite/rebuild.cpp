// The statements of the file store's table definitions and of the one rebuild
// routine every change SQLite cannot make in place goes through. Nothing here
// runs a statement: schema.cpp runs them, so these are testable on their own.
#include <fmt/format.h>

#include <cctype>

#include "coltypes_p.h"
#include "jetsql_p.h"
#include "schema_p.h"
#include "zmdb/dal/engine_errors.h"
#include "zmdb/dal/typecodes.h"
#include "zmdb/runtime/object.h"
#include "zmdb/runtime/text.h"

namespace zmdb::dal::sqlite {

namespace dao = typecodes::dao;
using schema::FieldDef;
using schema::IndexDef;

namespace {

constexpr std::int32_t kDefaultTextSize = 255;

// `s` without leading and trailing blanks.
std::string_view Trim(std::string_view s) {
  while (!s.empty() && std::isspace(static_cast<unsigned char>(s.front()))) s.remove_prefix(1);
  while (!s.empty() && std::isspace(static_cast<unsigned char>(s.back()))) s.remove_suffix(1);
  return s;
}

// True when `text` is one signed number or one '...' literal, the defaults
// SQLite takes without parentheses (and the only ones ALTER TABLE ADD takes).
bool IsPlainLiteral(std::string_view text) {
  if (text.size() >= 2 && text.front() == '\'' && text.back() == '\'') {
    for (std::size_t i = 1; i + 1 < text.size(); ++i) {
      if (text[i] == '\'' && text[++i] != '\'') return false;
    }
    return true;
  }
  std::size_t i = (!text.empty() && (text[0] == '-' || text[0] == '+')) ? 1 : 0;
  bool digits = false;
  for (; i < text.size(); ++i) {
    if (std::isdigit(static_cast<unsigned char>(text[i]))) {
      digits = true;
    } else if (text[i] != '.') {
      return false;
    }
  }
  return digits;
}

// True for an AutoNumber field.
bool IsCounter(const FieldDef& f) {
  return (f.attributes & schema::kAutoIncrField) != 0 && f.type == dao::dbLong;
}

// True for the text types AllowZeroLength applies to.
bool IsTextType(std::int32_t type) {
  return type == dao::dbText || type == dao::dbMemo || type == dao::dbChar;
}

// The primary index of a shape, or null.
const IndexDef* PrimaryIndex(const TableShape& s) {
  for (const IndexDef& i : s.def.indexes) {
    if (i.primary) return &i;
  }
  return nullptr;
}

// The AutoNumber field that is the whole primary key, stored as SQLite's
// INTEGER PRIMARY KEY AUTOINCREMENT (as CREATE TABLE from Jet SQL makes it).
const FieldDef* RowidCounter(const TableShape& s) {
  const IndexDef* pk = PrimaryIndex(s);
  if (!pk || pk->fields.size() != 1 || pk->fields[0].descending) return nullptr;
  for (const FieldDef& f : s.def.fields) {
    if (rt::NameEquals(f.name, pk->fields[0].name) && IsCounter(f)) return &f;
  }
  return nullptr;
}

// True when `field` is a key column of the primary index.
bool InPrimaryKey(const TableShape& s, const FieldDef& field) {
  const IndexDef* pk = PrimaryIndex(s);
  if (!pk) return false;
  for (const auto& k : pk->fields) {
    if (rt::NameEquals(k.name, field.name)) return true;
  }
  return false;
}

// One column of CREATE TABLE.
std::string ColumnSql(const TableShape& s, std::size_t i) {
  const FieldDef& f = s.def.fields[i];
  const bool rowidKey = RowidCounter(s) == &f;
  std::string declared = rowidKey ? "INTEGER PRIMARY KEY AUTOINCREMENT" : DeclaredTypeForDao(f);
  // A lone INTEGER key would become SQLite's rowid, which numbers a row
  // inserted without a key instead of refusing it; INT keeps it a column.
  const IndexDef* pk = PrimaryIndex(s);
  if (!rowidKey && declared == "INTEGER" && pk && pk->fields.size() == 1 && InPrimaryKey(s, f)) {
    declared = "INT";
  }
  std::string out = SqlIdentifier(f.name) + " " + declared;
  const bool notNull =
      (i < s.notNull.size() && s.notNull[i]) || (InPrimaryKey(s, f) && !IsCounter(f));
  if (notNull && !IsCounter(f)) out += " NOT NULL";
  const std::string def = DefaultSql(f.defaultValue);
  if (!def.empty()) out += " DEFAULT " + def;
  if (declared.starts_with("VARCHAR(")) {
    out += fmt::format(" CHECK (length({}) <= {})", SqlIdentifier(f.name),
                       declared.substr(8, declared.find(')') - 8));
  }
  return out;
}

// The key list of an index: "a", "b" DESC.
std::string KeyList(const IndexDef& index) {
  std::string out;
  for (const auto& k : index.fields) {
    if (!out.empty()) out += ", ";
    out += SqlIdentifier(k.name);
    if (k.descending) out += " DESC";
  }
  return out;
}

// The referential actions of a foreign key.
std::string Actions(std::int32_t attributes) {
  std::string out;
  if (attributes & schema::kRelationUpdateCascade) out += " ON UPDATE CASCADE";
  if (attributes & schema::kRelationDeleteCascade) out += " ON DELETE CASCADE";
  return out;
}

// A column list of quoted names.
std::string NameList(const std::vector<std::string>& names) {
  std::string out;
  for (const auto& n : names) out += (out.empty() ? "" : ", ") + SqlIdentifier(n);
  return out;
}

// The rule triggers: Required on fields whose definition does not refuse
// Nulls itself, and AllowZeroLength on text fields that refuse "".
std::vector<std::string> RuleTriggers(const TableShape& s) {
  std::string checks, updateChecks;
  for (std::size_t i = 0; i < s.def.fields.size(); ++i) {
    const FieldDef& f = s.def.fields[i];
    const bool ddlNotNull = (i < s.notNull.size() && s.notNull[i]) || InPrimaryKey(s, f);
    if (f.required && !ddlNotNull && !IsCounter(f)) {
      // A row stored before the field became required keeps its Null until
      // the field is given a value; it cannot be set back to Null.
      const std::string message = SqlLiteral(
          fmt::format("The field '{}.{}' cannot contain a Null value because the Required "
                      "property for this field is set to True. Enter a value in this field.",
                      s.def.name, f.name));
      checks += fmt::format(" SELECT RAISE(ABORT, {}) WHERE NEW.{} IS NULL;", message,
                            SqlIdentifier(f.name));
      updateChecks +=
          fmt::format(" SELECT RAISE(ABORT, {0}) WHERE NEW.{1} IS NULL AND OLD.{1} IS NOT NULL;",
                      message, SqlIdentifier(f.name));
    }
    if (!f.allowZeroLength && IsTextType(f.type)) {
      const std::string rule =
          fmt::format(" SELECT RAISE(ABORT, {}) WHERE NEW.{} = '';",
                      SqlLiteral(fmt::format("Field '{}.{}' cannot be a zero-length string.",
                                             s.def.name, f.name)),
                      SqlIdentifier(f.name));
      checks += rule;
      updateChecks += rule;
    }
  }
  if (checks.empty()) return {};
  const std::string t = s.def.name;
  return {fmt::format("CREATE TRIGGER {} BEFORE INSERT ON {} FOR EACH ROW BEGIN{} END",
                      SqlIdentifier(t + "__rules_ins"), SqlIdentifier(t), checks),
          fmt::format("CREATE TRIGGER {} BEFORE UPDATE ON {} FOR EACH ROW BEGIN{} END",
                      SqlIdentifier(t + "__rules_upd"), SqlIdentifier(t), updateChecks)};
}

}  // namespace

// The DAO type table of the store: each type has one canonical declared type
// (see coltypes.h), so the type reads back from the declared type.
std::string DeclaredTypeForDao(const FieldDef& f) {
  const auto sized = [&](std::string_view jet, std::int32_t fallback) {
    const auto d = DeclaredTypeForJet(jet, f.size > 0 ? f.size : fallback);
    if (!d)
      engerr::Raise(rt::err::kInvalidArgument, "Invalid argument: the size " +
                                                   std::to_string(f.size) + " of field '" + f.name +
                                                   "' is out of range.");
    return *d;
  };
  switch (f.type) {
    case dao::dbBoolean:
      return "BIT";
    case dao::dbByte:
      return "TINYINT";
    case dao::dbInteger:
      return "SMALLINT";
    case dao::dbLong:
      return IsCounter(f) ? "COUNTER" : "INTEGER";
    case dao::dbCurrency:
      return "CURRENCY";
    case dao::dbSingle:
      return "FLOAT4";
    case dao::dbDouble:
    case dao::dbFloat:
      return "DOUBLE";
    case dao::dbDate:
    case dao::dbTime:
    case dao::dbTimeStamp:
      return "DATETIME";
    case dao::dbBinary:
    case dao::dbVarBinary:
      return sized("BINARY", 510);
    case dao::dbText:
    case dao::dbChar:
      return sized("TEXT", kDefaultTextSize);
    case dao::dbLongBinary:
      return "LONGBINARY";
    case dao::dbMemo:
      return "LONGTEXT COLLATE NOCASE";
    case dao::dbGUID:
      return "GUID";
    case dao::dbBigInt:
      return "BIGINT";
    case dao::dbNumeric:
    case dao::dbDecimal:
      if (f.precision > 0) {
        if (auto d = DeclaredTypeForJet("DECIMAL", f.precision, f.scale)) return *d;
      }
      return "DECIMAL(18,0)";
    default:
      rt::RaiseStandard(rt::err::kInvalidFieldType);
  }
}

// "=Date()" and "Date()" are the same default; "..." literals become '...';
// True and False become -1 and 0. Anything but a plain literal is an
// expression SQLite evaluates per row, so it is parenthesised.
std::string DefaultSql(std::string_view defaultValue) {
  std::string_view text = Trim(defaultValue);
  if (!text.empty() && text.front() == '=') text = Trim(text.substr(1));
  if (text.empty()) return {};
  const std::string rewritten = RewriteJet("SELECT " + std::string(text)).statements.front();
  const std::string_view expr = Trim(std::string_view(rewritten).substr(7));
  if (IsPlainLiteral(expr)) return std::string(expr);
  return "(" + std::string(expr) + ")";
}

// CREATE TABLE with columns, the primary key and the foreign keys.
std::string CreateTableSql(const TableShape& s, std::string_view name) {
  std::vector<std::string> items;
  for (std::size_t i = 0; i < s.def.fields.size(); ++i) items.push_back(ColumnSql(s, i));
  if (const IndexDef* pk = PrimaryIndex(s); pk && !RowidCounter(s)) {
    items.push_back(
        fmt::format("CONSTRAINT {} PRIMARY KEY ({})", SqlIdentifier(pk->name), KeyList(*pk)));
  }
  for (const ForeignKey& fk : s.foreignKeys) {
    items.push_back(fmt::format("FOREIGN KEY ({}) REFERENCES {} ({}){}", NameList(fk.columns),
                                SqlIdentifier(fk.refTable), NameList(fk.refColumns),
                                Actions(fk.attributes)));
  }
  return fmt::format("CREATE TABLE {} ({})", SqlIdentifier(name), fmt::join(items, ", "));
}

// CREATE INDEX for every index but the primary key, under its SQLite name.
std::vector<std::string> IndexSql(const TableShape& s) {
  std::vector<std::string> out;
  for (std::size_t i = 0; i < s.def.indexes.size(); ++i) {
    const IndexDef& index = s.def.indexes[i];
    if (index.primary) continue;
    std::string sql = fmt::format("CREATE {}INDEX {} ON {} ({})", index.unique ? "UNIQUE " : "",
                                  SqlIdentifier(s.indexSqlNames.at(i)), SqlIdentifier(s.def.name),
                                  KeyList(index));
    if (index.ignoreNulls) {
      std::string where;
      for (const auto& k : index.fields) {
        where += fmt::format("{}{} IS NOT NULL", where.empty() ? " WHERE " : " AND ",
                             SqlIdentifier(k.name));
      }
      sql += where;
    }
    out.push_back(std::move(sql));
  }
  return out;
}

// Counter, Null-refusal and rule triggers, then the caller's own.
std::vector<std::string> TriggerSql(const TableShape& s) {
  std::vector<std::string> out;
  const FieldDef* rowidKey = RowidCounter(s);
  for (const FieldDef& f : s.def.fields) {
    if (!IsCounter(f) || &f == rowidKey) continue;
    std::int64_t seed = 1, step = 1;
    for (const auto& n : s.numbering) {
      if (rt::NameEquals(n.field, f.name)) seed = n.seed, step = n.step;
    }
    out.push_back(CounterTriggerSql(s.def.name, f.name, seed, step));
  }
  for (std::size_t i = 0; i < s.def.indexes.size(); ++i) {
    const IndexDef& index = s.def.indexes[i];
    if (index.primary || !index.required) continue;
    std::vector<std::string> keys;
    for (const auto& k : index.fields) keys.push_back(k.name);
    for (std::string& t : NotNullTriggerSql(s.indexSqlNames.at(i), s.def.name, keys)) {
      out.push_back(std::move(t));
    }
  }
  for (std::string& t : RuleTriggers(s)) out.push_back(std::move(t));
  out.insert(out.end(), s.otherTriggers.begin(), s.otherTriggers.end());
  return out;
}

// Names this store generates: <t>__counter_*, <t>__rules_*, *__notnull_*.
bool IsManagedTrigger(std::string_view table, std::string_view trigger) {
  const std::string prefix = std::string(table) + "__counter_";
  return (trigger.size() > prefix.size() &&
          rt::NameEquals(trigger.substr(0, prefix.size()), prefix)) ||
         rt::NameEquals(trigger, std::string(table) + "__rules_ins") ||
         rt::NameEquals(trigger, std::string(table) + "__rules_upd") ||
         rt::EndsWithNoCase(trigger, "__notnull_ins") ||
         rt::EndsWithNoCase(trigger, "__notnull_upd");
}

// Create under a temporary name, copy, drop, rename, keep a rowid AutoNumber's
// last number, then indexes and triggers.
std::vector<std::string> RebuildSql(const TableShape& from, const TableShape& to,
                                    const std::vector<std::pair<std::string, std::string>>& copy) {
  const std::string temp = to.def.name + "__rebuild";
  std::vector<std::string> out{CreateTableSql(to, temp)};
  if (!copy.empty()) {
    std::string into, select;
    for (const auto& [oldName, newName] : copy) {
      into += (into.empty() ? "" : ", ") + SqlIdentifier(newName);
      select += (select.empty() ? "" : ", ") + SqlIdentifier(oldName);
    }
    out.push_back(fmt::format("INSERT INTO {} ({}) SELECT {} FROM {}", SqlIdentifier(temp), into,
                              select, SqlIdentifier(from.def.name)));
  }
  out.push_back("DROP TABLE " + SqlIdentifier(from.def.name));
  out.push_back(
      fmt::format("ALTER TABLE {} RENAME TO {}", SqlIdentifier(temp), SqlIdentifier(to.def.name)));
  if (RowidCounter(to) && from.sequence) {
    // Dropping the old table forgot its last number; the copy only knows the
    // highest one left, so numbering would reuse the numbers of deleted rows.
    const std::string name = SqlLiteral(to.def.name);
    out.push_back(fmt::format("UPDATE sqlite_sequence SET seq = MAX(seq, {}) WHERE name = {}",
                              *from.sequence, name));
    out.push_back(fmt::format(
        "INSERT INTO sqlite_sequence (name, seq) SELECT {0}, {1} WHERE NOT EXISTS (SELECT 1 FROM "
        "sqlite_sequence WHERE name = {0})",
        name, *from.sequence));
  }
  for (std::string& s : IndexSql(to)) out.push_back(std::move(s));
  for (std::string& s : TriggerSql(to)) out.push_back(std::move(s));
  return out;
}

}  // namespace zmdb::dal::sqlite
