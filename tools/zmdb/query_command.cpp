// zmdb query DB "SQL": the rows of a statement (Jet SQL on the file store,
// the server's own SQL on a server) as aligned text, CSV or JSON. A
// statement that returns no rows reports how many rows it changed.
#include <iostream>
#include <memory>
#include <string>

#include "commands.h"
#include "database.h"
#include "rows_output.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/object.h"

namespace zmdb::cli {

namespace {

enum class Form { Text, Csv, Json };

// Every row of an open recordset, read late-bound from its first row on.
Grid ReadRows(const rt::Variant& rs) {
  Grid grid;
  const rt::Variant fieldList = rt::GetProp(rs, "Fields");
  const std::int32_t count = rt::CLng(rt::GetProp(fieldList, "Count"));
  std::vector<rt::Variant> fields;
  for (std::int32_t i = 0; i < count; ++i) {
    fields.push_back(rt::ItemOf(fieldList, rt::Variant(i)));
    grid.columns.push_back(rt::CStr(rt::GetProp(fields.back(), "Name")));
  }
  for (; !rt::CBool(rt::GetProp(rs, "EOF")); rt::CallMethod(rs, "MoveNext")) {
    auto& row = grid.rows.emplace_back();
    for (const rt::Variant& f : fields) row.push_back(rt::GetProp(f, "Value"));
  }
  return grid;
}

void RunQuery(const std::string& dbArg, const std::string& sql, Form form) {
  Database db(dbArg);
  std::vector<rt::Variant> args{rt::Variant(sql), rt::Variant(std::int32_t{0})};
  const rt::Variant rs = rt::LateBoundTarget(db.connection()).Call("Execute", args);
  constexpr std::int32_t kStateOpen = 1;
  if ((rt::CLng(rt::GetProp(rs, "State")) & kStateOpen) == 0) {
    const std::int32_t changed = rt::CLng(args[1]);
    if (form == Form::Text) {
      std::cout << "(" << changed << (changed == 1 ? " row" : " rows") << " affected)\n";
    }
    return;
  }
  const Grid grid = ReadRows(rs);
  rt::CallMethod(rs, "Close");
  switch (form) {
    case Form::Text:
      std::cout << AlignedText(grid);
      break;
    case Form::Csv:
      std::cout << Csv(grid);
      break;
    case Form::Json:
      std::cout << JsonRows(grid);
      break;
  }
}

}  // namespace

void AddQueryCommand(CLI::App& app, Commands& commands) {
  auto db = std::make_shared<std::string>();
  auto sql = std::make_shared<std::string>();
  auto csv = std::make_shared<bool>(false);
  auto json = std::make_shared<bool>(false);
  CLI::App* query = app.add_subcommand(
      "query", "Run one statement and print its rows (Jet SQL on a database file)");
  query->add_option("DB", *db, "A database file, or a connection string")->required();
  query->add_option("SQL", *sql, "The statement")->required();
  CLI::Option* csvFlag = query->add_flag("--csv", *csv, "Rows as CSV (RFC 4180, with a header)");
  query->add_flag("--json", *json, "Rows as a JSON array of objects")->excludes(csvFlag);
  commands.Add(query, [=] {
    const Form form = *csv ? Form::Csv : *json ? Form::Json : Form::Text;
    return RunGuarded("query", [&] { RunQuery(*db, *sql, form); });
  });
}

}  // namespace zmdb::cli
