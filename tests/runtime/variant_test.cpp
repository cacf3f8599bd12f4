#include "zmdb/runtime/variant.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "data_rows.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/datetime.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/format.h"
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

// ------------------------------------------------- the data file's cases

// A value as data/runtime/values.txt writes it (see the file's header).
Variant Literal(const std::string& s) {
  if (s.starts_with("Field(") && s.ends_with(")")) return Obj(Literal(s.substr(6, s.size() - 7)));
  const std::size_t space = s.find(' ');
  const std::string kind = s.substr(0, space);
  const std::string arg = space == std::string::npos ? "" : s.substr(space + 1);
  const char* a = arg.c_str();
  if (kind == "Empty") return Variant();
  if (kind == "Null") return Variant::Null();
  if (kind == "Missing") return Variant::Missing();
  if (kind == "Nothing") return Nothing();
  if (kind == "Array") return StringArray();
  if (kind == "Boolean") return Variant(arg == "True");
  if (kind == "Byte") return Variant(static_cast<std::uint8_t>(std::atoi(a)));
  if (kind == "Integer") return Variant(static_cast<std::int16_t>(std::atoi(a)));
  if (kind == "Long") return Variant(static_cast<std::int32_t>(std::atol(a)));
  if (kind == "Single") return Variant(std::strtof(a, nullptr));
  if (kind == "Double") return Variant(std::strtod(a, nullptr));
  if (kind == "String" && arg.size() >= 2) return Variant(arg.substr(1, arg.size() - 2));
  if (kind == "Currency") {  // exact: whole part, then up to 4 decimals
    const std::size_t point = arg.find('.');
    std::string decimals = point == std::string::npos ? "" : arg.substr(point + 1);
    decimals.resize(4, '0');
    const std::int64_t whole = std::strtoll(arg.substr(0, point).c_str(), nullptr, 10);
    const std::int64_t part = std::strtoll(decimals.c_str(), nullptr, 10);
    return Cur(arg[0] == '-' ? whole * 10000 - part : whole * 10000 + part);
  }
  if (kind == "Date" && arg.starts_with("#")) {
    int y = 0, m = 0, d = 0, h = 0, n = 0, sec = 0;
    std::sscanf(a, "#%d-%d-%d %d:%d:%d", &y, &m, &d, &h, &n, &sec);
    return Variant(MakeDate(y, m, d, h, n, sec));
  }
  if (kind == "Date") return Day(std::strtod(a, nullptr));
  ADD_FAILURE() << "not a value: " << s;
  return Variant();
}

// What `function` gives for `args`, as a value of its own type.
Variant Apply(const std::string& function, const std::vector<Variant>& args) {
  const Variant& v = args.at(0);
  if (function == "CLng") return Variant(CLng(v));
  if (function == "CInt") return Variant(CInt(v));
  if (function == "CByte") return Variant(CByte(v));
  if (function == "CDbl") return Variant(CDbl(v));
  if (function == "CSng") return Variant(CSng(v));
  if (function == "CCur") return Variant(CCur(v));
  if (function == "CBool") return Variant(CBool(v));
  if (function == "CDate") return Variant(CDate(v));
  if (function == "CStr") return Variant(CStr(v));
  if (function == "IsNumeric") return Variant(IsNumeric(v));
  if (function == "IsDate") return Variant(IsDate(v));
  if (function == "TypeName") return Variant(TypeName(v));
  if (function == "Format") return Variant(Format(v, args.at(1).AsString()));
  // The target type is the second argument's own type.
  if (function == "ConvertTo") return ConvertTo(v, args.at(1).Type());
  if (function == "MakeDate") {
    std::int32_t p[6] = {};
    for (std::size_t i = 0; i < args.size() && i < 6; ++i) p[i] = CLng(args[i]);
    return Variant(MakeDate(p[0], p[1], p[2], p[3], p[4], p[5]));
  }
  if (function == "Compare") {
    const std::optional<int> order = Compare(v, args.at(1));
    return order ? Variant(*order) : Variant::Null();
  }
  ADD_FAILURE() << "no function " << function;
  return Variant();
}

// The type a function's result is written in, before its bare value.
std::string ResultType(const std::string& function) {
  static const std::map<std::string, std::string> kTypes = {
      {"CLng", "Long"},       {"CInt", "Integer"},  {"CByte", "Byte"},        {"CDbl", "Double"},
      {"CSng", "Single"},     {"CCur", "Currency"}, {"CBool", "Boolean"},     {"CDate", "Date"},
      {"CStr", "String"},     {"Format", "String"}, {"IsNumeric", "Boolean"}, {"IsDate", "Boolean"},
      {"TypeName", "String"}, {"Compare", "Long"},  {"MakeDate", "Date"}};
  const auto it = kTypes.find(function);
  return it == kTypes.end() ? "" : it->second;
}

TEST(Values, EveryCaseOfTheDataFile) {
  int cases = 0;
  for (const std::vector<std::string>& parts : testing::DataRows("runtime/values.txt")) {
    std::string line;
    for (const std::string& part : parts) line += (line.empty() ? "" : " | ") + part;
    SCOPED_TRACE(line);
    ASSERT_GE(parts.size(), 3u);
    std::vector<Variant> args;
    for (std::size_t i = 1; i + 1 < parts.size(); ++i) args.push_back(Literal(parts[i]));
    const std::string& want = parts.back();
    Variant got;
    const int error = ErrorNumber([&] { got = Apply(parts[0], args); });
    ++cases;
    if (want.starts_with("error ")) {
      EXPECT_EQ(error, std::atoi(want.c_str() + 6)) << Show(got);
    } else {
      EXPECT_EQ(error, 0);
      // ConvertTo's results are written with their type.
      const std::string type = ResultType(parts[0]);
      const Variant expected =
          want == "Null" ? Variant::Null() : Literal(type.empty() ? want : type + " " + want);
      EXPECT_EQ(got, expected) << Show(got) << " is not " << Show(expected);
    }
  }
  EXPECT_GT(cases, 300);
}

// What the data file cannot write.
TEST(Convert, WhatTheDataFileCannotWrite) {
  EXPECT_EQ(TextOf(Variant::Null()), "");
  EXPECT_EQ(CStr(Variant(ErrorCode{static_cast<std::int32_t>(0x800A0005u)})), "Error 5");
  EXPECT_EQ(ErrorNumber([] { CStr(Variant(Record("ErrStruct"))); }), err::kTypeMismatch);
  EXPECT_EQ(ErrorNumber([] { Currency::FromDouble(std::nan("")); }), err::kOverflow);
  EXPECT_EQ(ConvertTo(Variant("1"), VarType::Variant), Variant("1"));
}

TEST(Convert, TextRoundTrips) {
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
  std::vector<double> doubles = {0.5, 1.25, 1e-5, 9.5e-6, 1e15, 5e-324, 1.5e308, 0.1 + 0.2};
  for (double d : {999999999999999.5, 999999999999999.4, 1.0 / 3, 2.0 / 3, 123456789012345.67})
    doubles.push_back(d);
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
  std::vector<std::string> texts = {"0", "-0", "+0.0", "007", ".5", "5.", "-.5", "+12.50"};
  for (const char* t : {"123456789012345678901234567890", "0.000000000000000000000000000001",
                        "9007199254740993", "1.00000000000000011102230246251565"})
    texts.emplace_back(t);
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

// ---------------------------------------------------------------- Variant

// Names of the values the data file cannot write.
TEST(Variant, TypeNamesOfArraysAndRecords) {
  Record rec("ErrStruct", {{"Number", Variant(0)}});
  const std::vector<std::pair<Variant, const char*>> cases = {
      {Variant(rec), "ErrStruct"},
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

  EXPECT_FALSE(Variant(ErrorCode{0}).IsMissing());
  for (const auto& v : {Variant(std::uint8_t{1}), Variant(std::int16_t{1}), Variant(1),
                        Variant(1.0f), Variant(1.0), Cur(1)})
    EXPECT_TRUE(v.IsNumeric()) << TypeName(v);
  for (const auto& v : {Variant(), Variant(true), Day(1), Variant("1"), Variant::Null()})
    EXPECT_FALSE(v.IsNumeric()) << TypeName(v);
}

TEST(Variant, ArrayBounds) {
  SafeArray unallocated(VarType::String);
  EXPECT_FALSE(unallocated.allocated());
  EXPECT_EQ(ErrorNumber([&] { unallocated.LBound(); }), err::kSubscriptOutOfRange);
  EXPECT_EQ(ErrorNumber([&] { unallocated.UBound(); }), err::kSubscriptOutOfRange);
  EXPECT_EQ(ErrorNumber([&] { unallocated.at(0); }), err::kSubscriptOutOfRange);

  SafeArray a(VarType::Long, 1, {Variant(10), Variant(20), Variant(30)});
  EXPECT_EQ(a.UBound(), 3);
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

TEST(DateTime, NowIsAPlausibleLocalTime) {
  const Date now = Now();
  EXPECT_GT(now.serial, MakeDate(2020, 1, 1).serial);
  EXPECT_LT(now.serial, MakeDate(2200, 1, 1).serial);
}

}  // namespace
}  // namespace zmdb::rt
