// Recognising SELECT ... INTO a foreign target, as text: which statements are
// the installable drivers' and what each part of the target says.
#include "zmdb/dal/dao/select_into.h"

#include <gtest/gtest.h>

namespace zmdb::dal::dao {
namespace {

struct Case {
  const char* statement;
  // Expected: driver, database, table, the SELECT left to run; a null
  // `select` means the statement is the store's own.
  ForeignDriver driver;
  const char* database;
  const char* table;
  const char* select;
};

TEST(SelectIntoTest, RecognisesForeignTargetsOnly) {
  using D = ForeignDriver;
  const Case cases[] = {
      {"SELECT *  INTO [dBase IV;database=/tmp/out].staff FROM Staff", D::DbaseIV, "/tmp/out",
       "staff", "SELECT * FROM Staff"},
      {"select a, b into [DBASE III;DATABASE=/x].t from s where a > 1", D::DbaseIII, "/x", "t",
       "select a, b from s where a > 1"},
      {"SELECT * INTO [;database=/tmp/a.mdb].Output FROM Staff", D::FileStore, "/tmp/a.mdb",
       "Output", "SELECT * FROM Staff"},
      {"SELECT * INTO [FoxPro 2.0;database=/f].t FROM s", D::FoxPro20, "/f", "t",
       "SELECT * FROM s"},
      {"SELECT * INTO [foxpro 2.5;database=/f].t FROM s", D::FoxPro25, "/f", "t",
       "SELECT * FROM s"},
      {"SELECT * INTO [FoxPro 2.6;database=/f].t FROM s", D::FoxPro26, "/f", "t",
       "SELECT * FROM s"},
      {"SELECT * INTO [Paradox 3.X;database=/p].t FROM s", D::Paradox3, "/p", "t",
       "SELECT * FROM s"},
      {"SELECT * INTO [paradox 4.x;database=/p].t FROM s", D::Paradox4, "/p", "t",
       "SELECT * FROM s"},
      {"SELECT * INTO [Btrieve;database=/b/FILE.DDF].Output FROM s", D::Btrieve, "/b/FILE.DDF",
       "Output", "SELECT * FROM s"},
      {"SELECT * INTO [Excel 5.0;database=/w/a b.xls].Output FROM s", D::Excel, "/w/a b.xls",
       "Output", "SELECT * FROM s"},
      {"SELECT * INTO [Excel 3.0;database=/w.xls].Output FROM s", D::Excel, "/w.xls", "Output",
       "SELECT * FROM s"},
      {"SELECT * INTO [Text;database=/t].[my file#txt] FROM s", D::Text, "/t", "my file#txt",
       "SELECT * FROM s"},
      {"SELECT * INTO [Lotus WK3;database=/l].t FROM s", D::Unknown, "/l", "t", "SELECT * FROM s"},
      {"SELECT * INTO [ODBC;DRIVER={PostgreSQL Unicode};SERVER=h;DATABASE=d].Output FROM s",
       D::Odbc, "d", "Output", "SELECT * FROM s"},
      // Chinese names, brackets and literals that hold the keyword.
      {"SELECT [Order Date], [Into], '[x;database=y].z INTO' AS q INTO [Text;database=/中文].员工 "
       "FROM [My Staff] WHERE n = 'it''s INTO'",
       D::Text, "/中文", "员工",
       "SELECT [Order Date], [Into], '[x;database=y].z INTO' AS q FROM [My Staff] WHERE n = "
       "'it''s INTO'"},
      {"\n SELECT x INTO [Text;database=/t].t\r\nFROM s ORDER BY x", D::Text, "/t", "t",
       "SELECT x FROM s ORDER BY x"},
      {"SELECT * INTO [Text;database=/t].t", D::Text, "/t", "t", "SELECT *"},
      // The store's own.
      {"SELECT * INTO Local FROM s", D::Unknown, "", "", nullptr},
      {"SELECT * INTO [My Table] FROM s", D::Unknown, "", "", nullptr},
      {"SELECT Into1, xINTO FROM s", D::Unknown, "", "", nullptr},
      {"SELECT (SELECT 1) AS a FROM s WHERE b = '] INTO [a;b].c'", D::Unknown, "", "", nullptr},
      {"INSERT INTO [Text;database=/t].t SELECT * FROM s", D::Unknown, "", "", nullptr},
      {"SELECT * INTO [Text;database=/t] FROM s", D::Unknown, "", "", nullptr},
      {"SELECT * INTO [Text;database=/t. FROM s", D::Unknown, "", "", nullptr},
      {"SELECT 'unclosed INTO [Text;database=/t].t FROM s", D::Unknown, "", "", nullptr},
      {"SELECT * INTO [Text;database=/t]. FROM s", D::Unknown, "", "", nullptr},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.statement);
    const auto into = ParseForeignInto(c.statement);
    ASSERT_EQ(into.has_value(), c.select != nullptr);
    if (!into) continue;
    EXPECT_EQ(into->driver, c.driver);
    EXPECT_EQ(into->database, c.database);
    EXPECT_EQ(into->table, c.table);
    EXPECT_EQ(into->select, c.select);
  }
}

TEST(SelectIntoTest, ReadsTheConnectParts) {
  const auto into = ParseForeignInto(
      "SELECT * INTO [ dBase IV ; DataBase = /o ; pwd=se;cret ; CodePage=1252].t FROM s");
  ASSERT_TRUE(into);
  EXPECT_EQ(into->driverName, "dBase IV");
  EXPECT_EQ(into->connect, " dBase IV ; DataBase = /o ; pwd=se;cret ; CodePage=1252");
  EXPECT_EQ(into->database, "/o");
  EXPECT_EQ(into->password, "se");
  EXPECT_EQ(into->codePage, 1252);
  EXPECT_EQ(ParseForeignInto("SELECT * INTO [Text;database=/t;CodePage=x].t FROM s")->codePage, 0);
}

TEST(SelectIntoTest, DriversOfConnectStrings) {
  struct DriverCase {
    const char* connect;
    std::optional<ForeignDriver> driver;
  };
  const DriverCase cases[] = {
      {"", std::nullopt},
      {";PWD=x", std::nullopt},
      {"MS Access;PWD=x", std::nullopt},
      {"Dbase IV;", ForeignDriver::DbaseIV},
      {"dBASE III;HDR=NO", ForeignDriver::DbaseIII},
      {"Excel 5.0;", ForeignDriver::Excel},
      {"Text;", ForeignDriver::Text},
      {"odbc;", ForeignDriver::Odbc},
      {"Btrieve;", ForeignDriver::Btrieve},
      {"Lotus WK1;", ForeignDriver::Unknown},
  };
  for (const DriverCase& c : cases) {
    EXPECT_EQ(DriverOfConnect(c.connect), c.driver) << c.connect;
  }
}

}  // namespace
}  // namespace zmdb::dal::dao
