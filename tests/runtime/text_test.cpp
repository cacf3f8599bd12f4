// UTF-8 decoding with stray bytes, the letter-case table, and the calendar rule.
#include "zmdb/runtime/text.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "data_rows.h"
#include "zmdb/runtime/datetime.h"

namespace zmdb::rt {
namespace {

constexpr char32_t Stray(unsigned char b) {
  return kStrayByte + b;
}

TEST(Utf8, DecodesWellFormedTextAndKeepsStrayBytes) {
  struct Case {
    std::string_view text;
    std::u32string want;
  };
  const std::vector<Case> cases = {
      {"", U""},
      {"a\xC3\xA9\xE2\x82\xAC", U"a\u00E9\u20AC"},
      {"\xF0\x9F\x98\x80!", U"\U0001F600!"},  // four bytes
      {"\xF4\x8F\xBF\xBF", U"\U0010FFFF"},    // the last code point
      {"\xF4\x90\x80\x80", {Stray(0xF4), Stray(0x90), Stray(0x80), Stray(0x80)}},  // past it
      {"\xF0\x9F\x98", {Stray(0xF0), Stray(0x9F), Stray(0x98)}},                   // cut short
      {"\xF0\x8F\xBF\xBF", {Stray(0xF0), Stray(0x8F), Stray(0xBF), Stray(0xBF)}},  // overlong
      {"\xE0\x80\x80", {Stray(0xE0), Stray(0x80), Stray(0x80)}},                   // overlong
      {"\xC0\xAF", {Stray(0xC0), Stray(0xAF)}},                                    // overlong
      {"\xED\xA0\x80", {Stray(0xED), Stray(0xA0), Stray(0x80)}},                   // a surrogate
      {"\x80x", {Stray(0x80), U'x'}},  // a lone continuation byte
      {"\xC3x", {Stray(0xC3), U'x'}},  // a lead byte without one
      {"\xFF\xFE", {Stray(0xFF), Stray(0xFE)}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(DecodeUtf8(c.text), c.want) << c.text;
    EXPECT_EQ(Utf8Length(c.text), c.want.size()) << c.text;
    std::string back;
    for (char32_t cp : c.want) AppendUtf8(back, cp);
    EXPECT_EQ(back, c.text) << "round trip";
  }
}

TEST(Utf8, OffsetsCountCharacters) {
  const std::string_view s = "a\xF0\x9F\x98\x80\xFF\xC3\xA9";  // a, U+1F600, stray, e-acute
  EXPECT_EQ(Utf8Offset(s, 0), 0u);
  EXPECT_EQ(Utf8Offset(s, 1), 1u);
  EXPECT_EQ(Utf8Offset(s, 2), 5u);
  EXPECT_EQ(Utf8Offset(s, 3), 6u);
  EXPECT_EQ(Utf8Offset(s, 4), s.size());
  EXPECT_EQ(Utf8Offset(s, 99), s.size());
}

TEST(LetterCase, FollowsTheSimpleUnicodeMappings) {
  for (const std::vector<std::string>& row : testing::DataRows("runtime/letter_case.txt")) {
    ASSERT_EQ(row.size(), 3u);
    const auto code = [&](std::size_t i) {
      return static_cast<char32_t>(std::stoul(row[i], nullptr, 16));
    };
    EXPECT_EQ(UpperCase(code(0)), code(1)) << row[0];
    EXPECT_EQ(LowerCase(code(0)), code(2)) << row[0];
  }
}

// Every mapping lands on a letter of the other case that maps back: a wrong
// distance in the table would land on an unrelated code point.
TEST(LetterCase, MappingsLandOnLettersThatMapBack) {
  for (char32_t c = 0; c < 0x10000; ++c) {
    const unsigned code = static_cast<unsigned>(c);
    if (const char32_t u = UpperCase(c); u != c) {
      ASSERT_EQ(UpperCase(u), u) << std::hex << code;
      ASSERT_NE(LowerCase(u), u) << std::hex << code;
      ASSERT_EQ(UpperCase(LowerCase(u)), u) << std::hex << code;
    }
    if (const char32_t l = LowerCase(c); l != c) {
      ASSERT_EQ(LowerCase(l), l) << std::hex << code;
      ASSERT_NE(UpperCase(l), l) << std::hex << code;
      ASSERT_EQ(LowerCase(UpperCase(l)), l) << std::hex << code;
    }
  }
}

TEST(Calendar, LeapYearsAndMonthLengths) {
  struct Case {
    int year;
    bool leap;
  };
  for (const Case& c : {Case{1900, false}, Case{2000, true}, Case{2004, true}, Case{2100, false},
                        Case{2023, false}, Case{1600, true}}) {
    EXPECT_EQ(IsLeapYear(c.year), c.leap) << c.year;
    EXPECT_EQ(DaysInMonth(c.year, 2), c.leap ? 29 : 28) << c.year;
  }
  const int lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  for (int m = 1; m <= 12; ++m) EXPECT_EQ(DaysInMonth(2023, m), lengths[m - 1]) << m;
}

}  // namespace
}  // namespace zmdb::rt
