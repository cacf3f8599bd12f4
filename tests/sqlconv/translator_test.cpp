// The translator is checked three ways: the statement cases of
// data/translator_cases.txt (one test per case, named by group and line), a
// few tables for the two helpers, and a randomised comparison of the FORMAT/IIF
// pass loop against a literal rescan-everything version of it, which guards the
// loop's incremental bookkeeping.
#include "zmdb/sqlconv/translator.h"

#include <gtest/gtest.h>

#include <cctype>
#include <fstream>
#include <iterator>
#include <optional>
#include <ostream>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "data_rows.h"
#include "zmdb/runtime/error.h"

namespace zmdb::sqlconv {
namespace {

struct Case {
  int line = 0;  // line of the "in:" entry
  std::string group;
  std::string input;
  std::optional<std::string> output;  // expected text, or
  int error = 0;                      // expected run-time error number
};

// Shown by GoogleTest for a failing case instead of the object's bytes.
void PrintTo(const Case& c, std::ostream* os) {
  *os << "line " << c.line << ": " << c.input;
}

// The value after a label: surrounding blanks dropped, unless it is wrapped in
// backticks, which are dropped and keep everything between them.
std::string ValueOf(const std::string& rest) {
  const auto first = rest.find_first_not_of(' ');
  if (first == std::string::npos) return {};
  std::string v = rest.substr(first, rest.find_last_not_of(' ') - first + 1);
  if (v.size() >= 2 && v.front() == '`' && v.back() == '`') return v.substr(1, v.size() - 2);
  return v;
}

// Parses the case file; malformed entries are returned in `problems`.
std::vector<Case> LoadCases(const std::string& path, std::vector<std::string>& problems) {
  std::vector<Case> cases;
  std::ifstream in(path);
  if (!in) problems.push_back("cannot open " + path);
  std::string line, group = "ungrouped";
  std::optional<Case> open;
  for (int n = 1; std::getline(in, line); ++n) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.rfind("# group:", 0) == 0) {
      group = ValueOf(line.substr(8));
    } else if (line.empty() || line[0] == '#') {
      continue;
    } else if (line.rfind("in:", 0) == 0) {
      if (open) problems.push_back("line " + std::to_string(open->line) + ": no out: or error:");
      open = Case{n, group, ValueOf(line.substr(3)), std::nullopt, 0};
    } else if (open && line.rfind("out:", 0) == 0) {
      open->output = ValueOf(line.substr(4));
      cases.push_back(*std::exchange(open, std::nullopt));
    } else if (open && line.rfind("error:", 0) == 0) {
      open->error = std::stoi(ValueOf(line.substr(6)));
      cases.push_back(*std::exchange(open, std::nullopt));
    } else {
      problems.push_back("line " + std::to_string(n) + ": unexpected '" + line + "'");
    }
  }
  if (open) problems.push_back("line " + std::to_string(open->line) + ": no out: or error:");
  return cases;
}

const std::string kCaseFile = std::string(ZMDB_TEST_DATA) + "/translator_cases.txt";

// Every case of the file, for the parameterised test (problems are reported by
// TranslatorCaseFile.IsWellFormed).
std::vector<Case> AllCases() {
  std::vector<std::string> ignored;
  return LoadCases(kCaseFile, ignored);
}

TEST(TranslatorCaseFile, IsWellFormed) {
  std::vector<std::string> problems;
  const auto cases = LoadCases(kCaseFile, problems);
  EXPECT_TRUE(problems.empty()) << ::testing::PrintToString(problems);
  EXPECT_GE(cases.size(), 100u);
}

class TranslatorCase : public ::testing::TestWithParam<Case> {};

TEST_P(TranslatorCase, Translates) {
  const Case& c = GetParam();
  SCOPED_TRACE(kCaseFile + ":" + std::to_string(c.line));
  try {
    const std::string got = TranslateJetToSql(c.input);
    if (c.output) {
      EXPECT_EQ(got, *c.output);
    } else {
      ADD_FAILURE() << "expected error " << c.error << ", got \"" << got << "\"";
    }
  } catch (const rt::PlatformError& e) {
    EXPECT_FALSE(c.output) << "unexpected error " << e.number();
    EXPECT_EQ(e.number(), c.error);
  }
}

INSTANTIATE_TEST_SUITE_P(File, TranslatorCase, ::testing::ValuesIn(AllCases()),
                         [](const ::testing::TestParamInfo<Case>& param_info) {
                           std::string name;
                           for (char ch : param_info.param.group) {
                             name += std::isalnum(static_cast<unsigned char>(ch)) ? ch : '_';
                           }
                           return name + "_L" + std::to_string(param_info.param.line);
                         });

TEST(MaskQuotes, BlanksEveryLiteralAndKeepsTheLength) {
  const struct {
    const char* in;
    const char* out;
  } kCases[] = {
      {"", ""},
      {"A'B'C", "A   C"},
      {"'X'", "   "},
      {"A''B''C", "A  B  C"},
      {"'IT''S'", "       "},
      {"'A,B'(,)", "     (,)"},
      {"A'B,C", "A    "},  // an unclosed literal runs to the end
  };
  for (const auto& c : kCases) EXPECT_EQ(MaskQuotes(c.in), c.out) << c.in;
}

// The cases of data/wildcard_cases.txt.
TEST(WildcardReplace, CasesOfTheDataFile) {
  const auto cases = zmdb::testing::DataRows("wildcard_cases.txt");
  ASSERT_GE(cases.size(), 12u);
  for (auto c : cases) {
    ASSERT_EQ(c.size(), 4u) << c[0];
    for (std::string& cell : c) {
      if (cell == "(empty)") cell.clear();
    }
    EXPECT_EQ(WildcardReplace(c[0], c[1], c[2]), c[3]) << c[0] << " / " << c[1];
  }
}

TEST(FindOccurrences, ReportsOneBasedStartAndCapture) {
  const auto found = FindOccurrences("XVAL(A)VAL(BC)VAL(", "VAL(", ")");
  ASSERT_EQ(found.size(), 2u);
  EXPECT_EQ(found[0].start, 6u);
  EXPECT_EQ(found[0].captured, "A");
  EXPECT_EQ(found[1].start, 12u);
  EXPECT_EQ(found[1].captured, "BC");
}

// `s` without leading and trailing blanks.
std::string Trimmed(const std::string& s) {
  const auto a = s.find_first_not_of(' ');
  return a == std::string::npos ? "" : s.substr(a, s.find_last_not_of(' ') - a + 1);
}

// The FORMAT/IIF loop done literally: every pass searches and masks the whole
// statement again. Knows two styles only (YYMMDD, YY-MM-DD HH:NN:SS). Stops
// when a pass changes nothing, or gives up (nullopt) after `max_passes` or once
// the text reaches `max_length`. Throws error 5 where the translator raises it.
std::optional<std::string> LiteralPasses(std::string s, int max_passes = 300,
                                         std::size_t max_length = 20000) {
  const auto npos = std::string::npos;
  for (int pass = 0; pass < max_passes && s.size() < max_length; ++pass) {
    const std::string before = s;
    if (const auto p = s.find("FORMAT("); p != npos) {
      const auto q = s.find(',', p);
      if (q == npos) throw rt::PlatformError(5, "");
      const std::string expr = Trimmed(s.substr(p + 7, q - p - 7));
      const auto r1 = s.find('\'', p + 7 + expr.size());
      const auto r2 = r1 == npos ? npos : s.find('\'', r1 + 1);
      if (r2 == npos) throw rt::PlatformError(5, "");
      const std::string fmt = Trimmed(s.substr(r1 + 1, r2 - r1 - 1));
      const auto c = s.find(')', r1);
      if (c == npos) throw rt::PlatformError(5, "");
      const std::string style = fmt == "YYMMDD" ? "12" : fmt == "YY-MM-DD HH:NN:SS" ? "20" : "";
      const std::string mid = !style.empty() ? "CONVERT(VARCHAR," + expr + "," + style + ")"
                                             : "SUBSTRING('" + fmt + "',1,LEN('" + fmt + "')-LEN(" +
                                                   expr + ")) + " + expr;
      s = s.substr(0, p) + mid + s.substr(c + 1);
    }
    const std::string m = MaskQuotes(s);
    if (const auto p = m.find("IIF("); p != npos) {
      const auto c1 = m.find(',', p);
      const auto c2 = c1 == npos ? npos : m.find(',', c1 + 1);
      const auto c3 = c2 == npos ? npos : m.find(')', c2 + 1);
      if (c3 != npos) {
        const auto first = s.find("IIF(");
        s = s.substr(0, first) + "(CASE WHEN " + s.substr(p + 4, c1 - p - 4) + " THEN " +
            s.substr(c1 + 1, c2 - c1 - 1) + " ELSE " + s.substr(c2 + 1, c3 - c2 - 1) + " END)" +
            s.substr(c3 + 1);
      }
    }
    if (s == before) return s;
  }
  return std::nullopt;
}

// The pass's texts: the default choice and each text on its own.
constexpr PassText kPassTexts[] = {PassText::kAuto, PassText::kBuffer, PassText::kTree};

// The error number TranslateJetToSql raises for `s` with pass text `text`, or 0.
int ErrorOf(const std::string& s, PassText text) {
  try {
    TranslateJetToSql(s, text);
    return 0;
  } catch (const rt::PlatformError& e) {
    return e.number();
  }
}

// Checks TranslateJetToSql(s) with every pass text against the literal loop:
// the same text, error 5 where the loop raises it, error 7 where it gives up.
// Returns whether the translation changed the statement.
bool MatchesLiteral(const std::string& s, int max_passes, std::size_t max_length) {
  std::optional<std::string> expected;
  try {
    expected = LiteralPasses(s, max_passes, max_length);
  } catch (const rt::PlatformError&) {
    for (const PassText text : kPassTexts) EXPECT_EQ(ErrorOf(s, text), 5) << s;
    return false;
  }
  if (!expected) {
    for (const PassText text : kPassTexts) EXPECT_EQ(ErrorOf(s, text), 7) << s;
    return false;
  }
  for (const PassText text : kPassTexts) {
    try {
      EXPECT_EQ(TranslateJetToSql(s, text), *expected) << s;
    } catch (const rt::PlatformError& e) {
      ADD_FAILURE() << "error " << e.number() << " for " << s;
    }
  }
  return *expected != s;
}

// Random statements built from whole and broken IIF/FORMAT calls, literals and
// loose delimiters. They are already upper-case and hold none of "#;&", "MID",
// "VAL(" or a leading DELETE, so the translator's earlier steps leave them as
// they are. Statements the literal loop grows without end must raise error 7.
TEST(TranslatorPassLoop, MatchesLiteralRescanOnRandomStatements) {
  const char* const kTokens[] = {"IIF(A,'Y,',B)",
                                 "FORMAT(D,'YYMMDD')",
                                 "FORMAT(N,'0')",
                                 "'IIF('",
                                 "IIF(",
                                 "FORMAT(",
                                 "IIF",
                                 "FORMAT",
                                 ",",
                                 ",",
                                 ")",
                                 "(",
                                 "'",
                                 " ",
                                 "A",
                                 "YY-MM-DD HH:NN:SS"};
  std::mt19937 rng(20040830);
  std::uniform_int_distribution<std::size_t> pick(0, std::size(kTokens) - 1);
  std::uniform_int_distribution<int> length(0, 16);
  int rewritten = 0;
  for (int i = 0; i < 6000; ++i) {
    std::string s;
    for (int n = length(rng); n > 0; --n) s += kTokens[pick(rng)];
    rewritten += MatchesLiteral(s, 300, 20000);
  }
  EXPECT_GT(rewritten, 2000);
}

// Long statements exercise the text tree across many splices.
TEST(TranslatorPassLoop, MatchesLiteralRescanOnLongStatement) {
  std::string s = "SELECT ";
  for (int i = 0; i < 150; ++i) {
    s += i % 3 ? "IIF(A,'Y,','(N'),FORMAT(D,'YYMMDD')," : "'IIF(',FORMAT(X,'000'),IIF(B,1,2),";
  }
  s += "X FROM T";
  EXPECT_EQ(TranslateJetToSql(s), LiteralPasses(s, 100000, 1u << 24));
}

// A random argument list or call of nesting depth at most `depth`: whole and
// broken IIF/FORMAT calls nested in any argument, literals holding delimiters,
// loose commas and parentheses.
std::string RandomNested(std::mt19937& rng, int depth) {
  const auto roll = [&rng](int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng); };
  const char* const kLeaves[] = {"A", "1", "' , ) '", "'IIF('", " ", "", "B C", "'"};
  if (depth == 0 || roll(4) == 0) return kLeaves[roll(static_cast<int>(std::size(kLeaves)))];
  const auto arg = [&] { return RandomNested(rng, depth - 1); };
  switch (roll(7)) {
    case 0:
    case 1:
    case 2:
      return "IIF(" + arg() + "," + arg() + "," + arg() + ")";
    case 3:
      return "IIF(" + arg() + (roll(2) ? "," : ")") + arg();  // broken
    case 4:
      return "FORMAT(" + arg() + ",'" + (roll(2) ? "YYMMDD" : "00") + "')";
    case 5:
      return "(" + arg() + ")," + arg();
    default:
      return arg() + " " + arg();
  }
}

// Nesting of every kind, including malformed calls, against the literal loop.
TEST(TranslatorPassLoop, MatchesLiteralRescanOnNestedStatements) {
  std::mt19937 rng(19991231);
  int rewritten = 0;
  for (int i = 0; i < 4000; ++i) {
    const std::string s = "SELECT " + RandomNested(rng, 1 + i % 6) + " FROM T";
    // As many passes as it takes, up to the translator's own size limit.
    rewritten += MatchesLiteral(s, 1 << 20, s.size() * 16 + (64 << 10) + 1);
  }
  EXPECT_GT(rewritten, 1500);
}

// The default pass starts in the buffer and moves to the tree once the
// buffer's work outgrows the statement; nesting a few hundred levels deep
// crosses that point part way through. Every text gives the same result on
// both sides of it, for nesting in each argument and in FORMAT.
TEST(TranslatorPassLoop, BufferAndTreeAgreeWhereTheDefaultSwitches) {
  const struct {
    const char *open, *middle, *close;
  } kShapes[] = {
      {"IIF(", "A", ",'X,)',2)"},
      {"IIF(A,'1',", "2", ")"},
      {"IIF(A,", "1", ",2)"},
      {"FORMAT(", "D", ",'YYMMDD')"},
      {"IIF(FORMAT(", "D", ",'YYMMDD'),1,2)"},
  };
  for (const auto& shape : kShapes) {
    for (const std::size_t depth : {100u, 300u, 400u, 600u}) {
      std::string s = "SELECT ";
      for (std::size_t i = 0; i < depth; ++i) s += shape.open;
      s += shape.middle;
      for (std::size_t i = 0; i < depth; ++i) s += shape.close;
      const std::string tree = TranslateJetToSql(s, PassText::kTree);
      EXPECT_EQ(TranslateJetToSql(s, PassText::kBuffer), tree) << shape.open << depth;
      EXPECT_EQ(TranslateJetToSql(s), tree) << shape.open << depth;
    }
  }
}

// `s` repeated n times.
std::string Times(const std::string& s, std::size_t n) {
  std::string out;
  out.reserve(s.size() * n);
  for (std::size_t i = 0; i < n; ++i) out += s;
  return out;
}

// Deep nesting has a closed form: in the condition every level becomes a CASE
// around the rest; in the false part each pass cuts at the ")" of the END the
// previous one wrote, so the ENDs pile up before the closing parentheses. At
// these depths a pass that copied its arguments would take minutes.
TEST(TranslatorPassLoop, DeepNestingTranslatesInOnePassPerLevel) {
  const std::size_t n = 50000;
  EXPECT_EQ(
      TranslateJetToSql("SELECT " + Times("IIF(", n) + "A" + Times(",1,2)", n) + " FROM T"),
      "SELECT " + Times("(CASE WHEN ", n) + "A" + Times(" THEN 1 ELSE 2 END)", n) + " FROM T");
  EXPECT_EQ(TranslateJetToSql("SELECT " + Times("IIF(A,1,", n) + "2" + Times(")", n) + " FROM T"),
            "SELECT " + Times("(CASE WHEN A THEN 1 ELSE ", n) + "2" + Times(" END", n) + ")" +
                Times(")", n - 1) + " FROM T");
  EXPECT_EQ(TranslateJetToSql("SELECT " + Times("FORMAT(", n) + "D" + Times(",'YYMMDD')", n)),
            "SELECT " + Times("CONVERT(VARCHAR,", n) + "D,12)");
}

// A format holding FORMAT( grows the statement by a few characters per pass
// until the growth bound refuses it, some thousands of passes. Each pass must
// cost about what it changes: work that rescans the growing statement per pass
// is hundreds of times the bound.
TEST(TranslatorPassLoop, GrowingFormatIsRefusedAtCostLinearInTheBound) {
  const char* const kStatements[] = {
      "SELECT FORMAT(A,'FORMAT(B') FROM T",
      "SELECT FORMAT(A,'FORMAT(B') FROM T WHERE IIF(X,1,2)=1",
      "SELECT FORMAT(A,'FORMAT(IIF(') FROM T",
      "SELECT FORMAT(A,'FORMAT(B') FROM T WHERE 'IIF(X'=1",
  };
  for (const std::string s : kStatements) {
    const std::size_t bound = s.size() * 16 + (64 << 10);
    for (const PassText text : {PassText::kAuto, PassText::kBuffer, PassText::kTree}) {
      PassCost cost;
      try {
        TranslateJetToSql(s, text, cost);
        ADD_FAILURE() << "no error for " << s;
      } catch (const rt::PlatformError& e) {
        EXPECT_EQ(e.number(), 7) << s;
      }
      EXPECT_GT(cost.passes, bound / 64) << s;  // it did grow to the bound
      EXPECT_LT(cost.work, bound * 64) << s << " / " << static_cast<int>(text);
    }
  }
}

}  // namespace
}  // namespace zmdb::sqlconv
