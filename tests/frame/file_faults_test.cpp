// Guarded methods on a file whose disk fails under them: each answers its
// failure value (recording the error when its guard records), never throws,
// and leaves the file whole, holding the data as before the call or with the
// whole call applied; once the disk is healthy again the same call works.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "dal/sqlite/backend_p.h"
#include "fault_vfs.h"
#include "field_rec_rows.h"
#include "temp_folder.h"
#include "zmdb/dal/connection.h"
#include "zmdb/dal/recordset.h"
#include "zmdb/frame/component.h"
#include "zmdb/frame/methods.h"
#include "zmdb/frame/state.h"
#include "zmdb/runtime/host.h"

namespace zmdb::testing {
namespace {

using rt::Variant;
namespace fs = std::filesystem;

// The layer goes in before any file is opened.
[[maybe_unused]] const bool kInstalled = (FaultVfs::Install(), true);

std::string ConnectionString(const std::string& path) {
  return "PROVIDER=Microsoft.Jet.OLEDB.4.0;Data Source=" + path + ";Jet OLEDB:Database Password =;";
}

// Every table's definition and rows, read past the library, and the
// verdict of the integrity check ("" when the file cannot be read).
struct Contents {
  std::string integrity;
  std::string data;
};
Contents Read(const std::string& path) {
  Contents out;
  sqlite3* db = nullptr;
  if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) {
    sqlite3_close_v2(db);
    return out;
  }
  auto each = [&](const std::string& sql, const std::function<void(sqlite3_stmt*)>& row) {
    sqlite3_stmt* st = nullptr;
    if (sqlite3_prepare_v2(db, sql.c_str(), -1, &st, nullptr) != SQLITE_OK) {
      out.data += "<" + std::string(sqlite3_errmsg(db)) + ">";
      return;
    }
    while (sqlite3_step(st) == SQLITE_ROW) row(st);
    sqlite3_finalize(st);
  };
  auto text = [](sqlite3_stmt* st, int i) {
    const auto* t = sqlite3_column_text(st, i);
    return t ? std::string(reinterpret_cast<const char*>(t)) : std::string("NULL");
  };
  each("PRAGMA integrity_check", [&](sqlite3_stmt* st) { out.integrity += text(st, 0); });
  std::vector<std::string> tables;
  each("SELECT name, sql FROM sqlite_master WHERE type IN ('table', 'index') ORDER BY name",
       [&](sqlite3_stmt* st) {
         out.data += text(st, 0) + ": " + text(st, 1) + "\n";
         if (text(st, 1).rfind("CREATE TABLE", 0) == 0) tables.push_back(text(st, 0));
       });
  for (const auto& t : tables) {
    each("SELECT * FROM \"" + t + "\" ORDER BY rowid", [&](sqlite3_stmt* st) {
      out.data += t;
      for (int i = 0; i < sqlite3_column_count(st); ++i) out.data += "|" + text(st, i);
      out.data += "\n";
    });
  }
  sqlite3_close_v2(db);
  return out;
}

// One database and a component object working on it through a connection
// of its own (Conn), the default connection and the default database.
struct Setting {
  explicit Setting(const fs::path& dir) : path((dir / "data.mdb").string()) {
    fs::create_directories(dir);
    backup = (dir / "staff.txt").string();
    dal::sqlite::OpenDatabase({path, true, false, 5000})->Close();
    auto make = dal::Connection::Create();
    make->Open(ConnectionString(path));
    for (const char* sql : {
             "CREATE TABLE Staff (ID INTEGER PRIMARY KEY, Code TEXT(6), Name TEXT(20), "
             "Kind INTEGER, Note TEXT(40))",
             "CREATE TABLE Staff2 (ID INTEGER, Code TEXT(6), Name TEXT(20), Kind INTEGER, "
             "Note TEXT(40))",
             "INSERT INTO Staff VALUES (3, '000012', 'Li', 1, 'first')",
             "INSERT INTO Staff VALUES (57, '000101', 'Wang', 2, NULL)",
             "INSERT INTO Staff VALUES (9, '000099', 'Zhao', 2, 'third')",
         }) {
      make->Execute(sql);
    }
    make->Close();
    // The call's connections open with nothing read yet, so that its reads
    // reach the disk.
    cn = dal::Connection::Create();
    cn->SetCursorLocation(3);  // client-side cursors know their counts
    cn->Open(ConnectionString(path));
    EXPECT_TRUE(obj.dbOpenDateBase(path, ""));
    EXPECT_TRUE(obj.dbSetConnect(ConnectionString(path), false));
    auto staff = dal::Recordset::Create();
    staff->Open(Variant("SELECT * FROM Staff ORDER BY ID"), conn(), 3, 1);
    rows = rt::ObjectRef(staff);
    // Its pages are read again from the disk by the call.
    cn->Close();
    cn->Open(ConnectionString(path));
  }
  ~Setting() {
    obj.dbCloseConnect(true);
    obj.dbCloseConnect(false);
    if (cn->State() == 1) cn->Close();
  }
  Variant conn() const { return Variant(rt::ObjectRef(cn)); }

  std::string path;
  std::string backup;
  std::shared_ptr<dal::Connection> cn;
  rt::ObjectRef rows;  // Staff, read before any fault
  clsZMDBFunc obj;
};

// A guarded call: its method's name (for the guard kind) and whether it
// answered its success value.
struct Call {
  const char* label;
  const char* method;
  std::function<bool(Setting&)> run;
};

const std::vector<Call>& Calls() {
  static const std::vector<Call> calls = {
      {"read one value", "dbGetValue",
       [](Setting& s) {
         std::string out;
         return s.obj.dbGetValue("Staff", "Name", "ID=9", out, s.conn()) && out == "Zhao";
       }},
      {"next ID", "dbGetMaxID",
       [](Setting& s) {
         const std::string id = s.obj.dbGetMaxID("Staff", "ID", s.conn());
         return id == "57";
       }},
      {"open the working recordset", "dbSetRecordset",
       [](Setting& s) { return s.obj.dbSetRecordset("SELECT * FROM Staff", 3, 3); }},
      {"list rows", "dbGetRecord",
       [](Setting& s) {
         std::int32_t n = 0;
         s.obj.dbGetRecord("Staff", "Name", n, "", s.conn());
         return n == 3;
       }},
      {"delete rows", "dbDeleteItem",
       [](Setting& s) { return s.obj.dbDeleteItem("Staff", "Kind=2", s.conn()); }},
      {"add a row", "dbCreateRecord",
       [](Setting& s) {
         return s.obj.dbCreateRecord(
             FieldRecRow({{"Staff", "ID", Variant(100)}, {"Staff", "Name", Variant("新")}}),
             s.conn());
       }},
      {"copy rows", "dbCopyRows",
       [](Setting& s) { return s.obj.dbCopyRows("Staff", "Staff2", "", s.conn(), s.conn()); }},
      {"copy a table's rows", "dbCopyTblData",
       [](Setting& s) { return s.obj.dbCopyTblData("Staff", "Staff2", "Kind=2", s.conn()); }},
      {"back up a recordset", "dbBackupRecordset",
       [](Setting& s) {
         // Of a recordset read before the fault.
         return s.obj.dbBackupRecordset(s.rows, s.backup);
       }},
      {"copy a recordset into a table", "dbCopyRecordset",
       [](Setting& s) { return s.obj.dbCopyRecordset(s.rows, "Staff2", s.conn()); }},
      {"create a table", "dbCreateTableOver",
       [](Setting& s) {
         return s.obj.dbCreateTableItem("Dept") && s.obj.dbCreateFieldItem("", "ID", 4) &&
                s.obj.dbCreateFieldItem("", "Title", 10, 30) && s.obj.dbCreateTableOver("Dept");
       }},
      {"add a field", "dbCreateFieldItem",
       [](Setting& s) { return s.obj.dbCreateFieldItem("Staff", "Age", 3); }},
      {"remove a field (rebuild)", "dbRemoveFieldItem",
       [](Setting& s) { return s.obj.dbRemoveFieldItem("Staff", "Note"); }},
      {"rename a field", "dbModifyFieldName",
       [](Setting& s) { return s.obj.dbModifyFieldName("Staff", Variant("Note"), "Remark"); }},
      {"create an index", "dbCreateIndexItem",
       [](Setting& s) {
         return s.obj.dbCreateIndexItem("Staff", "ByCode", "Code", false, false, false, true);
       }},
      {"rename a table", "dbModifyTableName",
       [](Setting& s) { return s.obj.dbModifyTableName(Variant("Staff2"), "Archive"); }},
  };
  return calls;
}

// A fault: armed after the setting is ready and before the call.
struct Fault {
  const char* test;  // the test's name, and the prefix of its folders
  const char* name;
  std::function<void()> arm;
  const char* cause;  // what a recorded error says of the fault
};

void PrintTo(const Fault& f, std::ostream* os) {
  *os << f.name;
}

const Fault kFaults[] = {
    {"ReadErrors", "I/O error on read",
     [] { FaultVfs::Fail(FaultVfs::Op::Read, 1, SQLITE_IOERR_READ); }, "disk I/O error"},
    {"WriteErrors", "I/O error on write",
     [] { FaultVfs::Fail(FaultVfs::Op::Write, 1, SQLITE_IOERR_WRITE); }, "disk I/O error"},
    {"SyncErrors", "I/O error on sync",
     [] { FaultVfs::Fail(FaultVfs::Op::Sync, 1, SQLITE_IOERR_FSYNC); }, "disk I/O error"},
    {"OneReadError", "one failed read",
     [] { FaultVfs::Fail(FaultVfs::Op::Read, 1, SQLITE_IOERR_READ, true); }, "disk I/O error"},
    {"OneWriteError", "one failed write",
     [] { FaultVfs::Fail(FaultVfs::Op::Write, 1, SQLITE_IOERR_WRITE, true); }, "disk I/O error"},
    {"FullDisk", "full disk", [] { FaultVfs::DiskFull(0); }, "disk is full"},
    {"ReadOnlyFile", "read-only file", [] { FaultVfs::ReadOnly(); }, "disk I/O error"},
};

class FileFaultTest : public TempFolderTest {
 protected:
  void SetUp() override {
    TempFolderTest::SetUp();
    host_->SetEcho(false);
  }
  void TearDown() override {
    FaultVfs::Clear();
    frame::Library() = frame::LibraryState();
    TempFolderTest::TearDown();
  }

  // Every call under `fault`.
  void RunTable(const Fault& fault) {
    int n = 0;
    for (const Call& call : Calls()) {
      SCOPED_TRACE(std::string(call.label) + " under " + fault.name);
      const std::string tag = std::string(fault.test) + "_" + std::to_string(++n);
      // The call's whole effect, on a twin without faults.
      std::string applied;
      {
        Setting twin(dir_ / (tag + "_twin"));
        const bool healthy = call.run(twin);
        EXPECT_TRUE(healthy) << "the call fails on a healthy disk: "
                             << twin.obj.dbGetLastError().Description;
        if (!healthy) continue;
        twin.cn->Close();
        applied = Read(twin.path).data;
      }
      auto s = std::make_unique<Setting>(dir_ / tag);
      const Contents before = Read(s->path);
      s->obj.dbClearError();
      bool ok = false;
      {
        ScopedFaults scoped;
        fault.arm();
        EXPECT_NO_THROW(ok = call.run(*s));
      }
      const ErrStruct err = s->obj.dbGetLastError();
      const frame::MethodSpec* spec = frame::FindMethod(call.method);
      ASSERT_NE(spec, nullptr);
      if (!ok && spec->guard == frame::GuardKind::Recording) {
        EXPECT_NE(err.Number, 0) << "a failure without a recorded error";
        // The error names the fault, not a later step of the clean-up.
        EXPECT_NE(err.Description.find(fault.cause), std::string::npos) << err.Description;
      }
      const Contents after = Read(s->path);
      EXPECT_EQ(after.integrity, "ok");
      const bool untouched = after.data == before.data;
      const bool whole = after.data == applied;
      EXPECT_TRUE(untouched || whole) << "half applied:\n" << after.data;
      // Healthy again: the same call on the same object and connections.
      if (untouched) {
        s->obj.dbClearError();
        bool again = false;
        EXPECT_NO_THROW(again = call.run(*s));
        EXPECT_TRUE(again) << "the call fails after the fault cleared: "
                           << s->obj.dbGetLastError().Description;
      }
    }
  }

  std::shared_ptr<rt::HeadlessHost> host_ = std::make_shared<rt::HeadlessHost>();
  rt::ScopedHost scope_{host_};
};

class FileFaultTable : public FileFaultTest, public ::testing::WithParamInterface<Fault> {};

TEST_P(FileFaultTable, EveryCallIsWholeOrUndone) {
  RunTable(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Faults, FileFaultTable, ::testing::ValuesIn(kFaults),
                         [](const auto& test) { return std::string(test.param.test); });

// The file removed while its connections are open: reads go on from the
// open file, and a change is refused with an error saying so rather than
// reported done and lost with the file.
TEST_F(FileFaultTest, FileDeletedUnderOpenConnections) {
  int n = 0;
  for (const Call& call : Calls()) {
    SCOPED_TRACE(call.label);
    const std::string tag = "deleted_" + std::to_string(++n);
    bool changes = false;
    {
      Setting twin(dir_ / (tag + "_twin"));
      const std::string before = Read(twin.path).data;
      ASSERT_TRUE(call.run(twin));
      twin.cn->Close();
      changes = Read(twin.path).data != before;
    }
    auto s = std::make_unique<Setting>(dir_ / tag);
    fs::remove(s->path);
    s->obj.dbClearError();
    bool ok = false;
    EXPECT_NO_THROW(ok = call.run(*s));
    const ErrStruct err = s->obj.dbGetLastError();
    if (changes) {
      EXPECT_FALSE(ok) << "a change reported done on a deleted file";
      if (frame::FindMethod(call.method)->guard == frame::GuardKind::Recording) {
        EXPECT_NE(err.Description.find("moved or deleted"), std::string::npos) << err.Description;
      }
    } else {
      EXPECT_TRUE(ok);
    }
  }
}

}  // namespace
}  // namespace zmdb::testing
