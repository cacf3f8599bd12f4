#include "zmdb/dal/filter.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "data_rows.h"
#include "raised.h"
#include "zmdb/runtime/datetime.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/variant.h"

namespace zmdb::dal {
namespace {

using testing::RaisedError;

using rt::Variant;

constexpr std::int32_t kBadArguments = -2146825287;
constexpr const char* kBadArgumentsText =
    "Arguments are of the wrong type, are out of acceptable range, or are in conflict with one "
    "another.";

const std::vector<FilterColumn> kColumns = {
    {"ID", 3},      {"Name", 202}, {"Hired", 7},       {"Pay", 6},
    {"Active", 11}, {"Note", 203}, {"Home City", 202},
};

// A row of the fixture; pay is in ten-thousandths, a negative year leaves Hired Null.
std::vector<Variant> Row(std::int32_t id, const char* name, int y, int m, int d, int h,
                         std::int64_t pay, bool active, Variant note, Variant city) {
  return {Variant(id),
          Variant(name),
          y < 0 ? Variant::Null() : Variant(rt::MakeDate(y, m, d, h)),
          Variant(rt::Currency{pay}),
          Variant(active),
          std::move(note),
          std::move(city)};
}

const std::vector<std::vector<Variant>>& Rows() {
  static const std::vector<std::vector<Variant>> rows = {
      Row(1, "Alice", 2019, 3, 15, 0, 12345000, true, "first hire", "Oslo"),
      Row(2, "bob", 2020, 1, 15, 0, 8000000, false, Variant::Null(), "São Paulo"),
      Row(3, "Émile", 2020, 1, 15, 9, 12345000, true, "O'Brien's pick", "Zürich"),
      Row(4, "Zoë Ann", 2021, 12, 31, 0, 999999, false, "50% done", "New York"),
      Row(5, "Юлия", 2018, 6, 1, 0, 25000000, false, Variant::Null(), "Москва"),
      Row(12, "Carol_Smith", -1, 0, 0, 0, 0, true, "12", Variant::Null()),
  };
  return rows;
}

// The IDs of the fixture rows the filter passes.
std::vector<std::int32_t> MatchingIds(const std::string& text) {
  const auto filter = ParseFilter(text, kColumns);
  std::vector<std::int32_t> ids;
  for (const auto& row : Rows())
    if (filter->Matches(row)) ids.push_back(row[0].AsLong());
  return ids;
}

// Each row of data/dal/filter_cases.txt: the rows a filter passes, or that it
// is refused with the wrong-arguments error and its text.
TEST(FilterTest, CasesOfTheDataFile) {
  const auto cases = zmdb::testing::DataRows("dal/filter_cases.txt");
  ASSERT_GT(cases.size(), 90u);
  for (const auto& c : cases) {
    ASSERT_EQ(c.size(), 2u) << c[0];
    if (c[1] == "refused") {
      const rt::ErrorInfo e = RaisedError([&] { ParseFilter(c[0], kColumns); });
      EXPECT_EQ(e.Number, kBadArguments) << c[0];
      EXPECT_EQ(e.Description.rfind(kBadArgumentsText, 0), 0u) << c[0];
      continue;
    }
    std::vector<std::int32_t> ids;
    std::istringstream in(c[1] == "none" ? "" : c[1]);
    for (std::int32_t id; in >> id;) ids.push_back(id);
    EXPECT_EQ(MatchingIds(c[0]), ids) << c[0];
  }
}

TEST(FilterTest, GuidIgnoresCaseAndBraces) {
  const std::vector<FilterColumn> cols = {{"Key", 72}};
  const std::vector<Variant> row = {Variant("{6F9619FF-8B86-D011-B42D-00C04FC964FF}")};
  EXPECT_TRUE(ParseFilter("Key = '6f9619ff-8b86-d011-b42d-00c04fc964ff'", cols)->Matches(row));
  EXPECT_TRUE(ParseFilter("Key = '{6F9619FF-8B86-D011-B42D-00C04FC964FF}'", cols)->Matches(row));
  EXPECT_FALSE(ParseFilter("Key = '6F9619FF'", cols)->Matches(row));
}

TEST(FilterTest, NestingIsBounded) {
  const auto nested = [](int depth) {
    return std::string(static_cast<std::size_t>(depth), '(') + "ID = 1" +
           std::string(static_cast<std::size_t>(depth), ')');
  };
  EXPECT_EQ(MatchingIds(nested(100)), std::vector<std::int32_t>{1});
  EXPECT_THROW(ParseFilter(nested(100000), kColumns), rt::PlatformError);
}

}  // namespace
}  // namespace zmdb::dal
