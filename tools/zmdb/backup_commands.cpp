// zmdb backup DB TABLE|--sql "SELECT..." FILE: a table's or a query's rows to
// a text backup file. zmdb restore FILE DB TABLE: a backup file's rows into
// a table, made from the file's header when the database has none of that
// name, else appended to it.
//
// Both call the component's backup methods late-bound by name, as a host's
// script would, and hand them a terminal progress bar as their Ctrl when
// stderr is a terminal; the methods move it themselves.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>

#include "commands.h"
#include "database.h"
#include "progress.h"
#include "zmdb/frame/methods.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/object.h"

namespace zmdb::cli {

namespace {

struct BackupOptions {
  std::vector<std::string> positionals;  // DB [TABLE] FILE
  std::string sql, separator = ",", note, dateFormat;
  bool noHeader = false;
};

struct RestoreOptions {
  std::string file, db, table, separator = ",";
  bool note = false, gbk = false;
};

// A table name as a statement on the file store or SQL Server reads it.
std::string TableReference(const std::string& table) {
  const bool plain = !table.empty() && std::all_of(table.begin(), table.end(), [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_';
  });
  return plain ? table : "[" + table + "]";
}

// The progress control for the methods' Ctrl argument: a terminal bar when
// stderr is a terminal, else missing (nothing drawn, nothing to drive).
std::shared_ptr<TerminalProgress> ProgressForTerminal() {
  if (!StderrIsTerminal()) return nullptr;
  return std::make_shared<TerminalProgress>(stderr, true);
}

rt::Variant CtrlArgument(const std::shared_ptr<TerminalProgress>& bar) {
  return bar ? rt::Variant(rt::ObjectRef(bar)) : rt::Variant::Missing();
}

void Backup(const BackupOptions& opt) {
  const auto& p = opt.positionals;
  const bool bySql = !opt.sql.empty();
  if (p.size() != (bySql ? 2u : 3u)) {
    throw CommandError(bySql ? "expected DB FILE with --sql" : "expected DB TABLE FILE");
  }
  const std::string& file = p.back();
  Database db(p[0]);
  clsZMDBFunc& o = db.component();
  if (!bySql && !db.HasTable(p[1])) {
    throw CommandError("no table named " + p[1]);
  }
  const rt::Variant rs = db.Execute(bySql ? opt.sql : "SELECT * FROM " + TableReference(p[1]));
  const std::int32_t count = rt::CLng(rt::GetProp(rs, "RecordCount"));
  const auto bar = ProgressForTerminal();
  o.dbClearError();
  const bool written = rt::CBool(CallByName(o, "dbBackupRecordset",
                                            {{"rs", rs},
                                             {"fsFile", rt::Variant(file)},
                                             {"fsSeparator", rt::Variant(opt.separator)},
                                             {"fsNote", rt::Variant(opt.note)},
                                             {"fbNonInfo", rt::Variant(opt.noHeader)},
                                             {"fsDateFmt", rt::Variant(opt.dateFormat)},
                                             {"Ctrl", CtrlArgument(bar)}}));
  if (bar) bar->Finish();
  if (!written) {
    const std::string why = db.LastError();
    if (why.empty() && count == 0)
      throw CommandError("no rows to back up; " + file + " not written");
    throw CommandError("cannot write " + file + (why.empty() ? "" : ": " + why));
  }
  std::cout << "backed up " << count << (count == 1 ? " row to " : " rows to ") << file << '\n';
}

// How many of a file's first four lines start with ";": a file written
// with its header has four (the note line and the three field lines), or
// three without the note; a file of data lines only has none.
int HeaderLines(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  std::string line;
  int marked = 0;
  while (marked < 4 && std::getline(in, line) && !line.empty() && line[0] == ';') ++marked;
  return marked;
}

// Data lines of a backup file (lines after the header), for the bar's total.
std::int64_t DataLines(const std::string& file, int headerLines) {
  std::FILE* f = std::fopen(file.c_str(), "rb");
  if (!f) return 0;
  std::int64_t lines = 0;
  char buffer[1 << 16];
  char last = '\n';
  for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, f)) > 0;) {
    lines += std::count(buffer, buffer + n, '\n');
    last = buffer[n - 1];
  }
  std::fclose(f);
  if (last != '\n') ++lines;
  return std::max<std::int64_t>(lines - headerLines, 0);
}

// The restore's argument that asks for a code-page 936 (GBK) file, and the
// value that asks for it: a Boolean flag, a code-page number or a name.
std::pair<std::string_view, rt::Variant> GbkArgument() {
  const frame::MethodSpec* spec = frame::FindMethod("dbRestoreRecordset");
  for (const frame::ArgSpec& arg : spec->args) {
    std::string lower(arg.name);
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (lower.find("gbk") == std::string::npos && lower.find("codepage") == std::string::npos &&
        lower.find("encoding") == std::string::npos) {
      continue;
    }
    if (arg.type == frame::ArgType::Boolean) return {arg.name, rt::Variant(true)};
    if (arg.type == frame::ArgType::String) return {arg.name, rt::Variant("GBK")};
    return {arg.name, rt::Variant(std::int32_t{936})};
  }
  if (spec->invoke) throw CommandError("--gbk: this build reads UTF-8 backup files only");
  return {};
}

// The restored recordset's fields as field-structure records, for a new table.
rt::SafeArray FieldStructures(const rt::Variant& rs) {
  const rt::Variant fields = rt::GetProp(rs, "Fields");
  const std::int32_t count = rt::CLng(rt::GetProp(fields, "Count"));
  std::vector<rt::Variant> records;
  for (std::int32_t i = 0; i < count; ++i) {
    const rt::Variant f = rt::ItemOf(fields, rt::Variant(i));
    records.emplace_back(rt::Record("FieldStruct", {{"Name", rt::GetProp(f, "Name")},
                                                    {"Type", rt::GetProp(f, "Type")},
                                                    {"DefinedSize", rt::GetProp(f, "DefinedSize")},
                                                    {"OrdinalPosition", rt::Variant(i)}}));
  }
  return rt::SafeArray(rt::VarType::Record, 1, std::move(records));
}

void Restore(const RestoreOptions& opt) {
  std::error_code ec;
  if (!std::filesystem::is_regular_file(opt.file, ec)) {
    throw CommandError("no such file: " + opt.file);
  }
  Database db(opt.db);
  clsZMDBFunc& o = db.component();
  const int headerLines = HeaderLines(opt.file);
  if (headerLines < 3 && !opt.note) {
    throw CommandError(opt.file + " has no header lines (written with --no-header?)");
  }
  const bool note = opt.note || headerLines == 4;
  NamedArgs args{{"fsFile", rt::Variant(opt.file)},
                 {"fsSeparator", rt::Variant(opt.separator)},
                 {"fbNote", rt::Variant(note)}};
  if (opt.gbk) {
    auto gbk = GbkArgument();
    if (!gbk.first.empty()) args.push_back(std::move(gbk));
  }
  // The restore never sets the bar's maximum: it is the file's data lines.
  const auto bar = ProgressForTerminal();
  if (bar) {
    rt::SetProp(rt::Variant(rt::ObjectRef(bar)), "Max",
                rt::Variant(static_cast<double>(DataLines(opt.file, note ? 4 : 3))));
  }
  args.emplace_back("Ctrl", CtrlArgument(bar));
  o.dbClearError();
  const rt::Variant rs = CallByName(o, "dbRestoreRecordset", args);
  if (bar) bar->Finish();
  if (!rs.IsObject() || !rs.AsObject()) {
    const std::string why = db.LastError();
    throw CommandError("cannot read " + opt.file + (why.empty() ? "" : ": " + why));
  }
  const std::int32_t count = rt::CLng(rt::GetProp(rs, "RecordCount"));
  const bool created = !db.HasTable(opt.table);
  if (created && !o.dbCreateTblStruct(opt.table, FieldStructures(rs), db.connection())) {
    throw CommandError("cannot create table " + opt.table + ": " + db.LastError());
  }
  if (!o.dbCopyRecordset(rs.AsObject(), opt.table, db.connection())) {
    const std::string why = db.LastError();
    // A table made for this restore goes again, so a second try starts clean.
    if (created) o.dbRemoveTableItem(opt.table, false, db.connection());
    throw CommandError("cannot add the rows to " + opt.table + ": " + why);
  }
  std::cout << (created ? "restored " : "appended ") << count << (count == 1 ? " row " : " rows ")
            << (created ? "into new table " : "to table ") << opt.table << '\n';
}

}  // namespace

void AddBackupCommands(CLI::App& app, Commands& commands) {
  auto b = std::make_shared<BackupOptions>();
  CLI::App* backup = app.add_subcommand(
      "backup", "Write a table's or a query's rows to a text backup file (UTF-8, CR LF)");
  backup
      ->add_option("DB TABLE FILE", b->positionals,
                   "A database file or connection string, the table (left out with --sql), "
                   "and the file to write")
      ->required()
      ->expected(2, 3)
      ->type_name("");
  backup->footer(
      "Forms:\n  zmdb backup DB TABLE FILE [OPTIONS]\n"
      "  zmdb backup DB --sql \"SELECT ...\" FILE [OPTIONS]");
  backup->add_option("--sql", b->sql, "Back up the rows of this SELECT instead of a table");
  backup->add_option("--separator", b->separator, "Value separator, any length")
      ->capture_default_str();
  backup->add_option("--note", b->note, "Text of the note line (default: Please add note)");
  backup->add_flag("--no-header", b->noHeader, "Write the data lines only");
  backup->add_option("--date-format", b->dateFormat,
                     "Format of date fields, e.g. yyyy-mm-dd (default: the fixed text form)");
  commands.Add(backup, [=] { return RunGuarded("backup", [&] { Backup(*b); }); });

  auto r = std::make_shared<RestoreOptions>();
  CLI::App* restore = app.add_subcommand(
      "restore", "Read a text backup file into a table (made from the file's header if missing)");
  restore->add_option("FILE", r->file, "The backup file")->required();
  restore->add_option("DB", r->db, "A database file, or a connection string")->required();
  restore->add_option("TABLE", r->table, "The table to create or append to")->required();
  restore->add_option("--separator", r->separator, "Value separator, any length")
      ->capture_default_str();
  restore->add_flag("--note", r->note,
                    "The first line is a note line (found by itself when the header is complete)");
  restore->add_flag("--gbk", r->gbk, "The file is in code page 936 (GBK), not UTF-8");
  commands.Add(restore, [=] { return RunGuarded("restore", [&] { Restore(*r); }); });
}

}  // namespace zmdb::cli
