// The server store's schema store (schema_p.h). Names are found in the
// catalogue without regard to case and then used as the catalogue spells
// them; new names are given as the server would store them unquoted.
#include <algorithm>
#include <map>

#include "schema_p.h"
#include "zmdb/dal/ado.h"
#include "zmdb/dal/engine_errors.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/object.h"

namespace zmdb::dal::odbc {

namespace {

using rt::NameEquals;
using Row = std::vector<std::optional<std::string>>;

std::string Cell(const Row& row, std::size_t i) {
  return row[i].value_or("");
}

std::int64_t Number(const Row& row, std::size_t i) {
  const std::string s = Cell(row, i);
  return s.empty() ? 0 : std::stoll(s);
}

bool IsCatalogueSchema(std::string_view schema) {
  return NameEquals(schema, "information_schema") || NameEquals(schema, "pg_catalog") ||
         NameEquals(schema, "sys");
}

// One table or view as the catalogue lists it.
struct Found {
  std::string schema, name, remarks;
  schema::TableKind kind = schema::TableKind::Table;
  rt::Variant created = rt::Variant::Null(), modified = rt::Variant::Null();
};

class OdbcSchema : public schema::SchemaStore {
 public:
  OdbcSchema(Backend& backend, std::function<std::shared_ptr<StatementHandle>()> statement, Ddl ddl)
      : backend_(backend), statement_(std::move(statement)), ddl_(std::move(ddl)) {}

  std::vector<schema::TableEntry> Tables() override {
    std::vector<schema::TableEntry> out;
    for (const Found& f : List()) out.push_back({f.name, f.kind, f.created, f.modified});
    std::sort(out.begin(), out.end(), [](const auto& a, const auto& b) {
      return rt::AsciiUpper(a.name) < rt::AsciiUpper(b.name);
    });
    return out;
  }

  std::optional<schema::TableDef> Table(std::string_view name) override {
    const auto found = Find(name);
    if (!found) return std::nullopt;
    schema::TableDef t;
    t.name = found->name;
    t.kind = found->kind;
    t.dateCreated = found->created;
    t.lastUpdated = found->modified;
    const std::string remarks = found->remarks.empty() ? Comment(*found) : found->remarks;
    if (!remarks.empty()) schema::PutProp(t.props, {"Description", 10, remarks});
    t.fields = FieldsOf(*found, true);
    if (found->kind == schema::TableKind::Table) t.indexes = IndexesOf(*found);
    for (auto& ix : t.indexes) ix.name = ddl_.IndexNameRead(t.name, ix.name, ix.primary);
    return t;
  }

  void CreateTable(const schema::TableDef& table) override {
    if (table.kind == schema::TableKind::Link) Refuse("Linking a table into a server database");
    if (Find(table.name)) engerr::TableExists(table.name);
    schema::TableDef t = table;
    t.name = ddl_.Stored(t.name);
    for (auto& f : t.fields) f.name = ddl_.Stored(f.name);
    for (auto& ix : t.indexes) {
      ix.name = ddl_.IndexName(t.name, ix.name, ix.primary);
      for (auto& k : ix.fields) k.name = ddl_.Stored(k.name);
    }
    // Every statement is built and every property checked before the first
    // runs: a type or a property the server cannot hold is refused with
    // nothing made.
    Keepable(t.props);
    for (const auto& f : t.fields) Keepable(f.props);
    std::vector<std::string> statements = {ddl_.CreateTable(t)};
    for (const auto& ix : t.indexes) {
      if (!ix.primary) statements.push_back(ddl_.CreateIndex(t.name, ix));
    }
    Run(statements.front());
    // An index the server refuses takes the new table with it: the table is
    // made whole or not at all.
    try {
      for (std::size_t i = 1; i < statements.size(); ++i) Run(statements[i]);
    } catch (...) {
      try {
        Run(ddl_.DropTable(t.name));
      } catch (...) {  // the index's own failure is the one to report
      }
      throw;
    }
    if (const auto* d = schema::FindProp(t.props, "Description")) {
      Describe(t.name, "", rt::CStr(d->value));
    }
    for (const auto& f : t.fields) {
      if (const auto* d = schema::FindProp(f.props, "Description")) {
        Describe(t.name, f.name, rt::CStr(d->value));
      }
    }
  }

  void DropTable(std::string_view name) override { Run(ddl_.DropTable(Existing(name).name)); }

  void RenameTable(std::string_view from, std::string_view to) override {
    const Found f = Existing(from);
    if (Find(to)) engerr::TableExists(to);
    Run(ddl_.RenameTable(f.name, ddl_.Stored(to)));
  }

  void ChangeLink(std::string_view, const std::string&, const std::string&, std::int32_t) override {
    Refuse("Linking a table into a server database");
  }

  void AddField(std::string_view table, const schema::FieldDef& field) override {
    const Found t = Existing(table);
    schema::FieldDef f = field;
    f.name = ddl_.Stored(f.name);
    Keepable(f.props);
    Run(ddl_.AddColumn(t.name, f));
    if (const auto* d = schema::FindProp(f.props, "Description")) {
      Describe(t.name, f.name, rt::CStr(d->value));
    }
  }

  void DropField(std::string_view table, std::string_view field) override {
    const Found t = Existing(table);
    Run(ddl_.DropColumn(t.name, FieldName(t, field)));
  }

  void RenameField(std::string_view table, std::string_view from, std::string_view to) override {
    const Found t = Existing(table);
    Run(ddl_.RenameColumn(t.name, FieldName(t, from), ddl_.Stored(to)));
  }

  void ChangeField(std::string_view table, const schema::FieldDef& field) override {
    // Only what the server keeps beside the column itself can change.
    const Found t = Existing(table);
    const std::string name = FieldName(t, field.name);
    for (const auto& f : FieldsOf(t)) {
      if (f.name != name) continue;
      if (f.type != field.type || f.size != field.size || f.required != field.required ||
          f.defaultValue != field.defaultValue || f.allowZeroLength != field.allowZeroLength ||
          f.attributes != field.attributes) {
        Refuse(
            "Changing the type, size, attributes, Required, AllowZeroLength or DefaultValue "
            "of a field of a " +
            std::string(DialectName(ddl_.dialect())) + " table");
      }
    }
  }

  void CreateIndex(std::string_view table, const schema::IndexDef& index) override {
    const Found t = Existing(table);
    schema::IndexDef ix = index;
    ix.name = ddl_.IndexName(t.name, ix.name, ix.primary);
    for (auto& k : ix.fields) k.name = FieldName(t, k.name);
    for (const auto& have : IndexesOf(t)) {
      if (NameEquals(have.name, ix.name)) engerr::Raise(rt::err::kIndexExists, "");
      if (have.primary && ix.primary) engerr::Raise(rt::err::kPrimaryKeyExists, "");
    }
    Run(ddl_.CreateIndex(t.name, ix));
  }

  void DropIndex(std::string_view table, std::string_view index) override {
    const Found t = Existing(table);
    for (const auto& ix : IndexesOf(t)) {
      if (NameEquals(ddl_.IndexNameRead(t.name, ix.name, ix.primary), index)) {
        return Run(ddl_.DropIndex(t.name, ix));
      }
    }
    engerr::ItemNotFound();
  }

  // The views, with their SELECT as the server keeps it.
  std::vector<schema::QueryDef> Queries() override {
    std::map<std::string, std::string> text;
    if (ddl_.dialect() != Dialect::Plain) {
      Result r = backend_.Execute(
          "SELECT TABLE_NAME, VIEW_DEFINITION FROM INFORMATION_SCHEMA.VIEWS WHERE TABLE_SCHEMA "
          "NOT IN ('information_schema', 'pg_catalog', 'INFORMATION_SCHEMA', 'sys')");
      while (r.cursor && r.cursor->Step()) {
        if (r.cursor->Type(1) == CellType::Null) continue;
        text[std::string(r.cursor->Text(0))] = SelectOf(std::string(r.cursor->Text(1)));
      }
    }
    std::vector<schema::QueryDef> out;
    for (const auto& e : Tables()) {
      if (e.kind == schema::TableKind::View) out.push_back({e.name, text[e.name], 0, {}});
    }
    return out;
  }

  void CreateQuery(const schema::QueryDef& query) override {
    if (schema::QueryTypeOf(query.sql) != schema::kQSelect) {
      Refuse("Saving an action query in a server database (only SELECT queries, as views)");
    }
    if (Find(query.name)) engerr::ObjectExists(query.name);
    Run(ddl_.CreateView(ddl_.Stored(query.name), query.sql));
  }

  void DropQuery(std::string_view name) override { Run(ddl_.DropView(View(name).name)); }

  void RenameQuery(std::string_view from, std::string_view to) override {
    Run(ddl_.RenameView(View(from).name, ddl_.Stored(to)));
  }

  void ChangeQuerySql(std::string_view name, const std::string& sql) override {
    const std::string view = View(name).name;
    if (ddl_.dialect() == Dialect::SqlServer) {
      return Run("ALTER VIEW " + ddl_.Name(view) + " AS " + sql);
    }
    if (ddl_.dialect() == Dialect::Postgres) {
      return Run("CREATE OR REPLACE VIEW " + ddl_.Name(view) + " AS " + sql);
    }
    Run(ddl_.DropView(view));
    Run(ddl_.CreateView(view, sql));
  }

  // The foreign keys between the tables of the database.
  std::vector<schema::RelationDef> Relations() override {
    std::vector<schema::RelationDef> out;
    for (const Found& t : List()) {
      if (t.kind != schema::TableKind::Table) continue;
      auto st = statement_();
      Check(ForeignKeys(*st, "", t.name), SQL_HANDLE_STMT, st->get(), st->link());
      // PKTABLE_NAME 3, PKCOLUMN_NAME 4, FKTABLE_NAME 7, FKCOLUMN_NAME 8,
      // UPDATE_RULE 10, DELETE_RULE 11, FK_NAME 12.
      for (const Row& row : TextRows(*st, 12)) {
        const std::string name = Cell(row, 11);
        auto it =
            std::find_if(out.begin(), out.end(), [&](const auto& r) { return r.name == name; });
        if (it == out.end()) {
          schema::RelationDef r;
          r.name = name;
          r.table = Cell(row, 2);
          r.foreignTable = Cell(row, 6);
          if (Number(row, 9) == SQL_CASCADE) r.attributes |= schema::kRelationUpdateCascade;
          if (Number(row, 10) == SQL_CASCADE) r.attributes |= schema::kRelationDeleteCascade;
          out.push_back(std::move(r));
          it = out.end() - 1;
        }
        it->fields.emplace_back(Cell(row, 3), Cell(row, 7));
      }
      st->Release();
    }
    return out;
  }

  void CreateRelation(const schema::RelationDef& relation) override {
    schema::RelationDef r = relation;
    const Found primary = Existing(r.table), foreign = Existing(r.foreignTable);
    r.name = ddl_.Stored(r.name);
    r.table = primary.name;
    r.foreignTable = foreign.name;
    for (auto& [mine, theirs] : r.fields) {
      mine = FieldName(primary, mine);
      theirs = FieldName(foreign, theirs);
    }
    Run(ddl_.AddForeignKey(r));
  }

  void DropRelation(std::string_view name) override {
    for (const auto& r : Relations()) {
      if (NameEquals(r.name, name)) return Run(ddl_.DropConstraint(r.foreignTable, r.name));
    }
    engerr::ItemNotFound("DAO.Relations");
  }

  // Description of tables and fields (the catalogue's REMARKS); nothing else.
  std::vector<schema::Prop> Properties(const schema::ObjectPath& path) override {
    if (path.kind == schema::ObjectKind::Table && path.item.empty()) {
      if (auto t = Table(path.owner)) return t->props;
    } else if (path.kind == schema::ObjectKind::Field) {
      if (auto t = Find(path.owner)) {
        for (const auto& f : FieldsOf(*t, true)) {
          if (NameEquals(f.name, path.item)) return f.props;
        }
      }
    }
    return {};
  }

  void PutProperty(const schema::ObjectPath& path, const schema::Prop& prop) override {
    Describable(path, prop.name);
    const Found t = Existing(path.owner);
    Describe(t.name, path.item.empty() ? "" : FieldName(t, path.item), rt::CStr(prop.value));
  }

  void DeleteProperty(const schema::ObjectPath& path, std::string_view name) override {
    Describable(path, name);
    const Found t = Existing(path.owner);
    Describe(t.name, path.item.empty() ? "" : FieldName(t, path.item), "");
  }

  std::int64_t RecordCount(std::string_view table) override {
    Result r = backend_.Execute("SELECT COUNT(*) FROM " + ddl_.Name(Existing(table).name));
    if (!r.cursor || !r.cursor->Step()) return 0;
    return r.cursor->Type(0) == CellType::Integer ? r.cursor->Integer(0)
                                                  : static_cast<std::int64_t>(r.cursor->Real(0));
  }

 private:
  [[noreturn]] void Refuse(const std::string& what) const {
    engerr::Raise(rt::err::kNotYetSupported,
                  what + " is not supported by the " + DialectName(ddl_.dialect()) + " store.");
  }

  void Run(const std::string& sql) { backend_.Execute(sql); }

  // The tables and views of the database, outside the server's own schemas.
  std::vector<Found> List() {
    Result r = backend_.OpenSchema(ado::adSchemaTables);
    std::vector<Found> out;
    Cursor& c = *r.cursor;
    auto text = [&](std::size_t i) {
      return c.Type(i) == CellType::Null ? std::string() : std::string(c.Text(i));
    };
    auto value = [&](std::size_t i) {
      return c.Type(i) == CellType::Null ? rt::Variant::Null() : rt::Variant(rt::Date{c.Real(i)});
    };
    while (c.Step()) {
      const std::string type = rt::AsciiUpper(text(3));
      if ((type != "TABLE" && type != "VIEW") || IsCatalogueSchema(text(1))) continue;
      Found f;
      f.schema = text(1);
      f.name = text(2);
      f.remarks = text(5);
      f.kind = type == "VIEW" ? schema::TableKind::View : schema::TableKind::Table;
      f.created = value(7);
      f.modified = value(8);
      out.push_back(std::move(f));
    }
    return out;
  }

  std::optional<Found> Find(std::string_view name) {
    for (Found& f : List()) {
      if (NameEquals(f.name, name)) return std::move(f);
    }
    return std::nullopt;
  }

  // A table or view that must exist: error 3265 when it does not.
  Found Existing(std::string_view name) {
    auto f = Find(name);
    if (!f) engerr::ItemNotFound("DAO.TableDefs");
    return *f;
  }

  Found View(std::string_view name) {
    auto f = Find(name);
    if (!f || f->kind != schema::TableKind::View) engerr::ItemNotFound("DAO.QueryDefs");
    return *f;
  }

  // The fields in ordinal order; `comments` reads the Description of each
  // where the driver's catalogue leaves it out.
  std::vector<schema::FieldDef> FieldsOf(const Found& t, bool comments = false) {
    auto st = statement_();
    Check(Columns(*st, t.schema, t.name), SQL_HANDLE_STMT, st->get(), st->link());
    // COLUMN_NAME 4, DATA_TYPE 5, TYPE_NAME 6, COLUMN_SIZE 7, DECIMAL_DIGITS
    // 9, NULLABLE 11, REMARKS 12, COLUMN_DEF 13, ORDINAL_POSITION 17.
    std::vector<std::pair<std::int64_t, schema::FieldDef>> found;
    for (const Row& row : TextRows(*st, 17)) {
      // A pattern escape the driver does not honour may let similar names in.
      if (Cell(row, 2) != t.name) continue;
      ColumnDescription d;
      d.sqlType = static_cast<std::int16_t>(Number(row, 4));
      d.typeName = Cell(row, 5);
      d.columnSize = static_cast<std::uint64_t>(std::max<std::int64_t>(0, Number(row, 6)));
      d.decimalDigits = static_cast<std::int16_t>(Number(row, 8));
      schema::FieldDef f = FieldOfColumn(d, Cell(row, 12));
      f.name = Cell(row, 3);
      f.required = Cell(row, 10) == "0";
      if (!Cell(row, 11).empty()) schema::PutProp(f.props, {"Description", 10, Cell(row, 11)});
      found.emplace_back(Number(row, 16), std::move(f));
    }
    st->Release();
    std::stable_sort(found.begin(), found.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<schema::FieldDef> fields;
    for (auto& [position, f] : found) {
      f.ordinal = static_cast<std::int32_t>(fields.size());
      fields.push_back(std::move(f));
    }
    if (comments && ddl_.dialect() == Dialect::Postgres) {
      Result r = backend_.ExecuteNative(
          "SELECT a.attname, col_description(a.attrelid, a.attnum) FROM pg_catalog.pg_attribute "
          "a JOIN pg_catalog.pg_class c ON c.oid = a.attrelid JOIN pg_catalog.pg_namespace n ON "
          "n.oid = c.relnamespace WHERE c.relname = ? AND n.nspname = ? AND a.attnum > 0 AND "
          "col_description(a.attrelid, a.attnum) IS NOT NULL",
          {rt::Variant(t.name), rt::Variant(t.schema)});
      while (r.cursor && r.cursor->Step()) {
        for (auto& f : fields) {
          if (f.name == r.cursor->Text(0)) {
            schema::PutProp(f.props, {"Description", 10, std::string(r.cursor->Text(1))});
          }
        }
      }
    }
    return fields;
  }

  std::vector<schema::IndexDef> IndexesOf(const Found& t) {
    std::vector<schema::IndexDef> out;
    std::vector<std::vector<std::pair<std::int64_t, schema::IndexField>>> keys;
    {
      auto st = statement_();
      Check(Statistics(*st, t.schema, t.name), SQL_HANDLE_STMT, st->get(), st->link());
      // NON_UNIQUE 4, INDEX_NAME 6, TYPE 7, ORDINAL_POSITION 8, COLUMN_NAME 9, ASC_OR_DESC 10.
      for (const Row& row : TextRows(*st, 10)) {
        if (Number(row, 6) == SQL_TABLE_STAT || !row[5]) continue;
        const std::string name = Cell(row, 5);
        auto it =
            std::find_if(out.begin(), out.end(), [&](const auto& i) { return i.name == name; });
        if (it == out.end()) {
          schema::IndexDef ix;
          ix.name = name;
          ix.unique = Number(row, 3) == 0;
          ix.clustered = Number(row, 6) == SQL_INDEX_CLUSTERED;
          out.push_back(std::move(ix));
          keys.emplace_back();
          it = out.end() - 1;
        }
        keys[static_cast<std::size_t>(it - out.begin())].emplace_back(
            Number(row, 7), schema::IndexField{Cell(row, 8), Cell(row, 9) == "D"});
      }
      st->Release();
    }
    for (std::size_t i = 0; i < out.size(); ++i) {
      std::stable_sort(keys[i].begin(), keys[i].end(),
                       [](const auto& a, const auto& b) { return a.first < b.first; });
      for (auto& k : keys[i]) out[i].fields.push_back(std::move(k.second));
    }
    MarkPrimary(t, out);
    return out;
  }

  // The primary key: the index of its name, or (on a server that lists it
  // apart from the indexes) an index made of its columns.
  void MarkPrimary(const Found& t, std::vector<schema::IndexDef>& indexes) {
    auto st = statement_();
    Check(PrimaryKeys(*st, t.name), SQL_HANDLE_STMT, st->get(), st->link());
    std::vector<std::pair<std::int64_t, std::string>> columns;
    std::string name;
    for (const Row& row : TextRows(*st, 6)) {
      if (Cell(row, 2) != t.name || (!t.schema.empty() && row[1] && *row[1] != t.schema)) continue;
      columns.emplace_back(Number(row, 4), Cell(row, 3));
      name = Cell(row, 5);
    }
    st->Release();
    if (columns.empty()) return;
    std::sort(columns.begin(), columns.end());
    auto it = std::find_if(indexes.begin(), indexes.end(),
                           [&](const auto& i) { return !name.empty() && i.name == name; });
    if (it == indexes.end()) {
      schema::IndexDef ix;
      ix.name = name.empty() ? "PrimaryKey" : name;
      for (const auto& c : columns) ix.fields.push_back({c.second, false});
      indexes.insert(indexes.begin(), std::move(ix));
      it = indexes.begin();
    }
    it->primary = it->unique = it->required = true;
  }

  // A table's comment, where the driver's catalogue leaves it out.
  std::string Comment(const Found& t) {
    if (ddl_.dialect() != Dialect::Postgres) return {};
    Result r = backend_.ExecuteNative(
        "SELECT obj_description(c.oid, 'pg_class') FROM pg_catalog.pg_class c JOIN "
        "pg_catalog.pg_namespace n ON n.oid = c.relnamespace WHERE c.relname = ? AND n.nspname = ?",
        {rt::Variant(t.name), rt::Variant(t.schema)});
    if (!r.cursor || !r.cursor->Step() || r.cursor->Type(0) == CellType::Null) return {};
    return std::string(r.cursor->Text(0));
  }

  // A field of `t` as the catalogue spells it: error 3265 when missing.
  std::string FieldName(const Found& t, std::string_view field) {
    for (const auto& f : FieldsOf(t)) {
      if (NameEquals(f.name, field)) return f.name;
    }
    engerr::ItemNotFound("DAO.Fields");
  }

  // Only a table's or a field's Description is kept, and only where the
  // server keeps comments.
  void Describable(const schema::ObjectPath& path, std::string_view name) const {
    const bool tableOrField = (path.kind == schema::ObjectKind::Table && path.item.empty()) ||
                              path.kind == schema::ObjectKind::Field;
    if (!tableOrField || !NameEquals(name, "Description")) {
      Refuse("Keeping the property '" + std::string(name) + "' in a server database");
    }
  }

  // Refuses properties of a new table or field that the server cannot keep.
  void Keepable(const std::vector<schema::Prop>& props) const {
    for (const auto& p : props) {
      if (!NameEquals(p.name, "Description")) {
        Refuse("Keeping the property '" + p.name + "' in a server database");
      }
      if (ddl_.dialect() != Dialect::Postgres && !rt::CStr(p.value).empty()) {
        Refuse("Keeping a Description in a server database");
      }
    }
  }

  void Describe(const std::string& table, const std::string& field, const std::string& text) {
    if (ddl_.dialect() != Dialect::Postgres) {
      if (text.empty()) return;
      Refuse("Keeping a Description in a server database");
    }
    Run(ddl_.Comment(table, field, text));
  }

  // The SELECT of a view definition that the server gives as a whole
  // CREATE VIEW statement.
  static std::string SelectOf(std::string definition) {
    const std::string upper = rt::AsciiUpper(definition);
    if (upper.find("CREATE") == std::string::npos) return definition;
    const auto as = upper.find(" AS");
    if (as == std::string::npos) return definition;
    const auto b = definition.find_first_not_of(" \t\r\n", as + 3);
    return b == std::string::npos ? std::string() : definition.substr(b);
  }

  Backend& backend_;
  std::function<std::shared_ptr<StatementHandle>()> statement_;
  Ddl ddl_;
};

}  // namespace

std::unique_ptr<schema::SchemaStore> NewSchemaStore(
    Backend& backend, std::function<std::shared_ptr<StatementHandle>()> statement, Ddl ddl) {
  return std::make_unique<OdbcSchema>(backend, std::move(statement), std::move(ddl));
}

}  // namespace zmdb::dal::odbc
