// Creating a server database when the server is PostgreSQL: the creation
// path always names the SQL Server driver, so it cannot speak to
// PostgreSQL; it fails at its first connection with the provider error
// recorded and the network message shown, and nothing is made on the server.
#include <gtest/gtest.h>

#include "store_fixture.h"
#include "zmdb/connect/create.h"
#include "zmdb/frame/state.h"

namespace zmdb::dal::testing {
namespace {

TEST(CreateDatabaseOnPostgres, FailsAtTheConnectionAndMakesNothing) {
  testsupport::PgServer* pg = SharedPostgres();
  if (!pg) GTEST_SKIP() << PostgresUnavailable();
  auto host = std::make_shared<rt::HeadlessHost>();
  host->SetEcho(false);
  rt::ScopedHost scope(host);
  {
    clsZMDBFunc obj;
    std::string used;
    const std::string server = "127.0.0.1," + std::to_string(pg->port());
    EXPECT_FALSE(obj.dbCreateDBItem("/tmp/zt_made.mdf", testsupport::PgServer::kPassword, used,
                                    false, true, testsupport::PgServer::kUser, server, "zt_made"));
    EXPECT_EQ(obj.dbGetLastError().Number, static_cast<std::int32_t>(0x80004005u));
    EXPECT_FALSE(obj.dbGetLastError().Description.empty());
    ASSERT_EQ(host->shown().size(), 1u);
    EXPECT_EQ(host->shown()[0].prompt, connect::kNetworkFailure);
    EXPECT_EQ(host->shown()[0].buttons, 0);
    EXPECT_EQ(host->MousePointer(), 0);
  }
  frame::Library() = frame::LibraryState();
  auto cn = Connection::Create();
  cn->Open(pg->ConnectionString());
  EXPECT_EQ(rt::CLng(Scalar(cn, "SELECT COUNT(*) FROM pg_database WHERE datname = 'zt_made'")), 0);
  cn->Close();
}

}  // namespace
}  // namespace zmdb::dal::testing
