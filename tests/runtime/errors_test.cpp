// The one error table: its rows are well formed, and the raising helpers of
// every layer produce the numbers, texts and sources callers have always
// seen from them.
#include "zmdb/runtime/errors.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>

#include "raised.h"
#include "zmdb/dal/ado.h"
#include "zmdb/dal/engine_errors.h"
#include "zmdb/dal/recordset.h"
#include "zmdb/ui/controls.h"

namespace zmdb::dal::testing {
namespace {

using rt::Variant;

TEST(ErrorTable, EveryRowHasAUniqueNumberANameATextAndASource) {
  std::set<std::int32_t> numbers;
  std::set<std::string_view> names;
  for (const rt::ErrorEntry& e : rt::ErrorTable()) {
    EXPECT_TRUE(numbers.insert(e.number).second) << "number used twice: " << e.number;
    EXPECT_TRUE(names.insert(e.name).second) << "name used twice: " << e.name;
    EXPECT_FALSE(e.text.empty()) << e.name;
    EXPECT_FALSE(e.source.empty()) << e.name;
    ASSERT_EQ(rt::FindError(e.number), &e) << e.name;
  }
  EXPECT_EQ(rt::FindError(12345), nullptr);
  EXPECT_EQ(rt::ErrorText(12345), "");
}

// What a raise gave callers before the table existed, read off the places
// that raise them.
TEST(ErrorTable, RaisesKeepTheirNumbersTextsAndSources) {
  struct Case {
    const char* what;
    std::function<void()> raise;
    rt::ErrorInfo expected;
  };
  const Case cases[] = {
      {"a run-time error by number",
       [] { rt::Raise(rt::err::kTypeMismatch); },
       {13, "ZMDBFuncProj", "Type mismatch"}},
      {"a bare number that is not the run time's own",
       [] { rt::Raise(rt::err::kTableExists); },
       {3010, "ZMDBFuncProj", "Application-defined or object-defined error"}},
      {"the engine's missing item raised by number",
       [] { rt::Raise(rt::err::kItemNotFound); },
       {3265, "ZMDBFuncProj", "Item not found in this collection."}},
      {"a closed recordset",
       [] { Recordset::Create()->MoveFirst(); },
       {-2146824584, "ADODB.Recordset", "Operation is not allowed when the object is closed."}},
      {"an open object",
       [] { RaiseOpen(kConnectionSource); },
       {-2146824583, "ADODB.Connection", "Operation is not allowed when the object is open."}},
      {"a disconnected recordset without fields",
       [] { Recordset::Create()->Open(); },
       {-2146825287, "ADODB.Recordset",
        "Arguments are of the wrong type, are out of acceptable range, or are in conflict with "
        "one another. (a recordset without a source needs appended fields)"}},
      {"a table name in use",
       [] { engerr::TableExists("Staff"); },
       {3010, "DAO.Database", "Table 'Staff' already exists."}},
      {"a missing field",
       [] { engerr::ItemNotFound("DAO.Fields"); },
       {3265, "DAO.Fields", "Item not found in this collection."}},
      {"a store without a schema",
       [] { engerr::NotYetSupported("Linking"); },
       {3251, "DAO.Database", "Linking is not yet supported."}},
      {"a list index outside the items",
       [] {
         ui::ListControl list("ListBox");
         list.GetProperty("ItemData", {Variant(0)});
       },
       {381, "ZMDBFuncProj", "Invalid property array index"}},
  };
  for (const Case& c : cases) {
    const rt::ErrorInfo e = RaisedError([&] { c.raise(); });
    EXPECT_EQ(e, c.expected) << c.what;
  }
}

}  // namespace
}  // namespace zmdb::dal::testing
