// Creating a SQL Server database, checked by the statements it sends. The
// library names the driver "SQL Server"; in this process that name is
// registered for the SQLite ODBC driver, so the statements run on SQLite
// files in a directory of the test's own (DATABASE=master opens ./master).
// SQLite knows no CREATE DATABASE: the statements are checked as text, and
// the failing CREATE shows how the handler answers a driver error.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>

#include "temp_folder.h"
#include "zmdb/connect/create.h"
#include "zmdb/dal/connection.h"
#include "zmdb/dal/recordset.h"
#include "zmdb/frame/component.h"
#include "zmdb/frame/state.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/host.h"

namespace zmdb::testing {
namespace {

namespace fs = std::filesystem;

std::optional<TempFolder> gFolder;
fs::path gDir;

// Before the first ODBC call of the process: a private driver registry in
// which "SQL Server" is the SQLite driver, and the directory made current.
class StandInServer : public ::testing::Environment {
 public:
  void SetUp() override {
    gDir = gFolder.emplace("create_server").path();
    std::string library;
    for (const char* dir : {"/usr/lib/x86_64-linux-gnu/odbc", "/usr/lib/aarch64-linux-gnu/odbc",
                            "/usr/lib/odbc", "/usr/lib64", "/usr/lib"}) {
      if (fs::exists(fs::path(dir) / "libsqlite3odbc.so")) {
        library = (fs::path(dir) / "libsqlite3odbc.so").string();
        break;
      }
    }
    std::ofstream(gDir / "odbcinst.ini") << "[SQL Server]\nDriver=" << library << "\n";
    std::ofstream(gDir / "odbc.ini") << "";
    ::setenv("ODBCSYSINI", gDir.c_str(), 1);
    fs::current_path(gDir);
    available_ = !library.empty();
  }
  void TearDown() override {
    std::error_code ec;
    fs::current_path(fs::temp_directory_path(), ec);
    gFolder.reset();
  }
  static bool available() { return available_; }

 private:
  static inline bool available_ = false;
};

[[maybe_unused]] const auto* const kEnvironment =
    ::testing::AddGlobalTestEnvironment(new StandInServer);

// The stand-in server: its catalogue holds one database, Sales, the file its
// connections open (of two DATABASE= keys the first wins).
constexpr const char* kServer = "srv;DATABASE=Sales";

class CreateServerDatabaseTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!StandInServer::available()) GTEST_SKIP() << "the SQLite ODBC driver is not installed";
    host_->SetEcho(false);
    dal::SetStatementLogDefault(true);
  }
  void TearDown() override {
    obj_.reset();
    frame::Library() = frame::LibraryState();
    dal::SetStatementLogDefault(false);
  }
  bool Create(const std::string& database, const std::string& dataFile = "/srv/sales.mdf") {
    std::string used;
    return obj_->dbCreateDBItem(dataFile, "pw", used, false, true, "sa", kServer, database);
  }
  std::vector<std::string> Statements() const {
    auto cn = std::dynamic_pointer_cast<dal::Connection>(obj_->defaultConnection());
    return cn ? cn->statementLog() : std::vector<std::string>{};
  }

  std::shared_ptr<rt::HeadlessHost> host_ = std::make_shared<rt::HeadlessHost>();
  rt::ScopedHost scope_{host_};
  std::unique_ptr<clsZMDBFunc> obj_ = std::make_unique<clsZMDBFunc>();
};

TEST_F(CreateServerDatabaseTest, SystemNamesAreRefusedInAnyCase) {
  rt::SetAppTitle("进销存");
  for (const char* name : {"master", "MODEL", "Tempdb", "NorthWind", "PUBS", "msdb"}) {
    SCOPED_TRACE(name);
    host_->ClearRecord();
    std::string used;
    EXPECT_FALSE(obj_->dbCreateDBItem("/srv/x.mdf", "pw", used, false, true, "sa", kServer, name));
    ASSERT_EQ(host_->shown().size(), 1u);
    EXPECT_EQ(host_->shown()[0].prompt, connect::kSystemNameRefusal);
    EXPECT_EQ(host_->shown()[0].buttons, rt::mb::kCritical);
    EXPECT_EQ(host_->shown()[0].title, "进销存");
    EXPECT_EQ(host_->MousePointer(), rt::kPointerHourglass);  // left as it was
    EXPECT_EQ(obj_->defaultConnection(), nullptr);            // nothing opened or run
    EXPECT_EQ(obj_->dbGetLastError().Number, 0);
  }
  rt::SetAppTitle("ZMDBFuncProj");
}

// A database the server does not list: no question, the CREATE statement
// alone. SQLite refuses it, as a driver error (0x80004005), which the
// handler records and explains with the network message.
TEST_F(CreateServerDatabaseTest, AnAbsentDatabaseIsCreatedWithoutAQuestion) {
  EXPECT_FALSE(Create("Sales2"));
  EXPECT_EQ(Statements(),
            std::vector<std::string>{"CREATE DATABASE Sales2 ON (NAME = Sales2_dat,FILENAME = "
                                     "'/srv/sales.mdf')"});
  EXPECT_EQ(obj_->dbGetLastError().Number, static_cast<std::int32_t>(0x80004005u));
  ASSERT_EQ(host_->shown().size(), 1u);
  EXPECT_EQ(host_->shown()[0].prompt, connect::kNetworkFailure);
  EXPECT_EQ(host_->shown()[0].buttons, rt::mb::kOKOnly);
  EXPECT_EQ(host_->MousePointer(), 0);
  // The handler drops the default database, not the connection it opened.
  auto cn = std::dynamic_pointer_cast<dal::Connection>(obj_->defaultConnection());
  ASSERT_TRUE(cn);
  EXPECT_TRUE(rt::CStr(rt::GetProp(rt::Variant(rt::ObjectRef(cn)), "ConnectionString"))
                  .starts_with("DRIVER=SQL SERVER;SERVER=srv;DATABASE=Sales;UID=sa;PWD=pw;"
                               "DATABASE=master;"));
}

// The name the server lists (in any case): the drop question, then Cancel
// (nothing run, connection closed and dropped) or OK (drop, delete the data
// file that existed, create).
TEST_F(CreateServerDatabaseTest, TheDropQuestionAnsweredCancelOrOk) {
  struct Case {
    const char* database;
    int answer;
    std::vector<std::string> statements;
  };
  const std::string dataFile = (gDir / "sales.mdf").string();
  const Case cases[] = {
      {"Sales", rt::mb::kCancel, {}},
      {"SALES", rt::mb::kCancel, {}},
      {"sales",
       rt::mb::kOK,
       {"DROP DATABASE sales",
        "CREATE DATABASE sales ON (NAME = sales_dat,FILENAME = '" + dataFile + "')"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.database);
    std::ofstream(dataFile) << "data";
    host_->ClearRecord();
    host_->ScriptAnswers({c.answer});
    EXPECT_FALSE(Create(c.database, dataFile));
    ASSERT_GE(host_->shown().size(), 1u);
    EXPECT_EQ(host_->shown()[0].prompt, connect::kDropQuestion);
    EXPECT_EQ(host_->shown()[0].buttons, 305);
    EXPECT_EQ(host_->MousePointer(), 0);
    EXPECT_EQ(Statements(), c.statements);
    if (c.answer == rt::mb::kCancel) {
      EXPECT_EQ(host_->shown().size(), 1u);
      EXPECT_EQ(obj_->defaultConnection(), nullptr);
      EXPECT_EQ(obj_->dbGetLastError().Number, 0);
      EXPECT_TRUE(fs::exists(dataFile));
    } else {
      // The drop's own failure is ignored; the CREATE's is the one recorded.
      EXPECT_NE(obj_->dbGetLastError().Description.find("(in: " + c.statements[1] + ")"),
                std::string::npos);
      EXPECT_FALSE(fs::exists(dataFile));
    }
  }
}

}  // namespace
}  // namespace zmdb::testing
