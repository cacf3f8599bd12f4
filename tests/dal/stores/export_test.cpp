// dbExport from each store's connection: the source is opened through the
// data engine from the connection's own text (a server through ODBC), and
// the rows land in a text file read back by a CSV reader.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "../formats/writer_fixture.h"
#include "store_fixture.h"
#include "zmdb/frame/component.h"
#include "zmdb/runtime/host.h"

namespace zmdb::dal::testing {
namespace {

using rt::Variant;

struct Reader : formats::testing::WriterTest {
  using WriterTest::RunPython;
};

using ExportOnStoreTest = ComponentStoreTest;

TEST_P(ExportOnStoreTest, RowsOfAQueryToText) {
  if (store() == Store::SqlServer) {
    GTEST_SKIP() << "a FreeTDS connection's text does not name SQL, so it reads as a file source";
  }
  auto cn = Connect();
  cn->Execute("CREATE TABLE items (id INT, label " + Text(20) + ")");
  for (const char* row : {"(1, 'apple')", "(2, NULL)", "(3, '梨子')"}) {
    cn->Execute(std::string("INSERT INTO items VALUES ") + row);
  }
  const auto folder = std::filesystem::temp_directory_path() /
                      ("zmdb_export_" + StoreName(store()) + std::to_string(::getpid()));
  std::filesystem::create_directories(folder);
  const std::string file = (folder / "items.txt").string();
  const bool exported =
      obj_.dbExport("SELECT id, label FROM items ORDER BY id", Of(cn), file, true, true, 12);
  const std::string why = obj_.dbGetLastError().Description;
  std::vector<std::string> lines;
  if (exported) {
    lines = Reader::RunPython(
        "import sys, csv\n"
        "print([r for r in csv.reader(open(sys.argv[1], encoding=\"gbk\"))])",
        {file});
  }
  std::filesystem::remove_all(folder);
  ASSERT_TRUE(exported) << why;
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0], "[['id', 'label'], ['1', 'apple'], ['2', ''], ['3', '梨子']]");
}

INSTANTIATE_TEST_SUITE_P(Stores, ExportOnStoreTest, EveryStore(), StoreParamName);

}  // namespace
}  // namespace zmdb::dal::testing
