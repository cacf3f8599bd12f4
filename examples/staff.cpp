// A first look at ZMDBFunc: a staff table on the embedded file store.
//
// The program creates a file database, creates and fills a small staff
// table, then calls the component object's methods one by one, printing each
// call, what it answered and the statements it ran.
//
//   staff_example [directory]     (default: a fresh temporary directory)
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "zmdb/dal/connection.h"
#include "zmdb/dal/recordset.h"
#include "zmdb/frame/component.h"
#include "zmdb/frame/state.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/host.h"

namespace {

using zmdb::clsZMDBFunc;
using zmdb::rt::Variant;

std::shared_ptr<zmdb::dal::Connection> connection;  // the object's default connection
std::size_t seen = 0;                               // statements already printed

// Print one call and its answer, then every statement the call ran.
void Show(const std::string& call, const std::string& answer) {
  std::printf("%-58s -> %s\n", call.c_str(), answer.c_str());
  if (!connection) return;
  const auto& log = connection->statementLog();
  for (; seen < log.size(); ++seen) std::printf("%60s%s\n", "ran: ", log[seen].c_str());
}

std::string Flag(bool b) {
  return b ? "True" : "False";
}
std::string Quoted(const std::string& s) {
  return "\"" + s + "\"";
}

}  // namespace

int main(int argc, char** argv) {
  namespace fs = std::filesystem;
  const fs::path dir = argc > 1 ? fs::path(argv[1]) : fs::temp_directory_path() / "zmdb_staff";
  fs::create_directories(dir);
  const std::string path = (dir / "staff.mdb").string();
  fs::remove(path);

  // Message boxes go to the terminal; every connection keeps its statements.
  zmdb::dal::SetStatementLogDefault(true);
  clsZMDBFunc db;
  db.dbSetAppTitle("Staff example");

  std::printf("ZMDBFunc example: a staff table in %s\n\n", path.c_str());

  // 1. A new file database, made by the data engine, opened as the default database.
  zmdb::rt::CallMethod(Variant(zmdb::frame::Engine()), "CreateDatabase",
                       {Variant(path), Variant(";LANGID=0x0804;CP=936;COUNTRY=0")});
  Show("dbOpenDateBase(\"staff.mdb\", \"\")", Flag(db.dbOpenDateBase(path, "")));

  // 2. The default connection on the same file, and the staff table.
  const std::string connect = db.dbGetJetConnect(path, "", false, "4.0");
  Show("dbSetConnect(dbGetJetConnect(...), False)", Flag(db.dbSetConnect(connect, false)));
  connection = std::dynamic_pointer_cast<zmdb::dal::Connection>(db.dbGetConnect(false));
  for (const char* sql : {
           "CREATE TABLE Staff (ID COUNTER PRIMARY KEY, Code TEXT(6), Name TEXT(20), "
           "Dept TEXT(20), Salary CURRENCY, Hired DATETIME)",
           "INSERT INTO Staff (Code, Name, Dept, Salary, Hired) "
           "VALUES ('000101', '李明', 'Sales', 4800, #2019-03-01#)",
           "INSERT INTO Staff (Code, Name, Dept, Salary, Hired) "
           "VALUES ('000102', 'Wang Fang', 'Sales', 5100, #2020-07-15#)",
           "INSERT INTO Staff (Code, Name, Dept, Salary, Hired) "
           "VALUES ('000117', 'Zhao Lei', 'Accounts', 6200, #2016-11-30#)",
           "INSERT INTO Staff (Code, Name, Dept, Salary, Hired) "
           "VALUES ('000120', 'Chen Jing', 'Accounts', NULL, #2023-01-09#)",
       }) {
    connection->Execute(sql);
  }
  Show("(the table is created and filled through the connection)", "5 statements");
  const Variant cn{zmdb::rt::ObjectRef(connection)};

  // 3. Probes: does it exist?
  std::printf("\n-- probes\n");
  Show("dbTableExists(\"Staff\")", Flag(db.dbTableExists("Staff")));
  Show("dbTableExists(\"Staff\", cn)", Flag(db.dbTableExists("Staff", cn)));
  Show("dbFieldExists(\"Staff\", \"Salary\", cn)", Flag(db.dbFieldExists("Staff", "Salary", cn)));
  Show("dbFieldExists(\"Staff\", \"Bonus\", cn)", Flag(db.dbFieldExists("Staff", "Bonus", cn)));
  Show("dbIndexExists(\"Staff\", \"PrimaryKey\")", Flag(db.dbIndexExists("Staff", "PrimaryKey")));
  Show("dbIsSQLConnect(cn)", Flag(db.dbIsSQLConnect(cn)));

  // 4. Counting and reading one value.
  std::printf("\n-- counting and reading\n");
  Show("dbRecordCounts(\"Staff\", cn)", std::to_string(db.dbRecordCounts("Staff", cn)));
  Show("dbRecordCounts(\"Staff\", cn, \"Dept='Sales'\")",
       std::to_string(db.dbRecordCounts("Staff", cn, "Dept='Sales'")));
  Show("dbIsExist(\"Staff\", \"Name\", \"Zhao Lei\", adVarChar)",
       Flag(db.dbIsExist("Staff", "Name", "Zhao Lei", 200)));
  // dbGetValue answers through its by-reference argument; a Null leaves it alone.
  std::string value = "(unchanged)";
  bool found = db.dbGetValue("Staff", "Name", "ID=1", value);
  Show("dbGetValue(\"Staff\", \"Name\", \"ID=1\", v)", Flag(found) + ", v = " + Quoted(value));
  value = "(unchanged)";
  found = db.dbGetValue("Staff", "Salary", "ID=4", value);
  Show("dbGetValue(\"Staff\", \"Salary\", \"ID=4\", v)  [a Null]",
       Flag(found) + ", v = " + Quoted(value));

  // 5. Changing and deleting.
  std::printf("\n-- changing and deleting\n");
  Show("dbModifyItem(\"Staff\", \"Salary\", \"5300\", \"ID=2\")",
       Flag(db.dbModifyItem("Staff", "Salary", "5300", "ID=2")) + " (always False)");
  value.clear();
  db.dbGetValue("Staff", "Salary", "ID=2", value);
  Show("dbGetValue(\"Staff\", \"Salary\", \"ID=2\", v)", "v = " + Quoted(value));
  Show("dbDeleteItem(\"Staff\", \"Dept='Accounts' AND Salary IS NULL\")",
       Flag(db.dbDeleteItem("Staff", "Dept='Accounts' AND Salary IS NULL")));
  Show("dbRecordCounts(\"Staff\", cn)", std::to_string(db.dbRecordCounts("Staff", cn)));

  // 6. The next identifier: the caller adds one.
  std::printf("\n-- next identifiers\n");
  Show("dbGetMaxID(\"Staff\")", Quoted(db.dbGetMaxID("Staff")));
  Show("dbGetMaxID(\"Staff\", \"Code\", , True, 6)",
       Quoted(db.dbGetMaxID("Staff", "Code", Variant::Missing(), true, 6)));
  Show("dbGetMaxID(\"Staff\", \"ID\", , , , , \"Dept='HR'\")",
       Quoted(db.dbGetMaxID("Staff", "ID", Variant::Missing(), false, 8, false, "Dept='HR'")));

  // 7. A text backup of the table, read back and copied into a new table.
  std::printf("\n-- backing up and restoring\n");
  const std::string backup = (dir / "staff.txt").string();
  auto staff = zmdb::dal::Recordset::Create();
  staff->Open(Variant("SELECT * FROM Staff ORDER BY ID"), cn, 3, 1);
  Show("dbBackupRecordset(rs, \"staff.txt\", , , , \"yyyy-mm-dd\")",
       Flag(db.dbBackupRecordset(staff, backup, ",", "", false, "yyyy-mm-dd")));
  {
    std::ifstream file(backup, std::ios::binary);
    for (std::string line; std::getline(file, line);) {
      if (!line.empty() && line.back() == '\r') line.pop_back();
      std::printf("%60s%s\n", "file: ", line.c_str());
    }
  }
  const auto restored = db.dbRestoreRecordset(backup, ",", true);
  const auto rows = std::dynamic_pointer_cast<zmdb::dal::Recordset>(restored);
  Show("dbRestoreRecordset(\"staff.txt\", , True)",
       rows ? "a recordset of " + std::to_string(rows->RecordCount()) + " rows" : "Nothing");
  connection->Execute(
      "CREATE TABLE StaffCopy (ID LONG PRIMARY KEY, Code TEXT(6), Name TEXT(20), "
      "Dept TEXT(20), Salary CURRENCY, Hired DATETIME)");
  seen = connection->statementLog().size();
  Show("dbCopyRecordset(restored, \"StaffCopy\")", Flag(db.dbCopyRecordset(restored, "StaffCopy")));
  value.clear();
  db.dbGetValue("StaffCopy", "Name", "ID=1", value);
  Show("dbGetValue(\"StaffCopy\", \"Name\", \"ID=1\", v)", "v = " + Quoted(value));

  // 8. Closing.
  std::printf("\n-- closing\n");
  Show("dbGetConnString(False)", Quoted(db.dbGetConnString(false)));
  Show("dbCloseConnect(False)", Flag(db.dbCloseConnect(false)));
  Show("dbCloseConnect(True)", Flag(db.dbCloseConnect(true)));
  const zmdb::ErrStruct e = db.dbGetLastError();
  Show("dbGetLastError()",
       std::to_string(e.Number) + (e.Description.empty() ? "" : " " + e.Description));
  return 0;
}
