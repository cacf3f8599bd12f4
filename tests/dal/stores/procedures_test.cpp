// Stored procedures through dbExecProc, and the renames that SQL Server does
// with its rename procedure: run for real on PostgreSQL and on SQL Server
// (when a server is given), and as sent to the stand-in driver registered
// under a SQL Server name, whose SQLite has no procedures.
#include <filesystem>

#include "store_fixture.h"
#include "zmdb/dal/command.h"
#include "zmdb/frame/component.h"
#include "zmdb/runtime/host.h"

namespace zmdb::dal::testing {
namespace {

using rt::Variant;

// A Parameter as a caller makes one: a value, and a type (0 for none).
std::shared_ptr<Parameter> Param(const Variant& value, std::int32_t type = 0) {
  auto p = std::make_shared<Parameter>();
  p->data().value = value;
  p->data().adoType = type;
  return p;
}

rt::SafeArray Params(const std::vector<std::shared_ptr<Parameter>>& ps) {
  std::vector<Variant> items;
  for (const auto& p : ps) items.emplace_back(rt::ObjectRef(p));
  return rt::SafeArray(rt::VarType::Object, 0, std::move(items));
}

class ProceduresOnServerTest : public ComponentStoreTest {
 protected:
  void SetUp() override {
    StoreTest::SetUp();
    if (IsSkipped()) return;
    cn_ = Connect();
  }
  std::shared_ptr<Connection> cn_;
};

using ProceduresOnPostgresTest = ProceduresOnServerTest;

// A function's and a procedure's OUT parameter comes back in the return
// parameter; an input of no type goes as a string sized in characters.
TEST_P(ProceduresOnPostgresTest, InputsAreTypedAndTheOutputComesBack) {
  cn_->Execute(
      "CREATE FUNCTION with_tax(amount INT, label VARCHAR, OUT total INT) LANGUAGE SQL AS "
      "$$ SELECT amount * 2 + length(label) $$");
  cn_->Execute("CREATE TABLE said (word VARCHAR(20), n INT)");
  cn_->Execute(
      "CREATE PROCEDURE say(w VARCHAR, k INT, OUT n INT) LANGUAGE plpgsql AS $$ BEGIN "
      "INSERT INTO said VALUES (w, k); n := length(w) * 2; END $$");
  const auto word = Param(Variant("你好abc"));
  const auto n = Param(Variant(7), 3);
  const struct {
    const char* name;
    std::vector<std::shared_ptr<Parameter>> inputs;
    std::int32_t want;
  } cases[] = {
      {"with_tax", {Param(Variant(std::int32_t{20}), 3), Param(Variant("abc"))}, 43},
      {"say", {word, n}, 10},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const auto ret = Param(Variant(), 3);
    EXPECT_TRUE(obj_.dbExecProc(Variant(rt::ObjectRef(cn_)), c.name, Params(c.inputs), ret))
        << (host_->shown().empty() ? "" : host_->shown().front().prompt);
    EXPECT_EQ(ret->data().direction, 2);
    EXPECT_EQ(rt::CLng(ret->data().value), c.want);
    for (const auto& p : c.inputs) EXPECT_EQ(p->data().direction, 1);
  }
  EXPECT_EQ(rt::CStr(Scalar(cn_, "SELECT word FROM said WHERE n = 7")), "你好abc");
  EXPECT_EQ(word->data().adoType, 200);
  EXPECT_EQ(word->data().size, 5);  // characters, not bytes
  EXPECT_EQ(n->data().adoType, 3);
  EXPECT_EQ(host_->pointerHistory(), (std::vector<int>{11, 0, 11, 0}));
  EXPECT_TRUE(host_->shown().empty());
}

INSTANTIATE_TEST_SUITE_P(Servers, ProceduresOnPostgresTest, ::testing::Values(Store::Postgres),
                         StoreParamName);

using ProceduresOnSqlServerTest = ProceduresOnServerTest;

TEST_P(ProceduresOnSqlServerTest, TablesAndColumnsAreRenamedByTheServer) {
  cn_->Execute("CREATE TABLE staff (id INT, name VARCHAR(20))");
  cn_->Execute("INSERT INTO staff VALUES (1, 'Li')");
  cn_->Execute("CREATE TABLE crew (x INT)");
  const Variant cn{rt::ObjectRef(cn_)};
  ASSERT_TRUE(obj_.dbIsSQLConnect(cn));
  EXPECT_TRUE(obj_.dbModifyTableName(Variant("staff"), "crew", cn));  // crew is dropped first
  EXPECT_TRUE(obj_.dbModifyFieldName("crew", Variant("name"), "full_name", cn));
  EXPECT_EQ(rt::CStr(Scalar(cn_, "SELECT full_name FROM crew WHERE id = 1")), "Li");
  EXPECT_TRUE(obj_.dbRemoveTableItem("crew", true, cn));
  EXPECT_FALSE(obj_.dbTableExists("crew", cn));
}

INSTANTIATE_TEST_SUITE_P(Servers, ProceduresOnSqlServerTest, ::testing::Values(Store::SqlServer),
                         StoreParamName);

// The stand-in counts as SQL Server, so renames go to its rename procedure,
// which SQLite does not have: what was sent, and how the failure is shown.
class ProceduresOnStandInTest : public StandInTest {
 protected:
  void SetUp() override {
    StandInTest::SetUp();
    cn_->Execute("CREATE TABLE Staff (ID INT, Name VARCHAR(20))");
  }
  // What a failed call showed: one box per error the connection collected.
  void ExpectShownErrors() {
    const auto errors = rt::GetProp(conn(), "Errors");
    const auto count = static_cast<std::size_t>(rt::CLng(rt::GetProp(errors, "Count")));
    EXPECT_GE(count, 1u);
    ASSERT_EQ(host_->shown().size(), count);
    for (const auto& box : host_->shown()) {
      EXPECT_EQ(box.prompt.rfind("Number:", 0), 0u) << box.prompt;
      EXPECT_EQ(box.title, rt::AppTitle());
    }
    EXPECT_EQ(host_->pointerHistory(), (std::vector<int>{rt::kPointerHourglass, 0}));
    EXPECT_EQ(obj_.dbGetLastError().Number, 0);  // the last error is not touched
  }
};

TEST_F(ProceduresOnStandInTest, ParametersAreTypedAndAppendedInOrderWithTheOutputLast) {
  const auto untyped = Param(Variant("abc"));
  const auto chinese = Param(Variant("张三"));
  const auto typed = Param(Variant(5), 3);
  const auto ret = Param(Variant(), 3);
  EXPECT_FALSE(obj_.dbExecProc(conn(), "sp_rename", Params({untyped, chinese, typed}), ret));
  EXPECT_EQ(cn_->statementLog().back(), "{call sp_rename}");
  struct Expected {
    std::shared_ptr<Parameter> p;
    std::int32_t type, size, direction;
  };
  for (const auto& e : {Expected{untyped, 200, 3, 1}, Expected{chinese, 200, 2, 1},
                        Expected{typed, 3, 0, 1}, Expected{ret, 3, 0, 2}}) {
    EXPECT_EQ(e.p->data().adoType, e.type);
    EXPECT_EQ(e.p->data().size, e.size);
    EXPECT_EQ(e.p->data().direction, e.direction);
  }
  ExpectShownErrors();
  // A closed connection, or no parameter array: False, and the pointer reset.
  host_->ClearRecord();
  EXPECT_FALSE(obj_.dbExecProc(Variant(rt::ObjectRef(Connection::Create())), "p",
                               Params({Param(Variant("a"))})));
  EXPECT_FALSE(obj_.dbExecProc(conn(), "p", rt::SafeArray()));
  EXPECT_EQ(host_->pointerHistory(), (std::vector<int>{11, 0, 11, 0}));
  EXPECT_EQ(obj_.dbGetLastError().Number, 0);
}

TEST_F(ProceduresOnStandInTest, RenamesGoToTheRenameProcedure) {
  const std::pair<const char*, std::function<bool()>> cases[] = {
      {"table", [&] { return obj_.dbModifyTableName(Variant("Staff"), "Crew", conn()); }},
      {"column", [&] { return obj_.dbModifyFieldName("Staff", Variant("Name"), "N", conn()); }},
  };
  for (const auto& [what, rename] : cases) {
    host_->ClearRecord();
    EXPECT_FALSE(rename()) << what;
    EXPECT_EQ(cn_->statementLog().back(), "{call sp_rename}") << what;
    // The driver was asked for the procedure with three arguments.
    EXPECT_NE(host_->shown().back().prompt.find("sp_rename"), std::string::npos) << what;
    ExpectShownErrors();
  }
}

}  // namespace
}  // namespace zmdb::dal::testing
