// Tables and fields of the file store: creating, dropping and renaming
// tables, and adding, dropping, renaming and changing fields. SQLite changes
// what it can in place; the rest goes through the rebuild (schema_txn.cpp).
#include <fmt/format.h>

#include "jetsql_p.h"
#include "schema_store_p.h"
#include "zmdb/dal/engine_errors.h"
#include "zmdb/runtime/convert.h"

namespace zmdb::dal::sqlite::detail {

// Creates a table with its indexes and rules, or records a link.
void FileSchemaStore::CreateTable(const TableDef& def) {
  RequireFreeName(def.name, false);
  if (def.kind == TableKind::Link) return CreateLink(def);
  if (def.fields.empty()) {
    rt::RaiseStandard(rt::err::kNoFields);
  }
  TableShape shape;
  shape.def = def;
  shape.def.kind = TableKind::Table;
  CheckFields(shape.def);
  for (const FieldDef& f : def.fields) shape.notNull.push_back(f.required);
  for (const IndexDef& i : shape.def.indexes) CheckIndex(shape, i);
  AssignIndexNames(shape);
  Transaction([&] {
    b_.ExecuteNative(CreateTableSql(shape, def.name), {});
    for (const std::string& s : IndexSql(shape)) RunChange(s);
    for (const std::string& s : TriggerSql(shape)) b_.ExecuteNative(s, {});
    RecordTable(shape, true);
  });
}

// Drops a table or link with its recorded properties and relations.
void FileSchemaStore::DropTable(std::string_view name) {
  if (auto link = ReadLink(name)) {
    Transaction([&] {
      DropLinkTable(link->name);
      props_.DeleteOwner(kTableRow, link->name);
    });
    return;
  }
  const std::string actual = RequireTable(name);
  Transaction([&] {
    b_.ExecuteNative("DROP TABLE " + SqlIdentifier(actual), {});
    props_.DeleteOwner(kTableRow, actual);
    for (const auto& rel : props_.Rows(kRelationRow)) {
      if (rel.name == "~Table" || rel.name == "~ForeignTable") {
        if (rt::NameEquals(rt::TextOf(rel.value), actual))
          props_.DeleteOwner(kRelationRow, rel.owner);
      }
    }
  });
}

// Renames in place; SQLite rewrites indexes, foreign keys, views and triggers.
// A view broken by a missing table stays out of the rename and is made again
// after it, so it reads the renamed table when that takes the name it gives.
void FileSchemaStore::RenameTable(std::string_view from, std::string_view to) {
  if (rt::NameEquals(from, to) && from == to) return;
  if (!rt::NameEquals(from, to)) RequireFreeName(to, false);
  if (auto link = ReadLink(from)) {
    const LinkShape shape = LinkShapeOfSql(LinkTableSqlOf(link->name));
    Transaction([&] {
      DropLinkTable(link->name);
      props_.RenameOwner(kTableRow, link->name, to);
      props_.Stamp(to, false);
      MakeLinkTable(std::string(to), shape);
    });
    return;
  }
  auto shape = RequireShape(from);
  const std::string old = shape.def.name;
  Transaction([&] {
    DropManagedTriggers(old);
    const auto broken = DropBrokenViews();
    b_.ExecuteNative(
        fmt::format("ALTER TABLE {} RENAME TO {}", SqlIdentifier(old), SqlIdentifier(to)), {});
    shape.def.name = std::string(to);
    for (const std::string& s : TriggerSql(WithoutOtherTriggers(shape))) b_.ExecuteNative(s, {});
    props_.RenameOwner(kTableRow, old, to);
    RenameInRelations(old, to);
    RenameInQueries(old, to);
    MakeViews(broken);
    props_.Stamp(to, false);
  });
}

// Adds a column in place when SQLite can (numbering the existing rows of a
// new AutoNumber); otherwise, or when that fails, through the rebuild.
void FileSchemaStore::AddField(std::string_view table, const FieldDef& field) {
  auto shape = RequireShape(table);
  if (FieldIndex(shape.def, field.name)) {
    rt::RaiseStandard(rt::err::kFieldExists);
  }
  TableShape to = shape;
  to.def.fields.push_back(field);
  to.notNull.push_back(false);
  CheckFields(to.def);
  const bool counter = (field.attributes & schema::kAutoIncrField) != 0;
  std::string column = ColumnOnly(to, to.def.fields.size() - 1);
  Transaction(
      [&] {
        bool inPlace = true;
        try {
          b_.Begin();
          // The rule triggers would check the numbering update of existing rows.
          DropManagedTriggers(shape.def.name);
          b_.ExecuteNative(
              fmt::format("ALTER TABLE {} ADD COLUMN {}", SqlIdentifier(shape.def.name), column),
              {});
          if (counter) {
            // Number the rows already there, in the order they were stored.
            b_.ExecuteNative(fmt::format("UPDATE {0} SET {1} = 1 + (SELECT COUNT(*) FROM {0} AS z "
                                         "WHERE z.rowid < {0}.rowid)",
                                         SqlIdentifier(shape.def.name), SqlIdentifier(field.name)),
                             {});
          }
          b_.Commit();
        } catch (const rt::PlatformError&) {
          b_.Rollback();
          inPlace = false;
        }
        if (inPlace) {
          SyncTriggers(to);
        } else {
          Rebuild(shape, to, CopyAll(shape));
        }
        RecordField(to.def.name, field, true);
        props_.Stamp(to.def.name, false);
      },
      true);
}

// Drops a column through the rebuild; refused for an indexed or related field.
void FileSchemaStore::DropField(std::string_view table, std::string_view field) {
  auto shape = RequireShape(table);
  const auto at = FieldIndex(shape.def, field);
  if (!at) engerr::ItemNotFound("DAO.Fields");
  const std::string name = shape.def.fields[*at].name;
  for (const IndexDef& i : shape.def.indexes) {
    for (const auto& k : i.fields) {
      if (rt::NameEquals(k.name, name)) {
        rt::RaiseStandard(rt::err::kFieldInIndex);
      }
    }
  }
  for (const ForeignKey& fk : shape.foreignKeys) {
    for (const auto& c : fk.columns) {
      if (rt::NameEquals(c, name)) {
        rt::RaiseStandard(rt::err::kFieldInRelation);
      }
    }
  }
  TableShape to = shape;
  to.def.fields.erase(to.def.fields.begin() + static_cast<std::ptrdiff_t>(*at));
  to.notNull.erase(to.notNull.begin() + static_cast<std::ptrdiff_t>(*at));
  auto copy = CopyAll(to);
  Transaction(
      [&] {
        Rebuild(shape, to, copy);
        props_.DeleteItem(kFieldRow, shape.def.name, name);
        props_.Stamp(shape.def.name, false);
      },
      true);
}

// Renames a column in place (views a missing table broke kept out of
// SQLite's check), then regenerates the triggers that name it.
void FileSchemaStore::RenameField(std::string_view table, std::string_view from,
                                  std::string_view to) {
  auto shape = RequireShape(table);
  const auto at = FieldIndex(shape.def, from);
  if (!at) engerr::ItemNotFound("DAO.Fields");
  const std::string old = shape.def.fields[*at].name;
  if (old == to) return;
  if (!rt::NameEquals(old, to) && FieldIndex(shape.def, to)) {
    rt::RaiseStandard(rt::err::kFieldExists);
  }
  Transaction([&] {
    DropManagedTriggers(shape.def.name);
    const auto broken = DropBrokenViews();
    b_.ExecuteNative(
        fmt::format("ALTER TABLE {} RENAME COLUMN {} TO {}", SqlIdentifier(shape.def.name),
                    SqlIdentifier(old), SqlIdentifier(to)),
        {});
    MakeViews(broken);
    auto after = RequireShape(shape.def.name);
    // The generated triggers were dropped above, so what only they showed
    // comes from the shape read before: the field's recorded rules, the
    // indexes that refuse Nulls and the AutoNumbers' seeds and steps.
    after.def.fields[*FieldIndex(after.def, to)].required = shape.def.fields[*at].required;
    after.def.fields[*FieldIndex(after.def, to)].allowZeroLength =
        shape.def.fields[*at].allowZeroLength;
    for (IndexDef& i : after.def.indexes) {
      for (const IndexDef& was : shape.def.indexes) {
        if (rt::NameEquals(i.name, was.name)) i.required = was.required;
      }
    }
    after.numbering = shape.numbering;
    for (auto& n : after.numbering) {
      if (rt::NameEquals(n.field, old)) n.field = std::string(to);
    }
    for (const std::string& s : TriggerSql(WithoutOtherTriggers(after))) b_.ExecuteNative(s, {});
    props_.RenameItem(kFieldRow, shape.def.name, old, to);
    RenameFieldInRelations(shape.def.name, old, to);
    props_.Stamp(shape.def.name, false);
  });
}

// Changes a field's properties; a new type or default rebuilds the table.
void FileSchemaStore::ChangeField(std::string_view table, const FieldDef& field) {
  auto shape = RequireShape(table);
  const auto at = FieldIndex(shape.def, field.name);
  if (!at) engerr::ItemNotFound("DAO.Fields");
  const FieldDef& now = shape.def.fields[*at];
  TableShape to = shape;
  FieldDef& next = to.def.fields[*at];
  next = field;
  next.name = now.name;
  CheckFields(to.def);
  const bool physical = DeclaredTypeForDao(now) != DeclaredTypeForDao(next) ||
                        DefaultSql(now.defaultValue) != DefaultSql(next.defaultValue) ||
                        (shape.notNull[*at] && !next.required);
  if (shape.notNull[*at] && !next.required) to.notNull[*at] = false;
  Transaction(
      [&] {
        if (physical) {
          Rebuild(shape, to, CopyAll(shape));
        } else {
          SyncTriggers(to);
        }
        RecordField(to.def.name, next, false);
        props_.Stamp(to.def.name, false);
      },
      physical);
}

// Refuses a name any table, link or (when `query`) query already has.
void FileSchemaStore::RequireFreeName(std::string_view name, bool query) {
  if (name.empty()) {
    rt::RaiseStandard(rt::err::kInvalidName);
  }
  Result r = b_.ExecuteNative(
      "SELECT type FROM sqlite_master WHERE type IN ('table', 'view') AND name = ? COLLATE "
      "NOCASE",
      {rt::Variant(name)});
  bool used = r.cursor && r.cursor->Step();
  for (const std::string& link : LinkNames(b_)) used = used || rt::NameEquals(link, name);
  if (!used && props_.Exists()) {
    for (const SysRow& q : props_.Rows(kQueryRow)) used = used || rt::NameEquals(q.owner, name);
  }
  if (used) {
    if (query) engerr::ObjectExists(name);
    engerr::TableExists(name);
  }
}

// Refuses a field type the store cannot hold and duplicate field names.
void FileSchemaStore::CheckFields(const TableDef& def) {
  for (std::size_t i = 0; i < def.fields.size(); ++i) {
    DeclaredTypeForDao(def.fields[i]);
    for (std::size_t j = 0; j < i; ++j) {
      if (rt::NameEquals(def.fields[i].name, def.fields[j].name)) {
        rt::RaiseStandard(rt::err::kFieldExists);
      }
    }
  }
}

// The position of a field by name (any case), or none.
std::optional<std::size_t> FileSchemaStore::FieldIndex(const TableDef& def, std::string_view name) {
  for (std::size_t i = 0; i < def.fields.size(); ++i) {
    if (rt::NameEquals(def.fields[i].name, name)) return i;
  }
  return std::nullopt;
}

// The column definition of field `i` as ALTER TABLE ADD COLUMN takes it.
std::string FileSchemaStore::ColumnOnly(const TableShape& shape, std::size_t i) {
  TableShape one;
  one.def.name = shape.def.name;
  one.def.fields = {shape.def.fields[i]};
  one.notNull = {false};
  const std::string sql = CreateTableSql(one, "x");
  const auto open = sql.find('(');
  return sql.substr(open + 1, sql.size() - open - 2);
}

}  // namespace zmdb::dal::sqlite::detail
