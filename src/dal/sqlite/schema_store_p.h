// The file store's schema store, shared by the files that implement it one
// concern each: reading the catalogue and the system table over it
// (schema_catalog.cpp), tables and fields (schema_tables.cpp), indexes
// (schema_indexes.cpp), relations (schema_relations.cpp), saved queries and
// views (schema_queries.cpp), links (schema_links.cpp), and the transactions
// and table rebuilds every change runs in (schema_txn.cpp). Private to this
// folder; the rest of the library reaches it through MakeSchemaStore.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "links_p.h"
#include "schema_p.h"
#include "sysprops_p.h"
#include "zmdb/dal/backend.h"
#include "zmdb/dal/schema_store.h"
#include "zmdb/dal/typecodes.h"
#include "zmdb/runtime/object.h"

namespace zmdb::dal::sqlite::detail {

using schema::FieldDef;
using schema::IndexDef;
using schema::Prop;
using schema::TableDef;
using schema::TableKind;

// DAO type codes of the values the store records in its system table.
inline constexpr std::int32_t kDbBoolean = typecodes::dao::dbBoolean,
                              kDbLong = typecodes::dao::dbLong, kDbText = typecodes::dao::dbText,
                              kDbMemo = typecodes::dao::dbMemo;

// The DAO type of an ADO type code as the store reports columns.
std::int32_t DaoTypeOfAdo(std::int32_t ado);
// The DAO size of a field of `daoType` whose column has ADO size `adoSize`.
std::int32_t DaoSize(std::int32_t daoType, std::int32_t adoSize);
// The attribute bits the engine reports for a field of `daoType`.
std::int32_t TypeAttributes(std::int32_t daoType);
// The text of a cell (empty for Null).
std::string Text(const Cursor& c, std::size_t i);
// The properties of `rows` the caller owns (those not named with "~") for one item.
std::vector<Prop> CallerProps(const std::vector<SysRow>& rows, std::string_view item);
// The store's own property `name` of one item in `rows`, or Empty.
rt::Variant Own(const std::vector<SysRow>& rows, std::string_view item, std::string_view name);

// The schema store over one file-store connection. Every change runs in
// Transaction, so a failed change leaves the database as it was.
class FileSchemaStore : public schema::SchemaStore {
 public:
  explicit FileSchemaStore(Backend& b) : b_(b), props_(b) {}

  // Reading the catalogue and the system table; recording what SQLite cannot hold.
 public:
  std::vector<schema::TableEntry> Tables() override;
  std::optional<TableDef> Table(std::string_view name) override;
  std::vector<Prop> Properties(const schema::ObjectPath& path) override;
  void PutProperty(const schema::ObjectPath& path, const Prop& prop) override;
  void DeleteProperty(const schema::ObjectPath& path, std::string_view name) override;
  std::int64_t RecordCount(std::string_view table) override;

 private:
  std::optional<std::string> ActualTable(std::string_view name);
  std::string RequireTable(std::string_view name);
  TableShape RequireShape(std::string_view name);
  std::optional<TableShape> ReadShape(std::string_view requested);
  std::string MasterSql(std::string_view type, std::string_view name);
  void ReadFields(TableShape& s, const std::string& upperSql, const std::vector<SysRow>& rows);
  void Overlay(FieldDef& f, const std::vector<SysRow>& rows);
  static std::string DeclaredTypeForDaoOrEmpty(const FieldDef& f);
  void ReadIndexes(TableShape& s, const std::vector<SysRow>& rows);
  std::string TableSql(const std::string& table);
  bool IsPkColumn(const std::string& table, const std::string& column);
  bool HasTrigger(const std::string& name);
  void ReadForeignKeys(TableShape& s);
  void ReadTriggers(TableShape& s);
  void ReadSequence(TableShape& s);
  void RecordTable(const TableShape& shape, bool created);
  void RecordField(const std::string& t, const FieldDef& f, bool isNew);
  void RecordIndex(const std::string& t, const IndexDef& i, const std::string& sqlName);

  // Tables and fields.
 public:
  void CreateTable(const TableDef& def) override;
  void DropTable(std::string_view name) override;
  void RenameTable(std::string_view from, std::string_view to) override;
  void AddField(std::string_view table, const FieldDef& field) override;
  void DropField(std::string_view table, std::string_view field) override;
  void RenameField(std::string_view table, std::string_view from, std::string_view to) override;
  void ChangeField(std::string_view table, const FieldDef& field) override;

 private:
  void RequireFreeName(std::string_view name, bool query);
  void CheckFields(const TableDef& def);
  static std::optional<std::size_t> FieldIndex(const TableDef& def, std::string_view name);
  static std::string ColumnOnly(const TableShape& shape, std::size_t i);

  // Indexes.
 public:
  void CreateIndex(std::string_view table, const IndexDef& index) override;
  void DropIndex(std::string_view table, std::string_view name) override;

 private:
  void CheckIndex(const TableShape& s, const IndexDef& index);
  bool HasUniqueIndexOn(const TableShape& s, const std::vector<std::string>& cols);
  std::string UniqueIndexName(const std::string& table, const std::string& name,
                              const std::vector<std::string>& taken);
  void AssignIndexNames(TableShape& shape);

  // Relations.
 public:
  std::vector<schema::RelationDef> Relations() override;
  void CreateRelation(const schema::RelationDef& r) override;
  void DropRelation(std::string_view name) override;

 private:
  static std::vector<std::pair<std::string, std::string>> ParsePairs(const std::string& text);
  static bool Matches(const schema::RelationDef& r, const ForeignKey& fk);
  static bool FindRelationFor(const std::vector<schema::RelationDef>& rels,
                              const std::string& table, const ForeignKey& fk);
  void RenameInRelations(std::string_view from, std::string_view to);
  void RenameFieldInRelations(const std::string& table, const std::string& from,
                              std::string_view to);

  // Saved queries and views.
 public:
  std::vector<schema::QueryDef> Queries() override;
  void CreateQuery(const schema::QueryDef& q) override;
  void DropQuery(std::string_view name) override;
  void RenameQuery(std::string_view from, std::string_view to) override;
  void ChangeQuerySql(std::string_view name, const std::string& sql) override;

 private:
  static std::string ViewSql(const std::string& name, const std::string& sql);
  void WriteQuery(const std::string& name, const std::string& sql);
  std::vector<std::pair<std::string, std::string>> DropBrokenViews();
  void MakeViews(const std::vector<std::pair<std::string, std::string>>& views);
  schema::QueryDef RequireQuery(std::string_view name);
  static std::string ViewBody(const std::string& sql);
  void RenameInQueries(std::string_view from, std::string_view to);

  // Links.
 public:
  void ChangeLink(std::string_view table, const std::string& connect, const std::string& source,
                  std::int32_t attributes) override;
  void AttachOne(const std::string& name, const std::string& connect, const std::string& source);
  void AttachError(const std::string& name, const std::string& why);
  std::string LinkTableSqlOf(const std::string& name);

 private:
  std::optional<TableDef> ReadLink(std::string_view name);
  void ReadLinkFields(TableDef& def);
  void CreateLink(const TableDef& def);
  void DropLinkTable(const std::string& name);
  void MakeLinkTable(const std::string& name, const LinkShape& shape);
  void CreateLinkIndex(const TableDef& link, const IndexDef& index);
  void DropLinkIndex(const TableDef& link, std::string_view name);

  // Transactions and rebuilds.
 private:
  void Transaction(const std::function<void()>& f, bool rebuild = false);
  void CheckForeignKeys();
  void RunChange(const std::string& sql);
  void Rebuild(const TableShape& from, const TableShape& wanted,
               const std::vector<std::pair<std::string, std::string>>& copy);
  bool PragmaOn(std::string_view name);
  static std::vector<std::pair<std::string, std::string>> CopyAll(const TableShape& shape);
  void DropManagedTriggers(const std::string& table);
  void SyncTriggers(const TableShape& shape);
  static TableShape WithoutOtherTriggers(TableShape s);

  Backend& b_;
  SysProps props_;
  int pkColumns_ = 0;       // of the table ReadFields read last
  int ordinalCounter_ = 0;  // the next physical position while reading fields
};

}  // namespace zmdb::dal::sqlite::detail
