// A recordset's Filter and the file store's SQL agree on which texts are equal
// when case is ignored.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "data_rows.h"
#include "file_store_fixture.h"

namespace zmdb::dal {
namespace {

using rt::Variant;
using testing::FileStoreTest;

// Rows of data/dal/text_case_pairs.txt: a stored text, a text to look for,
// and whether the two are equal ignoring case.
const std::vector<std::vector<std::string>>& Pairs() {
  static const auto pairs = zmdb::testing::DataRows("dal/text_case_pairs.txt");
  return pairs;
}

class TextCase : public FileStoreTest {
 protected:
  // One row per pair, ID = the pair's index, Name = its stored text.
  void SetUp() override {
    FileStoreTest::SetUp();
    cn_ = Connect();
    cn_->Execute("CREATE TABLE T (ID LONG, Name TEXT(50))");
    for (std::size_t i = 0; i < Pairs().size(); ++i)
      cn_->Execute("INSERT INTO T VALUES (" + std::to_string(i) + ", '" + Pairs()[i].at(0) + "')");
    rs_ = Open(cn_, "SELECT * FROM T");
  }

  // The number of rows the filter `where` lets through.
  std::int32_t Filtered(const std::string& where) {
    rs_->SetFilter(Variant(where));
    return rs_->RecordCount();
  }

  // The first value of the first row of `sql`.
  Variant Scalar(const std::string& sql) { return cn_->Execute(sql, nullptr, -1, 3)->ValueAt(0); }

  std::shared_ptr<Connection> cn_;
  std::shared_ptr<Recordset> rs_;
};

TEST_F(TextCase, FilterAndSqlLikeAgree) {
  ASSERT_GT(Pairs().size(), 20u);
  for (std::size_t i = 0; i < Pairs().size(); ++i) {
    const std::string id = "ID = " + std::to_string(i);
    const std::string& probe = Pairs()[i].at(1);
    const int want = Pairs()[i].at(2) == "yes" ? 1 : 0;
    SCOPED_TRACE(Pairs()[i][0] + " ~ " + probe);
    EXPECT_EQ(Filtered(id + " AND Name = '" + probe + "'"), want);
    EXPECT_EQ(Filtered(id + " AND Name LIKE '" + probe + "'"), want);
    EXPECT_EQ(Filtered(id + " AND Name LIKE '*" + probe + "%'"), want);
    EXPECT_EQ(Scalar("SELECT COUNT(*) FROM T WHERE " + id + " AND Name LIKE '" + probe + "'"),
              Variant(want));
    EXPECT_EQ(Scalar("SELECT COUNT(*) FROM T WHERE " + id + " AND Name LIKE '*" + probe + "%'"),
              Variant(want));
    EXPECT_EQ(
        Scalar("SELECT COUNT(*) FROM T WHERE " + id + " AND InStr(Name, '" + probe + "') = 1"),
        Variant(want));
  }
}

}  // namespace
}  // namespace zmdb::dal
