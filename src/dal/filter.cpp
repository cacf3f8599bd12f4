// The client-side filter of a recordset. ParseFilter reads the expression once
// into a tree of AND / OR nodes over clauses; each clause holds its column's
// index and a value already converted to the column's kind (a number, a date,
// a Boolean, or upper-cased text), so testing a row does no parsing at all.
//
// Choices the syntax leaves open, as this parser makes them:
//   * LIKE knows only * and % (any run of characters, possibly empty); ? and
//     _ match themselves. There is no escape for a literal * or %.
//   * Text compares by code point after the run time's simple upper-casing
//     (rt::UpperCase), the same that SQL LIKE and UCase use.
//   * A number compared with a text field compares as the digits written in
//     the expression; a #date# compared with a text field as the text between
//     the #s (it must still be a valid date).
//   * Bare TRUE and FALSE are accepted as values besides NULL.
//   * A GUID field compares as text, ignoring case and the surrounding braces.
//   * Only Null is null: an Empty value compares as 0 or "".
//   * A blank expression passes every row.
#include "zmdb/dal/filter.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/text.h"
#include "zmdb/runtime/variant.h"

namespace zmdb::dal {
namespace {

// Parentheses nest at most this deep, so a hostile expression cannot exhaust the stack.
constexpr int kMaxDepth = 256;

// Raise the filter's one error, with a hint of what was wrong after the standard text.
[[noreturn]] void Fail(const std::string& hint) {
  rt::RaiseDetailed(rt::err::kBadArguments, "Filter: " + hint, rt::kRuntimeSource);
}

// ------------------------------------------------------------------ text

// UTF-8 text as case-folded code points, appended to `out` (which is cleared first).
void FoldInto(std::string_view s, std::u32string& out) {
  out.clear();
  for (std::size_t i = 0; i < s.size();) out.push_back(rt::UpperCase(rt::NextCodePoint(s, i)));
}

// Three-way comparison of UTF-8 text, folded as it is read, with folded text.
int CompareFolded(std::string_view text, std::u32string_view folded) {
  std::size_t j = 0;
  for (std::size_t i = 0; i < text.size();) {
    if (j == folded.size()) return 1;
    const char32_t a = rt::UpperCase(rt::NextCodePoint(text, i));
    const char32_t b = folded[j++];
    if (a != b) return a < b ? -1 : 1;
  }
  return j < folded.size() ? -1 : 0;
}

// GUID text without the braces that may surround it.
std::string_view StripBraces(std::string_view s) {
  if (s.size() >= 2 && s.front() == '{' && s.back() == '}') return s.substr(1, s.size() - 2);
  return s;
}

// ------------------------------------------------------------ the pieces

enum class Op { Eq, Ne, Lt, Gt, Le, Ge, Like };

// Whether a three-way comparison result satisfies a comparison operator.
bool Holds(Op op, int c) {
  switch (op) {
    case Op::Eq:
      return c == 0;
    case Op::Ne:
      return c != 0;
    case Op::Lt:
      return c < 0;
    case Op::Gt:
      return c > 0;
    case Op::Le:
      return c <= 0;
    case Op::Ge:
      return c >= 0;
    case Op::Like:
      break;
  }
  return false;
}

// How a column's values compare, from its field type code.
enum class Kind { Numeric, Date, Boolean, Text, Guid };

// The comparison kind of a field type code; codes not listed compare as text.
Kind KindOf(std::int32_t adoType) {
  constexpr std::int32_t kNumeric[] = {2, 3, 4, 5, 6, 14, 16, 17, 18, 19, 20, 21, 131};
  constexpr std::int32_t kDate[] = {7, 133, 134, 135};
  if (std::ranges::find(kNumeric, adoType) != std::end(kNumeric)) return Kind::Numeric;
  if (std::ranges::find(kDate, adoType) != std::end(kDate)) return Kind::Date;
  if (adoType == 11) return Kind::Boolean;
  if (adoType == 72) return Kind::Guid;
  return Kind::Text;
}

// A LIKE pattern, case-folded and cut at its wildcards: the row's text must
// start with the first piece unless the pattern starts with a wildcard, end
// with the last unless it ends with one, and hold the pieces between in order.
struct LikePattern {
  std::vector<std::u32string> pieces;
  bool hasWildcard = false;
  bool anchoredStart = true;
  bool anchoredEnd = true;

  // Compile pattern text; * and % are the wildcards.
  static LikePattern Compile(std::string_view pattern) {
    LikePattern p;
    const std::u32string folded = rt::FoldCase(pattern);
    std::u32string piece;
    for (const char32_t c : folded) {
      if (c == U'*' || c == U'%') {
        p.hasWildcard = true;
        if (!piece.empty()) p.pieces.push_back(std::move(piece));
        piece.clear();
      } else {
        piece.push_back(c);
      }
    }
    if (!piece.empty() || !p.hasWildcard) p.pieces.push_back(std::move(piece));
    if (p.hasWildcard) {
      p.anchoredStart = folded.front() != U'*' && folded.front() != U'%';
      p.anchoredEnd = folded.back() != U'*' && folded.back() != U'%';
    }
    return p;
  }

  // Whether folded text matches. With only any-run wildcards, taking each
  // middle piece at its leftmost place is never worse than a later one.
  bool Matches(std::u32string_view s) const {
    if (!hasWildcard) return s == pieces.front();
    std::size_t lo = 0;
    std::size_t hi = s.size();
    std::size_t first = 0;
    std::size_t last = pieces.size();
    if (anchoredStart) {
      const std::u32string& head = pieces.front();
      if (s.substr(0, head.size()) != head) return false;
      lo = head.size();
      first = 1;
    }
    if (anchoredEnd && last > first) {
      const std::u32string& tail = pieces.back();
      if (hi - lo < tail.size() || s.substr(hi - tail.size()) != tail) return false;
      hi -= tail.size();
      --last;
    }
    for (std::size_t k = first; k < last; ++k) {
      const std::size_t at = s.substr(0, hi).find(pieces[k], lo);
      if (at == std::u32string_view::npos) return false;
      lo = at + pieces[k].size();
    }
    return true;
  }
};

// One "field op value" test, ready to run on rows.
struct Clause {
  enum class Mode {
    IsNull,   // field = NULL
    NotNull,  // field <> NULL
    Value,    // the platform's comparison with a converted value
    Text,     // folded text comparison
    Like,     // LIKE pattern on the value's text
  };
  std::size_t column = 0;
  Op op = Op::Eq;
  Mode mode = Mode::Value;
  bool guid = false;  // text without surrounding braces
  rt::Variant value;
  std::u32string text;
  LikePattern like;

  // Whether the row's value in this clause's column passes. A missing column
  // counts as Null; a value that cannot be compared does not pass.
  bool Test(const std::vector<rt::Variant>& row) const {
    static const rt::Variant kNull = rt::Variant::Null();
    const rt::Variant& v = column < row.size() ? row[column] : kNull;
    if (mode == Mode::IsNull) return v.IsNull();
    if (v.IsNull()) return false;
    switch (mode) {
      case Mode::NotNull:
        return true;
      case Mode::Value:
        try {
          const std::optional<int> c = rt::Compare(v, value);
          return c.has_value() && Holds(op, *c);
        } catch (const rt::PlatformError&) {
          return false;
        }
      case Mode::Text:
        if (v.IsString()) return Holds(op, CompareText(v.AsString()));
        try {
          return Holds(op, CompareText(rt::CStr(v)));
        } catch (const rt::PlatformError&) {
          return false;
        }
      case Mode::Like: {
        thread_local std::u32string folded;
        try {
          FoldInto(v.IsString() ? v.AsString() : rt::CStr(v), folded);
        } catch (const rt::PlatformError&) {
          return false;
        }
        return like.Matches(folded);
      }
      case Mode::IsNull:
        break;
    }
    return false;
  }

  // Three-way comparison of a row's text with the clause's folded text.
  int CompareText(std::string_view s) const {
    return CompareFolded(guid ? StripBraces(s) : s, text);
  }
};

// A node of the expression tree: one clause, or all / any of its children.
struct Node {
  enum class Kind { All, Leaf, And, Or } kind = Kind::All;
  std::size_t clause = 0;
  std::vector<Node> children;
};

// A parsed filter: the clauses and the tree that combines them.
class ParsedFilter final : public Filter {
 public:
  ParsedFilter(std::vector<Clause> clauses, Node root)
      : clauses_(std::move(clauses)), root_(std::move(root)) {}

  // Whether the row passes the whole expression.
  bool Matches(const std::vector<rt::Variant>& row) const override { return Eval(root_, row); }

 private:
  // Evaluate a node, stopping at the first child that decides it.
  bool Eval(const Node& n, const std::vector<rt::Variant>& row) const {
    switch (n.kind) {
      case Node::Kind::All:
        return true;
      case Node::Kind::Leaf:
        return clauses_[n.clause].Test(row);
      case Node::Kind::And:
        for (const Node& c : n.children)
          if (!Eval(c, row)) return false;
        return true;
      case Node::Kind::Or:
        for (const Node& c : n.children)
          if (Eval(c, row)) return true;
        return false;
    }
    return false;
  }

  std::vector<Clause> clauses_;
  Node root_;
};

// ---------------------------------------------------------------- parser

// A value as written in the expression, before it meets its field.
struct Literal {
  enum class Kind { Text, Date, Number, Null, Boolean } kind = Kind::Text;
  std::string text;  // quoted text, the digits of a number, the text inside #...#
  double number = 0.0;
  rt::Date date;
  bool boolean = false;
};

// True for the characters of a bare field name or keyword.
bool IsNameChar(char c) {
  const auto u = static_cast<unsigned char>(c);
  return (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z') || (u >= '0' && u <= '9') || u == '_' ||
         u >= 0x80;
}

// True for the blanks between tokens.
bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// Equality of ASCII words without regard to case.
bool SameWord(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    char x = a[i];
    char y = b[i];
    if (x >= 'a' && x <= 'z') x = static_cast<char>(x - 0x20);
    if (y >= 'a' && y <= 'z') y = static_cast<char>(y - 0x20);
    if (x != y) return false;
  }
  return true;
}

// Recursive descent over the expression text: OR of ANDs of factors, a factor
// being a parenthesised expression or a clause.
class Parser {
 public:
  Parser(std::string_view text, const std::vector<FilterColumn>& columns)
      : s_(text), columns_(columns) {}

  // The whole expression; raises on anything left over.
  std::shared_ptr<const Filter> Run() {
    SkipBlanks();
    if (AtEnd()) return std::make_shared<ParsedFilter>(std::vector<Clause>{}, Node{});
    Node root = ParseOr(0);
    SkipBlanks();
    if (!AtEnd()) {
      if (s_[pos_] == ')') Fail("unmatched ')'" + Where());
      Fail("unexpected text" + Where());
    }
    return std::make_shared<ParsedFilter>(std::move(clauses_), std::move(root));
  }

 private:
  bool AtEnd() const { return pos_ >= s_.size(); }

  // Skip blanks at the current position.
  void SkipBlanks() {
    while (!AtEnd() && IsBlank(s_[pos_])) ++pos_;
  }

  // " at position N" (1-based) for error hints.
  std::string Where() const { return " at position " + std::to_string(pos_ + 1); }

  // The run of name characters at the current position (possibly empty); does not advance.
  std::string_view PeekWord() const {
    std::size_t end = pos_;
    while (end < s_.size() && IsNameChar(s_[end])) ++end;
    return s_.substr(pos_, end - pos_);
  }

  // Consume the keyword if it is the next word; otherwise leave the position alone.
  bool AcceptKeyword(std::string_view keyword) {
    const std::size_t start = pos_;
    SkipBlanks();
    const std::string_view word = PeekWord();
    if (SameWord(word, keyword)) {
      pos_ += word.size();
      return true;
    }
    pos_ = start;
    return false;
  }

  // Children joined by OR (AND binds tighter, so each child is an AND group).
  Node ParseOr(int depth) {
    Node first = ParseAnd(depth);
    if (!AcceptKeyword("OR")) return first;
    Node n{Node::Kind::Or, 0, {}};
    n.children.push_back(std::move(first));
    do {
      n.children.push_back(ParseAnd(depth));
    } while (AcceptKeyword("OR"));
    return n;
  }

  // Factors joined by AND.
  Node ParseAnd(int depth) {
    Node first = ParseFactor(depth);
    if (!AcceptKeyword("AND")) return first;
    Node n{Node::Kind::And, 0, {}};
    n.children.push_back(std::move(first));
    do {
      n.children.push_back(ParseFactor(depth));
    } while (AcceptKeyword("AND"));
    return n;
  }

  // A parenthesised expression or a single clause.
  Node ParseFactor(int depth) {
    SkipBlanks();
    if (!AtEnd() && s_[pos_] == '(') {
      if (depth >= kMaxDepth) Fail("parentheses nested too deeply");
      ++pos_;
      Node inner = ParseOr(depth + 1);
      SkipBlanks();
      if (AtEnd() || s_[pos_] != ')') Fail("missing ')'" + Where());
      ++pos_;
      return inner;
    }
    clauses_.push_back(ParseClause());
    return Node{Node::Kind::Leaf, clauses_.size() - 1, {}};
  }

  // field op value, converted for the field's type.
  Clause ParseClause() {
    const std::size_t column = ReadField();
    const Op op = ReadOp();
    const Literal value = ReadValue();
    return Build(column, op, value);
  }

  // A bare or bracketed field name, resolved to its column index.
  std::size_t ReadField() {
    SkipBlanks();
    std::string_view name;
    if (!AtEnd() && s_[pos_] == '[') {
      const std::size_t close = s_.find(']', pos_ + 1);
      if (close == std::string_view::npos) Fail("missing ']'" + Where());
      name = s_.substr(pos_ + 1, close - pos_ - 1);
      if (name.empty()) Fail("empty field name" + Where());
      pos_ = close + 1;
    } else {
      name = PeekWord();
      if (name.empty()) Fail("expected a field name" + Where());
      pos_ += name.size();
    }
    const std::u32string wanted = rt::FoldCase(name);
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      if (CompareFolded(columns_[i].name, wanted) == 0) return i;
    }
    Fail("unknown field '" + std::string(name) + "'");
  }

  // A comparison operator or LIKE.
  Op ReadOp() {
    SkipBlanks();
    const std::string_view rest = s_.substr(pos_);
    const auto take = [&](std::size_t n, Op op) {
      pos_ += n;
      return op;
    };
    if (rest.starts_with("<>")) return take(2, Op::Ne);
    if (rest.starts_with("<=")) return take(2, Op::Le);
    if (rest.starts_with(">=")) return take(2, Op::Ge);
    if (rest.starts_with("<")) return take(1, Op::Lt);
    if (rest.starts_with(">")) return take(1, Op::Gt);
    if (rest.starts_with("=")) return take(1, Op::Eq);
    const std::string_view word = PeekWord();
    if (SameWord(word, "LIKE")) return take(word.size(), Op::Like);
    if (SameWord(word, "NOT")) Fail("NOT is not supported" + Where());
    Fail("expected a comparison operator" + Where());
  }

  // 'text', #date#, a number, NULL, TRUE or FALSE.
  Literal ReadValue() {
    SkipBlanks();
    if (AtEnd()) Fail("missing value" + Where());
    Literal lit;
    const char c = s_[pos_];
    if (c == '\'') {
      lit.kind = Literal::Kind::Text;
      for (std::size_t i = pos_ + 1;; ++i) {
        if (i >= s_.size()) Fail("missing closing quote" + Where());
        if (s_[i] != '\'') {
          lit.text += s_[i];
        } else if (i + 1 < s_.size() && s_[i + 1] == '\'') {
          lit.text += '\'';
          ++i;
        } else {
          pos_ = i + 1;
          return lit;
        }
      }
    }
    if (c == '#') {
      const std::size_t close = s_.find('#', pos_ + 1);
      if (close == std::string_view::npos) Fail("missing closing '#'" + Where());
      lit.kind = Literal::Kind::Date;
      lit.text = std::string(s_.substr(pos_ + 1, close - pos_ - 1));
      const std::optional<rt::Date> d = ParseDateSafely(lit.text);
      if (!d) Fail("'" + lit.text + "' is not a date" + Where());
      lit.date = *d;
      pos_ = close + 1;
      return lit;
    }
    if ((c >= '0' && c <= '9') || c == '.' || c == '+' || c == '-') return ReadNumber();
    const std::string_view word = PeekWord();
    if (SameWord(word, "NULL")) {
      lit.kind = Literal::Kind::Null;
    } else if (SameWord(word, "TRUE") || SameWord(word, "FALSE")) {
      lit.kind = Literal::Kind::Boolean;
      lit.boolean = SameWord(word, "TRUE");
      lit.text = lit.boolean ? "True" : "False";
    } else {
      Fail("expected a value" + Where());
    }
    pos_ += word.size();
    return lit;
  }

  // A bare number: optional sign, digits with an optional decimal point,
  // optional exponent; it must end at a blank, ')' or the end of the text.
  Literal ReadNumber() {
    const std::size_t start = pos_;
    std::size_t i = pos_;
    const auto digits = [&] {
      const std::size_t from = i;
      while (i < s_.size() && s_[i] >= '0' && s_[i] <= '9') ++i;
      return i - from;
    };
    if (s_[i] == '+' || s_[i] == '-') ++i;
    std::size_t mantissa = digits();
    if (i < s_.size() && s_[i] == '.') {
      ++i;
      mantissa += digits();
    }
    if (mantissa == 0) Fail("malformed number" + Where());
    if (i < s_.size() && (s_[i] == 'e' || s_[i] == 'E')) {
      ++i;
      if (i < s_.size() && (s_[i] == '+' || s_[i] == '-')) ++i;
      if (digits() == 0) Fail("malformed number" + Where());
    }
    if (i < s_.size() && !IsBlank(s_[i]) && s_[i] != ')') Fail("malformed number" + Where());
    Literal lit;
    lit.kind = Literal::Kind::Number;
    lit.text = std::string(s_.substr(start, i - start));
    const std::optional<double> d = rt::ParseNumber(lit.text);
    if (!d) Fail("number out of range" + Where());
    lit.number = *d;
    pos_ = i;
    return lit;
  }

  // ParseDate, with a date outside the calendar's range read as no date.
  static std::optional<rt::Date> ParseDateSafely(std::string_view text) {
    try {
      return rt::ParseDate(text);
    } catch (const rt::PlatformError&) {
      return std::nullopt;
    }
  }

  // The clause for a field, operator and value: the value converted to the
  // field's kind, or an error when it does not convert or the operator does
  // not take it.
  Clause Build(std::size_t column, Op op, const Literal& lit) {
    Clause cl;
    cl.column = column;
    cl.op = op;
    const std::string& field = columns_[column].name;
    const Kind kind = KindOf(columns_[column].adoType);
    if (lit.kind == Literal::Kind::Null) {
      if (op != Op::Eq && op != Op::Ne) Fail("NULL takes only = and <>");
      cl.mode = op == Op::Eq ? Clause::Mode::IsNull : Clause::Mode::NotNull;
      return cl;
    }
    if (op == Op::Like) {
      if (lit.kind != Literal::Kind::Text) Fail("LIKE needs a quoted pattern");
      cl.mode = Clause::Mode::Like;
      cl.like = LikePattern::Compile(lit.text);
      return cl;
    }
    const auto bad = [&]() -> std::string {
      return "value '" + lit.text + "' does not suit field '" + field + "'";
    };
    switch (kind) {
      case Kind::Numeric: {
        double d = lit.number;
        if (lit.kind == Literal::Kind::Text) {
          const std::optional<double> parsed = rt::ParseNumber(lit.text);
          if (!parsed) Fail(bad());
          d = *parsed;
        } else if (lit.kind == Literal::Kind::Date) {
          d = lit.date.serial;
        } else if (lit.kind == Literal::Kind::Boolean) {
          d = lit.boolean ? -1.0 : 0.0;
        }
        cl.value = rt::Variant(d);
        break;
      }
      case Kind::Date: {
        if (lit.kind == Literal::Kind::Boolean) Fail(bad());
        if (lit.kind == Literal::Kind::Text) {
          const std::optional<rt::Date> parsed = ParseDateSafely(lit.text);
          if (!parsed) Fail(bad());
          cl.value = rt::Variant(*parsed);
        } else if (lit.kind == Literal::Kind::Date) {
          cl.value = rt::Variant(lit.date);
        } else {
          try {
            cl.value = rt::Variant(rt::CDate(rt::Variant(lit.number)));
          } catch (const rt::PlatformError&) {
            Fail(bad());
          }
        }
        break;
      }
      case Kind::Boolean: {
        bool b = lit.boolean;
        if (lit.kind == Literal::Kind::Date) Fail(bad());
        if (lit.kind == Literal::Kind::Text) {
          try {
            b = rt::CBool(rt::Variant(lit.text));
          } catch (const rt::PlatformError&) {
            Fail(bad());
          }
        } else if (lit.kind == Literal::Kind::Number) {
          b = lit.number != 0.0;
        }
        cl.value = rt::Variant(b);
        break;
      }
      case Kind::Text:
      case Kind::Guid:
        cl.mode = Clause::Mode::Text;
        cl.guid = kind == Kind::Guid;
        cl.text = rt::FoldCase(cl.guid ? StripBraces(lit.text) : std::string_view(lit.text));
        return cl;
    }
    cl.mode = Clause::Mode::Value;
    return cl;
  }

  std::string_view s_;
  const std::vector<FilterColumn>& columns_;
  std::size_t pos_ = 0;
  std::vector<Clause> clauses_;
};

}  // namespace

// Parse the expression against the columns (see filter.h); a blank expression passes every row.
std::shared_ptr<const Filter> ParseFilter(std::string_view expression,
                                          const std::vector<FilterColumn>& columns) {
  return Parser(expression, columns).Run();
}

}  // namespace zmdb::dal
