// Rows added one call at a time survive the process being killed: a child
// adds rows through dbCreateRecord and reports each one whose call returned;
// after it is killed at a random moment the file is whole and holds every
// reported row.
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "field_rec_rows.h"
#include "file_store_fixture.h"
#include "zmdb/frame/component.h"
#include "zmdb/runtime/host.h"

namespace zmdb::testing {
namespace {

using rt::Variant;
using Clock = std::chrono::steady_clock;

class KilledWriterTest : public dal::testing::FileStoreTest {
 protected:
  void SetUp() override {
    FileStoreTest::SetUp();
    auto cn = Connect();
    cn->Execute("CREATE TABLE T (ID INTEGER, Run INTEGER, Note TEXT(40))");
    cn->Close();
  }

  // In the child: add rows of run `run` until killed, writing each row's id
  // to `out` once its call has returned. Never returns.
  [[noreturn]] void AddRowsUntilKilled(int out, std::int32_t run) {
    auto host = std::make_shared<rt::HeadlessHost>();
    host->SetEcho(false);
    rt::ScopedHost scope(host);
    auto cn = Connect();
    clsZMDBFunc obj;
    const Variant conn{rt::ObjectRef(cn)};
    for (std::int32_t id = 1;; ++id) {
      const auto row = FieldRecRow({{"T", "ID", Variant(id)},
                                    {"T", "Run", Variant(run)},
                                    {"T", "Note", Variant("第" + std::to_string(id) + "行")}});
      if (!obj.dbCreateRecord(row, conn)) _exit(3);
      if (write(out, &id, sizeof id) != static_cast<ssize_t>(sizeof id)) _exit(4);
    }
  }

  // In the parent: append the ids that arrive on `in` until `deadline` or
  // the end of input, whichever comes first.
  static void ReadIds(int in, Clock::time_point deadline, std::vector<std::int32_t>& ids) {
    pollfd p{in, POLLIN, 0};
    for (auto now = Clock::now(); now < deadline; now = Clock::now()) {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - now);
      if (poll(&p, 1, static_cast<int>(left.count()) + 1) <= 0) continue;
      if (!Drain(in, ids, false)) return;
    }
  }
  // Read whole ids from `in`; false at end of input.
  static bool Drain(int in, std::vector<std::int32_t>& ids, bool toEnd) {
    do {
      std::int32_t buf[512];
      const ssize_t n = read(in, buf, sizeof buf);
      if (n <= 0) return false;
      ids.insert(ids.end(), buf, buf + n / static_cast<ssize_t>(sizeof(std::int32_t)));
    } while (toEnd);
    return true;
  }

  std::string Check(const std::shared_ptr<dal::Connection>& cn) {
    auto result = cn->backend().ExecuteNative("PRAGMA integrity_check", {});
    return result.cursor && result.cursor->Step() ? std::string(result.cursor->Text(0)) : "";
  }
  std::set<std::int32_t> StoredIds(const std::shared_ptr<dal::Connection>& cn, std::int32_t run) {
    std::set<std::int32_t> out;
    auto rs = Open(cn, "SELECT ID FROM T WHERE Run = " + std::to_string(run));
    for (; !rs->AtEOF(); rs->MoveNext()) {
      out.insert(rt::CLng(rs->fields()->Item(Variant(0))->Value()));
    }
    return out;
  }
};

TEST_F(KilledWriterTest, EveryReturnedRowSurvivesAKillAtARandomMoment) {
  const unsigned seed = std::random_device{}();
  std::mt19937 random(seed);
  std::uniform_int_distribution<int> delayMs(0, 120);
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::size_t total = 0;
  for (std::int32_t run = 1; run <= 24; ++run) {
    SCOPED_TRACE("run " + std::to_string(run));
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      close(fds[0]);
      AddRowsUntilKilled(fds[1], run);
    }
    close(fds[1]);
    // The moment is counted from the first returned row, so that the kill
    // falls among the commits; now and then it falls before the first one.
    std::vector<std::int32_t> reported;
    const int delay = delayMs(random);
    if (run % 6 != 0) Drain(fds[0], reported, false);
    ReadIds(fds[0], Clock::now() + std::chrono::milliseconds(delay), reported);
    kill(child, SIGKILL);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    Drain(fds[0], reported, true);
    close(fds[0]);
    ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL)
        << "the writer stopped by itself with status " << status;

    auto cn = Connect();
    ASSERT_EQ(Check(cn), "ok");
    const std::set<std::int32_t> stored = StoredIds(cn, run);
    for (std::size_t i = 0; i < reported.size(); ++i) {
      ASSERT_EQ(reported[i], static_cast<std::int32_t>(i + 1));
      ASSERT_TRUE(stored.contains(reported[i])) << "row " << reported[i] << " was lost";
    }
    // At most the row whose call was under way when the kill came is extra.
    EXPECT_LE(stored.size(), reported.size() + 1);
    cn->Close();
    total += reported.size();
  }
  EXPECT_GT(total, 0u);
}

}  // namespace
}  // namespace zmdb::testing
