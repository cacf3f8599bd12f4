// Relations of the file store: recorded in the system table, and enforced
// ones carried by a foreign key of the foreign table (added and removed by a
// rebuild). Foreign keys made by plain SQL show as relations too.
#include <algorithm>
#include <map>

#include "schema_store_p.h"
#include "zmdb/dal/engine_errors.h"
#include "zmdb/runtime/convert.h"

namespace zmdb::dal::sqlite::detail {

// The recorded relations, then the foreign keys plain SQL made, each named
// after its two tables.
std::vector<schema::RelationDef> FileSchemaStore::Relations() {
  std::map<std::string, schema::RelationDef> byName;
  for (const SysRow& row : props_.Rows(kRelationRow)) {
    auto& r = byName[rt::AsciiUpper(row.owner)];
    r.name = row.owner;
    if (row.name == "~Table") r.table = rt::TextOf(row.value);
    if (row.name == "~ForeignTable") r.foreignTable = rt::TextOf(row.value);
    if (row.name == "~Attributes") r.attributes = rt::CLng(row.value);
    if (row.name == "~Fields") r.fields = ParsePairs(rt::TextOf(row.value));
  }
  std::vector<schema::RelationDef> out;
  for (auto& [key, r] : byName) out.push_back(std::move(r));
  // Foreign keys made by plain SQL are relations too, named after their tables.
  for (const auto& entry : Tables()) {
    if (entry.kind != TableKind::Table) continue;
    auto shape = ReadShape(entry.name);
    if (!shape) continue;
    for (const ForeignKey& fk : shape->foreignKeys) {
      if (FindRelationFor(out, shape->def.name, fk)) continue;
      schema::RelationDef r;
      r.name = fk.refTable + shape->def.name;
      r.table = fk.refTable;
      r.foreignTable = shape->def.name;
      r.attributes = fk.attributes;
      for (std::size_t i = 0; i < fk.columns.size(); ++i) {
        r.fields.emplace_back(i < fk.refColumns.size() ? fk.refColumns[i] : fk.columns[i],
                              fk.columns[i]);
      }
      out.push_back(std::move(r));
    }
  }
  return out;
}

// Records a relation; an enforced one rebuilds the foreign table with its key.
void FileSchemaStore::CreateRelation(const schema::RelationDef& r) {
  for (const auto& existing : Relations()) {
    if (rt::NameEquals(existing.name, r.name)) engerr::ObjectExists(r.name);
  }
  const auto primary = RequireShape(r.table);
  auto foreign = RequireShape(r.foreignTable);
  if (r.fields.empty())
    engerr::Raise(rt::err::kNoFields, "No field defined--cannot append Relation.");
  std::vector<std::string> pcols, fcols;
  for (const auto& [p, f] : r.fields) {
    const auto pi = FieldIndex(primary.def, p);
    const auto fi = FieldIndex(foreign.def, f);
    if (!pi || !fi) engerr::ItemNotFound("DAO.Relations");
    pcols.push_back(primary.def.fields[*pi].name);
    fcols.push_back(foreign.def.fields[*fi].name);
  }
  const bool enforce = (r.attributes & schema::kRelationDontEnforce) == 0;
  if (enforce && !HasUniqueIndexOn(primary, pcols)) {
    rt::RaiseStandard(rt::err::kNoUniqueIndex);
  }
  Transaction(
      [&] {
        if (enforce) {
          TableShape to = foreign;
          to.foreignKeys.push_back(ForeignKey{
              primary.def.name, fcols, pcols,
              r.attributes & (schema::kRelationUpdateCascade | schema::kRelationDeleteCascade)});
          Rebuild(foreign, to, CopyAll(foreign));
        }
        std::string pairs;
        for (std::size_t i = 0; i < pcols.size(); ++i) pairs += pcols[i] + "=" + fcols[i] + ";";
        props_.Put(kRelationRow, r.name, "", "~Table", kDbText, rt::Variant(primary.def.name));
        props_.Put(kRelationRow, r.name, "", "~ForeignTable", kDbText,
                   rt::Variant(foreign.def.name));
        props_.Put(kRelationRow, r.name, "", "~Attributes", kDbLong, rt::Variant(r.attributes));
        props_.Put(kRelationRow, r.name, "", "~Fields", kDbMemo, rt::Variant(pairs));
      },
      enforce);
}

// Forgets a relation; an enforced one rebuilds the foreign table without it.
void FileSchemaStore::DropRelation(std::string_view name) {
  std::optional<schema::RelationDef> found;
  for (auto& r : Relations()) {
    if (rt::NameEquals(r.name, name)) found = r;
  }
  if (!found) engerr::ItemNotFound("DAO.Relations");
  Transaction(
      [&] {
        if (auto foreign = ReadShape(found->foreignTable)) {
          TableShape to = *foreign;
          auto& fks = to.foreignKeys;
          const auto before = fks.size();
          fks.erase(std::remove_if(fks.begin(), fks.end(),
                                   [&](const ForeignKey& fk) { return Matches(*found, fk); }),
                    fks.end());
          if (fks.size() != before) Rebuild(*foreign, to, CopyAll(*foreign));
        }
        props_.DeleteOwner(kRelationRow, found->name);
      },
      true);
}

// The field pairs of a relation as recorded: "a=b;c=d;".
std::vector<std::pair<std::string, std::string>> FileSchemaStore::ParsePairs(
    const std::string& text) {
  std::vector<std::pair<std::string, std::string>> out;
  std::size_t i = 0;
  while (i < text.size()) {
    const auto semi = text.find(';', i);
    const std::string piece = text.substr(i, semi == std::string::npos ? semi : semi - i);
    const auto eq = piece.find('=');
    if (eq != std::string::npos) out.emplace_back(piece.substr(0, eq), piece.substr(eq + 1));
    if (semi == std::string::npos) break;
    i = semi + 1;
  }
  return out;
}

// True when a foreign key carries the relation's tables and fields.
bool FileSchemaStore::Matches(const schema::RelationDef& r, const ForeignKey& fk) {
  if (!rt::NameEquals(r.table, fk.refTable) || r.fields.size() != fk.columns.size()) return false;
  for (std::size_t i = 0; i < fk.columns.size(); ++i) {
    if (!rt::NameEquals(r.fields[i].second, fk.columns[i])) return false;
  }
  return true;
}

// True when a recorded relation describes the foreign key.
bool FileSchemaStore::FindRelationFor(const std::vector<schema::RelationDef>& rels,
                                      const std::string& table, const ForeignKey& fk) {
  for (const auto& r : rels) {
    if (rt::NameEquals(r.foreignTable, table) && Matches(r, fk)) return true;
  }
  return false;
}

// Follows a table rename in the recorded relations.
void FileSchemaStore::RenameInRelations(std::string_view from, std::string_view to) {
  for (const SysRow& row : props_.Rows(kRelationRow)) {
    if ((row.name == "~Table" || row.name == "~ForeignTable") &&
        rt::NameEquals(rt::TextOf(row.value), from)) {
      props_.Put(kRelationRow, row.owner, "", row.name, kDbText, rt::Variant(to));
    }
  }
}

// Follows a field rename in the recorded relations.
void FileSchemaStore::RenameFieldInRelations(const std::string& table, const std::string& from,
                                             std::string_view to) {
  for (auto r : Relations()) {
    bool changed = false;
    for (auto& [p, f] : r.fields) {
      if (rt::NameEquals(r.table, table) && rt::NameEquals(p, from)) p = to, changed = true;
      if (rt::NameEquals(r.foreignTable, table) && rt::NameEquals(f, from)) f = to, changed = true;
    }
    if (!changed || props_.Get(kRelationRow, r.name, "", "~Fields").IsEmpty()) continue;
    std::string pairs;
    for (const auto& [p, f] : r.fields) pairs += p + "=" + f + ";";
    props_.Put(kRelationRow, r.name, "", "~Fields", kDbMemo, rt::Variant(pairs));
  }
}

}  // namespace zmdb::dal::sqlite::detail
