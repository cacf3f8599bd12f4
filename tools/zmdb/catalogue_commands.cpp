// zmdb tables DB: the table names, one a line.
// zmdb schema DB [TABLE]: each table's fields (name, type, size, required)
// and indexes, read through the component object's catalogue methods.
#include <iostream>
#include <memory>
#include <string>

#include "commands.h"
#include "database.h"
#include "rows_output.h"
#include "zmdb/runtime/convert.h"

namespace zmdb::cli {

namespace {

// The names in a listing array; an empty listing is no names, and a failed
// one (the component recorded why) is a CommandError.
std::vector<std::string> Names(const rt::SafeArray& listing, const Database& db,
                               const std::string& what) {
  std::vector<std::string> names;
  if (!listing.allocated()) {
    const std::string why = db.LastError();
    if (!why.empty()) throw CommandError(what + ": " + why);
    return names;
  }
  for (const rt::Variant& v : listing.items()) names.push_back(rt::CStr(v));
  return names;
}

std::vector<std::string> TableNames(Database& db, bool system) {
  db.component().dbClearError();
  return Names(db.component().dbTableDefs(db.connection(), system), db, "cannot list the tables");
}

void PrintTables(const std::string& dbArg, bool system) {
  Database db(dbArg);
  for (const std::string& name : TableNames(db, system)) std::cout << name << '\n';
}

std::string IndexLine(const rt::Record& index) {
  std::string line = "index " + rt::CStr(index["Name"]) + " (" + rt::CStr(index["Fields"]) + ")";
  if (rt::CBool(index["Primary"])) line += " primary";
  if (rt::CBool(index["Unique"])) line += " unique";
  return line;
}

// A table's indexes: on a database file from the data engine's database
// (opened as the default database for the listing), on SQL Server through
// the connection; other servers have no index listing, and show none.
rt::SafeArray Indexes(Database& db, const std::string& table) {
  clsZMDBFunc& o = db.component();
  if (!db.filePath().empty()) {
    if (!o.dbOpenDateBase(db.filePath(), "")) return {};
    return o.dbIndexDefs(table);
  }
  rt::Variant conn = db.connection();
  return o.dbIsSQLConnect(conn) ? o.dbIndexDefs(table, conn) : rt::SafeArray();
}

void PrintTable(Database& db, const std::string& table) {
  clsZMDBFunc& o = db.component();
  if (!db.HasTable(table)) throw CommandError("no table named " + table);
  o.dbClearError();
  const rt::SafeArray fields = o.dbGetTblStruct(table, db.connection());
  if (!fields.allocated()) throw CommandError("cannot read table " + table + ": " + db.LastError());
  Grid grid{{"Field", "Type", "Size", "Required"}, {}};
  for (const rt::Variant& v : fields.items()) {
    const rt::Record& f = v.AsRecord();
    const std::int32_t type = rt::CLng(f["Type"]);
    grid.rows.push_back({f["Name"],
                         rt::Variant(o.dbGetFldTypeDesc(type) + " (" + std::to_string(type) + ")"),
                         f["DefinedSize"], rt::Variant(rt::CBool(f["Required"]) ? "yes" : "")});
  }
  std::cout << table << '\n';
  std::string text = AlignedText(grid, false);
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = text.find('\n', at);
    std::cout << "  " << text.substr(at, end - at + 1);
    at = end + 1;
  }
  const rt::SafeArray indexes = Indexes(db, table);
  for (const rt::Variant& v : indexes.items()) std::cout << "  " << IndexLine(v.AsRecord()) << '\n';
}

void PrintSchema(const std::string& dbArg, const std::string& table) {
  Database db(dbArg);
  if (!table.empty()) return PrintTable(db, table);
  bool first = true;
  for (const std::string& name : TableNames(db, false)) {
    if (!first) std::cout << '\n';
    first = false;
    PrintTable(db, name);
  }
}

}  // namespace

void AddCatalogueCommands(CLI::App& app, Commands& commands) {
  auto db = std::make_shared<std::string>();
  auto table = std::make_shared<std::string>();
  auto system = std::make_shared<bool>(false);

  CLI::App* tables = app.add_subcommand("tables", "List the tables of a database, one a line");
  tables->add_option("DB", *db, "A database file, or a connection string")->required();
  tables->add_flag("--system", *system, "Also list the store's system tables");
  commands.Add(tables, [=] { return RunGuarded("tables", [&] { PrintTables(*db, *system); }); });

  CLI::App* schema =
      app.add_subcommand("schema", "Show the fields and indexes of every table, or of one");
  schema->add_option("DB", *db, "A database file, or a connection string")->required();
  schema->add_option("TABLE", *table, "Only this table");
  commands.Add(schema, [=] { return RunGuarded("schema", [&] { PrintSchema(*db, *table); }); });
}

}  // namespace zmdb::cli
