// The ADOX-style catalogue on an ADO connection: Catalog, Tables, Table,
// Columns, Column, Indexes, Index, Keys, Key, built on the schema store of
// the connection's backend. Like the DAO objects, a Table, Column, Index or
// Key made by the caller is pending until it is appended, then bound.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "zmdb/dal/connection.h"
#include "zmdb/dal/dao/common.h"

namespace zmdb::dal::adox {

using dao::Collection;
using dao::CoreRef;

// ADOX constants.
inline constexpr std::int32_t adColFixed = 1, adColNullable = 2;
inline constexpr std::int32_t adIndexNullsAllow = 0, adIndexNullsDisallow = 1,
                              adIndexNullsIgnore = 2, adIndexNullsIgnoreAny = 4;
inline constexpr std::int32_t adKeyPrimary = 1, adKeyForeign = 2, adKeyUnique = 3;
inline constexpr std::int32_t adRINone = 0, adRICascade = 1;

// ADO type code <-> DAO type code as the catalogue reports columns.
std::int32_t AdoTypeOfDao(std::int32_t daoType);
std::int32_t DaoTypeOfAdoCode(std::int32_t adoType);

class Catalog;

class Column : public rt::Object, public dao::PropertyOwner {
 public:
  Column() = default;
  Column(CoreRef core, std::string table, std::string name)
      : core_(std::move(core)), table_(std::move(table)) {
    def_.name = std::move(name);
  }
  std::string TypeName() const override { return "Column"; }
  rt::Variant GetProperty(std::string_view name, const std::vector<rt::Variant>& index) override;
  void SetProperty(std::string_view name, const rt::Variant& value,
                   const std::vector<rt::Variant>& index) override;

  schema::FieldDef Def();
  const std::string& name() const { return def_.name; }
  bool bound() const { return core_ != nullptr; }
  void Bind(CoreRef core, std::string table);
  void SetCatalog(std::weak_ptr<Catalog> c) { catalog_ = std::move(c); }
  // A pending column: name, ADO type, defined size.
  void Define(const std::string& name, std::int32_t adoType, std::int32_t size);
  bool descending() const { return descending_; }
  const std::string& relatedColumn() const { return related_; }

  std::vector<std::string> BuiltinProperties() const override;
  std::vector<schema::Prop> CustomProperties() override;
  void PutCustomProperty(const schema::Prop& prop) override;
  void DeleteCustomProperty(std::string_view name) override;

 private:
  void Change(const std::function<void(schema::FieldDef&)>& edit);

  CoreRef core_;
  std::string table_;
  schema::FieldDef def_{"", 10, 0, 0, -1, true, false, {}, {}};
  std::weak_ptr<Catalog> catalog_;
  bool descending_ = false;  // as a key column of an index (SortOrder)
  std::string related_;      // as a key column of a foreign key
};

class Index : public rt::Object, public dao::PropertyOwner {
 public:
  Index() = default;
  Index(CoreRef core, std::string table, std::string name)
      : core_(std::move(core)), table_(std::move(table)) {
    def_.name = std::move(name);
  }
  std::string TypeName() const override { return "Index"; }
  rt::Variant GetProperty(std::string_view name, const std::vector<rt::Variant>& index) override;
  void SetProperty(std::string_view name, const rt::Variant& value,
                   const std::vector<rt::Variant>& index) override;

  schema::IndexDef Def();
  const std::string& name() const { return def_.name; }
  bool bound() const { return core_ != nullptr; }
  void Bind(CoreRef core, std::string table);
  std::shared_ptr<Collection> Columns();

  std::vector<std::string> BuiltinProperties() const override;
  std::vector<schema::Prop> CustomProperties() override { return {}; }
  void PutCustomProperty(const schema::Prop&) override;
  void DeleteCustomProperty(std::string_view) override;

 private:
  CoreRef core_;
  std::string table_;
  schema::IndexDef def_;
  std::vector<std::shared_ptr<Column>> pendingColumns_;
};

class Key : public rt::Object {
 public:
  Key() = default;
  std::string TypeName() const override { return "Key"; }
  rt::Variant GetProperty(std::string_view name, const std::vector<rt::Variant>& index) override;
  void SetProperty(std::string_view name, const rt::Variant& value,
                   const std::vector<rt::Variant>& index) override;

  const std::string& name() const { return name_; }
  std::shared_ptr<Collection> Columns();

  std::string name_;
  std::int32_t type_ = adKeyPrimary;
  std::string relatedTable_;
  std::int32_t updateRule_ = adRINone, deleteRule_ = adRINone;
  std::vector<std::shared_ptr<Column>> columns_;
  bool bound_ = false;
};

class Table : public rt::Object, public dao::PropertyOwner {
 public:
  Table() = default;
  Table(CoreRef core, std::string name, std::weak_ptr<Catalog> catalog)
      : core_(std::move(core)), catalog_(std::move(catalog)) {
    def_.name = std::move(name);
  }
  std::string TypeName() const override { return "Table"; }
  rt::Variant GetProperty(std::string_view name, const std::vector<rt::Variant>& index) override;
  void SetProperty(std::string_view name, const rt::Variant& value,
                   const std::vector<rt::Variant>& index) override;

  schema::TableDef Def();
  const std::string& name() const { return def_.name; }
  bool bound() const { return core_ != nullptr; }
  void Bind(CoreRef core);
  std::shared_ptr<Collection> Columns();
  std::shared_ptr<Collection> Indexes();
  std::shared_ptr<Collection> Keys();
  // "TABLE", "VIEW", "LINK" or "SYSTEM TABLE".
  std::string Type();

  std::vector<std::string> BuiltinProperties() const override;
  std::vector<schema::Prop> CustomProperties() override;
  void PutCustomProperty(const schema::Prop& prop) override;
  void DeleteCustomProperty(std::string_view name) override;

 private:
  std::vector<schema::Prop> LinkProps();

  CoreRef core_;
  schema::TableDef def_;
  std::weak_ptr<Catalog> catalog_;
  std::vector<std::shared_ptr<Column>> pendingColumns_;
  std::vector<std::shared_ptr<Index>> pendingIndexes_;
  std::vector<std::shared_ptr<Key>> pendingKeys_;
  friend class Catalog;
};

class Catalog : public rt::Object {
 public:
  static std::shared_ptr<Catalog> Make() { return std::shared_ptr<Catalog>(new Catalog()); }
  std::string TypeName() const override { return "Catalog"; }
  rt::Variant GetProperty(std::string_view name, const std::vector<rt::Variant>& index) override;
  void SetProperty(std::string_view name, const rt::Variant& value,
                   const std::vector<rt::Variant>& index) override;
  rt::Variant Call(std::string_view name, std::vector<rt::Variant>& args) override;

  // A Connection object, or a connection string the catalogue opens itself.
  void SetActiveConnection(const rt::Variant& connection);
  const std::shared_ptr<Connection>& ActiveConnection() const { return connection_; }
  // Create an empty file database and make it the active connection.
  std::shared_ptr<Connection> Create(const std::string& connectionString);
  std::shared_ptr<Collection> Tables();
  CoreRef core();

 private:
  Catalog() = default;
  std::shared_ptr<Connection> connection_;
  CoreRef core_;
};

}  // namespace zmdb::dal::adox
