// What only server stores do: procedures with output parameters, every
// diagnostic record of a failure, refused connections that say why without
// the password, and names and strings too long for the driver manager.
#include "store_fixture.h"
#include "zmdb/dal/ado.h"
#include "zmdb/dal/command.h"
#include "zmdb/dal/router.h"

namespace zmdb::dal::testing {
namespace {

using rt::Variant;

constexpr const char* kServerSource = "ZMDB Server Store";

using ServerTest = StoreTest;

// A procedure's parameter, appended to `cmd`.
std::shared_ptr<Parameter> Add(Command& cmd, const std::string& name, std::int32_t type,
                               int direction, std::int32_t size, const Variant& value = {}) {
  auto p = cmd.CreateParameter(name, type, direction, size, value);
  cmd.parameters()->Append(Variant(rt::ObjectRef(p)));
  return p;
}

TEST_P(ServerTest, ProceduresGiveOutputParametersAfterTheirRows) {
  auto cn = Connect();
  const bool pg = store() == Store::Postgres;
  if (pg) {
    cn->Execute(
        "CREATE FUNCTION add_tax(a numeric, OUT total numeric, OUT label text) AS $$ BEGIN "
        "total := a * 1.1; label := 'tax ' || a; END $$ LANGUAGE plpgsql");
    cn->Execute("CREATE FUNCTION twice(a int) RETURNS int AS $$ SELECT a * 2 $$ LANGUAGE sql");
    cn->Execute(
        "CREATE PROCEDURE bump(INOUT x int, IN y int) AS $$ BEGIN x := x + y; END $$ "
        "LANGUAGE plpgsql");
  } else {
    cn->Execute(
        "CREATE PROCEDURE add_tax @a numeric(10,2), @total numeric(10,2) OUTPUT, @label "
        "nvarchar(50) OUTPUT AS BEGIN SET NOCOUNT ON; SET @total = @a * 1.1; SET @label = "
        "N'tax ' + CAST(CAST(@a AS int) AS nvarchar(10)); SELECT @total AS total, @label AS "
        "label; END");
    cn->Execute("CREATE PROCEDURE twice @a int AS RETURN @a * 2");
    cn->Execute("CREATE PROCEDURE bump @x int OUTPUT, @y int AS SET @x = @x + @y");
  }
  // Output parameters and the rows the procedure returns before them.
  auto tax = Command::Create();
  tax->SetActiveConnection(Variant(rt::ObjectRef(cn)));
  tax->SetCommandType(ado::adCmdStoredProc);
  tax->SetCommandText("add_tax");
  Add(*tax, "a", 131, 1, 0, Variant(10));
  auto total = Add(*tax, "total", 131, 2, 0);
  auto label = Add(*tax, "label", 200, 2, 50);
  auto rs = tax->Execute();
  EXPECT_DOUBLE_EQ(rt::CDbl(total->data().value), 11.0);
  EXPECT_EQ(rt::CStr(label->data().value), "tax 10");
  ASSERT_EQ(rs->State(), 1);
  EXPECT_DOUBLE_EQ(rt::CDbl(rs->fields()->Item(Variant("total"))->Value()), 11.0);
  // A return value, appended after the argument; late-bound this time.
  auto twice = Command::Create();
  rt::SetProp(Variant(rt::ObjectRef(twice)), "ActiveConnection", Variant(rt::ObjectRef(cn)));
  rt::SetProp(Variant(rt::ObjectRef(twice)), "CommandType", Variant(4));
  rt::SetProp(Variant(rt::ObjectRef(twice)), "CommandText", Variant("twice"));
  Add(*twice, "a", 3, 1, 0, Variant(21));
  auto ret = Add(*twice, "ret", 3, 4, 0);
  rt::CallMethod(Variant(rt::ObjectRef(twice)), "Execute");
  EXPECT_EQ(rt::CLng(ret->data().value), 42);
  EXPECT_EQ(rt::CLng(rt::GetProp(Variant(rt::ObjectRef(twice)), "Parameters", {Variant("ret")})
                         .AsObject()
                         ->DefaultValue()),
            42);
  // An input-output parameter.
  auto bump = Command::Create();
  bump->SetActiveConnection(Variant(rt::ObjectRef(cn)));
  bump->SetCommandType(ado::adCmdStoredProc);
  bump->SetCommandText("bump");
  auto x = Add(*bump, "x", 3, 3, 0, Variant(5));
  Add(*bump, "y", 3, 1, 0, Variant(3));
  bump->Execute();
  EXPECT_EQ(rt::CLng(x->data().value), 8);
  // A procedure that is not there fails with the server's error.
  auto missing = Command::Create();
  missing->SetActiveConnection(Variant(rt::ObjectRef(cn)));
  missing->SetCommandType(ado::adCmdStoredProc);
  missing->SetCommandText("no_such_procedure");
  EXPECT_NE(RaisedNumber([&] { missing->Execute(); }), 0);
  EXPECT_FALSE(cn->errors()->items().empty());
}

// SQLite has no stored procedures.
INSTANTIATE_TEST_SUITE_P(Servers, ServerTest, ::testing::Values(Store::Postgres, Store::SqlServer),
                         StoreParamName);

// A commit the server refuses (here a deferred unique constraint) raises its
// own error and leaves the transaction counted, so the caller's rollback
// works instead of reporting that no transaction is active.
TEST(ServerTransactions, ARefusedCommitLeavesTheRollbackToTheCaller) {
  if (!SharedPostgres()) GTEST_SKIP() << "no PostgreSQL: " << PostgresUnavailable();
  auto cn = Connection::Create();
  cn->Open(SharedPostgres()->ConnectionString("postgres"));
  cn->Execute("DROP TABLE IF EXISTS deferred_commit");
  cn->Execute("CREATE TABLE deferred_commit (id int UNIQUE DEFERRABLE INITIALLY DEFERRED)");
  cn->BeginTrans();
  cn->Execute("INSERT INTO deferred_commit VALUES (1)");
  cn->Execute("INSERT INTO deferred_commit VALUES (1)");
  EXPECT_NE(RaisedNumber([&] { cn->CommitTrans(); }), 0);
  EXPECT_EQ(RaisedNumber([&] { cn->RollbackTrans(); }), 0);
  // The connection goes on in its own transactions, and nothing was kept.
  EXPECT_EQ(cn->BeginTrans(), 1);
  cn->Execute("INSERT INTO deferred_commit VALUES (2)");
  cn->CommitTrans();
  EXPECT_EQ(rt::CLng(Scalar(cn, "SELECT COUNT(*) FROM deferred_commit")), 1);
  cn->Execute("DROP TABLE deferred_commit");
}

TEST(ServerDates, AValueADateCannotHoldFailsTheReadInsteadOfChanging) {
  if (!SharedPostgres()) GTEST_SKIP() << "no PostgreSQL: " << PostgresUnavailable();
  auto cn = Connection::Create();
  cn->Open(SharedPostgres()->ConnectionString("postgres"));
  struct Case {
    const char* expr;
    const char* reads;  // CStr of the value; nullptr: the read fails as a conversion
  };
  const Case cases[] = {
      {"'infinity'::date", nullptr},
      {"'-infinity'::date", nullptr},
      {"'-infinity'::timestamp", nullptr},
      {"'294276-12-31'::timestamp", nullptr},
      {"'4713-01-01 00:00:00 BC'::timestamp", nullptr},
      {"'0050-06-01'::date", nullptr},
      {"'2024-03-04'::date", "2024-03-04"},
      {"'2024-03-04 05:06:07'::timestamp", "2024-03-04 05:06:07"},
      {"'0100-01-01'::date", "0100-01-01"},
      {"'9999-12-31 23:59:59'::timestamp", "9999-12-31 23:59:59"},
      // Asked for as text, every value reads as the server writes it.
      {"'infinity'::date::text", "infinity"},
      {"CAST('4713-01-01 BC' AS date)::varchar", "4713-01-01 BC"},
  };
  for (const Case& c : cases) {
    const std::string sql = std::string("SELECT ") + c.expr + " AS v";
    if (!c.reads) {
      EXPECT_EQ(RaisedNumber([&] { Scalar(cn, sql); }), rt::err::kCannotConvert) << c.expr;
      ASSERT_FALSE(cn->errors()->items().empty());
      EXPECT_EQ(cn->errors()->details()[0].sqlState, "22008") << c.expr;
      EXPECT_NE(cn->errors()->items()[0].Description.find("outside the range of a Date"),
                std::string::npos)
          << cn->errors()->items()[0].Description;
      continue;
    }
    EXPECT_EQ(rt::CStr(Scalar(cn, sql)), c.reads) << c.expr;
  }
  // A fraction of a second survives, and a bad row among good ones fails on its own.
  EXPECT_NEAR(rt::CDbl(Scalar(cn, "SELECT '2024-03-04 12:00:00.5'::timestamp")) -
                  rt::CDbl(Scalar(cn, "SELECT '2024-03-04 12:00:00'::timestamp")),
              0.5 / 86400, 1e-9);
  auto rs = cn->Execute("SELECT d FROM (VALUES ('2024-01-01'::date), ('infinity')) t(d)");
  EXPECT_EQ(rt::CStr(rs->fields()->Item(Variant("d"))->Value()), "2024-01-01");
  EXPECT_EQ(RaisedNumber([&] { rs->MoveNext(); }), rt::err::kCannotConvert);
}

// The records of the last failure of `cn` that mention `text`.
int Mentioning(const Connection& cn, const std::string& text) {
  int n = 0;
  for (const auto& e : cn.errors()->items()) n += e.Description.find(text) != std::string::npos;
  return n;
}

TEST(ServerConnection, EveryDiagnosticRecordOfAFailureIsKept) {
  // FreeTDS reports a refused connection in several records; nothing listens
  // on port 1 of the loopback address.
  auto cn = Connection::Create();
  const std::string secret = "Secret-Pw-123";
  const auto number = RaisedNumber([&] {
    cn->Open("PROVIDER=MSDASQL;DRIVER=SQL SERVER;SERVER=127.0.0.1,1;UID=sa;PWD=" + secret +
             ";DATABASE=db1;");
  });
  EXPECT_EQ(number, rt::err::kUnspecified);
  const auto& items = cn->errors()->items();
  ASSERT_GE(items.size(), 2u);
  EXPECT_EQ(Mentioning(*cn, "[FreeTDS]"), static_cast<int>(items.size()));
  const std::string& first = items[0].Description;
  EXPECT_NE(first.find("'127.0.0.1'"), std::string::npos) << first;
  EXPECT_NE(first.find("'SQL SERVER'"), std::string::npos) << first;
  EXPECT_NE(first.find("user 'sa'"), std::string::npos) << first;
  EXPECT_NE(first.find("could not be reached"), std::string::npos) << first;
  EXPECT_EQ(Mentioning(*cn, secret), 0);
  // Each record keeps its SQLSTATE and native number, as the Error object shows them.
  auto errors = rt::GetProp(Variant(rt::ObjectRef(cn)), "Errors");
  for (std::int32_t i = 0; i < static_cast<std::int32_t>(items.size()); ++i) {
    auto e = rt::GetProp(errors, "Item", {Variant(i)});
    EXPECT_EQ(rt::CStr(rt::GetProp(e, "SQLState")).substr(0, 2), "08");
    EXPECT_EQ(rt::CLng(rt::GetProp(e, "Number")), items[static_cast<std::size_t>(i)].Number);
  }
}

TEST(ServerConnection, RefusedConnectionsSayWhyAndNeverShowThePassword) {
  if (!SharedPostgres()) GTEST_SKIP() << "no PostgreSQL: " << PostgresUnavailable();
  const std::string good = SharedPostgres()->ConnectionString("postgres");
  struct Case {
    std::string text;
    std::string says;
  };
  const std::string wrong = "Wrong-Pw-456";
  std::string badPassword = good;
  badPassword.replace(badPassword.find(testsupport::PgServer::kPassword),
                      std::string(testsupport::PgServer::kPassword).size(), wrong);
  const Case cases[] = {
      {badPassword, "the login was refused"},
      {"DRIVER={No Such Driver};SERVER=x;UID=u;PWD=" + wrong, "no driver or data source"},
      {"PROVIDER=SQLOLEDB;Data Source=127.0.0.1,1;User ID=sa;Password=" + wrong,
       "could not be reached"},
  };
  for (const Case& c : cases) {
    auto cn = Connection::Create();
    EXPECT_EQ(RaisedNumber([&] { cn->Open(c.text); }), rt::err::kUnspecified) << c.text;
    ASSERT_FALSE(cn->errors()->items().empty());
    EXPECT_NE(cn->errors()->items()[0].Description.find(c.says), std::string::npos)
        << cn->errors()->items()[0].Description;
    EXPECT_EQ(Mentioning(*cn, wrong), 0);
    EXPECT_EQ(cn->State(), 0);
  }
}

TEST(ServerConnection, NamesTheDriverManagerCannotTakeAreRefusedBeforeItIsCalled) {
  // A driver name past the manager's buffer aborted the process; just inside
  // each limit the manager answers for itself (nothing listens on port 1).
  const std::string pg = "DRIVER={PostgreSQL Unicode};SERVER=127.0.0.1;PORT=1;X=";
  const std::size_t overhead = RouteConnection(pg).odbc.size();
  struct Case {
    std::string text;
    const char* source;
    const char* says;
  };
  const Case cases[] = {
      {"DRIVER=" + std::string(1001, 'x'), "ADODB.Connection", "driver name is 1001 bytes"},
      {"DRIVER=" + std::string(kMaxDriverName + 1, 'x'), "ADODB.Connection", "is 513 bytes"},
      {"DRIVER=" + std::string(kMaxDriverName, 'x'), kServerSource, "no driver or data source"},
      {"DSN=" + std::string(kMaxDsnName + 1, 'x'), "ADODB.Connection", "source name is 33 bytes"},
      {"DSN=" + std::string(kMaxDsnName, 'x'), kServerSource, "no driver or data source"},
      {pg + std::string(kMaxOdbcString - overhead + 1, 'v'), "ADODB.Connection",
       "connection string is 16385 bytes"},
      {pg + std::string(kMaxOdbcString - overhead, 'v'), kServerSource, "could not be reached"},
  };
  for (const Case& c : cases) {
    auto cn = Connection::Create();
    EXPECT_EQ(RaisedNumber([&] { cn->Open(c.text); }), rt::err::kUnspecified);
    ASSERT_FALSE(cn->errors()->items().empty());
    const rt::ErrorInfo& e = cn->errors()->items()[0];
    EXPECT_EQ(e.Source, c.source) << e.Description;
    EXPECT_NE(e.Description.find(c.says), std::string::npos) << e.Description;
    EXPECT_EQ(cn->State(), 0);
  }
}

}  // namespace
}  // namespace zmdb::dal::testing
