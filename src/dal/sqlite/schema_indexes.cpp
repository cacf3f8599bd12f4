// Indexes of the file store: building and dropping them, the checks a new
// index passes, and the SQLite names engine indexes are stored under.
#include <fmt/format.h>

#include "jetsql_p.h"
#include "schema_store_p.h"
#include "zmdb/dal/engine_errors.h"
#include "zmdb/runtime/convert.h"

namespace zmdb::dal::sqlite::detail {

// Builds an index in place (3022/3058 for rows that break it); a primary key
// rebuilds the table.
void FileSchemaStore::CreateIndex(std::string_view table, const IndexDef& index) {
  if (auto link = ReadLink(table)) return CreateLinkIndex(*link, index);
  auto shape = RequireShape(table);
  CheckIndex(shape, index);
  TableShape to = shape;
  to.def.indexes.push_back(index);
  to.indexSqlNames.push_back(index.primary ? std::string()
                                           : UniqueIndexName(shape.def.name, index.name, {}));
  Transaction(
      [&] {
        if (index.primary) {
          // The key's columns keep the Required they had: the key, not the
          // field, is what refuses their Nulls from now on.
          for (const auto& k : index.fields) {
            const FieldDef& f = shape.def.fields[*FieldIndex(shape.def, k.name)];
            props_.Put(kFieldRow, shape.def.name, f.name, "~Required", kDbBoolean,
                       rt::Variant(f.required));
          }
          Rebuild(shape, to, CopyAll(shape));
        } else {
          const std::size_t last = to.def.indexes.size() - 1;
          TableShape one = to;
          one.def.indexes = {to.def.indexes[last]};
          one.indexSqlNames = {to.indexSqlNames[last]};
          for (const std::string& s : IndexSql(one)) RunChange(s);
          SyncTriggers(to);
        }
        RecordIndex(to.def.name, index, to.indexSqlNames.back());
        props_.Stamp(to.def.name, false);
      },
      index.primary);
}

// Drops an index in place; dropping the primary key rebuilds the table.
void FileSchemaStore::DropIndex(std::string_view table, std::string_view name) {
  if (auto link = ReadLink(table)) return DropLinkIndex(*link, name);
  auto shape = RequireShape(table);
  std::optional<std::size_t> at;
  for (std::size_t i = 0; i < shape.def.indexes.size(); ++i) {
    if (rt::NameEquals(shape.def.indexes[i].name, name)) at = i;
  }
  if (!at) engerr::ItemNotFound("DAO.Indexes");
  TableShape to = shape;
  const IndexDef gone = shape.def.indexes[*at];
  const std::string sqlName = shape.indexSqlNames[*at];
  to.def.indexes.erase(to.def.indexes.begin() + static_cast<std::ptrdiff_t>(*at));
  to.indexSqlNames.erase(to.indexSqlNames.begin() + static_cast<std::ptrdiff_t>(*at));
  Transaction(
      [&] {
        if (gone.primary) {
          // The key's columns keep refusing Nulls only where the field says so.
          for (std::size_t f = 0; f < to.def.fields.size(); ++f) {
            to.notNull[f] = to.notNull[f] && to.def.fields[f].required;
          }
          Rebuild(shape, to, CopyAll(shape));
        } else {
          b_.ExecuteNative("DROP INDEX " + SqlIdentifier(sqlName), {});
          SyncTriggers(to);
        }
        props_.DeleteItem(kIndexRow, shape.def.name, gone.name);
        props_.Stamp(shape.def.name, false);
      },
      gone.primary);
}

// Refuses duplicate index names, a second primary key and unknown key fields.
void FileSchemaStore::CheckIndex(const TableShape& s, const IndexDef& index) {
  if (index.fields.empty()) {
    rt::RaiseStandard(rt::err::kNoFields);
  }
  for (const IndexDef& i : s.def.indexes) {
    if (&i == &index) continue;
    if (rt::NameEquals(i.name, index.name)) {
      rt::RaiseStandard(rt::err::kIndexExists);
    }
    if (i.primary && index.primary) {
      rt::RaiseStandard(rt::err::kPrimaryKeyExists);
    }
  }
  for (const auto& k : index.fields) {
    if (!FieldIndex(s.def, k.name)) {
      engerr::ItemNotFound("DAO.Indexes");
    }
  }
}

// True when a unique or primary index has exactly `cols` as its key.
bool FileSchemaStore::HasUniqueIndexOn(const TableShape& s, const std::vector<std::string>& cols) {
  for (const IndexDef& i : s.def.indexes) {
    if (!(i.unique || i.primary) || i.fields.size() != cols.size()) continue;
    bool same = true;
    for (std::size_t k = 0; k < cols.size(); ++k)
      same = same && rt::NameEquals(i.fields[k].name, cols[k]);
    if (same) return true;
  }
  return false;
}

// A SQLite index name for engine index `name` of `table`: the name itself
// when no object of the database has it (so Jet SQL reaches it by name),
// else one made unique with the table's name.
std::string FileSchemaStore::UniqueIndexName(const std::string& table, const std::string& name,
                                             const std::vector<std::string>& taken) {
  const auto used = [&](const std::string& candidate) {
    for (const auto& t : taken) {
      if (rt::NameEquals(t, candidate)) return true;
    }
    Result r = b_.ExecuteNative("SELECT 1 FROM sqlite_master WHERE name = ? COLLATE NOCASE",
                                {rt::Variant(candidate)});
    return r.cursor && r.cursor->Step();
  };
  std::string candidate = name;
  for (int n = 2; used(candidate) || rt::NameEquals(candidate, table); ++n) {
    candidate = fmt::format("{}_{}{}", table, name, n == 2 ? "" : std::to_string(n));
  }
  return candidate;
}

// Gives every index of a new table its SQLite name.
void FileSchemaStore::AssignIndexNames(TableShape& shape) {
  shape.indexSqlNames.clear();
  std::vector<std::string> taken;
  for (const IndexDef& i : shape.def.indexes) {
    shape.indexSqlNames.push_back(i.primary ? std::string()
                                            : UniqueIndexName(shape.def.name, i.name, taken));
    taken.push_back(shape.indexSqlNames.back());
  }
}

}  // namespace zmdb::dal::sqlite::detail
