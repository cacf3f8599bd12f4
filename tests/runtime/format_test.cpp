#include "zmdb/runtime/format.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "zmdb/runtime/datetime.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/object.h"

namespace zmdb::rt {
namespace {

struct FormatCase {
  Variant value;
  const char* pattern;
  const char* want;
};

// Runs a table of Format cases, naming the failing row.
void RunCases(const std::vector<FormatCase>& cases) {
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const FormatCase& c = cases[i];
    std::string got;
    try {
      got = Format(c.value, c.pattern);
    } catch (const PlatformError& e) {
      got = "<error " + std::to_string(e.number()) + ">";
    }
    EXPECT_EQ(got, c.want) << "row " << i << ", pattern \"" << c.pattern << "\"";
  }
}

// A control whose default member is its text.
class FakeTextBox : public Object {
 public:
  explicit FakeTextBox(Variant text) : text_(std::move(text)) {}
  std::string TypeName() const override { return "TextBox"; }
  Variant DefaultValue() override { return text_; }

 private:
  Variant text_;
};

const Date kSample = MakeDate(2004, 8, 30, 13, 5, 9);  // a Monday afternoon
const Date kMidnight = MakeDate(2004, 8, 30);

TEST(Format, NumberPatterns) {
  RunCases({
      {Variant("0"), "00000000", "00000000"},
      {Variant(57), "000000", "000057"},
      {Variant(std::string("12")), "000000", "000012"},
      {Variant(-57), "000000", "-000057"},
      {Variant(1234567), "000", "1234567"},
      {Variant(1234.5), "#,##0.00", "1,234.50"},
      {Variant(1234567), "#,##0", "1,234,567"},
      {Variant(-1234567.891), "#,##0.00", "-1,234,567.89"},
      {Variant(123), "#,##0", "123"},
      {Variant(0), "#,##0", "0"},
      {Variant(0), "#", ""},
      {Variant(0.5), "#,##0.00", "0.50"},
      {Variant(0.5), "#.00", ".50"},
      {Variant(5), "#.##", "5."},
      {Variant(5.1), "0.##", "5.1"},
      {Variant(0.256), "0.0%", "25.6%"},
      {Variant(0.5), "0%", "50%"},
      {Variant(2.5), "0", "3"},
      {Variant(-2.5), "0", "-3"},
      {Variant(0.125), "0.00", "0.13"},
      {Variant(2.675), "0.00", "2.68"},
      {Variant(9.995), "0.00", "10.00"},
      {Variant(-0.001), "0.00", "0.00"},
      {Variant(12345), "00-000", "12-345"},
      {Variant(5), "#0#", "05"},
      {Variant(1234567), "#,##0,", "1,235"},
      {Variant(12.5), ".00", "12.50"},
      {Variant(42), "\"No. \"0", "No. 42"},
      {Variant(42), "\\#0", "#42"},
      {Variant(-5), "$0", "-$5"},
      {Variant(1234.5), "0.00;(0.00)", "1234.50"},
      {Variant(-1234.5), "0.00;(0.00)", "(1234.50)"},
      {Variant(0), "0.00;(0.00);\"zero\"", "zero"},
      {Variant(12345), "0.00E+00", "1.23E+04"},
      {Variant(0.000123), "0.00E+00", "1.23E-04"},
      {Variant(9.999), "0.00E+00", "1.00E+01"},
      {Variant(0), "0.00E+00", "0.00E+00"},
      {Variant(12345), "0.00e-00", "1.23e04"},
      {Variant(-12345), "0.0E+0", "-1.2E+4"},
      {Variant(Currency{12345}), "0.000", "1.235"},
      {Variant(Currency{std::numeric_limits<std::int64_t>::max()}), "#,##0.0000",
       "922,337,203,685,477.5807"},
      {Variant(0.1f), "0.00", "0.10"},
      {Variant(true), "0", "-1"},
      {Variant(), "0.0", "0.0"},
      {Variant(Date{38229.5}), "0.00", "38229.50"},
      {Variant("abc"), "000", "abc"},
      {Variant("2004-08-30"), "0", "2004-08-30"},
      {Variant::Null(), "0", ""},
  });
}

TEST(Format, DatePatterns) {
  RunCases({
      {Variant(kSample), "yyyy/mm/dd", "2004/08/30"},
      {Variant(kSample), "yy-mm-dd hh:nn:ss", "04-08-30 13:05:09"},
      {Variant(kSample), "d-m-yyyy", "30-8-2004"},
      {Variant(kSample), "mmm", "Aug"},
      {Variant(kSample), "mmmm", "August"},
      {Variant(kSample), "ddd", "Mon"},
      {Variant(kSample), "dddd", "Monday"},
      {Variant(kSample), "hh:mm:ss", "13:05:09"},
      {Variant(kSample), "mm:ss", "05:09"},
      {Variant(kSample), "h:mm AM/PM", "1:05 PM"},
      {Variant(kSample), "hh:nn am/pm", "01:05 pm"},
      {Variant(kSample), "h A/P", "1 P"},
      {Variant(kMidnight), "h:nn AM/PM", "12:00 AM"},
      {Variant(kMidnight), "hh:nn", "00:00"},
      {Variant(kSample), "YYYY-MM-DD", "2004-08-30"},
      {Variant(kSample), "yyyy \"Q\"q", "2004 Q3"},
      {Variant(kSample), "q", "3"},
      {Variant(kSample), "y", "243"},
      {Variant(kSample), "w", "2"},
      {Variant(kSample), "ww", "36"},
      {Variant(kSample), "\"Date: \"yyyy", "Date: 2004"},
      {Variant(kSample), "dd\\d", "30d"},
      {Variant("2004-08-30"), "dd.mm.yyyy", "30.08.2004"},
      {Variant("8/30/2004 1:05 PM"), "yyyy-mm-dd hh:nn", "2004-08-30 13:05"},
      {Variant("36526"), "yyyy-mm-dd", "2000-01-01"},
      {Variant(36526), "yyyy-mm-dd", "2000-01-01"},
      {Variant("hello"), "yyyy", "hello"},
      {Variant(Date{-1.25}), "yyyy-mm-dd hh:nn", "1899-12-29 06:00"},
      {Variant::Null(), "yyyy", ""},
  });
}

TEST(Format, NamedFormats) {
  RunCases({
      {Variant(kSample), "Short Date", "2004-08-30"},
      {Variant(kSample), "short date", "2004-08-30"},
      {Variant(kSample), "LONG TIME", "13:05:09"},
      {Variant(kSample), "Long Date", "2004-08-30 Monday"},
      {Variant(kSample), "Medium Date", "30-Aug-04"},
      {Variant(kSample), "Medium Time", "01:05 PM"},
      {Variant(kSample), "Short Time", "13:05"},
      {Variant(kSample), "General Date", "2004-08-30 13:05:09"},
      {Variant(kMidnight), "General Date", "2004-08-30"},
      {Variant("2004-08-30"), "General Date", "2004-08-30"},
      {Variant("soon"), "General Date", "soon"},
      {Variant(1234.5), "Standard", "1,234.50"},
      {Variant(1234.5), "Currency", "1,234.50"},
      {Variant(3.14159), "Fixed", "3.14"},
      {Variant(0.5), "Percent", "50.00%"},
      {Variant(1234.5), "Scientific", "1.23E+03"},
      {Variant(1234.5), "General Number", "1234.5"},
      {Variant("12.50"), "General Number", "12.5"},
      {Variant("abc"), "General Number", "abc"},
      {Variant(0), "Yes/No", "No"},
      {Variant(5), "Yes/No", "Yes"},
      {Variant(true), "yes/no", "Yes"},
      {Variant(0), "On/Off", "Off"},
      {Variant(-1), "TRUE/FALSE", "True"},
      {Variant("maybe"), "Yes/No", "maybe"},
  });
}

TEST(Format, EmptyPatternAndObjects) {
  RunCases({
      {Variant(1.5), "", "1.5"},
      {Variant(kSample), "", "2004-08-30 13:05:09"},
      {Variant(true), "", "True"},
      {Variant::Null(), "", ""},
      {Variant(ObjectRef(std::make_shared<FakeTextBox>(Variant("7")))), "000", "007"},
      {Variant(ObjectRef{}), "0", "<error 91>"},
      {Variant(SafeArray(VarType::Long, 0, {Variant(1)})), "0", "<error 13>"},
  });
}

}  // namespace
}  // namespace zmdb::rt
