// Connection strings compared whole against hand-written expectations.
#include "zmdb/connect/connstr.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace zmdb::connect {
namespace {

// Jet strings (a session case holds the default one): shape prefix, unescaped values.
TEST(ConnStr, Jet) {
  const struct {
    const char* database;
    const char* password;
    bool shape;
    const char* version;
    const char* want;
  } cases[] = {
      {R"(C:\d\a.mdb)", "pw", true, "4.0",
       R"(PROVIDER=MSDataShape;DATA PROVIDER=Microsoft.Jet.OLEDB.4.0;Data Source=C:\d\a.mdb;Jet OLEDB:Database Password =pw;)"},
      // No escaping: separators inside values pass through verbatim.
      {"a;b", "p=;q", false, "",
       "PROVIDER=Microsoft.Jet.OLEDB.;Data Source=a;b;"
       "Jet OLEDB:Database Password =p=;q;"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(JetConnect(c.database, c.password, c.shape, c.version), c.want) << c.want;
}

// SQL Server strings for every type, with and without the shape prefix (a
// session case holds a plain type 1 string).
TEST(ConnStr, SqlServer) {
  const struct {
    std::int32_t type;
    bool shape;
    const char* user;
    const char* database;
    const char* password;
    const char* server;
    const char* dsn;
    const char* want;
  } cases[] = {
      {3, false, "sa", "db1", "pw", "srv", "dsnX",
       "PROVIDER=SQLOLEDB;DRIVER=SQL SERVER;SERVER=srv;UID=sa;PWD=pw;DATABASE=db1;"},
      {2, false, "sa", "", "", "srvX", "dsn1",
       "PROVIDER=MSDASQL;DSN=dsn1;Description=SQL Server;UID=sa;PWD=;DATABASE=ZMDATA01;"},
      // Type 2 appends the caller's database to the fixed name.
      {2, false, "u", "db1", "p", "srvX", "d",
       "PROVIDER=MSDASQL;DSN=d;Description=SQL Server;UID=u;PWD=p;DATABASE=ZMDATA01db1;"},
      {1, true, "", "", "", "", "",
       "PROVIDER=MSDataShape;DATA PROVIDER=MSDASQL;DRIVER=SQL SERVER;SERVER=;UID=;PWD=;"
       "DATABASE=;"},
      {0, false, "sa", "db1", "pw", "srv", "dsn", ""},
      {4, false, "sa", "db1", "pw", "srv", "dsn", ""},
      {-1, true, "sa", "db1", "pw", "srv", "dsn", "PROVIDER=MSDataShape;DATA "},
  };
  for (const auto& c : cases)
    EXPECT_EQ(SqlConnect(c.user, c.database, c.password, c.server, c.shape, c.dsn, c.type), c.want)
        << "type " << c.type;
}

}  // namespace
}  // namespace zmdb::connect
