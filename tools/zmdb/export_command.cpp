// zmdb export DB "SELECT ..." FILE --type TYPE [--odbc CONNSTR]: the rows of
// a query copied into another database or file (dBase, FoxPro, Paradox,
// Excel, delimited text, a database file, or an ODBC data source), through
// the component's export without its dialogs. The ODBC target's data source
// is the answer to the engine's prompt, given by --odbc.
//
// The rows written are counted as the data engine writes them; on a
// terminal they show as a running count on stderr (the total is not known
// beforehand without running the query twice).
#include <iostream>
#include <map>
#include <memory>
#include <string>

#include "commands.h"
#include "database.h"
#include "progress.h"
#include "zmdb/dal/formats/format.h"
#include "zmdb/runtime/convert.h"

namespace zmdb::cli {

namespace {

// The --type names and the export types they stand for.
const std::map<std::string, std::int32_t>& TypeNames() {
  static const std::map<std::string, std::int32_t> names{
      {"access", 0},   {"dbase4", 1},   {"dbase3", 2},   {"foxpro26", 3}, {"foxpro25", 4},
      {"foxpro20", 5}, {"paradox4", 6}, {"paradox3", 7}, {"excel5", 9},   {"excel4", 10},
      {"excel3", 11},  {"text", 12},    {"odbc", 13}};
  return names;
}
constexpr std::int32_t kOdbcType = 13;

struct ExportOptions {
  std::string db, sql, file, type, odbc;
};

void RunExport(const ExportOptions& opt) {
  const std::int32_t type = TypeNames().at(opt.type);
  if (type == kOdbcType && opt.odbc.empty()) {
    throw CommandError("--type odbc needs --odbc CONNSTR, the target data source");
  }
  if (type != kOdbcType && opt.file.empty()) throw CommandError("expected DB SQL FILE");
  Database db(opt.db);
  clsZMDBFunc& o = db.component();
  if (type == kOdbcType)
    db.host().ScriptDialogs({{rt::DialogScript::Kind::DataSource, 0, opt.odbc}});

  std::shared_ptr<TerminalProgress> bar;
  if (StderrIsTerminal()) bar = std::make_shared<TerminalProgress>(stderr, true);
  std::int64_t written = -1;
  bool exported = false;
  {
    dal::formats::ScopedRowObserver observe([&](std::int64_t rows) {
      written = rows;
      if (bar) bar->SetProperty("Value", rt::Variant(static_cast<double>(rows)), {});
    });
    o.dbClearError();
    exported = rt::CBool(CallByName(o, "dbExport",
                                    {{"fsSQL", rt::Variant(opt.sql)},
                                     {"Conn", db.connection()},
                                     {"fsDefaultFile", rt::Variant(opt.file)},
                                     {"fbNoFiledlg", rt::Variant(true)},
                                     {"fbNoTypeSelect", rt::Variant(true)},
                                     {"fsDefType", rt::Variant(type)}}));
  }
  if (bar) bar->Finish();
  const std::string target = type == kOdbcType ? std::string("the ODBC data source") : opt.file;
  if (!exported) {
    const std::string why = db.LastError();
    throw CommandError("cannot export to " + target + (why.empty() ? "" : ": " + why));
  }
  std::cout << "exported ";
  if (written >= 0) std::cout << written << (written == 1 ? " row " : " rows ");
  std::cout << "to " << target << '\n';
}

}  // namespace

void AddExportCommand(CLI::App& app, Commands& commands) {
  auto e = std::make_shared<ExportOptions>();
  CLI::App* command = app.add_subcommand(
      "export", "Copy the rows of a SELECT into another database or file format");
  command->add_option("DB", e->db, "A database file, or a connection string")->required();
  command->add_option("SQL", e->sql, "SELECT <fields> FROM ... (Jet SQL on a database file)")
      ->required();
  command->add_option("FILE", e->file,
                      "The target file; dBase, FoxPro, Paradox and text write <name>.<ext> in "
                      "its folder, Excel and access write the file (table Output)");
  std::vector<std::string> names;
  for (const auto& [name, value] : TypeNames()) names.push_back(name);
  command->add_option("--type", e->type, "The target format")
      ->required()
      ->check(CLI::IsMember(names));
  command->add_option("--odbc", e->odbc,
                      "With --type odbc: the target's ODBC connection string (table Output)");
  commands.Add(command, [=] { return RunGuarded("export", [&] { RunExport(*e); }); });
}

}  // namespace zmdb::cli
