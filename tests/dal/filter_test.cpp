#include "zmdb/dal/filter.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

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

struct Case {
  const char* filter;
  std::vector<std::int32_t> ids;
};

TEST(FilterTest, SelectsTheExpectedRows) {
  const std::vector<std::int32_t> all = {1, 2, 3, 4, 5, 12};
  const Case cases[] = {
      // Operators on a number; quoted and exponent forms convert to numbers.
      {"ID = 3", {3}},
      {"ID <> 3", {1, 2, 4, 5, 12}},
      {"ID < 3", {1, 2}},
      {"ID > 4", {5, 12}},
      {"ID <= 2", {1, 2}},
      {"ID>=5", {5, 12}},
      {"ID = '12'", {12}},
      {"ID = ' 12 '", {12}},
      {"ID = 1.2e1", {12}},
      {"ID > -1", all},
      {"Pay = 1234.5", {1, 3}},
      {"Pay = '1234.50'", {1, 3}},
      {"Pay < 100", {4, 12}},
      {"Pay >= 99.9999", {1, 2, 3, 4, 5}},
      // Dates in # and ' forms; the time of day counts.
      {"Hired = #2020-01-15#", {2}},
      {"Hired = #1/15/2020#", {2}},
      {"Hired = '2020-01-15 9:00 AM'", {3}},
      {"Hired >= #2020-01-15#", {2, 3, 4}},
      {"Hired < '2019-12-31'", {1, 5}},
      {"Hired <> #2020-01-15#", {1, 3, 4, 5}},
      // Booleans from words, text and numbers.
      {"Active = True", {1, 3, 12}},
      {"Active = 'false'", {2, 4, 5}},
      {"Active = -1", {1, 3, 12}},
      {"Active <> 1", {2, 4, 5}},
      // Text ignores case, in field names too, beyond ASCII.
      {"Name = 'alice'", {1}},
      {"Name = 'ÉMILE'", {3}},
      {"name = 'юлия'", {5}},
      {"Name > 'C'", {3, 4, 5, 12}},
      {"Note = 'O''Brien''s pick'", {3}},
      {"Note = 12", {12}},
      {"Note <> 'x'", {1, 3, 4, 12}},
      // Null matches only = NULL.
      {"Note = NULL", {2, 5}},
      {"Note <> null", {1, 3, 4, 12}},
      {"Hired = Null", {12}},
      // LIKE: * and % anywhere, ? and _ literal, the value's text for other types.
      {"Name LIKE 'a*'", {1}},
      {"Name like '*N'", {4}},
      {"Name LIKE '%o%'", {2, 4, 12}},
      {"Name LIKE 'C*S*h'", {12}},
      {"Name LIKE 'c%_s*'", {12}},
      {"Name LIKE 'é%'", {3}},
      {"Name LIKE 'ZOË*'", {4}},
      {"Name LIKE '*l*i*'", {1, 12}},
      {"Name LIKE 'ali'", {}},
      {"Name LIKE 'ALICE'", {1}},
      {"Name LIKE 'Carol?Smith'", {}},
      {"Note LIKE '*'", {1, 3, 4, 12}},
      {"Pay LIKE '1234*'", {1, 3}},
      {"ID LIKE '1*'", {1, 12}},
      {"Hired LIKE '2020*'", {2, 3}},
      // AND binds tighter than OR; parentheses group.
      {"ID = 1 OR ID = 2 AND Active = True", {1}},
      {"(ID = 1 OR ID = 2) AND Active = False", {2}},
      {"ID = 1 or ID = 3 and Pay = 1234.5 or ID = 12", {1, 3, 12}},
      {"((ID > 1)) AND (Name LIKE '*o*' OR Note = NULL)", {2, 4, 5, 12}},
      {"ID=1 AND(Name='alice'OR ID=2)", {1}},
      // Bracketed names.
      {"[Home City] = 'zürich'", {3}},
      {"[home city] LIKE 's*'", {2}},
      {"[ID] = 4", {4}},
      {"[Home City] = NULL", {12}},
      {"  ", all},
  };
  for (const Case& c : cases) EXPECT_EQ(MatchingIds(c.filter), c.ids) << c.filter;
}

TEST(FilterTest, RejectsMalformedFilters) {
  const char* cases[] = {
      "ID", "ID =", "= 3", "ID == 3", "ID != 3", "Foo = 1", "[] = 1",
      // Missing closing quote, bracket, #, parenthesis; stray parenthesis.
      "Name = 'abc", "[Home City = 'x'", "Hired = #2020-01-15", "(ID = 1", "ID = 1)", "()",
      // Bad joins.
      "ID = 1 AND", "ID = 1 XOR ID = 2", "ID = 1 ID = 2", "AND ID = 1",
      // Values that do not convert or do not suit the operator.
      "ID = '12abc'", "ID = 12abc", "ID = 1.2.3", "ID = --1", "ID = 1e999", "ID = ''",
      "Hired = #2020-13-45#", "Hired = 'yesterday'", "Hired = True", "Active = 'maybe'",
      "Active = #2020-01-01#", "Name = bob", "Name NOT LIKE 'a*'", "Name LIKE 5", "ID < NULL",
      "ID IS NULL", "Name LIKE NULL"};
  for (const char* text : cases) {
    const rt::ErrorInfo e = RaisedError([&] { ParseFilter(text, kColumns); });
    EXPECT_EQ(e.Number, kBadArguments) << text;
    EXPECT_EQ(e.Description.rfind(kBadArgumentsText, 0), 0u) << text;
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
