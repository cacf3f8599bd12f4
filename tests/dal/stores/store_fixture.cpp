#include "store_fixture.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>

#include "dal/sqlite/backend_p.h"
#include "zmdb/dal/router.h"

namespace zmdb::dal::testing {

namespace {

std::unique_ptr<testsupport::PgServer> gPostgres;
std::string gPostgresWhyNot;

// The shared PostgreSQL: the one the CTest fixture started, when
// ZMDB_TEST_ODBC names the fixture's directory (its odbcinst.ini and the
// server's state file pg.state), else one of this process's own with a
// private driver registry. The driver manager learns where the registry is
// before the first ODBC call.
class OdbcEnvironment : public ::testing::Environment {
 public:
  void SetUp() override {
    if (const char* dir = std::getenv("ZMDB_TEST_ODBC")) {
      ::setenv("ODBCSYSINI", dir, 0);
      gPostgres = testsupport::PgServer::Attach(std::string(dir) + "/pg.state", &gPostgresWhyNot);
    } else {
      testsupport::UsePrivateOdbcDrivers(ZMDB_SCRIPTS_DIR);
      gPostgres = testsupport::PgServer::Start(&gPostgresWhyNot);
    }
  }
  void TearDown() override { gPostgres.reset(); }
};

[[maybe_unused]] const auto* const kEnvironment =
    ::testing::AddGlobalTestEnvironment(new OdbcEnvironment);

// A database or file name no other test of any process uses.
std::string UniqueName() {
  static std::atomic<int> counter{0};
  return "zt_" + std::to_string(::getpid()) + "_" + std::to_string(++counter);
}

// `connectionString` with its database replaced by `database`.
std::string WithDatabase(const std::string& connectionString, const std::string& database) {
  std::string out;
  for (const auto& [key, value] : ParseConnectionPairs(connectionString)) {
    std::string k = key;
    for (char& c : k) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    if (k == "DATABASE" || k == "INITIAL CATALOG") continue;
    out += key + "=" + value + ";";
  }
  return out + "DATABASE=" + database + ";";
}

}  // namespace

testsupport::PgServer* SharedPostgres() {
  return gPostgres.get();
}
const std::string& PostgresUnavailable() {
  return gPostgresWhyNot;
}

std::string StoreName(Store store) {
  switch (store) {
    case Store::File:
      return "FileStore";
    case Store::Postgres:
      return "PostgreSQL";
    case Store::Sqlite:
      return "SQLiteOdbc";
    case Store::SqlServer:
      return "SqlServer";
  }
  return "?";
}

// A fresh database of the store: a file, or a database made on the server;
// skipped (with the reason) when the store cannot be had.
void StoreTest::SetUp() {
  const std::string name = UniqueName();
  switch (store()) {
    case Store::File:
    case Store::Sqlite: {
      folder_.emplace(name);
      const std::string path = *folder_ / "test.db";
      if (store() == Store::File) {
        sqlite::OpenDatabase({path, true, false, 5000})->Close();
        connectionString_ = "PROVIDER=Microsoft.Jet.OLEDB.4.0;Data Source=" + path +
                            ";Jet OLEDB:Database Password =;";
      } else {
        connectionString_ = "DRIVER=SQLite3;Database=" + path + ";Timeout=5000;";
      }
      return;
    }
    case Store::Postgres: {
      if (!SharedPostgres()) GTEST_SKIP() << "no PostgreSQL: " << PostgresUnavailable();
      adminString_ = SharedPostgres()->ConnectionString("postgres");
      auto admin = Connection::Create();
      admin->Open(adminString_);
      admin->Execute("CREATE DATABASE " + name);
      database_ = name;
      connectionString_ = SharedPostgres()->ConnectionString(name);
      return;
    }
    case Store::SqlServer: {
      const char* mssql = std::getenv("ZMDB_TEST_MSSQL");
      if (!mssql || !*mssql) {
        GTEST_SKIP() << "skipped on SQL Server: set ZMDB_TEST_MSSQL to a connection string "
                        "(a login that may create databases) to run it there";
      }
      adminString_ = mssql;
      auto admin = Connection::Create();
      admin->Open(adminString_);
      admin->Execute("CREATE DATABASE " + name);
      database_ = name;
      connectionString_ = WithDatabase(adminString_, name);
      return;
    }
  }
}

// Close what the test opened and drop its database.
void StoreTest::TearDown() {
  for (auto& weak : opened_) {
    if (auto cn = weak.lock(); cn && cn->State() == 1) cn->Close();
  }
  if (!database_.empty()) {
    auto admin = Connection::Create();
    admin->Open(adminString_);
    admin->Execute(store() == Store::Postgres
                       ? "DROP DATABASE " + database_ + " WITH (FORCE)"
                       : "ALTER DATABASE " + database_ +
                             " SET SINGLE_USER WITH ROLLBACK IMMEDIATE; DROP DATABASE " +
                             database_);
  }
  folder_.reset();
}

std::shared_ptr<Connection> StoreTest::Connect(int cursorLocation) {
  auto cn = Connection::Create();
  cn->SetCursorLocation(cursorLocation);
  cn->Open(connectionString_);
  opened_.push_back(cn);
  return cn;
}

std::shared_ptr<Recordset> StoreTest::Open(const std::shared_ptr<Connection>& cn,
                                           const std::string& sql, int cursorType, int lockType) {
  auto rs = Recordset::Create();
  rs->Open(rt::Variant(sql), rt::Variant(rt::ObjectRef(cn)), cursorType, lockType);
  return rs;
}

std::string StoreTest::Type(Ddl type) const {
  // File store (Jet), PostgreSQL, SQLite, SQL Server.
  static const char* const names[][4] = {
      {"LONG", "integer", "integer", "int"},
      {"SHORT", "smallint", "smallint", "smallint"},
      {"DOUBLE", "float8", "double", "float"},
      {"CURRENCY", "numeric(19,4)", "numeric(19,4)", "money"},
      {"DATETIME", "timestamp", "datetime", "datetime"},
      {"YESNO", "boolean", "bit", "bit"},
      {"MEMO", "text", "text", "nvarchar(max)"},
      {"LONGBINARY", "bytea", "blob", "varbinary(max)"},
      {"COUNTER PRIMARY KEY", "serial PRIMARY KEY", "integer PRIMARY KEY AUTOINCREMENT",
       "int IDENTITY PRIMARY KEY"},
  };
  return names[static_cast<int>(type)][static_cast<int>(store())];
}

std::string StoreTest::Text(int size) const {
  const std::string n = "(" + std::to_string(size) + ")";
  switch (store()) {
    case Store::File:
      return "TEXT" + n;
    case Store::SqlServer:
      return "nvarchar" + n;
    default:
      return "varchar" + n;
  }
}

rt::Variant Of(const std::shared_ptr<Connection>& cn) {
  return rt::Variant(rt::ObjectRef(cn));
}

std::shared_ptr<Connection> OpenLocalFile(const std::filesystem::path& dir) {
  std::filesystem::create_directories(dir);
  const std::string path = (dir / "local.mdb").string();
  sqlite::OpenDatabase({path, true, false, 5000})->Close();
  auto cn = Connection::Create();
  cn->Open("PROVIDER=Microsoft.Jet.OLEDB.4.0;Data Source=" + path +
           ";Jet OLEDB:Database Password =;");
  return cn;
}

void LocalAndStoreTest::SetUp() {
  StoreTest::SetUp();
  if (IsSkipped()) return;
  localFolder_.emplace();
  dir_ = localFolder_->path();
  local_ = OpenLocalFile(dir_);
  remote_ = Connect();
}

void LocalAndStoreTest::TearDown() {
  if (local_) local_->Close();
  localFolder_.reset();
  StoreTest::TearDown();
}

StandInDirectory::StandInDirectory(const std::string& tag)
    : folder(tag),
      dir(folder.path()),
      text("DRIVER=SQL Server SQLite stand-in;Database=" + (folder / "t.db") + ";") {}

void StandInTest::SetUp() {
  host_->SetEcho(false);
  ASSERT_TRUE(obj_.dbSetConnect(standIn_.text, false)) << obj_.dbGetLastError().Description;
  cn_ = std::dynamic_pointer_cast<Connection>(obj_.dbGetConnect(false));
  cn_->EnableStatementLog(true);
}

void StandInTest::TearDown() {
  obj_.dbCloseConnect(false);
}

rt::Variant Scalar(const std::shared_ptr<Connection>& cn, const std::string& sql) {
  auto rs = cn->Execute(sql, nullptr, -1, 3);
  return rs->ValueAt(0);
}

}  // namespace zmdb::dal::testing
