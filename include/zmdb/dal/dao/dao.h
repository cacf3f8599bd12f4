// The DAO-style object model on the schema store: a data engine per thread
// with its workspaces, databases, and the table definitions, fields,
// indexes, saved queries and relations made, appended, renamed and deleted
// through their collections. Every object is an rt::Object reachable
// late-bound by member name as well as through the typed methods below.
//
// An object made by a Create* method is "pending": it holds its definition
// itself until it is appended to its collection, which writes it to the
// store. From then on (and for every object read from a collection) it is
// "bound": it reads and changes the store under its name.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "zmdb/dal/dao/common.h"

namespace zmdb::dal::dao {

class Database;
struct ForeignFolder;

// A field of a table definition, of an index's key or of a relation.
class Field : public rt::Object, public PropertyOwner {
 public:
  explicit Field(schema::FieldDef def) : def_(std::move(def)) {}
  Field(CoreRef core, std::string table, std::string name)
      : core_(std::move(core)), table_(std::move(table)), def_{} {
    def_.name = std::move(name);
  }
  std::string TypeName() const override { return "Field"; }
  rt::Variant GetProperty(std::string_view name, const std::vector<rt::Variant>& index) override;
  void SetProperty(std::string_view name, const rt::Variant& value,
                   const std::vector<rt::Variant>& index) override;
  rt::Variant Call(std::string_view name, std::vector<rt::Variant>& args) override;

  // The field as it is now (read from the store when bound).
  schema::FieldDef Def();
  const std::string& name() const { return def_.name; }
  bool bound() const { return core_ != nullptr; }
  void Bind(CoreRef core, std::string table);
  const std::string& foreignName() const { return foreignName_; }
  bool descending() const { return (def_.attributes & 1) != 0; }
  std::shared_ptr<Collection> Properties() { return MakeProperties(shared_from_this(), *this); }

  std::vector<std::string> BuiltinProperties() const override;
  std::vector<schema::Prop> CustomProperties() override;
  void PutCustomProperty(const schema::Prop& prop) override;
  void DeleteCustomProperty(std::string_view name) override;

 private:
  void Change(const std::function<void(schema::FieldDef&)>& edit);

  CoreRef core_;
  std::string table_;
  schema::FieldDef def_;     // pending: the definition; bound: its name
  std::string foreignName_;  // in a relation: the field of the foreign table
  bool readOnly_ = false;    // a key field of an appended index
  friend class Index;
};

class Index : public rt::Object, public PropertyOwner {
 public:
  explicit Index(std::string name) { def_.name = std::move(name); }
  Index(CoreRef core, std::string table, std::string name)
      : core_(std::move(core)), table_(std::move(table)) {
    def_.name = std::move(name);
  }
  std::string TypeName() const override { return "Index"; }
  rt::Variant GetProperty(std::string_view name, const std::vector<rt::Variant>& index) override;
  void SetProperty(std::string_view name, const rt::Variant& value,
                   const std::vector<rt::Variant>& index) override;
  rt::Variant Call(std::string_view name, std::vector<rt::Variant>& args) override;

  schema::IndexDef Def();
  const std::string& name() const { return def_.name; }
  bool bound() const { return core_ != nullptr; }
  void Bind(CoreRef core, std::string table);
  std::shared_ptr<Collection> Fields();
  std::shared_ptr<Field> CreateField(const std::string& name, std::int32_t type = 10,
                                     std::int32_t size = 0);

  std::vector<std::string> BuiltinProperties() const override;
  std::vector<schema::Prop> CustomProperties() override;
  void PutCustomProperty(const schema::Prop& prop) override;
  void DeleteCustomProperty(std::string_view name) override;

 private:
  CoreRef core_;
  std::string table_;
  schema::IndexDef def_;
  std::vector<std::shared_ptr<Field>> pendingFields_;
};

class TableDef : public rt::Object, public PropertyOwner {
 public:
  explicit TableDef(schema::TableDef def) : def_(std::move(def)) {}
  TableDef(CoreRef core, std::string name) : core_(std::move(core)) { def_.name = std::move(name); }
  std::string TypeName() const override { return "TableDef"; }
  rt::Variant GetProperty(std::string_view name, const std::vector<rt::Variant>& index) override;
  void SetProperty(std::string_view name, const rt::Variant& value,
                   const std::vector<rt::Variant>& index) override;
  rt::Variant Call(std::string_view name, std::vector<rt::Variant>& args) override;

  // The definition as it is now: pending fields and indexes included.
  schema::TableDef Def();
  const std::string& name() const { return def_.name; }
  bool bound() const { return core_ != nullptr; }
  void Bind(CoreRef core);
  std::shared_ptr<Collection> Fields();
  std::shared_ptr<Collection> Indexes();
  std::shared_ptr<Field> CreateField(const std::string& name, std::int32_t type = 10,
                                     std::int32_t size = 0);
  std::shared_ptr<Index> CreateIndex(const std::string& name);
  void SetName(const std::string& name);
  std::shared_ptr<Collection> Properties() { return MakeProperties(shared_from_this(), *this); }
  std::shared_ptr<Property> CreateProperty(const std::string& name, std::int32_t type,
                                           const rt::Variant& value) {
    return std::make_shared<Property>(name, type, value);
  }

  std::vector<std::string> BuiltinProperties() const override;
  std::vector<schema::Prop> CustomProperties() override;
  void PutCustomProperty(const schema::Prop& prop) override;
  void DeleteCustomProperty(std::string_view name) override;

 private:
  schema::TableDef Stored();

  CoreRef core_;
  schema::TableDef def_;  // pending: the definition (without fields and indexes)
  std::vector<std::shared_ptr<Field>> pendingFields_;
  std::vector<std::shared_ptr<Index>> pendingIndexes_;
};

class QueryDef : public rt::Object, public PropertyOwner {
 public:
  QueryDef(std::string name, std::string sql, CoreRef core)
      : core_(std::move(core)), name_(std::move(name)), sql_(std::move(sql)) {}
  std::string TypeName() const override { return "QueryDef"; }
  rt::Variant GetProperty(std::string_view name, const std::vector<rt::Variant>& index) override;
  void SetProperty(std::string_view name, const rt::Variant& value,
                   const std::vector<rt::Variant>& index) override;
  rt::Variant Call(std::string_view name, std::vector<rt::Variant>& args) override;

  const std::string& name() const { return name_; }
  std::string Sql();
  // Run an action query; error 3065 for a select query.
  std::int64_t Execute(int options = 0);
  bool saved() const { return saved_; }
  void MarkSaved() { saved_ = true; }

  std::vector<std::string> BuiltinProperties() const override;
  std::vector<schema::Prop> CustomProperties() override;
  void PutCustomProperty(const schema::Prop& prop) override;
  void DeleteCustomProperty(std::string_view name) override;

 private:
  CoreRef core_;  // the database (a query made without a name is never saved)
  std::string name_;
  std::string sql_;
  bool saved_ = false;
  std::vector<schema::Prop> props_;
  std::int64_t recordsAffected_ = 0;
};

class Relation : public rt::Object {
 public:
  explicit Relation(schema::RelationDef def) : def_(std::move(def)) {}
  Relation(CoreRef core, std::string name) : core_(std::move(core)) { def_.name = std::move(name); }
  std::string TypeName() const override { return "Relation"; }
  rt::Variant GetProperty(std::string_view name, const std::vector<rt::Variant>& index) override;
  void SetProperty(std::string_view name, const rt::Variant& value,
                   const std::vector<rt::Variant>& index) override;
  rt::Variant Call(std::string_view name, std::vector<rt::Variant>& args) override;

  schema::RelationDef Def();
  bool bound() const { return core_ != nullptr; }
  void Bind(CoreRef core) { core_ = std::move(core); }
  std::shared_ptr<Collection> Fields();
  std::shared_ptr<Field> CreateField(const std::string& name);

 private:
  CoreRef core_;
  schema::RelationDef def_;
  std::vector<std::shared_ptr<Field>> pendingFields_;
};

struct OpenArgs {
  std::string name;
  bool readOnly = false;
  std::string connect;
};

class Database : public rt::Object, public PropertyOwner {
 public:
  // Open a database (DBEngine.OpenDatabase): a file by its name, or a
  // server database by an "ODBC;DRIVER=...;..." or "ODBC;DSN=...;..."
  // connect string (the name is then not used). Error 3024 for a missing
  // file, 3343 for a file that is no database; a refused server connection
  // keeps the driver's error. A connect string of an installable driver
  // ("dBase IV;", "FoxPro 2.6;", "Paradox 4.X;", "Excel 5.0;", "Text;")
  // opens the folder (the workbook for Excel) `name` as a database whose
  // TableDefs are its table files (sheets); 3170 for a driver without one.
  static std::shared_ptr<Database> Open(const OpenArgs& args);
  // Create an empty file database; error 3204 when the file exists.
  static std::shared_ptr<Database> Create(const std::string& name, const std::string& locale);

  std::string TypeName() const override { return "Database"; }
  rt::Variant GetProperty(std::string_view name, const std::vector<rt::Variant>& index) override;
  void SetProperty(std::string_view name, const rt::Variant& value,
                   const std::vector<rt::Variant>& index) override;
  rt::Variant Call(std::string_view name, std::vector<rt::Variant>& args) override;

  const std::string& Name() const { return name_; }
  const std::string& Connect() const { return connect_; }
  std::shared_ptr<Collection> TableDefs();
  std::shared_ptr<Collection> QueryDefs();
  std::shared_ptr<Collection> Relations();
  std::shared_ptr<TableDef> CreateTableDef(const std::string& name, std::int32_t attributes = 0,
                                           const std::string& sourceTable = {},
                                           const std::string& connect = {});
  // A named query is saved at once, as the engine does; an unnamed one is not.
  std::shared_ptr<QueryDef> CreateQueryDef(const std::string& name = {},
                                           const std::string& sql = {});
  std::shared_ptr<Relation> CreateRelation(const std::string& name = {},
                                           const std::string& table = {},
                                           const std::string& foreignTable = {},
                                           std::int32_t attributes = 0);
  // Run a Jet SQL statement; returns the rows it changed. Option 128
  // (dbFailOnError) undoes the whole statement when it fails. A SELECT ...
  // INTO [<driver>;database=<path>].<table> writes its rows through the
  // driver's writer (select_into.h) and returns the rows written.
  std::int64_t Execute(const std::string& statement, int options = 0);
  void Close();
  const CoreRef& core() const { return core_; }
  // True until Close (a foreign database holds no store).
  bool IsOpen() const;

  std::vector<std::string> BuiltinProperties() const override;
  std::vector<schema::Prop> CustomProperties() override;
  void PutCustomProperty(const schema::Prop& prop) override;
  void DeleteCustomProperty(std::string_view name) override;

 private:
  Database(CoreRef core, std::string name, std::string connect, bool readOnly)
      : core_(std::move(core)),
        name_(std::move(name)),
        connect_(std::move(connect)),
        readOnly_(readOnly) {}
  std::shared_ptr<Collection> ForeignTableDefs();

  CoreRef core_;
  std::shared_ptr<ForeignFolder> foreign_;  // set for a database of an installable driver
  std::string name_;
  std::string connect_;
  bool readOnly_ = false;
  std::int64_t recordsAffected_ = 0;
};

class Workspace : public rt::Object {
 public:
  explicit Workspace(std::string name) : name_(std::move(name)) {}
  std::string TypeName() const override { return "Workspace"; }
  rt::Variant GetProperty(std::string_view name, const std::vector<rt::Variant>& index) override;
  rt::Variant Call(std::string_view name, std::vector<rt::Variant>& args) override;

  std::shared_ptr<Database> OpenDatabase(const OpenArgs& args);
  std::shared_ptr<Database> CreateDatabase(const std::string& name, const std::string& locale);
  std::shared_ptr<Collection> Databases();

 private:
  std::string name_;
  std::vector<std::weak_ptr<Database>> databases_;
};

class DBEngine : public rt::Object {
 public:
  DBEngine();
  std::string TypeName() const override { return "DBEngine"; }
  rt::Variant GetProperty(std::string_view name, const std::vector<rt::Variant>& index) override;
  rt::Variant Call(std::string_view name, std::vector<rt::Variant>& args) override;

  std::shared_ptr<Database> OpenDatabase(const OpenArgs& args);
  std::shared_ptr<Database> CreateDatabase(const std::string& name, const std::string& locale);
  std::shared_ptr<Collection> Workspaces();
  const std::shared_ptr<Workspace>& DefaultWorkspace() const { return workspaces_.front(); }

 private:
  std::vector<std::shared_ptr<Workspace>> workspaces_;
};

// OpenDatabase's late-bound arguments: name, options, read-only, connect.
OpenArgs OpenArgsFrom(const std::vector<rt::Variant>& args);

}  // namespace zmdb::dal::dao
