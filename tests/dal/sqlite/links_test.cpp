// Linked tables of the file store: the statements a link sends its source,
// and links to another file database read and written by the link's name
// from every connection, with the source's key or a virtual index, and
// refused writes without either.
#include <gtest/gtest.h>

#include "dal/sqlite/links_p.h"
#include "file_store_fixture.h"
#include "raised.h"
#include "zmdb/dal/schema_store.h"
#include "zmdb/dal/sqlite/store.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/errors.h"

namespace zmdb::dal::testing {
namespace {

using rt::Variant;

sqlite::LinkShape Shape(std::vector<std::string> keys) {
  sqlite::LinkShape s;
  s.source = "[dbo].[Staff]";
  s.quoteOpen = "[";
  s.quoteClose = "]";
  s.sourceKeys = std::move(keys);
  s.columns = {{"ID", "LONG"}, {"Name", "TEXT(10)"}, {"Note", "MEMO"}};
  return s;
}

TEST(LinkStatements, AreBuiltFromTheShape) {
  const auto one = Shape({"ID"});
  EXPECT_EQ(sqlite::LinkSelectSql(one), "SELECT [ID], [Name], [Note] FROM [dbo].[Staff]");
  EXPECT_EQ(sqlite::LinkInsertSql(one, {0, 2}),
            "INSERT INTO [dbo].[Staff] ([ID], [Note]) VALUES (?, ?)");
  auto two = Shape({"ID"});
  two.virtualKeys = {"Name", "Note"};  // the virtual index wins over the source's key
  EXPECT_EQ(sqlite::LinkDeleteSql(two),
            "DELETE FROM [dbo].[Staff] WHERE [Name] = ? AND [Note] = ?");
  // The shape survives the statement that makes the virtual table.
  const std::string made = sqlite::LinkTableSql("main", "Lin'k", two);
  const auto back = sqlite::LinkShapeOfSql(made);
  EXPECT_EQ(back.source, two.source);
  EXPECT_EQ(back.Keys(), two.virtualKeys);
  EXPECT_EQ(back.sourceKeys, two.sourceKeys);
  ASSERT_EQ(back.columns.size(), 3u);
  EXPECT_EQ(back.columns[1].declared, "TEXT(10)");
}

TEST(LinkStatements, SourceNamesFromDboFirstThenWithout) {
  struct Case {
    std::string source;
    std::vector<std::string> names;
  };
  for (const Case& c : std::vector<Case>{
           {"dbo.Staff", {"\"dbo\".\"Staff\"", "\"Staff\"", "dbo.Staff", "Staff"}},
           {"Staff", {"\"Staff\"", "Staff"}},
           {"hr.Staff", {"\"hr\".\"Staff\"", "hr.Staff"}},
       }) {
    EXPECT_EQ(sqlite::LinkSourceCandidates(c.source, "\"", "\""), c.names) << c.source;
  }
}

TEST(LinkStatements, APasswordIsKeptOnlyWhenTheLinkSavesIt) {
  const std::pair<std::string, std::string> cases[] = {
      {"ODBC;DRIVER={PostgreSQL Unicode};UID=u;PWD=p;DATABASE=hr;",
       "ODBC;DRIVER={PostgreSQL Unicode};UID=u;DATABASE=hr;"},
      {"ODBC;DSN=hr;Password = {a;b};UID=u", "ODBC;DSN=hr;UID=u"},
      {";DATABASE=C:\\d.mdb;pwd=x", ";DATABASE=C:\\d.mdb;"},
      {"ODBC;DSN=hr;PWDX=1;", "ODBC;DSN=hr;PWDX=1;"},
  };
  for (const auto& [given, kept] : cases) {
    EXPECT_EQ(sqlite::LinkConnectToKeep(given, false), kept) << given;
    EXPECT_EQ(sqlite::LinkConnectToKeep(given, true), given) << given;
  }
}

class FileLinkTest : public FileStoreTest {
 protected:
  // A source database with a keyed table and a table without any key.
  void SetUp() override {
    FileStoreTest::SetUp();
    source_ = (dir_ / "source.mdb").string();
    sqlite::OpenDatabase({source_, true, false, 5000})->Close();
    auto cn = Connection::Create();
    cn->Open("PROVIDER=Microsoft.Jet.OLEDB.4.0;Data Source=" + source_ + ";");
    cn->Execute("CREATE TABLE Staff (ID LONG CONSTRAINT pk PRIMARY KEY, Name TEXT(20))");
    cn->Execute("INSERT INTO Staff VALUES (1, 'Li')");
    cn->Execute("CREATE TABLE Loose (ID LONG, Name TEXT(20))");
    cn->Execute("INSERT INTO Loose VALUES (1, 'Li')");
    cn->Close();
  }

  void Link(const std::shared_ptr<Connection>& cn, const std::string& name,
            const std::string& source) {
    schema::TableDef def;
    def.name = name;
    def.kind = schema::TableKind::Link;
    def.connect = ";DATABASE=" + source_;
    def.sourceTable = source;
    cn->backend().Schema().CreateTable(def);
  }

  static std::string Names(const std::shared_ptr<Connection>& cn, const std::string& table) {
    auto rs = cn->Execute("SELECT Name FROM " + table + " ORDER BY ID", nullptr, -1, 3);
    std::string out;
    for (; !rs->AtEOF(); rs->MoveNext())
      out += rt::CStr(rs->fields()->Item(Variant("Name"))->Value()) + ";";
    return out;
  }

  std::string source_;
};

TEST_F(FileLinkTest, KeyedSourceIsReadAndWrittenFromEveryConnection) {
  auto before = Connect();  // open before the link exists
  auto cn = Connect();
  Link(cn, "Staff", "dbo.Staff");  // no schema dbo in a file: the table itself
  cn->Execute("INSERT INTO Staff (ID, Name) VALUES (2, 'Wang')");
  before->Execute("UPDATE Staff SET Name = 'Zhang' WHERE ID = 1");
  EXPECT_EQ(Names(cn, "Staff"), "Zhang;Wang;");
  std::int64_t changed = 0;
  before->Execute("DELETE FROM Staff WHERE ID = 2", &changed);
  EXPECT_EQ(changed, 1);
  cn->Close();
  before->Close();
  // The rows are the source's; a new connection and a plain look at the source agree.
  auto again = Connect();
  EXPECT_EQ(Names(again, "Staff"), "Zhang;");
  auto src = Connection::Create();
  src->Open("PROVIDER=Microsoft.Jet.OLEDB.4.0;Data Source=" + source_ + ";");
  EXPECT_EQ(Names(src, "Staff"), "Zhang;");
  // The link is listed as a link, once, and not as a table.
  int listed = 0;
  for (const auto& t : again->backend().Schema().Tables()) {
    if (rt::NameEquals(t.name, "Staff")) {
      ++listed;
      EXPECT_EQ(t.kind, schema::TableKind::Link);
    }
  }
  EXPECT_EQ(listed, 1);
  // Renamed and dropped, the link goes; the source stays.
  again->backend().Schema().RenameTable("Staff", "People");
  EXPECT_EQ(Names(again, "People"), "Zhang;");
  again->backend().Schema().DropTable("People");
  EXPECT_FALSE(again->backend().Schema().Table("People"));
  EXPECT_EQ(Names(src, "Staff"), "Zhang;");
}

TEST_F(FileLinkTest, WithoutKeyReadOnlyUntilAVirtualIndex) {
  auto cn = Connect();
  Link(cn, "Loose", "dbo.Loose");
  EXPECT_EQ(Names(cn, "Loose"), "Li;");
  for (const char* write : {"UPDATE Loose SET Name = 'x'", "DELETE FROM Loose"}) {
    const auto e = RaisedError([&] { cn->Execute(write); });
    EXPECT_EQ(e.Number, rt::err::kLinkNotUpdatable) << write;
    EXPECT_NE(e.Description.find("Loose"), std::string::npos) << e.Description;
  }
  // An insert needs no key.
  cn->Execute("INSERT INTO Loose (ID, Name) VALUES (2, 'Wang')");
  cn->Execute("CREATE UNIQUE INDEX __uniqueindex ON Loose(ID) WITH DISALLOW NULL;");
  cn->Execute("UPDATE Loose SET Name = 'Zhao' WHERE ID = 2");
  EXPECT_EQ(Names(cn, "Loose"), "Li;Zhao;");
  // The readers show the virtual index, also after reopening.
  cn->Close();
  auto again = Connect();
  const auto def = again->backend().Schema().Table("Loose");
  ASSERT_TRUE(def);
  ASSERT_EQ(def->indexes.size(), 1u);
  EXPECT_EQ(def->indexes[0].name, "__uniqueindex");
  EXPECT_TRUE(def->indexes[0].unique);
  ASSERT_EQ(def->indexes[0].fields.size(), 1u);
  EXPECT_EQ(def->indexes[0].fields[0].name, "ID");
  again->Execute("DELETE FROM Loose WHERE ID = 1");
  EXPECT_EQ(Names(again, "Loose"), "Zhao;");
  // A virtual index on a field the link does not have is refused.
  EXPECT_EQ(RaisedError([&] { again->Execute("CREATE UNIQUE INDEX u2 ON Loose(Nope)"); }).Number,
            rt::err::kItemNotFound);
}

TEST_F(FileLinkTest, StatementsReachTheSourceThroughTheHook) {
  std::vector<std::string> sent;
  sqlite::SetLinkStatementHook([&](std::string_view s) { sent.emplace_back(s); });
  auto cn = Connect();
  Link(cn, "Staff", "Staff");
  cn->Execute("UPDATE Staff SET Name = 'Zhang' WHERE ID = 1");
  sqlite::SetLinkStatementHook({});
  ASSERT_GE(sent.size(), 2u);
  EXPECT_EQ(sent.back(), "UPDATE [Staff] SET [Name] = ? WHERE [ID] = ?");
}

}  // namespace
}  // namespace zmdb::dal::testing
