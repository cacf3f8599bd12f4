// The index methods' statements on SQL Server: sent to the stand-in driver
// (which runs what SQLite can and fails on the rest) and checked through the
// statement log, and for real when ZMDB_TEST_MSSQL names a server.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "store_fixture.h"
#include "zmdb/dal/connection.h"
#include "zmdb/frame/component.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/host.h"

namespace zmdb::testing {
namespace {

using rt::Variant;

// The statements sent to the default connection on the stand-in driver,
// which runs what SQLite can and fails on the rest; the server's own answers
// to DROP INDEX are given by the statement hook.
class ServerIndexesTest : public dal::testing::StandInTest {
 protected:
  void SetUp() override {
    StandInTest::SetUp();
    cn_->Execute("CREATE TABLE Staff (ID INT, Name VARCHAR(20))");
  }
  // The log from entry `from` on.
  std::vector<std::string> LogFrom(std::size_t from) {
    const auto& log = cn_->statementLog();
    return {log.begin() + static_cast<std::ptrdiff_t>(from), log.end()};
  }
};

TEST_F(ServerIndexesTest, CreatingAnIndexSendsTheServerStatements) {
  // A plain index: the listing (which the stand-in cannot run: recorded, and
  // creation goes on), then CREATE INDEX without UNIQUE, which it refuses.
  std::size_t from = cn_->statementLog().size();
  EXPECT_FALSE(obj_.dbCreateIndexItem("Staff", "ByName", "Name", false, true, true, true, false,
                                      "PRIMARY", true));
  EXPECT_EQ(LogFrom(from),
            (std::vector<std::string>{
                "sp_MShelpindex 'dbo.Staff', NULL, 1",
                "CREATE CLUSTERED INDEX ByName ON [dbo].[Staff] ([Name]) ON [PRIMARY]"}));
  EXPECT_NE(obj_.dbGetLastError().Number, 0);

  // The primary key starts by reading the key column's type, in T-SQL.
  from = cn_->statementLog().size();
  EXPECT_FALSE(
      obj_.dbCreateIndexItem("Staff", "", "ID", true, true, true, true, false, "PRIMARY", true));
  EXPECT_EQ(LogFrom(from), (std::vector<std::string>{"sp_MShelpindex 'dbo.Staff', NULL, 1",
                                                     "SELECT TOP 1 ID FROM Staff"}));
  EXPECT_NE(obj_.dbGetLastError().Number, 0);

  // Without a default connection nothing is sent or recorded.
  obj_.dbClearError();
  ASSERT_TRUE(obj_.dbCloseConnect(false));
  EXPECT_FALSE(
      obj_.dbCreateIndexItem("Staff", "", "ID", true, true, true, true, false, "PRIMARY", true));
  EXPECT_FALSE(obj_.dbRemoveIndexItem("Staff", "", true));
  EXPECT_EQ(obj_.dbGetLastError().Number, 0);
}

// What dbRemoveIndexItem does with each answer to DROP INDEX. The stand-in
// cannot drop an index by a three-part name, so the server's answers are
// given by the statement hook, and the stand-in's own refusal stands for any
// other failure.
TEST_F(ServerIndexesTest, RemovingAnIndexRetriesAsAConstraintAndToleratesAMissingOne) {
  constexpr std::int32_t kStandInFailure = 0;  // whatever the stand-in answers
  struct Case {
    const char* what;
    std::int32_t answer;  // what the server answers to DROP INDEX (kStandInFailure: its own)
    bool expected;
    std::vector<std::string> statements;
    bool boxAndRecord;
  };
  const Case cases[] = {
      {"a constraint: retried as one, which the stand-in refuses too",
       -2147217900,
       false,
       {"DROP INDEX dbo.Staff.pk_Staff", "ALTER TABLE dbo.Staff DROP CONSTRAINT pk_Staff"},
       false},
      {"missing: counts as dropped", -2147217865, true, {"DROP INDEX dbo.Staff.pk_Staff"}, false},
      {"permission denied", -2147217911, false, {"DROP INDEX dbo.Staff.pk_Staff"}, true},
      {"the stand-in's own failure",
       kStandInFailure,
       false,
       {"DROP INDEX dbo.Staff.pk_Staff"},
       true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    cn_->SetStatementHook([&](std::string_view s) {
      if (s.rfind("DROP INDEX", 0) == 0 && c.answer != kStandInFailure) {
        rt::Raise(c.answer, "refused: " + std::string(s));
      }
    });
    obj_.dbClearError();
    host_->ClearRecord();
    const std::size_t from = cn_->statementLog().size();
    EXPECT_EQ(obj_.dbRemoveIndexItem("Staff", "", true), c.expected);
    EXPECT_EQ(LogFrom(from), c.statements);
    if (c.boxAndRecord) {
      ASSERT_EQ(host_->shown().size(), 1u);
      EXPECT_EQ(host_->shown()[0].prompt, "mADODB.Execute DROP INDEX dbo.Staff.pk_Staff Error!");
      EXPECT_EQ(host_->shown()[0].buttons, 16);
      EXPECT_NE(obj_.dbGetLastError().Number, 0);
      if (c.answer != kStandInFailure) {
        EXPECT_EQ(obj_.dbGetLastError().Number, c.answer);
      }
    } else {
      EXPECT_TRUE(host_->shown().empty());
      EXPECT_EQ(obj_.dbGetLastError().Number, 0);
    }
  }
  cn_->SetStatementHook({});
}

// On a real server (ZMDB_TEST_MSSQL): the key forced onto rows with a Null
// key, listed by the help procedure, dropped through the constraint retry,
// and dropped again as a missing index.
TEST(ServerIndexesReal, PrimaryKeyRoundTrip) {
  const char* mssql = std::getenv("ZMDB_TEST_MSSQL");
  if (mssql == nullptr || *mssql == '\0') {
    GTEST_SKIP() << "skipped: set ZMDB_TEST_MSSQL to a SQL Server connection string";
  }
  auto host = std::make_shared<rt::HeadlessHost>();
  host->SetEcho(false);
  rt::ScopedHost scope(host);
  clsZMDBFunc obj;
  ASSERT_TRUE(obj.dbSetConnect(mssql, false)) << obj.dbGetLastError().Description;
  const Variant cn{obj.dbGetConnect(false)};
  const std::string t = "zt_ix_" + std::to_string(::getpid());
  rt::CallMethod(cn, "Execute",
                 {Variant("CREATE TABLE " + t + " (ID INT NULL, Name VARCHAR(20))")});
  rt::CallMethod(cn, "Execute", {Variant("INSERT INTO " + t + " VALUES (1, 'a')")});
  rt::CallMethod(cn, "Execute", {Variant("INSERT INTO " + t + " VALUES (NULL, 'b')")});
  EXPECT_TRUE(obj.dbCreateIndexItem(t, "", "ID", true, true, true, true, false, "PRIMARY", true))
      << obj.dbGetLastError().Description;
  const rt::SafeArray defs = obj.dbIndexDefs(t, cn);
  ASSERT_EQ(defs.size(), 1u);
  EXPECT_EQ(rt::CStr(defs.at(0).AsRecord()["Name"]), "pk_" + t);
  EXPECT_TRUE(rt::CBool(defs.at(0).AsRecord()["Primary"]));
  EXPECT_TRUE(rt::CBool(defs.at(0).AsRecord()["Clustered"]));
  EXPECT_TRUE(obj.dbRemoveIndexItem(t, "", true));
  EXPECT_TRUE(obj.dbRemoveIndexItem(t, "", true));
  EXPECT_TRUE(host->shown().empty());
  rt::CallMethod(cn, "Execute", {Variant("DROP TABLE " + t)});
}

}  // namespace
}  // namespace zmdb::testing
