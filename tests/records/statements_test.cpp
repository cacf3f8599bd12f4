// The statements the record, next-ID and working-recordset methods build, checked as text
// without a store, and the one SQL Server test with its dialect adapter.
#include "zmdb/records/statements.h"

#include <gtest/gtest.h>

#include "raised.h"
#include "zmdb/connect/dialect.h"
#include "zmdb/dal/connection.h"
#include "zmdb/sqlconv/translator.h"

namespace zmdb {
namespace {

struct BuiltCase {
  std::string built;
  std::string expected;
};

TEST(BuiltStatements, AreExactlyAsWritten) {
  using namespace records;
  const BuiltCase cases[] = {
      // Character and date values are quoted, with a blank after "=".
      {IsExistStatement("T", "Name", "Li", 200, ""), "SELECT * FROM T WHERE Name= 'Li'"},
      {IsExistStatement("T", "Name", "Li", 200, "Age>3"),
       "SELECT * FROM T WHERE Name= 'Li' AND Age>3"},
      {IsExistStatement("T", "Code", "A1", 129, ""), "SELECT * FROM T WHERE Code= 'A1'"},
      {IsExistStatement("T", "Born", "2001-02-03", 7, ""),
       "SELECT * FROM T WHERE Born= '2001-02-03'"},
      // Every other type, an absent one too, goes in unquoted.
      {IsExistStatement("T", "ID", "12", 0, ""), "SELECT * FROM T WHERE ID=12"},
      {IsExistStatement("T", "Name", "Li", 202, ""), "SELECT * FROM T WHERE Name=Li"},
      {IsExistFilter("ID", "12"), "ID='12'"},
      {GetValueStatement("Staff", "ID=3"), "SELECT * FROM Staff WHERE ID=3"},
      {GetValueStatement("Staff", ""), "SELECT * FROM Staff WHERE "},
      {DeleteItemStatement("T", ""), "DELETE * FROM T"},
      {DeleteItemStatement("T", "ID>2"), "DELETE * FROM T WHERE ID>2"},
      {ModifyItemStatement("T", "Name", "'Wang'", "ID=1"), "Update T SET Name='Wang' WHERE ID=1"},
      {RecordCountsStatement("T", ""), "SELECT COUNT(*) as Counts FROM [T]"},
      {RecordCountsStatement("My T", "Kind=2"),
       "SELECT COUNT(*) as Counts FROM [My T] WHERE Kind=2"},
      {MaxIdStatement("T", "ID", false, 8, ""), "SELECT MAX(ID) AS MaxID FROM T"},
      {MaxIdStatement("T", "ID", true, 6, ""), "SELECT MAX(FORMAT(ID,'000000')) AS MaxID FROM T"},
      {MaxIdStatement("T", "No", false, 8, "Kind=2"),
       "SELECT MAX(No) AS MaxID FROM T WHERE Kind=2"},
      // The working recordset: names in the order given, nothing quoted.
      {WorkingRecordsetStatement({"[My F]"}, "[My T]"), "SELECT [My F] FROM [My T]"},
      {WorkingRecordsetStatement({"A", ""}, ""), "SELECT A, FROM "},
      // Copying rows: the rows to copy, and the target's fields without rows.
      {CopySourceStatement("T", ""), "SELECT * FROM T"},
      {CopySourceStatement("T", "Kind=2"), "SELECT * FROM T WHERE Kind=2"},
      {CopyTargetStatement("[My T]"), "SELECT * FROM [My T] WHERE 1=0"},
  };
  for (const auto& c : cases) EXPECT_EQ(c.built, c.expected);
  // No field at all leaves no last character to drop.
  EXPECT_EQ(dal::testing::RaisedNumber([] { records::WorkingRecordsetStatement({}, "T"); }),
            rt::err::kInvalidProcCall);
}

TEST(SqlServerTest, OnlyTheOdbcDriverClauseCounts) {
  const std::pair<const char*, bool> cases[] = {
      {"PROVIDER=MSDASQL;DRIVER=SQL SERVER;SERVER=s;UID=u;PWD=p;DATABASE=d;", true},
      {"driver = sql server;server=s", true},
      {"PROVIDER=MSDataShape;DATA PROVIDER=MSDASQL;DRIVER=SQL Server;SERVER=s", true},
      {"DRIVER={SQL Server};SERVER=s", false},
      {"PROVIDER=SQLOLEDB;Data Source=s;User ID=u", false},
      {"PROVIDER=MSDASQL;DSN=d;UID=u", false},
      {"PROVIDER=Microsoft.Jet.OLEDB.4.0;Data Source=c:\\a.mdb", false},
      {"", false},
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(connect::IsSQLServerText(text), expected) << text;
  }
}

TEST(DialectAdapter, TranslatesOnlyForSqlServer) {
  auto server = dal::Connection::Create();
  server->SetConnectionString("DRIVER=SQL SERVER;SERVER=s;DATABASE=d");
  auto file = dal::Connection::Create();
  file->SetConnectionString("PROVIDER=Microsoft.Jet.OLEDB.4.0;Data Source=/tmp/x.mdb");
  const std::string statement = "DELETE * FROM T WHERE D=#2001-02-03#";
  const std::string translated =
      connect::AdaptDialect(statement, rt::Variant(rt::ObjectRef(server)));
  EXPECT_EQ(translated, sqlconv::TranslateJetToSql(statement));
  EXPECT_NE(translated, statement);
  EXPECT_EQ(connect::AdaptDialect(statement, rt::Variant(rt::ObjectRef(file))), statement);
}

}  // namespace
}  // namespace zmdb
