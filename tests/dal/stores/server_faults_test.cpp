// A PostgreSQL server that fails under a session: stopped between calls, or
// the session ended by another connection during a fetch and during a copy.
// The call answers its failure value with an error naming the lost
// connection, within a bounded time, a copy's target keeps all of its rows
// or none, and once the server is back a reopened connection works. The
// tests stop the server, so they start one of their own.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "pg_server.h"
#include "raised.h"
#include "zmdb/dal/connection.h"
#include "zmdb/dal/recordset.h"
#include "zmdb/frame/component.h"
#include "zmdb/frame/state.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/host.h"

namespace zmdb::testing {
namespace {

using rt::Variant;

constexpr int kBigRows = 200000;
constexpr int kCopyRows = 3000;

std::unique_ptr<testsupport::PgServer> g_server;
std::string g_whyNot;

Variant Of(const std::shared_ptr<dal::Connection>& cn) {
  return Variant(rt::ObjectRef(cn));
}
std::shared_ptr<dal::Connection> Open(int cursorLocation = 2) {
  auto cn = dal::Connection::Create();
  cn->SetCursorLocation(cursorLocation);
  cn->Open(g_server->ConnectionString());
  return cn;
}
std::int64_t Number(const std::shared_ptr<dal::Connection>& cn, const std::string& sql) {
  auto rs = dal::Recordset::Create();
  rs->Open(Variant(sql), Of(cn), 3, 1);
  const auto n = static_cast<std::int64_t>(rt::CDbl(rs->fields()->Item(Variant(0))->Value()));
  rs->Close();
  return n;
}

// Whether a recorded error says the connection to the server was lost.
bool NamesLostConnection(const std::string& text) {
  return text.starts_with("The connection to the server was lost: ");
}

// Ends session `pid` from a connection of its own once the session is
// busy (running a statement, or inside a transaction).
class Terminator {
 public:
  // The watching connection opens before the constructor returns, so that
  // the watch is on from the first statement of the session.
  explicit Terminator(std::int64_t pid)
      : admin_(Open()), thread_([this, pid] {
          const std::string sql =
              "SELECT COUNT(pg_terminate_backend(pid)) FROM pg_stat_activity WHERE pid = " +
              std::to_string(pid) + " AND state IN ('active', 'idle in transaction')";
          const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(30);
          while (!stop_ && std::chrono::steady_clock::now() < until) {
            if (Number(admin_, sql) > 0) {
              ended_ = true;
              break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
          }
          admin_->Close();
        }) {}
  ~Terminator() { Join(); }
  bool ended() {
    Join();
    return ended_;
  }

 private:
  void Join() {
    stop_ = true;
    if (thread_.joinable()) thread_.join();
  }
  std::shared_ptr<dal::Connection> admin_;
  std::atomic<bool> stop_{false};
  std::atomic<bool> ended_{false};
  std::thread thread_;
};

class ServerFaultTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    testsupport::UsePrivateOdbcDrivers(ZMDB_SCRIPTS_DIR);
    g_server = testsupport::PgServer::Start(&g_whyNot);
    if (!g_server) return;
    auto cn = Open();
    cn->Execute("CREATE TABLE big (id INTEGER PRIMARY KEY, name VARCHAR(40), amount FLOAT)");
    cn->Execute("INSERT INTO big SELECT i, '名字' || i, i * 1.5 FROM generate_series(1, " +
                std::to_string(kBigRows) + ") AS s(i)");
    cn->Execute("CREATE TABLE src (id INTEGER PRIMARY KEY, name VARCHAR(40), amount FLOAT)");
    cn->Execute("INSERT INTO src SELECT i, '名字' || i, i * 1.5 FROM generate_series(1, " +
                std::to_string(kCopyRows) + ") AS s(i)");
    cn->Execute("CREATE TABLE dst (id INTEGER PRIMARY KEY, name VARCHAR(40), amount FLOAT)");
    cn->Close();
  }
  static void TearDownTestSuite() { g_server.reset(); }

  void SetUp() override {
    if (!g_server) GTEST_SKIP() << "no PostgreSQL: " << g_whyNot;
    host_->SetEcho(false);
    // A call that hangs ends the test program rather than the run.
    alarm(120);
  }
  void TearDown() override {
    alarm(0);
    frame::Library() = frame::LibraryState();
  }

  // The recorded error of a call that failed, checked for its cause.
  void ExpectLostConnection(clsZMDBFunc& obj) {
    const ErrStruct err = obj.dbGetLastError();
    EXPECT_NE(err.Number, 0);
    EXPECT_TRUE(NamesLostConnection(err.Description)) << err.Description;
  }

  std::shared_ptr<rt::HeadlessHost> host_ = std::make_shared<rt::HeadlessHost>();
  rt::ScopedHost scope_{host_};
};

TEST_F(ServerFaultTest, ServerStoppedBetweenCalls) {
  auto cn = Open();
  clsZMDBFunc obj;
  ASSERT_EQ(obj.dbGetMaxID("src", "id", Of(cn)), std::to_string(kCopyRows));
  auto kept = cn->Execute("SELECT id FROM src WHERE id <= 2", nullptr, -1, 3);
  g_server->Stop();
  std::int32_t count = 0;
  for (const auto& call :
       {std::function<bool()>([&] { return !obj.dbGetMaxID("src", "id", Of(cn)).empty(); }),
        std::function<bool()>([&] {
          obj.dbGetRecord("src", "name", count, "", Of(cn));
          return count > 0;
        }),
        std::function<bool()>([&] { return obj.dbCopyRows("src", "dst", "", Of(cn), Of(cn)); })}) {
    obj.dbClearError();
    bool ok = true;
    EXPECT_NO_THROW(ok = call());
    EXPECT_FALSE(ok);
    ExpectLostConnection(obj);
  }
  // The connection's own record keeps the driver's state; rows read before
  // stay readable, and the broken connection still closes.
  ASSERT_FALSE(cn->errors()->items().empty());
  EXPECT_NE(cn->errors()->details()[0].sqlState, "");
  EXPECT_EQ(kept->RecordCount(), 2);
  EXPECT_NO_THROW(cn->Close());
  EXPECT_EQ(dal::testing::RaisedNumber([&] { cn->Execute("SELECT 1"); }), rt::err::kObjectClosed);
  ASSERT_TRUE(g_server->Resume());
  // A reopened connection works.
  auto again = Open();
  obj.dbClearError();
  EXPECT_EQ(obj.dbGetMaxID("src", "id", Of(again)), std::to_string(kCopyRows));
  EXPECT_EQ(Number(again, "SELECT COUNT(*) FROM dst"), 0);
  again->Close();
}

TEST_F(ServerFaultTest, SessionEndedDuringAStaticFetch) {
  auto cn = Open(3);
  clsZMDBFunc obj;
  std::int32_t count = -7;
  {
    Terminator end(Number(cn, "SELECT pg_backend_pid()"));
    EXPECT_NO_THROW(obj.dbGetRecord("big", "name", count, "", Of(cn)));
    ASSERT_TRUE(end.ended()) << "the fetch ended before its session could be";
  }
  EXPECT_NE(count, kBigRows);
  ExpectLostConnection(obj);
  auto again = Open(3);
  obj.dbClearError();
  obj.dbGetRecord("big", "name", count, "", Of(again));
  EXPECT_EQ(count, kBigRows) << obj.dbGetLastError().Description;
  again->Close();
}

TEST_F(ServerFaultTest, SessionEndedDuringACopyLeavesNoPartialTarget) {
  auto from = Open();
  auto to = Open();
  clsZMDBFunc obj;
  bool ok = true;
  {
    Terminator end(Number(to, "SELECT pg_backend_pid()"));
    EXPECT_NO_THROW(ok = obj.dbCopyRows("src", "dst", "", Of(from), Of(to)));
    ASSERT_TRUE(end.ended()) << "the copy ended before its session could be";
  }
  EXPECT_FALSE(ok);
  ExpectLostConnection(obj);
  auto check = Open();
  EXPECT_EQ(Number(check, "SELECT COUNT(*) FROM dst"), 0) << "a partial copy";
  auto again = Open();
  obj.dbClearError();
  EXPECT_TRUE(obj.dbCopyRows("src", "dst", "", Of(from), Of(again)))
      << obj.dbGetLastError().Description;
  EXPECT_EQ(Number(check, "SELECT COUNT(*) FROM dst"), kCopyRows);
  check->Execute("DELETE FROM dst");
  for (auto* cn : {&from, &again, &check}) (*cn)->Close();
}

}  // namespace
}  // namespace zmdb::testing
