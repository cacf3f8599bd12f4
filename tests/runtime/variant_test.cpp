#include "zmdb/runtime/variant.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/datetime.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/object.h"

namespace zmdb::rt {
namespace {

// The number of the PlatformError `f` raises, or 0 when it returns normally.
template <class F>
int ErrorNumber(F&& f) {
  try {
    f();
  } catch (const PlatformError& e) {
    return e.number();
  }
  return 0;
}

// An object whose default member is a fixed value, like a field.
class FakeField : public Object {
 public:
  explicit FakeField(Variant value) : value_(std::move(value)) {}
  std::string TypeName() const override { return "Field"; }
  Variant DefaultValue() override { return value_; }

 private:
  Variant value_;
};

Variant Obj(Variant value) {
  return Variant(ObjectRef(std::make_shared<FakeField>(std::move(value))));
}
Variant Cur(std::int64_t scaled) {
  return Variant(Currency{scaled});
}
Variant Day(double serial) {
  return Variant(Date{serial});
}
Variant Nothing() {
  return Variant(ObjectRef{});
}
// A description of a value for failure messages; never raises.
std::string Show(const Variant& v) {
  try {
    return TypeName(v) + " " + TextOf(v);
  } catch (const PlatformError&) {
    return TypeName(v);
  }
}

Variant StringArray() {
  return Variant(SafeArray(VarType::String, 0, {Variant("a")}));
}

constexpr std::int64_t kCurMax = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kCurMin = std::numeric_limits<std::int64_t>::min();

// ------------------------------------------------------------ whole numbers

// A conversion's input, the value it gives, and the error it raises instead
// (0: none).
template <class T>
struct ConvCase {
  Variant in;
  T want;
  int error;
};
using WholeCase = ConvCase<std::int32_t>;

// Runs `convert` on every case: the error it raises, else the value it gives.
template <class T, class Convert>
void ExpectConversions(const std::vector<ConvCase<T>>& cases, Convert convert) {
  for (const auto& c : cases) {
    SCOPED_TRACE(Show(c.in));
    T got{};
    EXPECT_EQ(ErrorNumber([&] { got = static_cast<T>(convert(c.in)); }), c.error);
    if (c.error == 0) {
      EXPECT_EQ(got, c.want);
    }
  }
}

TEST(Convert, CLngRoundsHalfToEvenAndChecksRange) {
  const std::vector<WholeCase> cases = {
      {Variant(2.5), 2, 0},
      {Variant(3.5), 4, 0},
      {Variant(-2.5), -2, 0},
      {Variant(-3.5), -4, 0},
      {Variant(0.5), 0, 0},
      {Variant(1.5), 2, 0},
      {Variant(2.4999), 2, 0},
      {Variant(-2.6), -3, 0},
      {Variant(2.5f), 2, 0},
      {Variant("2.5"), 2, 0},
      {Variant(" 42 "), 42, 0},
      {Variant("1e3"), 1000, 0},
      {Variant("&HFF"), 255, 0},
      {Variant("&HFFFF"), -1, 0},
      {Variant("&H10000"), 65536, 0},
      {Variant(true), -1, 0},
      {Variant(false), 0, 0},
      {Variant(), 0, 0},
      {Cur(25000), 2, 0},
      {Cur(35000), 4, 0},
      {Cur(-25000), -2, 0},
      {Cur(25001), 3, 0},
      {Cur(-25001), -3, 0},
      {Day(36526.6), 36527, 0},
      {Obj(Variant("7")), 7, 0},
      {Variant(2147483647.4), 2147483647, 0},
      {Variant(-2147483648.5), std::numeric_limits<std::int32_t>::min(), 0},
      {Variant(2147483647.5), 0, err::kOverflow},
      {Variant(-2147483649.0), 0, err::kOverflow},
      {Cur(kCurMax), 0, err::kOverflow},
      {Variant("1E400"), 0, err::kOverflow},
      {Variant(std::numeric_limits<double>::infinity()), 0, err::kOverflow},
      {Variant("abc"), 0, err::kTypeMismatch},
      {Variant(""), 0, err::kTypeMismatch},
      {Variant("1,234"), 0, err::kTypeMismatch},
      {Variant::Missing(), 0, err::kTypeMismatch},
      {StringArray(), 0, err::kTypeMismatch},
      {Nothing(), 0, err::kObjectNotSet},
      {Variant::Null(), 0, err::kInvalidUseOfNull},
  };
  ExpectConversions(cases, [](const Variant& v) { return CLng(v); });
}

TEST(Convert, CIntAndCByteRanges) {
  const std::vector<WholeCase> ints = {
      {Variant(32766.5), 32766, 0},          {Variant(-32768.5), -32768, 0},
      {Variant(32767.5), 0, err::kOverflow}, {Variant(-32769), 0, err::kOverflow},
      {Variant("40000"), 0, err::kOverflow}, {Variant::Null(), 0, err::kInvalidUseOfNull},
  };
  ExpectConversions(ints, [](const Variant& v) { return CInt(v); });
  const std::vector<WholeCase> bytes = {
      {Variant(254.5), 254, 0},           {Variant(-0.5), 0, 0},
      {Variant("255"), 255, 0},           {Variant(255.5), 0, err::kOverflow},
      {Variant(-0.6), 0, err::kOverflow}, {Variant(-1), 0, err::kOverflow},
      {Variant(true), 0, err::kOverflow}, {Variant::Null(), 0, err::kInvalidUseOfNull},
  };
  ExpectConversions(bytes, [](const Variant& v) { return CByte(v); });
}

// ------------------------------------------------------- real and currency

TEST(Convert, CDblAndCSng) {
  const std::vector<ConvCase<double>> doubles = {
      {Variant("1.5"), 1.5, 0},
      {Variant(" -2.5e3 "), -2500, 0},
      {Variant("+.5"), 0.5, 0},
      {Variant("5."), 5, 0},
      {Variant("1E-400"), 0, 0},
      {Variant(true), -1, 0},
      {Day(1.25), 1.25, 0},
      {Cur(12345), 1.2345, 0},
      {Variant(), 0, 0},
      {Variant(std::int16_t{-7}), -7, 0},
      {Variant("12abc"), 0, err::kTypeMismatch},
      {Variant("e5"), 0, err::kTypeMismatch},
      {Variant("1e"), 0, err::kTypeMismatch},
      {Variant("&H"), 0, err::kTypeMismatch},
      {Variant("."), 0, err::kTypeMismatch},
      {Variant("1E400"), 0, err::kOverflow},
      {Variant::Null(), 0, err::kInvalidUseOfNull},
  };
  ExpectConversions(doubles, [](const Variant& v) { return CDbl(v); });
  EXPECT_EQ(CSng(Variant("1.5")), 1.5f);
  EXPECT_EQ(CSng(Variant(3.4e38)), 3.4e38f);
  EXPECT_EQ(ErrorNumber([] { CSng(Variant(1e39)); }), err::kOverflow);
  EXPECT_EQ(ErrorNumber([] { CSng(Variant(-1e39)); }), err::kOverflow);
}

TEST(Convert, CCurRoundsHalfToEvenAtFourthDecimal) {
  const std::vector<ConvCase<std::int64_t>> cases = {
      // 1.03125 and 1.09375 are exact binary halves at the 4th decimal.
      {Variant(1.03125), 10312, 0},
      {Variant(1.09375), 10938, 0},
      {Variant(-1.03125), -10312, 0},
      {Variant(1.23456), 12346, 0},
      {Variant("1.00005"), 10000, 0},
      {Variant("1.00015"), 10002, 0},
      {Variant("-1.00015"), -10002, 0},
      {Variant("1.000051"), 10001, 0},
      {Variant("12.5"), 125000, 0},
      {Variant("1.5E2"), 1500000, 0},
      {Variant("0.00001"), 0, 0},
      {Variant(true), -10000, 0},
      {Variant(7), 70000, 0},
      {Variant("922337203685477.5807"), kCurMax, 0},
      {Variant("-922337203685477.5808"), kCurMin, 0},
      {Variant("922337203685477.5808"), 0, err::kOverflow},
      {Variant(1e15), 0, err::kOverflow},
      {Variant("x"), 0, err::kTypeMismatch},
      {Variant::Null(), 0, err::kInvalidUseOfNull},
  };
  ExpectConversions(cases, [](const Variant& v) { return CCur(v).scaled; });
  EXPECT_EQ(ErrorNumber([] { Currency::FromDouble(std::nan("")); }), err::kOverflow);
}

// --------------------------------------------------------- Boolean, Date

TEST(Convert, CBool) {
  const std::vector<ConvCase<bool>> cases = {
      {Variant("True"), true, 0},
      {Variant("tRUE"), true, 0},
      {Variant(" FALSE "), false, 0},
      {Variant("0"), false, 0},
      {Variant("-1"), true, 0},
      {Variant("0.0"), false, 0},
      {Variant(0.1), true, 0},
      {Variant(0.0), false, 0},
      {Cur(0), false, 0},
      {Cur(1), true, 0},
      {Variant(), false, 0},
      {Obj(Variant(true)), true, 0},
      {Variant("yes"), false, err::kTypeMismatch},
      {Variant::Null(), false, err::kInvalidUseOfNull},
  };
  ExpectConversions(cases, [](const Variant& v) { return CBool(v); });
}

TEST(Convert, CDateAndParseDate) {
  const std::vector<ConvCase<double>> cases = {
      {Variant("2004-08-30"), MakeDate(2004, 8, 30).serial, 0},
      {Variant("2004/8/3"), MakeDate(2004, 8, 3).serial, 0},
      {Variant("8/30/2004 1:05 PM"), MakeDate(2004, 8, 30, 13, 5).serial, 0},
      {Variant("8/30/2004 12:00:01 am"), MakeDate(2004, 8, 30, 0, 0, 1).serial, 0},
      {Variant(" 2004-08-30T13:05:09 "), MakeDate(2004, 8, 30, 13, 5, 9).serial, 0},
      {Variant("2004-08-30   13:05"), MakeDate(2004, 8, 30, 13, 5).serial, 0},
      {Variant("18:00"), 0.75, 0},
      {Variant(36526), 36526, 0},
      {Variant(true), -1, 0},
      {Variant(), 0, 0},
      {Variant(3e6), 0, err::kOverflow},
      {Variant(-657435.0), 0, err::kOverflow},
      {Variant("abc"), 0, err::kTypeMismatch},
      {Variant("36526"), 0, err::kTypeMismatch},
      {Variant("2004-02-30"), 0, err::kTypeMismatch},
      {Variant("13/1/2004"), 0, err::kTypeMismatch},
      {Variant("2004-08-30 13:05 PM"), 0, err::kTypeMismatch},
      {Variant("2004-08-30 24:00"), 0, err::kTypeMismatch},
      {Variant("2004-08-30x"), 0, err::kTypeMismatch},
      {Variant("04-08-30"), 0, err::kTypeMismatch},
      {Variant::Null(), 0, err::kInvalidUseOfNull},
  };
  ExpectConversions(cases, [](const Variant& v) { return CDate(v).serial; });
}

// ------------------------------------------------------------- text forms

TEST(Convert, CStrTextForms) {
  struct Case {
    Variant in;
    const char* want;
  };
  const std::vector<Case> cases = {
      {Variant(), ""},
      {Variant(true), "True"},
      {Variant(false), "False"},
      {Variant(std::uint8_t{200}), "200"},
      {Variant(std::int16_t{-5}), "-5"},
      {Variant(0.1), "0.1"},
      {Variant(1.0 / 3), "0.333333333333333"},
      {Variant(2.0 / 3), "0.666666666666667"},
      {Variant(0.1 + 0.2), "0.3"},
      {Variant(1e20), "1E+20"},
      {Variant(1.5e-7), "1.5E-07"},
      {Variant(100.0), "100"},
      {Variant(-0.5), "-0.5"},
      {Variant(-0.0), "0"},
      {Variant(999999999999999.0), "999999999999999"},
      {Variant(1e15), "1E+15"},
      {Variant(123456789012345678.0), "1.23456789012346E+17"},
      {Variant(0.00001), "0.00001"},
      {Variant(0.000001), "1E-06"},
      {Variant(1e-300), "1E-300"},
      {Variant(5e-324), "4.94065645841247E-324"},
      {Variant(-1.25e300), "-1.25E+300"},
      {Variant(0.1f), "0.1"},
      {Variant(1234567.0f), "1234567"},
      {Variant(16777216.0f), "1.677722E+07"},
      {Cur(125000), "12.5"},
      {Cur(-1), "-0.0001"},
      {Cur(0), "0"},
      {Cur(kCurMin), "-922337203685477.5808"},
      {Day(38229.5), "2004-08-30 12:00:00"},
      {Day(38229), "2004-08-30"},
      {Day(-1.25), "1899-12-29 06:00:00"},
      {Variant::Missing(), "Error 448"},
      {Variant(ErrorCode{static_cast<std::int32_t>(0x800A0005u)}), "Error 5"},
      {Obj(Variant(12.5)), "12.5"},
      {Variant("as is"), "as is"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(CStr(c.in), c.want);
  }
  EXPECT_EQ(TextOf(Variant::Null()), "");
  EXPECT_EQ(ErrorNumber([] { CStr(Variant::Null()); }), err::kInvalidUseOfNull);
  EXPECT_EQ(ErrorNumber([] { CStr(StringArray()); }), err::kTypeMismatch);
  EXPECT_EQ(ErrorNumber([] { CStr(Variant(Record("ErrStruct"))); }), err::kTypeMismatch);
  EXPECT_EQ(ErrorNumber([] { CStr(Nothing()); }), err::kObjectNotSet);
  EXPECT_EQ(ErrorNumber([] { CStr(Obj(Variant::Null())); }), err::kInvalidUseOfNull);
}

TEST(Convert, TextRoundTrips) {
  for (double d : {0.1, -0.5, 1234.5678, 1e20, 1.5e-7, 123456789012345.0, 0.000123, 1e-300,
                   -9.87654321e100, 3.14159265358979, 1e15, 0.00001}) {
    EXPECT_EQ(CDbl(Variant(CStr(Variant(d)))), d) << CStr(Variant(d));
  }
  for (float f : {0.1f, 1.5f, 3.4e38f, 1e-10f, 1234567.0f, -1234.5f}) {
    EXPECT_EQ(CSng(Variant(CStr(Variant(f)))), f) << CStr(Variant(f));
  }
  for (std::int64_t c : {std::int64_t{0}, std::int64_t{1}, std::int64_t{-1}, std::int64_t{125000},
                         std::int64_t{-123456789}, kCurMax, kCurMin}) {
    EXPECT_EQ(CCur(Variant(CStr(Cur(c)))).scaled, c) << CStr(Cur(c));
  }
  for (Date d : {MakeDate(2004, 8, 30), MakeDate(2004, 8, 30, 13, 5, 9), MakeDate(100, 1, 1),
                 MakeDate(9999, 12, 31, 23, 59, 59), MakeDate(1899, 12, 29, 6),
                 MakeDate(1899, 12, 30, 0, 0, 1), MakeDate(1850, 6, 15, 23, 0, 0)}) {
    EXPECT_EQ(CDate(Variant(CStr(Variant(d)))), d) << CStr(Variant(d));
  }
  for (bool b : {true, false}) EXPECT_EQ(CBool(Variant(CStr(Variant(b)))), b);
}

// Text forms against exact rounding: a double's text is its value rounded to
// 15 significant digits (a Single's to 7), whichever way it was worked out,
// so it reads back as the C library's exact "%.*e" rounding does. Two
// different roundings never read back alike. Numbers of several shapes: short
// decimals (the common case), thirds and sevenths (long expansions), halfway
// cases at the last digit, and arbitrary bit patterns.
TEST(Convert, FloatTextIsTheExactRounding) {
  std::vector<double> doubles = {0.5,
                                 1.25,
                                 1e-5,
                                 9.5e-6,
                                 1e15,
                                 999999999999999.5,
                                 999999999999999.4,
                                 0.1 + 0.2,
                                 1.0 / 3,
                                 2.0 / 3,
                                 123456789012345.67,
                                 5e-324,
                                 1.5e308};
  std::uint64_t bits = 0x9E3779B97F4A7C15u;
  for (int i = 1; i <= 3000; ++i) {
    bits ^= bits << 13, bits ^= bits >> 7, bits ^= bits << 17;
    double random = 0;
    std::uint64_t pattern =
        (bits & 0x800FFFFFFFFFFFFFu) | (static_cast<std::uint64_t>(0x300 + i % 0x200) << 52);
    std::memcpy(&random, &pattern, sizeof random);
    for (double d :
         {i * 1.25, i / 7.0, -i * 0.01, i * 1e-7 + 0.5, static_cast<double>(bits >> 11), random}) {
      doubles.push_back(d);
    }
  }
  const auto rounded = [](double d, int digits) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.*e", digits - 1, d);
    return std::strtod(buf, nullptr);
  };
  for (double d : doubles) {
    const std::string text = CStr(Variant(d));
    ASSERT_EQ(CDbl(Variant(text)), rounded(d, 15)) << text << " from " << d;
    const auto f = static_cast<float>(d);
    if (!std::isfinite(f) || f == 0) continue;
    const std::string single = CStr(Variant(f));
    ASSERT_EQ(CDbl(Variant(single)), rounded(static_cast<double>(f), 7)) << single;
  }
}

// Plain decimal text (sign, digits, a point) and the same number written with
// an exponent read as the same double, Overflow and Bad alike.
TEST(Convert, PlainAndExponentTextReadAlike) {
  std::vector<std::string> texts = {"0",
                                    "-0",
                                    "+0.0",
                                    "007",
                                    ".5",
                                    "5.",
                                    "-.5",
                                    "+12.50",
                                    "123456789012345678901234567890",
                                    "0.000000000000000000000000000001",
                                    "9007199254740993",
                                    "1.00000000000000011102230246251565"};
  std::uint64_t bits = 0x2545F4914F6CDD1Du;
  for (int i = 0; i < 2000; ++i) {
    bits ^= bits << 13, bits ^= bits >> 7, bits ^= bits << 17;
    std::string digits = std::to_string(bits >> (bits % 40));
    const std::size_t point = bits % (digits.size() + 1);
    texts.push_back((i % 3 == 0 ? "-" : "") + digits.substr(0, point) + "." + digits.substr(point));
  }
  for (const std::string& text : texts) {
    SCOPED_TRACE(text);
    const double plain = CDbl(Variant(text));
    EXPECT_EQ(plain, CDbl(Variant(text + "E0")));
    EXPECT_EQ(plain, std::strtod(text.c_str(), nullptr) + 0.0);
    EXPECT_FALSE(std::signbit(plain) && plain == 0);
  }
  const std::string huge(400, '9');
  for (const std::string& bad : {std::string("-"), std::string("+-1"), std::string("1.2.3"),
                                 std::string("1,5"), std::string("--1"), std::string(". 5")}) {
    EXPECT_EQ(ErrorNumber([&] { CDbl(Variant(bad)); }), err::kTypeMismatch) << bad;
  }
  EXPECT_EQ(ErrorNumber([&] { CDbl(Variant(huge)); }), err::kOverflow);
  EXPECT_EQ(ErrorNumber([&] { CDbl(Variant(huge + ".5")); }), err::kOverflow);
}

// ------------------------------------------------------ tests of kind

TEST(Convert, IsNumericAndIsDate) {
  struct Case {
    Variant in;
    bool numeric;
    bool date;
  };
  const std::vector<Case> cases = {
      {Variant("12"), true, false},
      {Variant(" 1.5e3 "), true, false},
      {Variant("&H1F"), true, false},
      {Variant("abc"), false, false},
      {Variant(""), false, false},
      {Variant(), true, false},
      {Variant::Null(), false, false},
      {Variant(true), true, false},
      {Cur(5), true, false},
      {Day(1), false, true},
      {Variant(36526), true, false},
      {Variant("2004-08-30"), false, true},
      {Variant("8/30/2004"), false, true},
      {Variant("2004-08-30T13:05:09"), false, true},
      {Variant("13:05"), false, true},
      {Variant("1:05 PM"), false, true},
      {Variant("13:05 PM"), false, false},
      {Variant("2004-02-30"), false, false},
      {Obj(Variant("3")), true, false},
      {Obj(Variant("2004-08-30")), false, true},
      {Nothing(), false, false},
      {StringArray(), false, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(Show(c.in));
    EXPECT_EQ(IsNumeric(c.in), c.numeric);
    EXPECT_EQ(IsDate(c.in), c.date);
  }
}

TEST(Convert, ConvertTo) {
  struct Case {
    Variant in;
    VarType type;
    Variant want;
    int error;
  };
  const std::vector<Case> cases = {
      {Variant(), VarType::Long, Variant(), 0},
      {Variant::Null(), VarType::String, Variant::Null(), 0},
      {Variant("12"), VarType::Long, Variant(12), 0},
      {Variant(2.5), VarType::Integer, Variant(std::int16_t{2}), 0},
      {Variant(12.5), VarType::String, Variant("12.5"), 0},
      {Variant("1"), VarType::Variant, Variant("1"), 0},
      {Variant(1), VarType::Boolean, Variant(true), 0},
      {Variant("2004-08-30"), VarType::Date, Variant(MakeDate(2004, 8, 30)), 0},
      {Variant(3), VarType::Currency, Cur(30000), 0},
      {Variant(300), VarType::Byte, Variant(), err::kOverflow},
      {Variant(1), VarType::Object, Variant(), err::kTypeMismatch},
      {Nothing(), VarType::Object, Nothing(), 0},
  };
  for (const auto& c : cases) {
    Variant got;
    EXPECT_EQ(ErrorNumber([&] { got = ConvertTo(c.in, c.type); }), c.error);
    if (c.error == 0) {
      EXPECT_EQ(got, c.want) << TypeName(got);
    }
  }
}

// ---------------------------------------------------------------- Compare

TEST(Convert, CompareFollowsPlatformRules) {
  constexpr int kMismatch = 99;  // the case expects error 13
  struct Case {
    Variant a, b;
    std::optional<int> want;
  };
  const std::vector<Case> cases = {
      {Variant(1), Variant(2), -1},
      {Variant(2.5), Variant(2), 1},
      {Cur(15000), Variant(1.5), 0},
      {Cur(kCurMax), Cur(kCurMax - 1), 1},
      {Variant(1), Cur(10001), -1},
      {Variant("abc"), Variant("abd"), -1},
      {Variant("B"), Variant("a"), -1},
      {Variant("a"), Variant("a"), 0},
      {Variant("\xC3\xA9"), Variant("z"), 1},
      {Variant(10), Variant("9"), 1},
      {Variant("10"), Variant(9), 1},
      {Variant("10"), Variant("9"), -1},
      {Variant(1), Variant("abc"), kMismatch},
      {Variant("abc"), Variant(1.5), kMismatch},
      {Variant(), Variant(0), 0},
      {Variant(), Variant(""), 0},
      {Variant(), Variant("a"), -1},
      {Variant(), Variant(-1), 1},
      {Variant(), Variant(), 0},
      {Variant::Null(), Variant(1), std::nullopt},
      {Variant(1), Variant::Null(), std::nullopt},
      {Variant::Null(), Variant::Null(), std::nullopt},
      {Variant(true), Variant(0), -1},
      {Variant(true), Variant(-1), 0},
      {Day(38229), Variant(38229), 0},
      {Day(38229.5), Variant("2004-08-30"), 1},
      {Day(38229), Variant("38229"), 0},
      {Obj(Variant(5)), Variant(5), 0},
      {StringArray(), Variant(1), kMismatch},
      {Variant::Missing(), Variant(1), kMismatch},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(TypeName(c.a) + " vs " + TypeName(c.b));
    std::optional<int> got;
    const int error = ErrorNumber([&] { got = Compare(c.a, c.b); });
    if (c.want == kMismatch) {
      EXPECT_EQ(error, err::kTypeMismatch);
    } else {
      EXPECT_EQ(error, 0);
      EXPECT_EQ(got, c.want);
    }
  }
}

// ---------------------------------------------------------------- Variant

TEST(Variant, TypeNames) {
  Record rec("ErrStruct", {{"Number", Variant(0)}});
  const std::vector<std::pair<Variant, const char*>> cases = {
      {Variant(), "Empty"},
      {Variant::Null(), "Null"},
      {Variant(true), "Boolean"},
      {Variant(std::uint8_t{1}), "Byte"},
      {Variant(std::int16_t{1}), "Integer"},
      {Variant(1), "Long"},
      {Variant(1.0f), "Single"},
      {Variant(1.0), "Double"},
      {Cur(1), "Currency"},
      {Day(1), "Date"},
      {Variant("x"), "String"},
      {Variant::Missing(), "Error"},
      {Nothing(), "Nothing"},
      {Obj(Variant()), "Field"},
      {Variant(rec), "ErrStruct"},
      {StringArray(), "String()"},
      {Variant(SafeArray()), "Variant()"},
      {Variant(SafeArray(VarType::Long)), "Long()"},
      {Variant(SafeArray(VarType::Record, 0, {Variant(rec)})), "ErrStruct()"},
  };
  for (const auto& [v, name] : cases) EXPECT_EQ(TypeName(v), name);
}

TEST(Variant, TypedAccessorsRejectOtherSubtypes) {
  EXPECT_EQ(Variant(std::uint8_t{7}).AsLong(), 7);
  EXPECT_EQ(Variant(1.5f).AsDouble(), 1.5);
  const std::vector<std::pair<int, int>> errors = {
      {ErrorNumber([] { Variant(1.0).AsLong(); }), err::kTypeMismatch},
      {ErrorNumber([] { Variant(1).AsDouble(); }), err::kTypeMismatch},
      {ErrorNumber([] { Variant().AsString(); }), err::kTypeMismatch},
      {ErrorNumber([] { Variant(1).AsBoolean(); }), err::kTypeMismatch},
      {ErrorNumber([] { Variant(1.0).AsCurrency(); }), err::kTypeMismatch},
      {ErrorNumber([] { Variant(1.0).AsDate(); }), err::kTypeMismatch},
      {ErrorNumber([] { Variant(1).AsArray(); }), err::kTypeMismatch},
      {ErrorNumber([] { Variant(1).AsRecord(); }), err::kTypeMismatch},
      {ErrorNumber([] { Variant(1).AsErrorCode(); }), err::kTypeMismatch},
      {ErrorNumber([] { Variant(1).ArrayType(); }), err::kTypeMismatch},
      {ErrorNumber([] { Variant(1).AsObject(); }), err::kObjectRequired},
      {ErrorNumber([] { Nothing().AsObject(); }), 0},
  };
  for (std::size_t i = 0; i < errors.size(); ++i) EXPECT_EQ(errors[i].first, errors[i].second) << i;

  EXPECT_TRUE(Variant::Missing().IsMissing());
  EXPECT_TRUE(IsMissing(Variant::Missing()));
  EXPECT_FALSE(Variant(ErrorCode{0}).IsMissing());
  EXPECT_FALSE(Variant().IsMissing());
  for (const auto& v : {Variant(std::uint8_t{1}), Variant(std::int16_t{1}), Variant(1),
                        Variant(1.0f), Variant(1.0), Cur(1)})
    EXPECT_TRUE(v.IsNumeric()) << TypeName(v);
  for (const auto& v : {Variant(), Variant(true), Day(1), Variant("1"), Variant::Null()})
    EXPECT_FALSE(v.IsNumeric()) << TypeName(v);
}

TEST(Variant, ArrayBounds) {
  SafeArray unallocated(VarType::String);
  EXPECT_FALSE(unallocated.allocated());
  EXPECT_EQ(unallocated.size(), 0u);
  EXPECT_TRUE(std::as_const(unallocated).items().empty());
  EXPECT_EQ(ErrorNumber([&] { unallocated.LBound(); }), err::kSubscriptOutOfRange);
  EXPECT_EQ(ErrorNumber([&] { unallocated.UBound(); }), err::kSubscriptOutOfRange);
  EXPECT_EQ(ErrorNumber([&] { unallocated.at(0); }), err::kSubscriptOutOfRange);

  SafeArray a(VarType::Long, 1, {Variant(10), Variant(20), Variant(30)});
  EXPECT_EQ(a.LBound(), 1);
  EXPECT_EQ(a.UBound(), 3);
  EXPECT_EQ(a.at(1), Variant(10));
  EXPECT_EQ(a.at(3), Variant(30));
  for (std::int32_t bad : {0, 4, -1, std::numeric_limits<std::int32_t>::min()})
    EXPECT_EQ(ErrorNumber([&] { a.at(bad); }), err::kSubscriptOutOfRange) << bad;

  SafeArray empty(VarType::Variant, 0, {});
  EXPECT_TRUE(empty.allocated());
  EXPECT_EQ(empty.UBound(), -1);
  EXPECT_FALSE(empty == SafeArray());
}

TEST(Variant, ArrayRedimPreserve) {
  SafeArray s(VarType::String);
  s.RedimPreserve(1, 2);
  EXPECT_EQ(s.LBound(), 1);
  EXPECT_EQ(s.at(2), Variant(""));
  s.at(1) = Variant("kept");
  s.RedimPreserve(0, 4);  // the lower bound of an allocated array stays
  EXPECT_EQ(s.LBound(), 1);
  EXPECT_EQ(s.UBound(), 4);
  EXPECT_EQ(s.at(1), Variant("kept"));
  EXPECT_EQ(s.at(4), Variant(""));
  s.RedimPreserve(1, 1);
  EXPECT_EQ(s.size(), 1u);
  s.RedimPreserve(1, 0);
  EXPECT_EQ(s.size(), 0u);
  EXPECT_EQ(ErrorNumber([&] { s.RedimPreserve(1, -1); }), err::kSubscriptOutOfRange);

  SafeArray v;
  v.RedimPreserve(0, 0);
  EXPECT_TRUE(v.at(0).IsEmpty());

  SafeArray recs(VarType::Record, 0,
                 {Variant(Record("Pt", {{"X", Variant(5)}, {"Name", Variant("a")}}))});
  recs.RedimPreserve(0, 1);
  EXPECT_EQ(recs.at(1), Variant(Record("Pt", {{"X", Variant(0)}, {"Name", Variant("")}})));
}

TEST(Variant, ArraysAndRecordsCopyDeeply) {
  SafeArray inner(VarType::Long, 0, {Variant(1)});
  SafeArray outer(VarType::Variant, 0, {Variant(inner)});
  SafeArray copy = outer;
  copy.at(0).AsArray().at(0) = Variant(2);
  EXPECT_EQ(outer.at(0).AsArray().at(0), Variant(1));
  EXPECT_FALSE(copy == outer);
  copy = outer;
  EXPECT_TRUE(copy == outer);

  Record r("ErrStruct", {{"Number", Variant(5)}, {"Description", Variant("x")}});
  Record rc = r;
  rc["number"] = Variant(6);
  EXPECT_EQ(r["NUMBER"], Variant(5));
  EXPECT_EQ(rc["Number"], Variant(6));
  EXPECT_TRUE(r.Has("description"));
  EXPECT_FALSE(r.Has("Source"));
  EXPECT_EQ(ErrorNumber([&] { r["Source"]; }), err::kNotSupported);
  const Record& cr = r;
  EXPECT_EQ(ErrorNumber([&] { cr["Numbe"]; }), err::kNotSupported);

  Variant holder(r);
  Variant held = holder;
  held.AsRecord()["Description"] = Variant("changed");
  EXPECT_EQ(holder.AsRecord()["Description"], Variant("x"));
}

// --------------------------------------------------------------- dates

TEST(DateTime, SerialsAndParts) {
  struct Case {
    double serial;
    DateParts want;
  };
  const std::vector<Case> cases = {
      {0, {1899, 12, 30, 0, 0, 0, 7}},
      {1, {1899, 12, 31, 0, 0, 0, 1}},
      {2, {1900, 1, 1, 0, 0, 0, 2}},
      {-1.25, {1899, 12, 29, 6, 0, 0, 6}},
      {-0.5, {1899, 12, 30, 12, 0, 0, 7}},
      {36526, {2000, 1, 1, 0, 0, 0, 7}},
      {38229 + 47109.0 / 86400, {2004, 8, 30, 13, 5, 9, 2}},
      // 23:59:59.6 rounds to the next day's midnight.
      {38229 + 86399.6 / 86400, {2004, 8, 31, 0, 0, 0, 3}},
      {-1 - 86399.6 / 86400, {1899, 12, 30, 0, 0, 0, 7}},
      {38229 + 0.4 / 86400, {2004, 8, 30, 0, 0, 0, 2}},
      {-657434, {100, 1, 1, 0, 0, 0, 6}},
      {2958465, {9999, 12, 31, 0, 0, 0, 6}},
  };
  auto tie = [](const DateParts& p) {
    return std::tie(p.year, p.month, p.day, p.hour, p.minute, p.second, p.weekday);
  };
  for (const auto& c : cases) EXPECT_EQ(tie(SplitDate(Date{c.serial})), tie(c.want)) << c.serial;
  EXPECT_EQ(MakeDate(1899, 12, 29, 6).serial, -1.25);
  EXPECT_EQ(MakeDate(2000, 1, 1).serial, 36526);
  EXPECT_EQ(MakeDate(2000, 2, 29).serial, 36585);
  EXPECT_EQ(MakeDate(100, 1, 1).serial, -657434);
  EXPECT_EQ(ErrorNumber([] { SplitDate(Date{std::nan("")}); }), err::kOverflow);
}

TEST(DateTime, MakeDateRejectsInvalidParts) {
  struct Parts {
    int y, m, d, h, n, s;
  };
  for (const Parts& p : std::vector<Parts>{{2004, 2, 30, 0, 0, 0},
                                           {1900, 2, 29, 0, 0, 0},
                                           {99, 1, 1, 0, 0, 0},
                                           {10000, 1, 1, 0, 0, 0},
                                           {2004, 13, 1, 0, 0, 0},
                                           {2004, 0, 1, 0, 0, 0},
                                           {2004, 4, 31, 0, 0, 0},
                                           {2004, 1, 0, 0, 0, 0},
                                           {2004, 1, 1, 24, 0, 0},
                                           {2004, 1, 1, 0, 60, 0},
                                           {2004, 1, 1, 0, 0, 60},
                                           {2004, 1, 1, -1, 0, 0}}) {
    EXPECT_EQ(ErrorNumber([&] { MakeDate(p.y, p.m, p.d, p.h, p.n, p.s); }), err::kInvalidProcCall)
        << p.y << "-" << p.m << "-" << p.d << " " << p.h << ":" << p.n << ":" << p.s;
  }
}

TEST(DateTime, NowIsAPlausibleLocalTime) {
  const Date now = Now();
  EXPECT_GT(now.serial, MakeDate(2020, 1, 1).serial);
  EXPECT_LT(now.serial, MakeDate(2200, 1, 1).serial);
}

}  // namespace
}  // namespace zmdb::rt
