// Which store a connection string goes to, decided from the string alone.
#include "zmdb/dal/router.h"

#include <gtest/gtest.h>

#include <functional>

#include "data_rows.h"
#include "raised.h"
#include "zmdb/runtime/errors.h"

namespace zmdb::dal::testing {
namespace {

// The cases of data/dal/routes.txt.
TEST(Router, DecidesTheStoreFromTheConnectionString) {
  const auto cases = zmdb::testing::DataRows("dal/routes.txt");
  ASSERT_GE(cases.size(), 8u);
  for (const auto& c : cases) {
    ASSERT_EQ(c.size(), 5u) << c[0];
    const Route r = RouteConnection(c[0]);
    EXPECT_EQ(r.kind, c[1] == "file" ? StoreKind::File : StoreKind::Server) << c[0];
    EXPECT_EQ(r.dataSource, c[2]) << c[0];
    EXPECT_EQ(r.shaped, c[3] == "yes") << c[0];
    EXPECT_EQ(r.password, c[4] == "-" ? "" : c[4]) << c[0];
  }
  // The provider may be set apart from the string.
  EXPECT_EQ(RouteConnection("Data Source=srv;User ID=sa;Pwd=x", "SQLOLEDB").kind,
            StoreKind::Server);
  EXPECT_EQ(RouteConnection("Data Source=/d/a.mdb", "Microsoft.Jet.OLEDB.4.0").dataSource,
            "/d/a.mdb");
  EXPECT_NE(RaisedNumber([] { RouteConnection("   "); }), 0);
}

// The file-store password of every form a caller writes, with its value as
// written; other keys (the server login's, the user's) are not it.
TEST(Router, FindsTheFilePasswordInEveryForm) {
  const std::pair<const char*, const char*> cases[] = {
      {"PROVIDER=Microsoft.Jet.OLEDB.4.0;Data Source=a;Jet OLEDB:Database Password =s1;", "s1"},
      {"Data Source=a;jet oledb:database password=s2", "s2"},
      {"Data Source=a;Jet OLEDB: Database Password = s3 ;", " s3 "},
      {";LANGID=0x0804;CP=936;COUNTRY=0;pwd=s4", "s4"},
      {"MS Access;PWD=s5;", "s5"},
      {";LANGID=0x0804;CP=936;COUNTRY=0", ""},
      {"Data Source=a;Password=user;User ID=admin", ""},
      {"", ""},
  };
  for (const auto& [text, password] : cases) EXPECT_EQ(FilePassword(text), password) << text;
}

// Redaction hides every password FilePassword would read, however its key is
// spelt (blanks inside a key do not matter to the reader).
TEST(Router, RedactsEveryPasswordTheReaderFinds) {
  const std::pair<const char*, const char*> cases[] = {
      {" P W D = s", "P W D=***;"},
      {"Jet OLEDB:Database  Password=s", "Jet OLEDB:Database  Password=***;"},
      {"JetOLEDB:DatabasePassword=s;pwd=t", "JetOLEDB:DatabasePassword=***;pwd=***;"},
      {"Data Source=a;Pass word=s", "Data Source=a;Pass word=***;"},
  };
  for (const auto& [text, redacted] : cases) {
    EXPECT_EQ(RedactPasswords(text), redacted) << text;
    EXPECT_EQ(FilePassword(RedactPasswords(text)), FilePassword(text).empty() ? "" : "***");
  }
}

// The description of what `f` raises; "" when it raises nothing.
std::string Refusal(const std::function<void()>& f) {
  try {
    f();
  } catch (const rt::PlatformError& e) {
    EXPECT_EQ(e.number(), rt::err::kUnspecified) << e.info().Description;
    return e.info().Description;
  }
  return {};
}

TEST(Router, RefusesConnectionStringsHoldingANulWithoutShowingThem) {
  using namespace std::string_literals;
  const std::pair<std::string, std::string> cases[] = {
      {"PROVIDER=Microsoft.Jet.OLEDB.4.0;Data Source=/d/f.db\0evil"s, ""},
      {"/d/f.db\0evil"s, ""},
      {"PROVIDER=MSDataShape;DATA PROVIDER=Microsoft.Jet.OLEDB.4.0;Data Source=/d/f\0"s, ""},
      {"DRIVER={PostgreSQL Unicode};SERVER=s\0;PWD=Secret-1"s, ""},
      {"Data Source=/d/f.db"s, "Microsoft.Jet\0.OLEDB.4.0"s},
  };
  for (const auto& [text, provider] : cases) {
    const std::string d = Refusal([&] { RouteConnection(text, provider); });
    const std::string& holder = provider.empty() ? text : provider;
    EXPECT_NE(d.find("holds a NUL character at position " + std::to_string(holder.find('\0') + 1)),
              std::string::npos)
        << d;
    EXPECT_EQ(d.find("Secret"), std::string::npos) << d;
  }
}

}  // namespace
}  // namespace zmdb::dal::testing
