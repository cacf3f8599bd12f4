// Text holding a NUL character, on every store: the C interfaces below read
// text only up to a NUL, so such text must be refused whole, never run cut
// short, and the error must describe the text that was refused.
#include "store_fixture.h"
#include "zmdb/dal/command.h"

namespace zmdb::dal::testing {
namespace {

using rt::Variant;

class HostileTextTest : public StoreTest {};

// `text` with each NUL written as the errors show it.
std::string Shown(const std::string& text) {
  std::string out;
  for (char c : text) out += c == '\0' ? std::string("\\0") : std::string(1, c);
  return out;
}

TEST_P(HostileTextTest, StatementsHoldingANulAreRefusedByEveryEntryPoint) {
  auto cn = Connect();
  cn->Execute("CREATE TABLE T (ID " + Type(Ddl::Int) + ")");
  cn->Execute("INSERT INTO T (ID) VALUES (1)");
  // An earlier failure and a success: the refusal must not borrow the old text.
  EXPECT_NE(RaisedNumber([&] { cn->Execute("SELECT * FROM Nowhere"); }), 0);
  cn->Execute("SELECT ID FROM T");
  using Run = std::function<void(const std::string&)>;
  const std::pair<const char*, Run> entries[] = {
      {"Connection.Execute", [&](const std::string& s) { cn->Execute(s); }},
      {"Recordset.Open", [&](const std::string& s) { Open(cn, s); }},
      {"Command.Execute",
       [&](const std::string& s) {
         auto cmd = Command::Create();
         cmd->SetActiveConnection(Variant(rt::ObjectRef(cn)));
         cmd->SetCommandText(s);
         cmd->Execute();
       }},
  };
  using namespace std::string_literals;
  // Cut short, the second would delete every row and the third read them.
  const std::string statements[] = {"\0"s, "DELETE FROM T\0 WHERE ID = 2"s,
                                    "SELECT ID FROM T\0 WHERE ID = 2"s};
  for (const auto& [entry, run] : entries) {
    for (const std::string& sql : statements) {
      SCOPED_TRACE(std::string(entry) + " " + Shown(sql));
      const rt::ErrorInfo e = RaisedError([&] { run(sql); });
      const std::string& d = e.Description;
      EXPECT_EQ(e.Number, rt::err::kSyntaxError) << d;
      EXPECT_NE(d.find("NUL character at position " + std::to_string(sql.find('\0') + 1)),
                std::string::npos)
          << d;
      EXPECT_NE(d.find(Shown(sql)), std::string::npos) << d;
      EXPECT_EQ(d.find("owhere"), std::string::npos) << d;  // any case
      ASSERT_EQ(cn->errors()->items().size(), 1u);
      EXPECT_EQ(cn->errors()->items()[0].Description, d);
    }
  }
  EXPECT_EQ(rt::CLng(Scalar(cn, "SELECT COUNT(*) FROM T")), 1);
}

TEST_P(HostileTextTest, ConnectionStringsHoldingANulAreRefused) {
  // Cut short at the NUL, the first would open the database named before it.
  const std::string cases[] = {connectionString_ + std::string("\0evil", 5),
                               std::string("\0", 1) + connectionString_};
  for (const std::string& text : cases) {
    auto cn = Connection::Create();
    EXPECT_EQ(RaisedNumber([&] { cn->Open(text); }), rt::err::kUnspecified);
    EXPECT_EQ(cn->State(), 0);
    ASSERT_EQ(cn->errors()->items().size(), 1u);
    const std::string& d = cn->errors()->items()[0].Description;
    EXPECT_NE(d.find("connection string holds a NUL character at position " +
                     std::to_string(text.find('\0') + 1)),
              std::string::npos)
        << d;
    EXPECT_EQ(d.find(testsupport::PgServer::kPassword), std::string::npos) << d;
  }
}

INSTANTIATE_TEST_SUITE_P(Stores, HostileTextTest, EveryStore(), StoreParamName);

}  // namespace
}  // namespace zmdb::dal::testing
