// Database, QueryDef and Relation of the DAO-style model (dao.h).
#include <filesystem>
#include <optional>

#include "foreign_p.h"
#include "zmdb/dal/ado.h"
#include "zmdb/dal/connstr.h"
#include "zmdb/dal/dao/dao.h"
#include "zmdb/dal/engine_errors.h"
#include "zmdb/dal/router.h"
#include "zmdb/dal/store_registry.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/host.h"
#include "zmdb/runtime/text.h"

namespace zmdb::dal::dao {

using rt::NameEquals;
using rt::Variant;

namespace {

constexpr int kFailOnError = 128;

// The engine's number for a failure of the file store: a missing file 3024,
// a file that is no database 3343, a missing table 3078; others keep theirs.
[[noreturn]] void RaiseAsEngine(const rt::PlatformError& e) {
  const std::string& d = e.info().Description;
  if (d.starts_with("Could not find file")) engerr::Raise(rt::err::kCouldNotFindFile, d);
  if (d.starts_with("Unrecognized database format")) {
    engerr::Raise(rt::err::kUnrecognizedFormat, d);
  }
  if (e.number() == rt::err::kNoSuchObject) engerr::Raise(rt::err::kNoInputTable, d);
  if (e.number() == rt::err::kPasswordRefused) engerr::Raise(rt::err::kNotValidPassword, d);
  throw e;
}

// Runs an action statement for Database.Execute and QueryDef.Execute: with
// dbFailOnError inside a transaction of its own, rolled back on failure.
// Returns the rows it changed (0 when the store cannot tell).
// A SELECT ... INTO a foreign target goes to its driver instead, which
// leaves no partial target behind when it fails.
std::int64_t RunAction(Backend& b, const std::string& statement, int options) {
  const std::optional<ForeignInto> into = ParseForeignInto(statement);
  const bool atomic = !into && (options & kFailOnError) != 0;
  if (atomic) b.Begin();
  try {
    if (into) return WriteForeignInto(b, *into);
    Result r = b.Execute(statement);
    if (atomic) b.Commit();
    return r.rowsAffected < 0 ? 0 : r.rowsAffected;
  } catch (const rt::PlatformError& e) {
    if (atomic) b.Rollback();
    RaiseAsEngine(e);
  }
}

// Error 3055 for a database name that is empty or holds a NUL character
// (the file system would read the name only up to it).
void RefuseBadFileName(std::string_view name) {
  if (name.empty()) rt::RaiseStandard(rt::err::kInvalidFileName);
  RefuseNul(name, rt::err::kInvalidFileName, "Not a valid file name: the name", engerr::kSource,
            true);
}

// Whether an ODBC connection string names a data source (a DSN, a file DSN
// or a driver); one that names none ("ODBC;" alone) is completed by asking.
bool NamesDataSource(std::string_view odbc) {
  for (const auto& [key, value] : ParseConnectionPairs(odbc)) {
    const std::string k = rt::AsciiUpper(TrimBlanks(key));
    if ((k == "DSN" || k == "FILEDSN" || k == "DRIVER") && !TrimBlanks(value).empty()) return true;
  }
  return false;
}

// A property of the CreateProperty form: name, type, value.
rt::ObjectRef NewProperty(const std::vector<Variant>& args) {
  const Variant& v = rt::ArgAt(args, 2);
  return std::make_shared<Property>(TextArg(args, 0), rt::OptLongArg(args, 1, DaoTypeOfValue(v)),
                                    v.IsMissing() ? Variant() : v);
}

}  // namespace

// ---- Database ----

std::shared_ptr<Database> Database::Open(const OpenArgs& args) {
  if (rt::StartsWithNoCase(args.connect, "ODBC;")) {
    // A server database, described by the connect string alone: the rest of
    // it ("DRIVER=...;..." or "DSN=...;...") is the ODBC connection string.
    // Without a data source in it the host asks the user for one.
    std::string odbc = args.connect.substr(5);
    std::string connect = args.connect;
    if (!NamesDataSource(odbc)) {
      std::optional<std::string> answer = rt::CurrentHost().PromptDataSource();
      if (!answer) rt::RaiseStandard(rt::err::kCanceledByUser);
      odbc = rt::StartsWithNoCase(*answer, "ODBC;") ? answer->substr(5) : *answer;
      connect = "ODBC;" + odbc;
    }
    const Route route = RouteConnection(odbc);
    if (route.kind != StoreKind::Server) rt::RaiseStandard(rt::err::kInstallableIsam);
    StoreOptions options;
    options.readOnly = args.readOnly;
    auto core = std::make_shared<DbCore>(OpenStore(route, options));
    return std::shared_ptr<Database>(new Database(core, args.name, connect, args.readOnly));
  }
  if (const auto driver = DriverOfConnect(args.connect)) {
    // "dBase IV;", "Excel 5.0;" ...: a folder or workbook of another format.
    CheckForeignDatabase(*driver, args.name);
    auto core = std::make_shared<DbCore>(std::unique_ptr<Backend>());
    core->Close();
    std::shared_ptr<Database> db(new Database(core, args.name, args.connect, args.readOnly));
    db->foreign_ = std::make_shared<ForeignFolder>(ForeignFolder{*driver, args.name, true});
    return db;
  }
  RefuseBadFileName(args.name);
  StoreOptions options;
  options.readOnly = args.readOnly;
  try {
    auto core = std::make_shared<DbCore>(
        OpenStore(FileRoute(args.name, FilePassword(args.connect)), options));
    return std::shared_ptr<Database>(new Database(core, args.name, args.connect, args.readOnly));
  } catch (const rt::PlatformError& e) {
    RaiseAsEngine(e);
  }
}

// The locale text (";LANGID=...;CP=...;COUNTRY=...;pwd=...") is accepted; the
// file store keeps no collation of its own, and a password in it makes the
// new file an encrypted one.
std::shared_ptr<Database> Database::Create(const std::string& name, const std::string& locale) {
  RefuseBadFileName(name);
  std::error_code ec;
  if (std::filesystem::exists(name, ec)) {
    rt::RaiseStandard(rt::err::kDatabaseExists);
  }
  const std::filesystem::path folder = std::filesystem::path(name).parent_path();
  if (!folder.empty() && !std::filesystem::is_directory(folder, ec)) {
    rt::RaiseStandard(rt::err::kNotValidPath, nullptr, folder.string());
  }
  StoreOptions options;
  options.create = true;
  try {
    auto core = std::make_shared<DbCore>(OpenStore(FileRoute(name, FilePassword(locale)), options));
    return std::shared_ptr<Database>(new Database(core, name, {}, false));
  } catch (const rt::PlatformError& e) {
    RaiseAsEngine(e);
  }
}

bool Database::IsOpen() const {
  return foreign_ ? foreign_->open : core_->open();
}

// The tables of a foreign database: its table files (or sheets), read afresh
// each time; Delete removes a table's files.
std::shared_ptr<Collection> Database::ForeignTableDefs() {
  std::shared_ptr<ForeignFolder> folder = foreign_;
  Collection::Behaviour b;
  b.names = [folder] { return ForeignTables(*folder); };
  b.make = [](const std::string& name) -> rt::ObjectRef {
    schema::TableDef d;
    d.name = name;
    return std::make_shared<TableDef>(std::move(d));
  };
  b.remove = [folder](const std::string& name) { DeleteForeignTable(*folder, name); };
  b.missing = [] { engerr::ItemNotFound("DAO.TableDefs"); };
  return std::make_shared<Collection>("TableDefs", std::move(b));
}

// The table definitions and links of the database (not its queries or system table).
std::shared_ptr<Collection> Database::TableDefs() {
  if (foreign_) return ForeignTableDefs();
  CoreRef core = core_;
  core->backend();  // a closed database has no collections
  return StoreCollection<TableDef>(
      "TableDefs", "DAO.TableDefs",
      [core] {
        std::vector<std::string> n;
        for (const auto& t : core->store().Tables()) {
          if (t.kind == schema::TableKind::Table || t.kind == schema::TableKind::Link) {
            n.push_back(t.name);
          }
        }
        return n;
      },
      [core](const std::string& name) { return std::make_shared<TableDef>(core, name); },
      [core](TableDef& t) {
        if (t.bound()) engerr::InvalidOperation();
        core->store().CreateTable(t.Def());
        t.Bind(core);
      },
      [core](const std::string& name) { core->store().DropTable(name); });
}

// The saved queries: views and the action queries of the system table.
std::shared_ptr<Collection> Database::QueryDefs() {
  CoreRef core = core_;
  core->backend();
  return StoreCollection<QueryDef>(
      "QueryDefs", "DAO.QueryDefs", [core] { return NamesOf(core->store().Queries()); },
      [core](const std::string& name) {
        auto q = std::make_shared<QueryDef>(name, std::string(), core);
        q->MarkSaved();
        return q;
      },
      [core](QueryDef& q) {
        if (q.saved()) engerr::InvalidOperation();
        core->store().CreateQuery({q.name(), q.Sql(), 0, q.CustomProperties()});
        q.MarkSaved();
      },
      [core](const std::string& name) { core->store().DropQuery(name); });
}

// The relations: those made through the objects and the foreign keys made by SQL.
std::shared_ptr<Collection> Database::Relations() {
  CoreRef core = core_;
  core->backend();
  return StoreCollection<Relation>(
      "Relations", "DAO.Relations", [core] { return NamesOf(core->store().Relations()); },
      [core](const std::string& name) { return std::make_shared<Relation>(core, name); },
      [core](Relation& r) {
        if (r.bound()) engerr::InvalidOperation();
        core->store().CreateRelation(r.Def());
        r.Bind(core);
      },
      [core](const std::string& name) { core->store().DropRelation(name); });
}

// A new pending table definition (a link when `connect` is set).
std::shared_ptr<TableDef> Database::CreateTableDef(const std::string& name, std::int32_t attributes,
                                                   const std::string& sourceTable,
                                                   const std::string& connect) {
  schema::TableDef d;
  d.name = name;
  d.attributes = attributes;
  d.sourceTable = sourceTable;
  d.connect = connect;
  return std::make_shared<TableDef>(std::move(d));
}

// A named query is saved at once; an unnamed one stays a temporary query.
std::shared_ptr<QueryDef> Database::CreateQueryDef(const std::string& name,
                                                   const std::string& sql) {
  auto q = std::make_shared<QueryDef>(name, sql, core_);
  if (!name.empty()) {
    core_->store().CreateQuery({name, sql, 0, {}});
    q->MarkSaved();
  }
  return q;
}

// A new pending relation, appended later through Relations.
std::shared_ptr<Relation> Database::CreateRelation(const std::string& name,
                                                   const std::string& table,
                                                   const std::string& foreignTable,
                                                   std::int32_t attributes) {
  schema::RelationDef d;
  d.name = name;
  d.table = table;
  d.foreignTable = foreignTable;
  d.attributes = attributes;
  return std::make_shared<Relation>(std::move(d));
}

std::int64_t Database::Execute(const std::string& statement, int options) {
  if (foreign_) {
    if (!foreign_->open) engerr::ObjectInvalid();
    engerr::NotYetSupported("Running a statement on a database of the " +
                            connect_.substr(0, connect_.find(';')) + " driver");
  }
  recordsAffected_ = RunAction(core_->backend(), statement, options);
  return recordsAffected_;
}

// Closes the store; the objects reached through it raise 3420 afterwards.
void Database::Close() {
  if (foreign_) {
    if (!foreign_->open) engerr::ObjectInvalid();
    foreign_->open = false;
    return;
  }
  core_->backend();  // closing twice is error 3420, as for any closed object
  core_->Close();
}

// Late-bound read of a member by name (any case); with an index, a collection member answers its
// item.
Variant Database::GetProperty(std::string_view name, const std::vector<Variant>& index) {
  if (NameEquals(name, "Name")) return Variant(name_);
  if (NameEquals(name, "Connect")) return Variant(connect_);
  if (NameEquals(name, "TableDefs")) return CollectionOrItem(TableDefs(), index);
  if (NameEquals(name, "QueryDefs")) return CollectionOrItem(QueryDefs(), index);
  if (NameEquals(name, "Relations")) return CollectionOrItem(Relations(), index);
  if (NameEquals(name, "Properties")) {
    return CollectionOrItem(MakeProperties(shared_from_this(), *this), index);
  }
  if (NameEquals(name, "Updatable")) return Variant(!readOnly_);
  if (NameEquals(name, "RecordsAffected"))
    return Variant(static_cast<std::int32_t>(recordsAffected_));
  if (NameEquals(name, "Version")) return Variant("4.0");
  if (NameEquals(name, "Transactions")) return Variant(true);
  if (NameEquals(name, "QueryTimeout")) return Variant(std::int16_t{60});
  return Object::GetProperty(name, index);
}

// Late-bound write of a member by name (any case); 438 for a member the object lacks.
void Database::SetProperty(std::string_view name, const Variant& value,
                           const std::vector<Variant>& index) {
  if (NameEquals(name, "Connect")) {
    connect_ = rt::TextOf(value);
    return;
  }
  if (NameEquals(name, "QueryTimeout")) return;
  Object::SetProperty(name, value, index);
}

// Late-bound method call by name (any case); collections read as methods answer their item.
Variant Database::Call(std::string_view name, std::vector<Variant>& args) {
  if (NameEquals(name, "CreateTableDef")) {
    return Variant(rt::ObjectRef(CreateTableDef(TextArg(args, 0), rt::OptLongArg(args, 1, 0),
                                                TextArg(args, 2), TextArg(args, 3))));
  }
  if (NameEquals(name, "CreateQueryDef")) {
    return Variant(rt::ObjectRef(CreateQueryDef(TextArg(args, 0), TextArg(args, 1))));
  }
  if (NameEquals(name, "CreateRelation")) {
    return Variant(rt::ObjectRef(CreateRelation(TextArg(args, 0), TextArg(args, 1),
                                                TextArg(args, 2), rt::OptLongArg(args, 3, 0))));
  }
  if (NameEquals(name, "Execute")) {
    Execute(rt::CStr(rt::ArgAt(args, 0)), rt::OptLongArg(args, 1, 0));
    return {};
  }
  if (NameEquals(name, "Close")) {
    Close();
    return {};
  }
  if (NameEquals(name, "CreateProperty")) return Variant(NewProperty(args));
  if (NameEquals(name, "TableDefs") || NameEquals(name, "QueryDefs") ||
      NameEquals(name, "Relations") || NameEquals(name, "Properties")) {
    return GetProperty(name, args);
  }
  return Object::Call(name, args);
}

// The built-in property names, listed first by the Properties collection.
std::vector<std::string> Database::BuiltinProperties() const {
  return {"Name",    "Connect",         "Transactions", "Updatable",
          "Version", "RecordsAffected", "QueryTimeout"};
}

// The caller's own properties: the store's once appended, else those held here.
std::vector<schema::Prop> Database::CustomProperties() {
  return core_->store().Properties({schema::ObjectKind::Database, "", ""});
}

// Adds or replaces one of the caller's own properties.
void Database::PutCustomProperty(const schema::Prop& prop) {
  core_->store().PutProperty({schema::ObjectKind::Database, "", ""}, prop);
}

// Removes one of the caller's own properties.
void Database::DeleteCustomProperty(std::string_view name) {
  core_->store().DeleteProperty({schema::ObjectKind::Database, "", ""}, name);
}

// ---- QueryDef ----

std::string QueryDef::Sql() {
  if (!saved_) return sql_;
  for (const auto& q : core_->store().Queries()) {
    if (NameEquals(q.name, name_)) return q.sql;
  }
  engerr::ObjectInvalid();
}

std::int64_t QueryDef::Execute(int options) {
  const std::string sql = Sql();
  if (schema::QueryTypeOf(sql) == schema::kQSelect) {
    rt::RaiseStandard(rt::err::kSelectNotExecutable);
  }
  recordsAffected_ = RunAction(core_->backend(), sql, options);
  return recordsAffected_;
}

// Late-bound read of a member by name (any case); with an index, a collection member answers its
// item.
Variant QueryDef::GetProperty(std::string_view name, const std::vector<Variant>& index) {
  if (NameEquals(name, "Name")) return Variant(name_);
  if (NameEquals(name, "SQL")) return Variant(Sql());
  if (NameEquals(name, "Type"))
    return Variant(static_cast<std::int16_t>(schema::QueryTypeOf(Sql())));
  if (NameEquals(name, "ReturnsRecords"))
    return Variant(schema::QueryTypeOf(Sql()) == schema::kQSelect);
  if (NameEquals(name, "RecordsAffected"))
    return Variant(static_cast<std::int32_t>(recordsAffected_));
  if (NameEquals(name, "Connect")) return Variant(std::string());
  if (NameEquals(name, "Updatable")) return Variant(true);
  if (NameEquals(name, "DateCreated") || NameEquals(name, "LastUpdated")) return Variant::Null();
  if (NameEquals(name, "Properties")) {
    return CollectionOrItem(MakeProperties(shared_from_this(), *this), index);
  }
  return Object::GetProperty(name, index);
}

// Late-bound write of a member by name (any case); 438 for a member the object lacks.
void QueryDef::SetProperty(std::string_view name, const Variant& value,
                           const std::vector<Variant>& index) {
  if (NameEquals(name, "SQL")) {
    const std::string sql = rt::TextOf(value);
    if (saved_) core_->store().ChangeQuerySql(name_, sql);
    sql_ = sql;
    return;
  }
  if (NameEquals(name, "Name")) {
    const std::string to = rt::CStr(value);
    if (saved_) core_->store().RenameQuery(name_, to);
    name_ = to;
    return;
  }
  Object::SetProperty(name, value, index);
}

// Late-bound method call by name (any case); collections read as methods answer their item.
Variant QueryDef::Call(std::string_view name, std::vector<Variant>& args) {
  if (NameEquals(name, "Execute")) {
    Execute(rt::OptLongArg(args, 0, 0));
    return {};
  }
  if (NameEquals(name, "CreateProperty")) return Variant(NewProperty(args));
  if (NameEquals(name, "Close")) return {};
  if (NameEquals(name, "Properties")) return GetProperty(name, args);
  return Object::Call(name, args);
}

// The built-in property names, listed first by the Properties collection.
std::vector<std::string> QueryDef::BuiltinProperties() const {
  return {"Name",    "SQL",       "Type",        "ReturnsRecords", "RecordsAffected",
          "Connect", "Updatable", "DateCreated", "LastUpdated"};
}

// The caller's own properties: the store's once appended, else those held here.
std::vector<schema::Prop> QueryDef::CustomProperties() {
  if (!saved_) return props_;
  return core_->store().Properties({schema::ObjectKind::Query, name_, ""});
}

// Adds or replaces one of the caller's own properties.
void QueryDef::PutCustomProperty(const schema::Prop& prop) {
  if (!saved_) return schema::PutProp(props_, prop);
  core_->store().PutProperty({schema::ObjectKind::Query, name_, ""}, prop);
}

// Removes one of the caller's own properties.
void QueryDef::DeleteCustomProperty(std::string_view name) {
  if (!saved_) {
    std::erase_if(props_, [&](const schema::Prop& p) { return NameEquals(p.name, name); });
    return;
  }
  core_->store().DeleteProperty({schema::ObjectKind::Query, name_, ""}, name);
}

// ---- Relation ----

schema::RelationDef Relation::Def() {
  if (!core_) {
    schema::RelationDef d = def_;
    d.fields.clear();
    for (const auto& f : pendingFields_) {
      d.fields.emplace_back(f->name(), f->foreignName().empty() ? f->name() : f->foreignName());
    }
    return d;
  }
  for (auto& r : core_->store().Relations()) {
    if (NameEquals(r.name, def_.name)) return r;
  }
  engerr::ObjectInvalid();
}

// A new pending field, appended later through a Fields collection.
std::shared_ptr<Field> Relation::CreateField(const std::string& name) {
  schema::FieldDef d;
  d.name = name;
  return std::make_shared<Field>(std::move(d));
}

// The Fields collection: live over the store when bound, the pending list otherwise.
std::shared_ptr<Collection> Relation::Fields() {
  auto self = std::static_pointer_cast<Relation>(shared_from_this());
  Collection::Behaviour b;
  if (!core_) {
    auto* list = &pendingFields_;
    b.names = [self, list] {
      std::vector<std::string> n;
      for (const auto& f : *list) n.push_back(f->name());
      return n;
    };
    b.make = [self, list](const std::string& name) -> rt::ObjectRef {
      for (const auto& f : *list) {
        if (NameEquals(f->name(), name)) return f;
      }
      return nullptr;
    };
    b.append = [self, list](const Variant& v) {
      auto f = rt::ObjectAs<Field>(v);
      for (const auto& g : *list) {
        if (NameEquals(g->name(), f->name())) {
          rt::RaiseStandard(rt::err::kFieldExists);
        }
      }
      list->push_back(f);
    };
  } else {
    const schema::RelationDef d = Def();
    auto fields = std::make_shared<std::vector<std::shared_ptr<Field>>>();
    for (const auto& [p, f] : d.fields) {
      auto field = CreateField(p);
      std::vector<Variant> none;
      field->SetProperty("ForeignName", Variant(f), none);
      fields->push_back(field);
    }
    b.names = [fields] {
      std::vector<std::string> n;
      for (const auto& f : *fields) n.push_back(f->name());
      return n;
    };
    b.make = [fields](const std::string& name) -> rt::ObjectRef {
      for (const auto& f : *fields) {
        if (NameEquals(f->name(), name)) return f;
      }
      return nullptr;
    };
  }
  b.missing = [] { engerr::ItemNotFound("DAO.Fields"); };
  return std::make_shared<Collection>("Fields", std::move(b));
}

// Late-bound read of a member by name (any case); with an index, a collection member answers its
// item.
Variant Relation::GetProperty(std::string_view name, const std::vector<Variant>& index) {
  if (NameEquals(name, "Fields")) return CollectionOrItem(Fields(), index);
  const schema::RelationDef d = Def();
  if (NameEquals(name, "Name")) return Variant(d.name);
  if (NameEquals(name, "Table")) return Variant(d.table);
  if (NameEquals(name, "ForeignTable")) return Variant(d.foreignTable);
  if (NameEquals(name, "Attributes")) return Variant(d.attributes);
  if (NameEquals(name, "PartialReplica")) return Variant(false);
  return Object::GetProperty(name, index);
}

// Late-bound write of a member by name (any case); 438 for a member the object lacks.
void Relation::SetProperty(std::string_view name, const Variant& value,
                           const std::vector<Variant>& index) {
  const bool known = NameEquals(name, "Name") || NameEquals(name, "Table") ||
                     NameEquals(name, "ForeignTable") || NameEquals(name, "Attributes");
  if (!known) return Object::SetProperty(name, value, index);
  if (core_) engerr::InvalidOperation();  // an appended relation cannot change
  if (NameEquals(name, "Name")) def_.name = rt::CStr(value);
  if (NameEquals(name, "Table")) def_.table = rt::CStr(value);
  if (NameEquals(name, "ForeignTable")) def_.foreignTable = rt::CStr(value);
  if (NameEquals(name, "Attributes")) def_.attributes = rt::CLng(value);
}

// Late-bound method call by name (any case); collections read as methods answer their item.
Variant Relation::Call(std::string_view name, std::vector<Variant>& args) {
  if (NameEquals(name, "CreateField")) return Variant(rt::ObjectRef(CreateField(TextArg(args, 0))));
  if (NameEquals(name, "Fields")) return GetProperty(name, args);
  return Object::Call(name, args);
}

}  // namespace zmdb::dal::dao
