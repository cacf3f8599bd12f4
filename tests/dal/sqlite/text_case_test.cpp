// A recordset's Filter and the file store's SQL agree on which texts are equal
// when case is ignored.
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "file_store_fixture.h"

namespace zmdb::dal {
namespace {

using rt::Variant;
using testing::FileStoreTest;

// A stored text, a text to look for, and whether the two are equal ignoring case.
struct Pair {
  std::string_view stored;
  std::string_view probe;
  bool equal;
};

const std::vector<Pair> kPairs = {
    {"Smith", "SMITH", true},
    {"Smith", "Smyth", false},
    {"àéîõüçñøþÿ", "ÀÉÎÕÜÇÑØÞŸ", true},    // Latin-1
    {"µ", "Μ", true},                      // micro sign and capital mu
    {"straße", "STRASSE", false},          // no single-letter upper case for sharp s
    {"łódź żółć ŋ", "ŁÓDŹ ŻÓŁĆ Ŋ", true},  // Latin Extended-A
    {"ı", "I", true},                      // dotless i
    {"ſ", "s", true},                      // long s
    {"i", "İ", false},                     // capital I with dot is not I
    {"σοφια", "ΣΟΦΙΑ", true},              // Greek
    {"λογος", "ΛΟΓΟΣ", true},              // final sigma
    {"λογος", "λογοσ", true},
    {"άέήίόύώϊϋ", "ΆΈΉΊΌΎΏΪΫ", true},  // accents and diaeresis
    {"ά", "α", false},                 // an accent is not a case
    {"привет", "ПРИВЕТ", true},        // Cyrillic
    {"ѐёђѓєѕіїјљњћќѝўџ", "ЀЁЂЃЄЅІЇЈЉЊЋЌЍЎЏ", true},
    {"ѣ ґ ӏ", "Ѣ Ґ Ӏ", true},    // Cyrillic beyond the basic alphabet
    {"е", "e", false},           // Cyrillic and Latin look-alikes
    {"ａｂｃ", "ＡＢＣ", true},  // full-width Latin
    {"中文", "中文", true},      // no case
    {"中文", "中又", false},
};

class TextCase : public FileStoreTest {
 protected:
  // One row per pair, ID = the pair's index, Name = its stored text.
  void SetUp() override {
    FileStoreTest::SetUp();
    cn_ = Connect();
    cn_->Execute("CREATE TABLE T (ID LONG, Name TEXT(50))");
    for (std::size_t i = 0; i < kPairs.size(); ++i)
      cn_->Execute("INSERT INTO T VALUES (" + std::to_string(i) + ", '" +
                   std::string(kPairs[i].stored) + "')");
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
  for (std::size_t i = 0; i < kPairs.size(); ++i) {
    const Pair& p = kPairs[i];
    const std::string id = "ID = " + std::to_string(i);
    const std::string probe(p.probe);
    const int want = p.equal ? 1 : 0;
    SCOPED_TRACE(std::string(p.stored) + " ~ " + probe);
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
