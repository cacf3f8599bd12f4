// The schema store: what a store must do for the schema objects (the DAO-style
// table definitions, fields, indexes, relations and saved queries, and the
// ADOX-style catalogue). The objects are built on this interface only, so each
// backend supplies one implementation and the objects work on all of them.
//
// Names are compared without regard to case, as the engine does. Every
// failure is an rt::PlatformError carrying the engine's number and text.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zmdb/runtime/variant.h"

namespace zmdb::dal::schema {

// A property kept with a schema object beyond its built-in ones ("Description"
// and whatever a caller creates); `type` is the DAO type code of the value.
struct Prop {
  std::string name;
  std::int32_t type = 10;  // dbText
  rt::Variant value;
};

// The property named `name` in `props` (case-insensitive), or null.
const Prop* FindProp(const std::vector<Prop>& props, std::string_view name);
// Put (add or replace) a property in `props`.
void PutProp(std::vector<Prop>& props, Prop prop);

// DAO field attribute bits.
inline constexpr std::int32_t kFixedField = 0x1, kVariableField = 0x2, kAutoIncrField = 0x10,
                              kUpdatableField = 0x20;
// DAO table-definition attribute bits for links.
inline constexpr std::int32_t kAttachSavePwd = 0x20000, kAttachedODBC = 0x20000000,
                              kAttachedTable = 0x40000000;
// DAO relation attribute bits.
inline constexpr std::int32_t kRelationUnique = 0x1, kRelationDontEnforce = 0x2,
                              kRelationUpdateCascade = 0x100, kRelationDeleteCascade = 0x1000;

struct FieldDef {
  std::string name;
  std::int32_t type = 10;  // DAO type code
  std::int32_t size = 0;   // characters of a Text field, bytes of a Binary one
  std::int32_t attributes = 0;
  std::int32_t ordinal = -1;  // -1: the field's place in the table
  bool required = false;
  bool allowZeroLength = true;
  std::string defaultValue;  // the engine's text form ("0", "'abc'", "=Date()")
  std::vector<Prop> props;
  // A Decimal field's digits and digits after the point (0: the store's default).
  std::int32_t precision = 0;
  std::int32_t scale = 0;
};

struct IndexField {
  std::string name;
  bool descending = false;
};

struct IndexDef {
  std::string name;
  std::vector<IndexField> fields;
  bool primary = false;
  bool unique = false;
  bool required = false;
  bool ignoreNulls = false;
  bool clustered = false;
  bool foreign = false;  // made by the engine for a relation
  std::vector<Prop> props;
};

enum class TableKind { Table, Link, View, System };

struct TableDef {
  std::string name;
  std::vector<FieldDef> fields;  // in ordinal order
  std::vector<IndexDef> indexes;
  TableKind kind = TableKind::Table;
  std::string connect;      // a link's connect string
  std::string sourceTable;  // a link's table in its source
  std::int32_t attributes = 0;
  rt::Variant dateCreated = rt::Variant::Null();
  rt::Variant lastUpdated = rt::Variant::Null();
  std::vector<Prop> props;
};

// One entry of the table listing.
struct TableEntry {
  std::string name;
  TableKind kind = TableKind::Table;
  rt::Variant dateCreated = rt::Variant::Null();
  rt::Variant lastUpdated = rt::Variant::Null();
};

// DAO query types.
inline constexpr std::int32_t kQSelect = 0, kQDelete = 32, kQUpdate = 48, kQAppend = 64,
                              kQMakeTable = 80, kQDDL = 96, kQSetOperation = 128;

struct QueryDef {
  std::string name;
  std::string sql;  // as the caller wrote it (Jet SQL on the file store)
  std::int32_t type = kQSelect;
  std::vector<Prop> props;
};

struct RelationDef {
  std::string name;
  std::string table;         // the primary (referenced) table
  std::string foreignTable;  // the table whose fields refer to it
  std::int32_t attributes = 0;
  std::vector<std::pair<std::string, std::string>> fields;  // primary field, foreign field
};

// Which object a property belongs to.
enum class ObjectKind { Database, Table, Field, Index, Query, Relation };
struct ObjectPath {
  ObjectKind kind = ObjectKind::Table;
  std::string owner;  // table, query or relation name ("" for the database)
  std::string item;   // field or index name ("" for the owner itself)
};

// The DAO type of a query text, from its first words.
std::int32_t QueryTypeOf(std::string_view sql);

class SchemaStore {
 public:
  virtual ~SchemaStore() = default;

  // Tables, links and views of the database, never the store's own system
  // objects, in name order.
  virtual std::vector<TableEntry> Tables() = 0;
  // One table or link with its fields and indexes; no value when missing.
  virtual std::optional<TableDef> Table(std::string_view name) = 0;
  // Create a table with its fields and indexes, or a link (kind Link).
  virtual void CreateTable(const TableDef& table) = 0;
  virtual void DropTable(std::string_view name) = 0;
  virtual void RenameTable(std::string_view from, std::string_view to) = 0;
  // A link's connect string, source table and attributes.
  virtual void ChangeLink(std::string_view table, const std::string& connect,
                          const std::string& sourceTable, std::int32_t attributes) = 0;

  virtual void AddField(std::string_view table, const FieldDef& field) = 0;
  virtual void DropField(std::string_view table, std::string_view field) = 0;
  virtual void RenameField(std::string_view table, std::string_view from, std::string_view to) = 0;
  // Change the properties of an existing field (same name) to those of `field`.
  virtual void ChangeField(std::string_view table, const FieldDef& field) = 0;

  virtual void CreateIndex(std::string_view table, const IndexDef& index) = 0;
  virtual void DropIndex(std::string_view table, std::string_view index) = 0;

  virtual std::vector<QueryDef> Queries() = 0;
  virtual void CreateQuery(const QueryDef& query) = 0;
  virtual void DropQuery(std::string_view name) = 0;
  virtual void RenameQuery(std::string_view from, std::string_view to) = 0;
  virtual void ChangeQuerySql(std::string_view name, const std::string& sql) = 0;

  virtual std::vector<RelationDef> Relations() = 0;
  virtual void CreateRelation(const RelationDef& relation) = 0;
  virtual void DropRelation(std::string_view name) = 0;

  // Properties beyond the built-in ones, of any object.
  virtual std::vector<Prop> Properties(const ObjectPath& path) = 0;
  virtual void PutProperty(const ObjectPath& path, const Prop& prop) = 0;
  virtual void DeleteProperty(const ObjectPath& path, std::string_view name) = 0;

  virtual std::int64_t RecordCount(std::string_view table) = 0;
};

}  // namespace zmdb::dal::schema
