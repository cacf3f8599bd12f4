// UTF-8 decoding with stray bytes and the letter-case table.
#include "zmdb/runtime/text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "data_rows.h"

namespace zmdb::rt {
namespace {

// Whitespace-separated hexadecimal numbers.
std::vector<std::uint32_t> Hex(const std::string& text) {
  std::vector<std::uint32_t> out;
  std::istringstream in(text);
  for (std::uint32_t n = 0; in >> std::hex >> n;) out.push_back(n);
  return out;
}

TEST(Utf8, DecodesWellFormedTextAndKeepsStrayBytes) {
  int cases = 0;
  for (const std::vector<std::string>& row : testing::DataRows("runtime/utf8.txt")) {
    ++cases;
    std::string text;
    for (std::uint32_t b : Hex(row.at(0))) text += static_cast<char>(b);
    std::u32string want;
    for (std::uint32_t c : Hex(row.size() > 1 ? row[1] : "")) want += static_cast<char32_t>(c);
    EXPECT_EQ(DecodeUtf8(text), want) << row[0];
    EXPECT_EQ(Utf8Length(text), want.size()) << row[0];
    std::string back;
    for (char32_t cp : want) AppendUtf8(back, cp);
    EXPECT_EQ(back, text) << "round trip of " << row[0];
  }
  EXPECT_GT(cases, 10);
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

}  // namespace
}  // namespace zmdb::rt
