// The server store's rules that need no server: connection strings in ODBC
// form, column types as ADO codes, SQLSTATEs as error numbers, procedure
// calls, the base table of a plain SELECT, and UTF-16 text.
#include <gtest/gtest.h>
#include <sql.h>
#include <sqlext.h>

#include <cstdio>

#include "dal/odbc/cursor_p.h"
#include "dal/odbc/types_p.h"
#include "raised.h"
#include "zmdb/dal/router.h"
#include "zmdb/runtime/error.h"

namespace zmdb::dal::odbc {
namespace {

using testing::RaisedError;

TEST(OdbcConnectionString, TranslatesEveryFormTheLibraryWrites) {
  struct Case {
    const char* given;
    const char* provider;  // set apart from the string
    const char* odbc;
  };
  const Case cases[] = {
      // The library's SQL Server string: FreeTDS gets a port, a protocol
      // version and UTF-8 for narrow text.
      {"PROVIDER=MSDASQL;DRIVER=SQL SERVER;SERVER=srv;UID=sa;PWD=;DATABASE=db1;", "",
       "DRIVER={SQL SERVER};SERVER=srv;UID=sa;PWD=;DATABASE=db1;Port=1433;TDS_Version=7.4;"
       "ClientCharset=UTF-8;"},
      {"PROVIDER=SQLOLEDB;DRIVER=SQL SERVER;SERVER=srv;UID=sa;PWD=pw;DATABASE=db1;", "",
       "DRIVER={SQL SERVER};SERVER=srv;UID=sa;PWD=pw;DATABASE=db1;Port=1433;TDS_Version=7.4;"
       "ClientCharset=UTF-8;"},
      // Behind the data-shaping prefix, with a DSN: the DSN's driver is not known here.
      {"PROVIDER=MSDataShape;DATA PROVIDER=MSDASQL;DSN=dsn1;Description=SQL Server;UID=sa;PWD=;"
       "DATABASE=ZMDATA01;",
       "", "DSN=dsn1;Description=SQL Server;UID=sa;PWD=;DATABASE=ZMDATA01;"},
      // The Provider property set apart from an OLE DB string (the server catalogue form).
      {"Data Source=srv;User ID=sa;Pwd=x", "SQLOLEDB",
       "DRIVER={SQL Server};SERVER=srv;UID=sa;PWD=x;Port=1433;TDS_Version=7.4;"
       "ClientCharset=UTF-8;"},
      // Under MSDASQL "Data Source" names a DSN.
      {"Provider=MSDASQL;Data Source=dsn2;User ID=u;Password=p", "", "DSN=dsn2;UID=u;PWD=p;"},
      {"Provider=SQLOLEDB;Data Source=host,1500;Initial Catalog=db;Integrated Security=SSPI;"
       "Persist Security Info=False;Application Name=app",
       "",
       "DRIVER={SQL Server};SERVER=host;DATABASE=db;Trusted_Connection=Yes;APP=app;Port=1500;"
       "TDS_Version=7.4;ClientCharset=UTF-8;"},
      // A named instance is found without a port; what the string says wins.
      {"DRIVER={FreeTDS};SERVER=host\\inst;TDS_Version=7.2;UID=a", "",
       "DRIVER={FreeTDS};SERVER=host\\inst;TDS_Version=7.2;UID=a;ClientCharset=UTF-8;"},
      // A plain ODBC string: names trimmed, unknown keys passed through,
      // psqlODBC told to report Booleans as Booleans.
      {"DRIVER= {PostgreSQL Unicode} ;Servername=h;Port=5432;Database=t;Fetch=100", "",
       "DRIVER={PostgreSQL Unicode};Servername=h;Port=5432;DATABASE=t;Fetch=100;BoolsAsChar=0;"},
      {"Driver=SQLite3;Database=/tmp/a b.db", "", "DRIVER={SQLite3};DATABASE=/tmp/a b.db;"},
      // Values that need braces keep them; the first of a repeated key wins.
      {"DRIVER=X;PWD={a;b}};c};UID=u;uid=v", "", "DRIVER={X};PWD={a;b}};c};UID=u;"},
  };
  for (const Case& c : cases) {
    const Route r = RouteConnection(c.given, c.provider);
    EXPECT_EQ(r.kind, StoreKind::Server) << c.given;
    EXPECT_EQ(r.odbc, c.odbc) << c.given;
  }
  // A DSN registered with FreeTDS gets FreeTDS's settings.
  const Route dsn = RouteConnection("DSN=prod;UID=sa;PWD=x");
  EXPECT_EQ(OdbcConnectionString(dsn, "FreeTDS"),
            "DSN=prod;UID=sa;PWD=x;TDS_Version=7.4;"
            "ClientCharset=UTF-8;");
  // What messages may name, and the password they may not.
  const Route named =
      RouteConnection("PROVIDER=MSDASQL;DRIVER=SQL SERVER;SERVER=srv;UID=sa;PWD={p;w};");
  EXPECT_EQ(named.server, "srv");
  EXPECT_EQ(named.driver, "SQL SERVER");
  EXPECT_EQ(named.user, "sa");
  EXPECT_EQ(named.secret, "p;w");
  EXPECT_EQ(named.provider, "MSDASQL");
  EXPECT_EQ(RedactPasswords("Data Source=s;Password=abc;PWD=x;Jet OLEDB:Database Password =q"),
            "Data Source=s;Password=***;PWD=***;Jet OLEDB:Database Password=***;");
  // A provider that leads nowhere is refused by name.
  const rt::ErrorInfo e =
      RaisedError([&] { RouteConnection("Provider=OraOLEDB.Oracle;Data Source=x"); });
  EXPECT_NE(e.Description.find("OraOLEDB.Oracle"), std::string::npos);
}

// The SQL Server types and the driver quirks no always-on store reports
// (PostgreSQL and SQLite read theirs for real from column_types.txt).
TEST(OdbcColumnTypes, ReadAsTheSqlServerProviderReportsThem) {
  struct Case {
    std::int16_t sqlType;
    const char* typeName;
    std::uint64_t size;
    std::int32_t adoType, definedSize;
    bool isLong;
  };
  const Case cases[] = {
      {SQL_TINYINT, "tinyint", 3, 17, 1, false},
      {SQL_DECIMAL, "money", 19, 6, 8, false},
      {SQL_DECIMAL, "smallmoney", 10, 6, 4, false},
      {SQL_FLOAT, "money", 10, 6, 8, false},  // PostgreSQL's money
      {SQL_DECIMAL, "decimal", 10, 131, 19, false},
      {SQL_CHAR, "char", 5, 129, 5, false},
      {SQL_VARCHAR, "varchar", 0, 201, 2147483647, true},  // varchar(max)
      {SQL_WVARCHAR, "nvarchar", 30, 202, 30, false},
      {SQL_WLONGVARCHAR, "ntext", 1073741823, 203, 1073741823, true},
      {SQL_WVARCHAR, "nvarchar", 0, 203, 1073741823, true},  // nvarchar(max)
      {SQL_BINARY, "binary", 8, 128, 8, false},
      {SQL_VARBINARY, "varbinary", 16, 204, 16, false},
      {SQL_LONGVARBINARY, "image", 2147483647, 205, 2147483647, true},
      {SQL_VARBINARY, "varbinary", 0, 205, 2147483647, true},  // varbinary(max)
      {SQL_TYPE_TIMESTAMP, "smalldatetime", 16, 135, 16, false},
      {SQL_WVARCHAR, "datetime2", 27, 135, 16, false},  // an older protocol's text form
      {SQL_WVARCHAR, "date", 10, 133, 6, false},
      {SQL_VARCHAR, "money", 255, 200, 255, false},  // SQLite keeps any text in "money"
      {SQL_INTERVAL_DAY, "interval", 20, 202, 20, false},
  };
  for (const Case& c : cases) {
    const AdoColumnType t = AdoTypeOf({c.sqlType, c.typeName, c.size, 0});
    EXPECT_EQ(t.adoType, c.adoType) << c.typeName << " " << c.sqlType;
    EXPECT_EQ(t.definedSize, c.definedSize) << c.typeName << " " << c.sqlType;
    EXPECT_EQ(t.isLong, c.isLong) << c.typeName << " " << c.sqlType;
  }
}

// The states of missing objects, columns and bad syntax are checked through
// each store's own failures; these are the ones no test store provokes.
TEST(OdbcErrors, SqlStatesBecomeTheLayersNumbers) {
  const std::pair<const char*, std::int32_t> cases[] = {
      {"42501", rt::err::kPermissionDenied},
      {"23505", -2147217873},
      {"22001", -2147217833},
      {"22007", -2147217913},
      {"HYT00", -2147217871},
      {"08S01", rt::err::kUnspecified},
      {"28000", rt::err::kUnspecified},
      {"HY000", rt::err::kUnspecified},
  };
  for (const auto& [state, number] : cases) EXPECT_EQ(ErrorNumberFor(state), number) << state;
}

TEST(OdbcCalls, ProceduresAreCalledThroughTheEscape) {
  EXPECT_EQ(CallEscape("dbo.p", 2, false), "{call dbo.p(?, ?)}");
  EXPECT_EQ(CallEscape("f", 1, true), "{? = call f(?)}");
  EXPECT_EQ(CallEscape("p", 0, false), "{call p()}");
  EXPECT_EQ(CallStatement("bump", 2), "CALL bump(?, ?)");
}

TEST(OdbcBaseTable, APlainSelectNamesItsTable) {
  const std::pair<const char*, const char*> cases[] = {
      {"SELECT * FROM Staff", "Staff"},
      {"select a, b from [dbo].[Staff] s where a = 1", "Staff"},
      {"SELECT * FROM \"My Table\" AS t ORDER BY 1", "My Table"},
      {"SELECT x FROM db.dbo.T;", "T"},
      {"SELECT (SELECT MAX(id) FROM U) AS m, n FROM T WHERE n > 'FROM X'", "T"},
      {"SELECT * FROM A JOIN B ON A.id = B.id", ""},
      {"SELECT * FROM A, B", ""},
      {"SELECT * FROM (SELECT 1 AS a) q", ""},
      {"SELECT 1", ""},
      {"UPDATE T SET a = 1", ""},
  };
  for (const auto& [sql, table] : cases) EXPECT_EQ(SingleSourceTable(sql), table) << sql;
}

// What the driver writes for an infinity or a year past 9999 is checked
// against the real server; these are the forms of a text the parse must
// take apart, as the timestamp it gives ("" when no Date holds it).
TEST(OdbcDates, ServerTextReadsOnlyWhatADateHolds) {
  const std::pair<const char*, const char*> cases[] = {
      {"2024-03-04", "2024-03-04 00:00:00.0"},
      {"2024-03-04T05:06:07.25", "2024-03-04 05:06:07.250000000"},
      {"2024-03-04 05:06:07.1234567891", "2024-03-04 05:06:07.123456789"},
      // The zone is dropped: the time is the session's wall clock.
      {"2024-03-03 21:06:07-05", "2024-03-03 21:06:07.0"},
      {"2024-03-04 05:06:07.5+05:30", "2024-03-04 05:06:07.500000000"},
      {"0100-01-01", "100-01-01 00:00:00.0"},
      {"9999-12-31 23:59:59", "9999-12-31 23:59:59.0"},
      {"0000-00-00", ""},
      {"0000-00-00 00:00:00", ""},
      {"0099-12-31", ""},
      {"2023-02-29", ""},
      {"2024-03-04 24:00:00", ""},
      {"2024-03-04 05:06", ""},
      {"", ""},
  };
  for (const auto& [text, want] : cases) {
    const auto ts = ParseServerTimestamp(text);
    char got[64] = "";
    if (ts) {
      std::snprintf(got, sizeof got, "%d-%02d-%02d %02d:%02d:%02d.%u", ts->year, ts->month, ts->day,
                    ts->hour, ts->minute, ts->second, ts->fraction);
    }
    EXPECT_STREQ(got, want) << text;
  }
}

TEST(OdbcText, Utf8AndUtf16RoundTrip) {
  for (const std::string s : {"", "abc", "张三", "李四𝄞ü", "\xF0\x9F\x98\x80 end"}) {
    EXPECT_EQ(ToUtf8(ToUtf16(s)), s);
  }
  EXPECT_EQ(ToUtf16("𝄞").size(), 2u);  // a surrogate pair
  EXPECT_EQ(ToUtf8(ToUtf16("a\xFF"
                           "b")),
            "a\xEF\xBF\xBD"
            "b");                                                   // invalid input: U+FFFD
  EXPECT_EQ(ToUtf8(std::u16string(1, u'\xD800')), "\xEF\xBF\xBD");  // a lone surrogate
}

}  // namespace
}  // namespace zmdb::dal::odbc
