// The file store's hidden system table: typed values keyed by owner, item
// and name, renamed and deleted with what they describe.
#include "dal/sqlite/sysprops_p.h"

#include "dao_fixture.h"
#include "dal/sqlite/backend_p.h"
#include "zmdb/runtime/datetime.h"

namespace zmdb::dal::testing {
namespace {

using rt::Variant;

TEST_F(DaoTest, TheSystemTableKeepsTypedValues) {
  auto backend = sqlite::OpenDatabase({path_, false, false, 5000});
  sqlite::SysProps props(*backend);
  EXPECT_FALSE(props.Exists() && !props.Rows(sqlite::kTableRow).empty());
  const rt::Date when = rt::MakeDate(2004, 8, 30, 13, 5, 9);
  props.Put(sqlite::kFieldRow, "T", "F", "Flag", 1, Variant(true));
  props.Put(sqlite::kFieldRow, "T", "F", "Count", 4, Variant(42));
  props.Put(sqlite::kFieldRow, "T", "F", "When", 8, Variant(when));
  props.Put(sqlite::kFieldRow, "T", "F", "Text", 10, Variant("中文"));
  props.Put(sqlite::kIndexRow, "T", "I", "~SqlName", 10, Variant("T_I"));
  EXPECT_EQ(props.Get(sqlite::kFieldRow, "t", "f", "FLAG"), Variant(true));
  EXPECT_EQ(props.Get(sqlite::kFieldRow, "T", "F", "Count"), Variant(42));
  EXPECT_EQ(props.Get(sqlite::kFieldRow, "T", "F", "When"), Variant(when));
  EXPECT_EQ(props.Get(sqlite::kFieldRow, "T", "F", "Text"), Variant("中文"));
  EXPECT_TRUE(props.Get(sqlite::kFieldRow, "T", "F", "None").IsEmpty());
  props.RenameItem(sqlite::kFieldRow, "T", "F", "G");
  EXPECT_EQ(props.Get(sqlite::kFieldRow, "T", "G", "Count"), Variant(42));
  props.RenameOwner(sqlite::kTableRow, "T", "U");
  EXPECT_EQ(props.Get(sqlite::kIndexRow, "U", "I", "~SqlName"), Variant("T_I"));
  props.DeleteOwner(sqlite::kTableRow, "U");
  EXPECT_TRUE(props.Rows(sqlite::kFieldRow).empty());
  EXPECT_TRUE(props.Rows(sqlite::kIndexRow).empty());
}

}  // namespace
}  // namespace zmdb::dal::testing
