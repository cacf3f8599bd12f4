// The existence probes through a connection on the file store: which
// statement each runs and how absence and odd Conn values are answered.
#include <gtest/gtest.h>

#include "component_fixture.h"
#include "zmdb/dal/recordset.h"

namespace zmdb::testing {
namespace {

using rt::Variant;

class ProbesTest : public ComponentTest {
 protected:
  void SetUp() override {
    ComponentTest::SetUp();
    cn_->Execute("CREATE TABLE [Pay Roll] (ID INTEGER)");
    cn_->Execute("CREATE VIEW Cheap AS SELECT * FROM Staff WHERE Kind=1");
  }
};

TEST_F(ProbesTest, ThroughAConnection) {
  struct Case {
    std::function<bool()> probe;
    bool expected;
    std::string statement;
  };
  const Case cases[] = {
      {[&] { return obj_->dbTableExists("Staff", conn()); }, true, "SELECT TOP 1 * FROM [Staff]"},
      // The table probe brackets the name; the others do not.
      {[&] { return obj_->dbTableExists("Pay Roll", conn()); }, true,
       "SELECT TOP 1 * FROM [Pay Roll]"},
      {[&] { return obj_->dbTableExists("Nowhere", conn()); }, false,
       "SELECT TOP 1 * FROM [Nowhere]"},
      {[&] { return obj_->dbQueryExists("Cheap", conn()); }, true, "SELECT TOP 1 * FROM Cheap"},
      {[&] { return obj_->dbQueryExists("Pay Roll", conn()); }, false,
       "SELECT TOP 1 * FROM Pay Roll"},
      {[&] { return obj_->dbFieldExists("Staff", "Note", conn()); }, true,
       "SELECT TOP 1 Note FROM Staff"},
      {[&] { return obj_->dbFieldExists("Staff", "Age", conn()); }, false,
       "SELECT TOP 1 Age FROM Staff"},
      {[&] { return obj_->dbFieldExists("Pay Roll", "ID", conn()); }, false,
       "SELECT TOP 1 ID FROM Pay Roll"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.probe(), c.expected) << c.statement;
    EXPECT_EQ(LastStatement(*cn_), c.statement);
  }
  // A missing object is the expected "no": nothing is recorded.
  EXPECT_EQ(obj_->dbGetLastError().Number, 0);
}

TEST_F(ProbesTest, AConnOfAnotherKindAnswersTrueAndNoConnAtAllFalseWithoutAProbe) {
  const Variant recordset(rt::ObjectRef(dal::Recordset::Create()));
  const std::size_t before = cn_->statementLog().size();
  EXPECT_TRUE(obj_->dbTableExists("Nowhere", recordset));
  EXPECT_TRUE(obj_->dbQueryExists("Nowhere", recordset));
  EXPECT_TRUE(obj_->dbFieldExists("Nowhere", "X", recordset));
  EXPECT_EQ(cn_->statementLog().size(), before);
  // Without Conn and without a default connection or database: False.
  EXPECT_FALSE(obj_->dbTableExists("Staff"));
  EXPECT_FALSE(obj_->dbQueryExists("Cheap"));
  EXPECT_FALSE(obj_->dbQueryExists("Cheap", Variant::Missing(), true));
  EXPECT_FALSE(obj_->dbFieldExists("Staff", "ID"));
  EXPECT_FALSE(obj_->dbIndexExists("Staff"));
  EXPECT_FALSE(obj_->dbIndexExists("Staff", "", true));
  EXPECT_EQ(obj_->dbGetLastError().Number, 0);
}

TEST_F(ProbesTest, ServerProbesRunOnTheDefaultConnection) {
  // The file store has neither catalogue view; the statements are what count.
  ASSERT_TRUE(obj_->dbSetConnect(cn_->ConnectionString(), false));
  auto own = std::dynamic_pointer_cast<dal::Connection>(obj_->dbGetConnect(false));
  EXPECT_FALSE(obj_->dbQueryExists("Cheap", Variant::Missing(), true));
  EXPECT_EQ(LastStatement(*own),
            "SELECT TABLE_NAME FROM INFORMATION_SCHEMA.VIEWS WHERE TABLE_NAME ='Cheap'");
  EXPECT_FALSE(obj_->dbIndexExists("Orders", "", true));
  EXPECT_EQ(LastStatement(*own), "SELECT name FROM sysindexes WHERE name = 'pk_Orders'");
  EXPECT_EQ(obj_->dbGetLastError().Number, 0);
}

}  // namespace
}  // namespace zmdb::testing
