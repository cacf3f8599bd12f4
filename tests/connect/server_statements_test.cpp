// The statements the server methods send, compared whole, for every kind of
// store the dialect table knows.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>

#include "raised.h"
#include "zmdb/connect/dialect.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/errors.h"

namespace zmdb::connect {
namespace {

using dal::testing::RaisedError;

// eSELECT 1, eINSERT 2, eDELETE 4 and eUPDATE 8: each right alone, a mix, and
// all four keep that order; bits above the four add nothing.
TEST(ServerStatements, RightsOfFlagCombinations) {
  const std::pair<std::int32_t, const char*> cases[] = {
      {0, ""},
      {1, "SELECT"},
      {2, "INSERT"},
      {4, "DELETE"},
      {8, "UPDATE"},
      {10, "INSERT,UPDATE"},
      {16 | 5, "SELECT,DELETE"},
      {-1, "SELECT,INSERT,DELETE,UPDATE"},
  };
  for (const auto& [flags, want] : cases) EXPECT_EQ(RightsText(flags), want) << flags;
}

TEST(ServerStatements, GrantNamesAsEachStoreSpellsThem) {
  const struct {
    ServerKind kind;
    const char* table;
    const char* grantee;
    const char* want;
  } cases[] = {
      // SQL Server, and stores of unknown kind: as given, nothing escaped.
      {ServerKind::SqlServer, "Order Lines", "sales",
       "GRANT SELECT ON [dbo].[Order Lines] TO [sales]"},
      {ServerKind::Other, "a]b", "public", "GRANT SELECT ON [dbo].[a]b] TO [public]"},
      // PostgreSQL: plain names as written (folded by the server), PUBLIC the keyword.
      {ServerKind::PostgreSql, "Staff", "Public", "GRANT SELECT ON Staff TO PUBLIC"},
      {ServerKind::PostgreSql, "staff", "PUBLIC", "GRANT SELECT ON staff TO PUBLIC"},
      {ServerKind::PostgreSql, "员工", "clerk_1", "GRANT SELECT ON 员工 TO clerk_1"},
      {ServerKind::PostgreSql, "Order Lines", "a\"b", R"(GRANT SELECT ON "Order Lines" TO "a""b")"},
      {ServerKind::PostgreSql, "1st", "x-y", R"(GRANT SELECT ON "1st" TO "x-y")"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(GrantStatement(c.kind, "SELECT", c.table, c.grantee), c.want) << c.want;
  }
}

// A store without rights or a clock is refused with the reason in the text.
TEST(ServerStatements, StoresWithoutTheStatementSayWhy) {
  const struct {
    const char* what;
    std::function<void()> build;
    const char* reason;
  } cases[] = {
      {"grant", [] { GrantStatement(ServerKind::FileStore, "SELECT", "T", "Public"); },
       "keeps no users or rights"},
      {"clock", [] { ServerDateStatement(ServerKind::FileStore); }, "has no server clock"},
  };
  for (const auto& c : cases) {
    const rt::ErrorInfo e = RaisedError([&] { c.build(); });
    EXPECT_EQ(e.Number, rt::err::kAdoNotSupported) << c.what;
    EXPECT_NE(e.Description.find(c.reason), std::string::npos) << e.Description;
  }
}

TEST(ServerStatements, ClockAndCatalogueConnection) {
  EXPECT_EQ(ServerDateStatement(ServerKind::SqlServer), "SELECT GETDATE()");
  EXPECT_EQ(ServerDateStatement(ServerKind::Other), "SELECT GETDATE()");
  EXPECT_EQ(ServerDateStatement(ServerKind::PostgreSql), "SELECT LOCALTIMESTAMP");
  EXPECT_EQ(CatalogueConnectionString("srv", "sa", ""), "Data Source=srv;User ID=sa;Pwd=");
  EXPECT_EQ(CatalogueConnectionString("a;b", "u", "p=q"), "Data Source=a;b;User ID=u;Pwd=p=q");
}

}  // namespace
}  // namespace zmdb::connect
