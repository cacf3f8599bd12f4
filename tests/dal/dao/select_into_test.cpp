// Recognising SELECT ... INTO a foreign target, as text: which statements are
// the installable drivers' and what each part of the target says.
#include "zmdb/dal/dao/select_into.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "data_rows.h"

namespace zmdb::dal::dao {
namespace {

ForeignDriver DriverOfCase(const std::string& name) {
  using D = ForeignDriver;
  static const std::map<std::string, D> kDrivers = {
      {"DbaseIII", D::DbaseIII}, {"DbaseIV", D::DbaseIV},   {"FoxPro20", D::FoxPro20},
      {"FoxPro25", D::FoxPro25}, {"FoxPro26", D::FoxPro26}, {"Paradox3", D::Paradox3},
      {"Paradox4", D::Paradox4}, {"Btrieve", D::Btrieve},   {"Excel", D::Excel},
      {"Text", D::Text},         {"Odbc", D::Odbc},         {"FileStore", D::FileStore},
      {"Unknown", D::Unknown}};
  const auto it = kDrivers.find(name);
  EXPECT_NE(it, kDrivers.end()) << name;
  return it == kDrivers.end() ? D::Unknown : it->second;
}

// The cases of data/dao/select_into_cases.txt, and a statement over lines.
TEST(SelectIntoTest, RecognisesForeignTargetsOnly) {
  const auto cases = zmdb::testing::DataRows("dao/select_into_cases.txt");
  ASSERT_GT(cases.size(), 20u);
  for (const auto& c : cases) {
    SCOPED_TRACE(c[0]);
    const auto into = ParseForeignInto(c[0]);
    ASSERT_EQ(into.has_value(), c.at(1) != "own");
    if (!into) continue;
    ASSERT_EQ(c.size(), 5u);
    EXPECT_EQ(into->driver, DriverOfCase(c[1]));
    EXPECT_EQ(into->database, c[2]);
    EXPECT_EQ(into->table, c[3]);
    EXPECT_EQ(into->select, c[4]);
  }
  const auto lines = ParseForeignInto("\n SELECT x INTO [Text;database=/t].t\r\nFROM s ORDER BY x");
  ASSERT_TRUE(lines);
  EXPECT_EQ(lines->select, "SELECT x FROM s ORDER BY x");
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
