// Jet SQL to SQLite SQL.
//
// A statement is first cut into tokens: '...' and "..." literals (both become
// '...' literals), [bracketed names], #date# literals (which become canonical
// date text), comments (dropped), numbers, words and operators. The tokens are
// then nested by parentheses, so that every rewrite below sees one level of
// an expression or a subquery at a time and can recurse into the rest:
//   1. single words: True/False, DISTINCTROW, Mod, Fn$(...)
//   2. make-table queries (SELECT ... INTO t FROM ...)
//   3. TOP n [PERCENT], at every level
//   4. & concatenation, at every level
//   5. the statement kind: DELETE, CREATE TABLE, CREATE INDEX, ALTER TABLE,
//      DROP INDEX, whose Jet forms differ from SQLite's.
// Nothing inside a literal, a name or a comment is ever looked at by a rewrite.
#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "coltypes_p.h"
#include "jetsql_p.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/datetime.h"
#include "zmdb/runtime/error.h"

namespace zmdb::dal::sqlite {
namespace {

// A syntax error found while rewriting; RewriteJet adds the statement text.
struct Fault {
  std::string what;
};

// Abandons the rewrite with a syntax error described by `what`.
[[noreturn]] void Fail(std::string what) {
  throw Fault{std::move(what)};
}

// ------------------------------------------------------------------ tokens

enum class Kind { Word, Number, String, Name, Op, Group };

// One token, or a parenthesised group of them. `lead` holds the blanks that
// came before the token in the statement, so the output keeps its layout.
struct Node {
  Kind kind = Kind::Op;
  std::string text;        // String: a '...' literal; Name: with its brackets
  std::string lead;        // blanks before the token (or before "(")
  std::vector<Node> kids;  // Group: the tokens between the parentheses
  std::string closeLead;   // Group: blanks before ")"
};
using Nodes = std::vector<Node>;

// True for an ASCII letter, "_" or any byte of a multi-byte UTF-8 character.
bool IsIdentStart(char c) {
  const auto u = static_cast<unsigned char>(c);
  return std::isalpha(u) || c == '_' || u >= 0x80;
}

// True for a character that may continue a word ("$" ends names like Mid$).
bool IsIdentChar(char c) {
  return IsIdentStart(c) || std::isdigit(static_cast<unsigned char>(c)) || c == '$';
}

// True for an ASCII digit.
bool IsDigit(char c) {
  return std::isdigit(static_cast<unsigned char>(c)) != 0;
}

// True when `text` equals `upper` (given in upper case) in any case.
bool EqualsUpper(std::string_view text, std::string_view upper) {
  if (text.size() != upper.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (std::toupper(static_cast<unsigned char>(text[i])) != upper[i]) return false;
  }
  return true;
}

// True when the node is the word `upper` (given in upper case), in any case.
bool IsWord(const Node& n, std::string_view upper) {
  return n.kind == Kind::Word && EqualsUpper(n.text, upper);
}

// IsWord for the node at `i`, false past the end.
bool IsWordAt(const Nodes& v, std::size_t i, std::string_view upper) {
  return i < v.size() && IsWord(v[i], upper);
}

// True when the node is the operator `op`.
bool IsOp(const Node& n, std::string_view op) {
  return n.kind == Kind::Op && n.text == op;
}

// True for a word or a [bracketed] name: something that can name an object.
bool IsNameNode(const Node& n) {
  return n.kind == Kind::Word || n.kind == Kind::Name;
}

// A token built by a rewrite.
Node Make(Kind kind, std::string text, std::string lead = " ") {
  Node n;
  n.kind = kind;
  n.text = std::move(text);
  n.lead = std::move(lead);
  return n;
}

// A group built by a rewrite.
Node MakeGroup(Nodes kids, std::string lead = " ") {
  Node g = Make(Kind::Group, {}, std::move(lead));
  g.kids = std::move(kids);
  return g;
}

// The name a Word or a [Name] token stands for, without brackets.
std::string BareName(const Node& n) {
  if (n.kind == Kind::Name && n.text.size() >= 2) return n.text.substr(1, n.text.size() - 2);
  return n.text;
}

// A day written "m/d/yy" with a two-digit year, given the Jet century window
// (00-29 are 2000-2029, 30-99 are 1930-1999); the text unchanged otherwise.
std::string ExpandShortYear(std::string_view text) {
  std::size_t i = 0;
  int slashes = 0;
  while (i < text.size() && (IsDigit(text[i]) || text[i] == '/')) {
    if (text[i] == '/') ++slashes;
    ++i;
  }
  const std::size_t firstSlash = text.find('/');
  const std::size_t yearStart = text.rfind('/', i == 0 ? 0 : i - 1) + 1;
  if (slashes != 2 || firstSlash > 2 || i - yearStart != 2) return std::string(text);
  const int yy = (text[yearStart] - '0') * 10 + (text[yearStart + 1] - '0');
  return fmt::format("{}{}{}", text.substr(0, yearStart), yy < 30 ? 2000 + yy : 1900 + yy,
                     text.substr(i));
}

// The canonical text literal of the date literal #body#: 'yyyy-mm-dd hh:nn:ss',
// always with its time so that dates compare and sort as text.
std::string DateLiteral(std::string_view body) {
  const std::string text = ExpandShortYear(body);
  std::optional<rt::Date> date;
  try {
    date = rt::ParseDate(text);
  } catch (const rt::PlatformError&) {
    date.reset();  // parts out of range
  }
  if (!date) Fail(fmt::format("invalid date literal #{}#", body));
  const rt::DateParts p = rt::SplitDate(*date);
  return fmt::format("'{:04}-{:02}-{:02} {:02}:{:02}:{:02}'", p.year, p.month, p.day, p.hour,
                     p.minute, p.second);
}

// The body of a literal opened by `quote` at s[i], with doubled quotes undone;
// `i` moves past the closing quote. Fails when the literal does not end.
std::string QuotedBody(std::string_view s, std::size_t& i, char quote) {
  std::string body;
  for (std::size_t j = i + 1;; ++j) {
    if (j >= s.size()) Fail("unterminated text literal");
    if (s[j] == quote) {
      if (j + 1 < s.size() && s[j + 1] == quote) {
        body += quote;
        ++j;
        continue;
      }
      i = j + 1;
      return body;
    }
    body += s[j];
  }
}

// The position of `close` after s[i], or a failure naming `what` when missing.
std::size_t Closing(std::string_view s, std::size_t i, std::string_view close,
                    std::string_view what) {
  const std::size_t end = s.find(close, i + 1);
  if (end == std::string_view::npos) Fail(fmt::format("unterminated {}", what));
  return end;
}

// Cuts a statement into flat tokens ("(" and ")" are operators here).
Nodes Tokenize(std::string_view s) {
  static constexpr std::string_view kTwoCharOps[] = {
      "<>", "<=", ">=", "!=", "==", "||", "<<", ">>"};
  Nodes out;
  std::string lead;
  // Adds a token that takes the blanks gathered since the previous one.
  const auto push = [&out, &lead](Kind kind, std::string text) {
    out.push_back(Make(kind, std::move(text), std::exchange(lead, {})));
  };
  std::size_t i = 0;
  while (i < s.size()) {
    const char c = s[i];
    const char next = i + 1 < s.size() ? s[i + 1] : '\0';
    if (std::isspace(static_cast<unsigned char>(c))) {
      lead += c;
      ++i;
    } else if (c == '-' && next == '-') {
      const std::size_t eol = s.find('\n', i);
      i = eol == std::string_view::npos ? s.size() : eol;
      lead += ' ';
    } else if (c == '/' && next == '*') {
      i = Closing(s, i + 1, "*/", "comment") + 2;
      lead += ' ';
    } else if (c == '\'' || c == '"') {
      push(Kind::String, SqlLiteral(QuotedBody(s, i, c)));
    } else if (c == '[' || c == '`') {
      const std::size_t end = Closing(s, i, c == '[' ? "]" : "`", "name");
      push(Kind::Name, std::string(s.substr(i, end - i + 1)));
      i = end + 1;
    } else if (c == '#') {
      const std::size_t end = Closing(s, i, "#", "date literal");
      push(Kind::String, DateLiteral(s.substr(i + 1, end - i - 1)));
      i = end + 1;
    } else if (IsDigit(c) || (c == '.' && IsDigit(next))) {
      std::size_t j = i;
      while (j < s.size() && IsDigit(s[j])) ++j;
      if (j < s.size() && s[j] == '.') {
        ++j;
        while (j < s.size() && IsDigit(s[j])) ++j;
      }
      if (j < s.size() && (s[j] == 'e' || s[j] == 'E')) {
        std::size_t k = j + 1;
        if (k < s.size() && (s[k] == '+' || s[k] == '-')) ++k;
        if (k < s.size() && IsDigit(s[k])) {
          j = k;
          while (j < s.size() && IsDigit(s[j])) ++j;
        }
      }
      push(Kind::Number, std::string(s.substr(i, j - i)));
      i = j;
    } else if (IsIdentStart(c)) {
      std::size_t j = i;
      while (j < s.size() && IsIdentChar(s[j])) ++j;
      push(Kind::Word, std::string(s.substr(i, j - i)));
      i = j;
    } else {
      std::size_t len = 1;
      for (std::string_view op : kTwoCharOps) {
        if (s.substr(i, 2) == op) len = 2;
      }
      push(Kind::Op, std::string(s.substr(i, len)));
      i += len;
    }
  }
  return out;
}

// Parentheses nest at most this deep: the rewrites recurse once per level,
// so a hostile statement cannot exhaust the stack. SQLite's own parser gives
// up well before this.
constexpr std::size_t kMaxNesting = 256;

// Nests flat tokens by parentheses; fails when they do not balance or nest
// deeper than kMaxNesting.
Nodes Nest(Nodes flat) {
  std::vector<Nodes> levels(1);
  Nodes opens;
  for (Node& t : flat) {
    if (IsOp(t, "(")) {
      if (opens.size() == kMaxNesting) Fail("parentheses nested too deeply");
      opens.push_back(MakeGroup({}, t.lead));
      levels.emplace_back();
    } else if (IsOp(t, ")")) {
      if (opens.empty()) Fail("unbalanced parentheses");
      Node g = std::move(opens.back());
      opens.pop_back();
      g.kids = std::move(levels.back());
      levels.pop_back();
      g.closeLead = t.lead;
      levels.back().push_back(std::move(g));
    } else {
      levels.back().push_back(std::move(t));
    }
  }
  if (!opens.empty()) Fail("unbalanced parentheses");
  return std::move(levels.front());
}

// Tokens of a piece of SQL the rewriter writes itself.
Nodes Snippet(std::string_view sql) {
  return Nest(Tokenize(sql));
}

// Appends a token with its blanks; where a rewrite put two tokens together
// that would run into one (two words, "-" "-", "/" "*") a blank separates them.
void Append(std::string& out, const std::string& lead, std::string_view text) {
  if (lead.empty() && !out.empty() && !text.empty()) {
    const char a = out.back();
    const char b = text.front();
    if ((IsIdentChar(a) && IsIdentChar(b)) || (a == '-' && b == '-') || (a == '/' && b == '*')) {
      out += ' ';
    }
  }
  out += lead;
  out += text;
}

// Appends the tokens of a level, groups with their parentheses.
void RenderTo(std::string& out, const Nodes& v) {
  for (const Node& n : v) {
    if (n.kind == Kind::Group) {
      Append(out, n.lead, "(");
      RenderTo(out, n.kids);
      Append(out, n.closeLead, ")");
    } else {
      Append(out, n.lead, n.text);
    }
  }
}

// The SQL text of a level, without surrounding blanks.
std::string Render(const Nodes& v) {
  std::string out;
  RenderTo(out, v);
  const std::size_t first = out.find_first_not_of(" \t\r\n");
  if (first == std::string::npos) return {};
  return out.substr(first, out.find_last_not_of(" \t\r\n") - first + 1);
}

// Moves the nodes [from, to) out of `v` into a new list, the first without
// its blanks.
Nodes Cut(Nodes& v, std::size_t from, std::size_t to) {
  Nodes part(std::make_move_iterator(v.begin() + static_cast<std::ptrdiff_t>(from)),
             std::make_move_iterator(v.begin() + static_cast<std::ptrdiff_t>(to)));
  v.erase(v.begin() + static_cast<std::ptrdiff_t>(from),
          v.begin() + static_cast<std::ptrdiff_t>(to));
  if (!part.empty()) part.front().lead.clear();
  return part;
}

// Inserts `part` into `v` at `at`.
void Splice(Nodes& v, std::size_t at, Nodes part) {
  v.insert(v.begin() + static_cast<std::ptrdiff_t>(at), std::make_move_iterator(part.begin()),
           std::make_move_iterator(part.end()));
}

// The parts of a level between its top-level commas.
std::vector<Nodes> SplitCommas(Nodes v) {
  std::vector<Nodes> parts(1);
  for (Node& n : v) {
    if (IsOp(n, ",")) {
      parts.emplace_back();
    } else {
      parts.back().push_back(std::move(n));
    }
  }
  return parts;
}

// The value of a Number token that is a whole number, with an optional "-"
// before it; no value otherwise.
std::optional<std::int64_t> WholeNumber(const Nodes& v, std::size_t& i) {
  bool negative = false;
  if (i < v.size() && IsOp(v[i], "-")) {
    negative = true;
    ++i;
  }
  if (i >= v.size() || v[i].kind != Kind::Number || v[i].text.size() > 12) return std::nullopt;
  std::int64_t value = 0;
  for (char ch : v[i].text) {
    if (!IsDigit(ch)) return std::nullopt;
    value = value * 10 + (ch - '0');
  }
  ++i;
  return negative ? -value : value;
}

// ------------------------------------------------------- expression words

// Words that are part of a statement's structure or a low-precedence operator,
// never an operand (LEFT and RIGHT are operands when they call a function).
bool IsKeyword(const Node& n) {
  static constexpr std::string_view kKeywords[] = {
      "SELECT",     "FROM",    "WHERE",  "AND",       "OR",       "NOT",    "XOR",     "EQV",
      "IMP",        "AS",      "ON",     "THEN",      "ELSE",     "WHEN",   "END",     "CASE",
      "LIKE",       "IS",      "IN",     "BETWEEN",   "ORDER",    "GROUP",  "BY",      "HAVING",
      "ASC",        "DESC",    "UNION",  "ALL",       "DISTINCT", "TOP",    "PERCENT", "INTO",
      "VALUES",     "SET",     "JOIN",   "INNER",     "OUTER",    "CROSS",  "LIMIT",   "ESCAPE",
      "DEFAULT",    "EXISTS",  "INSERT", "UPDATE",    "DELETE",   "CREATE", "TABLE",   "INDEX",
      "WITH",       "COLLATE", "GLOB",   "INTERSECT", "EXCEPT",   "LEFT",   "RIGHT",   "MOD",
      "DISTINCTROW"};
  if (n.kind != Kind::Word) return false;
  for (std::string_view k : kKeywords) {
    if (EqualsUpper(n.text, k)) return true;
  }
  return false;
}

// True when the node at `i` begins a primary operand: a literal, a name, a
// group, or a word that is not a keyword (or that calls a function, such as Left(..)).
bool IsPrimary(const Nodes& v, std::size_t i) {
  const Node& n = v[i];
  switch (n.kind) {
    case Kind::Number:
    case Kind::String:
    case Kind::Name:
    case Kind::Group:
      return true;
    case Kind::Word:
      return !IsKeyword(n) || (i + 1 < v.size() && v[i + 1].kind == Kind::Group &&
                               (IsWord(n, "LEFT") || IsWord(n, "RIGHT")));
    case Kind::Op:
      return n.text == "?";
  }
  return false;
}

// True for the operators that bind at least as tightly as & (and & itself).
bool IsArithmeticOp(const Node& n) {
  static constexpr std::string_view kOps[] = {"+", "-", "*", "/", "\\", "^", "%", "&"};
  if (n.kind != Kind::Op) return false;
  for (std::string_view op : kOps) {
    if (n.text == op) return true;
  }
  return false;
}

// The end of the expression of arithmetic and & operators that begins at `i`
// (unary signs, operands with their calls and .members, binary operators
// between them); `i` itself when no operand begins there.
std::size_t ExpressionEnd(const Nodes& v, std::size_t i) {
  std::size_t end = i;
  std::size_t p = i;
  for (;;) {
    while (p < v.size() && (IsOp(v[p], "-") || IsOp(v[p], "+"))) ++p;
    if (p >= v.size() || !IsPrimary(v, p)) return end;
    ++p;
    if (p < v.size() && v[p].kind == Kind::Group && IsNameNode(v[p - 1])) ++p;  // a call
    while (p + 1 < v.size() && (IsOp(v[p], ".") || IsOp(v[p], "!")) &&
           (IsNameNode(v[p + 1]) || IsOp(v[p + 1], "*"))) {
      p += 2;
    }
    end = p;
    if (p >= v.size() || !IsArithmeticOp(v[p])) return end;
    ++p;
  }
}

// ---------------------------------------------------------------- rewrites

// Single-word rewrites, at every level: True and False become -1 and 0,
// DISTINCTROW becomes DISTINCT, the Mod operator "%", and a function name
// ending in "$" (Mid$, Format$) loses the "$".
void WordFixes(Nodes& v) {
  for (std::size_t i = 0; i < v.size(); ++i) {
    Node& n = v[i];
    if (n.kind == Kind::Group) {
      WordFixes(n.kids);
      continue;
    }
    if (n.kind != Kind::Word) continue;
    if (i > 0 && (IsOp(v[i - 1], ".") || IsOp(v[i - 1], "!"))) continue;  // a member name
    const bool call = i + 1 < v.size() && v[i + 1].kind == Kind::Group;
    const std::string u = rt::AsciiUpper(n.text);
    if ((u == "TRUE" || u == "FALSE") && !call) {
      n.kind = Kind::Number;
      n.text = u == "TRUE" ? "-1" : "0";
    } else if (u == "DISTINCTROW") {
      n.text = "DISTINCT";
    } else if (u == "MOD" && i > 0 && i + 1 < v.size() && !IsKeyword(v[i - 1]) &&
               v[i - 1].kind != Kind::Op && (IsPrimary(v, i + 1) || IsOp(v[i + 1], "-"))) {
      n.kind = Kind::Op;
      n.text = "%";
    } else if (call && n.text.size() > 1 && n.text.back() == '$') {
      n.text.pop_back();
    }
    // LEFT, RIGHT and ISNULL are keywords to SQLite; as Jet functions their
    // names are quoted so that SQLite reads a call.
    const std::string fn = rt::AsciiUpper(n.text);
    if (call && (fn == "LEFT" || fn == "RIGHT" || fn == "ISNULL")) n.text = SqlIdentifier(n.text);
  }
}

// A make-table query, SELECT ... INTO t FROM ..., becomes CREATE TABLE t AS
// SELECT ... FROM ...; other statements are left alone.
void MakeTable(Nodes& v) {
  if (v.empty() || !IsWord(v[0], "SELECT")) return;
  for (std::size_t i = 1; i < v.size(); ++i) {
    if (IsWord(v[i], "FROM") || IsWord(v[i], "UNION")) return;
    if (!IsWord(v[i], "INTO")) continue;
    if (i + 1 >= v.size() || !IsNameNode(v[i + 1])) Fail("INTO without a table name");
    if (IsWordAt(v, i + 2, "IN")) Fail("a make-table query into another database is not supported");
    Node target = std::move(v[i + 1]);
    target.lead = " ";
    Cut(v, i, i + 2);
    Nodes head = Snippet("CREATE TABLE");
    head.push_back(std::move(target));
    head.push_back(Make(Kind::Word, "AS"));
    v.front().lead = " ";
    Splice(v, 0, std::move(head));
    return;
  }
}

// Rewrites TOP in the SELECT at v[s] (its level ends at a UNION, INTERSECT or
// EXCEPT or at the end of the level): TOP n becomes LIMIT n after the ORDER BY;
// TOP n PERCENT a LIMIT that counts the same select's rows and rounds up. A
// select with TOP that is followed by UNION is wrapped in SELECT * FROM (..),
// since SQLite takes LIMIT only at the end of a compound. Returns the index
// after the select's SELECT keyword (or after its wrapper).
std::size_t RewriteTop(Nodes& v, std::size_t s) {
  std::size_t end = s + 1;
  while (end < v.size() && !IsWord(v[end], "UNION") && !IsWord(v[end], "INTERSECT") &&
         !IsWord(v[end], "EXCEPT")) {
    ++end;
  }
  std::size_t p = s + 1;
  std::optional<std::int64_t> top;
  bool percent = false;
  while (p < end) {
    if (IsWord(v[p], "ALL") || IsWord(v[p], "DISTINCT")) {
      ++p;
    } else if (IsWord(v[p], "TOP") && !top) {
      std::size_t q = p + 1;
      top = WholeNumber(v, q);
      if (!top || *top < 0 || IsOp(v[p + 1], "-")) Fail("TOP needs a whole number");
      if (IsWordAt(v, q, "PERCENT")) {
        percent = true;
        ++q;
      }
      if (q < v.size()) v[q].lead = v[p].lead;
      Cut(v, p, q);
      end -= q - p;
    } else {
      break;
    }
  }
  if (!top) return s + 1;

  std::size_t order = p;
  while (order < end && !(IsWord(v[order], "ORDER") && IsWordAt(v, order + 1, "BY"))) ++order;
  Nodes limit{Make(Kind::Word, "LIMIT")};
  if (!percent) {
    limit.push_back(Make(Kind::Number, std::to_string(*top)));
  } else {
    Nodes counted(v.begin() + static_cast<std::ptrdiff_t>(s),
                  v.begin() + static_cast<std::ptrdiff_t>(order));
    counted.front().lead.clear();
    Nodes count =
        Snippet(fmt::format("SELECT CAST(((COUNT(*) * {}) + 99) / 100 AS INTEGER) FROM", *top));
    count.push_back(MakeGroup(std::move(counted)));
    limit.push_back(MakeGroup(std::move(count)));
  }
  const std::size_t after = end + limit.size();
  Splice(v, end, std::move(limit));
  if (after == v.size()) return after;

  const std::string lead = v[s].lead;
  Nodes wrapper = Snippet("SELECT * FROM");
  wrapper.front().lead = lead;
  wrapper.push_back(MakeGroup(Cut(v, s, after)));
  const std::size_t next = s + wrapper.size();
  Splice(v, s, std::move(wrapper));
  return next;
}

// Applies RewriteTop to every SELECT, in subqueries first.
void TopPass(Nodes& v) {
  for (Node& n : v) {
    if (n.kind == Kind::Group) TopPass(n.kids);
  }
  for (std::size_t i = 0; i < v.size();) {
    i = IsWord(v[i], "SELECT") ? RewriteTop(v, i) : i + 1;
  }
}

// The operand `part` of a concatenation as text that is "" for Null:
// IFNULL(part,''); a literal stays as it is.
Nodes TextOperand(Nodes part, bool first) {
  std::string lead = first ? std::string() : " ";
  if (part.size() == 1 && (part[0].kind == Kind::String || part[0].kind == Kind::Number)) {
    part[0].lead = lead;
    return part;
  }
  part.front().lead.clear();
  part.push_back(Make(Kind::Op, ",", ""));
  part.push_back(Make(Kind::String, "''", ""));
  return {Make(Kind::Word, "IFNULL", lead), MakeGroup(std::move(part), "")};
}

// Rewrites Jet's & at every level: a & b & c becomes
// (IFNULL(a,'') || IFNULL(b,'') || IFNULL(c,'')), the operands found as the
// arithmetic expressions around the & operators (& binds more loosely than
// arithmetic and more tightly than comparisons and logical operators).
void ConcatPass(Nodes& v) {
  bool any = false;
  for (Node& n : v) {
    if (n.kind == Kind::Group) ConcatPass(n.kids);
    any = any || IsOp(n, "&");
  }
  if (!any) return;
  Nodes out;
  for (std::size_t i = 0; i < v.size();) {
    const std::size_t end = ExpressionEnd(v, i);
    bool hasConcat = false;
    for (std::size_t k = i; k < end; ++k) hasConcat = hasConcat || IsOp(v[k], "&");
    if (!hasConcat) {
      const std::size_t stop = end > i ? end : i + 1;
      for (; i < stop; ++i) out.push_back(std::move(v[i]));
      continue;
    }
    Nodes joined;
    Nodes part;
    const std::string lead = v[i].lead;
    for (std::size_t k = i; k <= end; ++k) {
      if (k == end || IsOp(v[k], "&")) {
        if (!joined.empty()) joined.push_back(Make(Kind::Op, "||"));
        for (Node& n : TextOperand(std::move(part), joined.empty())) joined.push_back(std::move(n));
        part.clear();
      } else {
        part.push_back(std::move(v[k]));
      }
    }
    out.push_back(MakeGroup(std::move(joined), lead));
    i = end;
  }
  v = std::move(out);
}

// --------------------------------------------------------- DDL statements

// The RAISE message of the not-null triggers, as Jet words the refusal.
constexpr std::string_view kNullInIndex = "Index or primary key cannot contain a Null value.";

// The trigger that numbers an AutoNumber column that is not an INTEGER
// PRIMARY KEY: a row inserted without a value gets the next number after
// the highest (or before the lowest, for a negative step) one in the table.
std::string CounterTrigger(std::string_view table, std::string_view column, std::int64_t seed,
                           std::int64_t step) {
  const std::string t = SqlIdentifier(table);
  const std::string c = SqlIdentifier(column);
  const std::string next = step > 0 ? fmt::format("IFNULL(MAX({}) + {}, {})", c, step, seed)
                                    : fmt::format("IFNULL(MIN({}) - {}, {})", c, -step, seed);
  return fmt::format(
      "CREATE TRIGGER {} AFTER INSERT ON {} FOR EACH ROW WHEN NEW.{} IS NULL BEGIN UPDATE {} "
      "SET {} = (SELECT {} FROM {}) WHERE rowid = NEW.rowid; END",
      SqlIdentifier(fmt::format("{}__counter_{}", table, column)), t, c, t, c, next, t);
}

// The two triggers that refuse a Null in any of `columns` of `table`, on
// insert and on update, for an index created WITH PRIMARY or DISALLOW NULL.
std::vector<std::string> NotNullTriggers(std::string_view index, std::string_view table,
                                         const std::vector<std::string>& columns) {
  std::string when;
  std::string list;
  for (const std::string& c : columns) {
    when += fmt::format("{}NEW.{} IS NULL", when.empty() ? "" : " OR ", SqlIdentifier(c));
    list += fmt::format("{}{}", list.empty() ? "" : ", ", SqlIdentifier(c));
  }
  const std::string body =
      fmt::format("BEGIN SELECT RAISE(ABORT, {}); END", SqlLiteral(kNullInIndex));
  return {fmt::format("CREATE TRIGGER {} BEFORE INSERT ON {} FOR EACH ROW WHEN {} {}",
                      SqlIdentifier(fmt::format("{}__notnull_ins", index)), SqlIdentifier(table),
                      when, body),
          fmt::format("CREATE TRIGGER {} BEFORE UPDATE OF {} ON {} FOR EACH ROW WHEN {} {}",
                      SqlIdentifier(fmt::format("{}__notnull_upd", index)), list,
                      SqlIdentifier(table), when, body)};
}

// The statements that drop index `index` and its not-null triggers.
std::vector<std::string> DropIndex(const Node& index) {
  const std::string bare = BareName(index);
  return {"DROP INDEX " + index.text,
          "DROP TRIGGER IF EXISTS " + SqlIdentifier(bare + "__notnull_ins"),
          "DROP TRIGGER IF EXISTS " + SqlIdentifier(bare + "__notnull_upd")};
}

// One column definition of CREATE TABLE or ALTER TABLE ADD.
struct Column {
  Node name;
  std::string declared;  // the canonical declared type
  Nodes rest;            // the constraints after the type
  bool counter = false;  // AutoNumber
  std::int64_t seed = 1, step = 1;
  bool primaryKey = false;  // an inline PRIMARY KEY
};

// The size arguments of a type, "(n)" or "(p, s)" or a counter's "(seed, step)".
std::vector<std::int64_t> TypeArguments(const Node& group) {
  std::vector<std::int64_t> args;
  for (const Nodes& part : SplitCommas(group.kids)) {
    std::size_t i = 0;
    const auto value = WholeNumber(part, i);
    if (!value || i != part.size()) Fail("the size of a field must be a whole number");
    args.push_back(*value);
  }
  return args;
}

// The int32 value of a size argument, failing when it is out of range.
std::optional<std::int32_t> SizeArg(const std::vector<std::int64_t>& args, std::size_t i) {
  if (i >= args.size()) return std::nullopt;
  if (args[i] < 0 || args[i] > 0x7fffffff) Fail("field size out of range");
  return static_cast<std::int32_t>(args[i]);
}

// Parses a column definition: name, Jet type with its arguments, constraints.
// WITH COMPRESSION is dropped (the store does not compress), and a DEFAULT
// that calls a function is parenthesised as SQLite requires.
Column ParseColumn(Nodes item) {
  if (item.empty() || !IsNameNode(item[0])) Fail("syntax error in field definition");
  Column c;
  c.name = std::move(item[0]);
  if (item.size() < 2 || item[1].kind != Kind::Word) {
    Fail(fmt::format("field {} has no type", c.name.text));
  }
  const std::string type = rt::AsciiUpper(item[1].text);
  std::size_t i = 2;
  std::vector<std::int64_t> args;
  if (i < item.size() && item[i].kind == Kind::Group) args = TypeArguments(item[i++]);
  if (args.size() > 2) Fail(fmt::format("too many arguments for type {}", type));
  c.counter = type == "COUNTER" || type == "AUTOINCREMENT";
  if (c.counter) {
    if (!args.empty()) c.seed = args[0];
    if (args.size() > 1) c.step = args[1];
    if (c.step == 0) Fail("an AutoNumber step cannot be 0");
    c.declared = "COUNTER";
  } else {
    const auto declared = DeclaredTypeForJet(type, SizeArg(args, 0), SizeArg(args, 1));
    if (!declared)
      Fail(fmt::format("invalid field type {} for field {}", item[1].text, c.name.text));
    c.declared = *declared;
  }
  for (; i < item.size(); ++i) {
    if (IsWord(item[i], "WITH") &&
        (IsWordAt(item, i + 1, "COMPRESSION") || IsWordAt(item, i + 1, "COMP"))) {
      ++i;
      continue;
    }
    if (IsWord(item[i], "PRIMARY") && IsWordAt(item, i + 1, "KEY")) c.primaryKey = true;
    const bool defaultCall = IsWord(item[i], "DEFAULT") && i + 2 < item.size() &&
                             item[i + 1].kind == Kind::Word && item[i + 2].kind == Kind::Group;
    c.rest.push_back(std::move(item[i]));
    if (defaultCall) {
      const std::string lead = item[i + 1].lead;
      c.rest.push_back(MakeGroup(Cut(item, i + 1, i + 3), lead));
    }
  }
  return c;
}

// Removes every NOT NULL from a column's constraints (an AutoNumber column
// numbered by a trigger is Null until the trigger runs).
void DropNotNull(Nodes& rest) {
  for (std::size_t i = 0; i + 1 < rest.size();) {
    if (IsWord(rest[i], "NOT") && IsWord(rest[i + 1], "NULL")) {
      Cut(rest, i, i + 2);
    } else {
      ++i;
    }
  }
}

// The column definition as SQLite text. Jet refuses a text longer than its
// column's size and SQLite does not, so a sized text column gets a check.
std::string RenderColumn(const Column& c) {
  Nodes v{c.name, Make(Kind::Word, c.declared)};
  v.front().lead.clear();
  v.insert(v.end(), c.rest.begin(), c.rest.end());
  std::string out = Render(v);
  if (c.declared.starts_with("VARCHAR(")) {
    const std::size_t close = c.declared.find(')');
    out +=
        " CHECK (length(" + Render(Nodes{c.name}) + ") <= " + c.declared.substr(8, close - 8) + ")";
  }
  return out;
}

// A table constraint in CREATE TABLE: [CONSTRAINT name] PRIMARY KEY (..),
// UNIQUE (..), FOREIGN KEY (..) ..., CHECK (..).
bool IsTableConstraint(const Nodes& item) {
  std::size_t i = 0;
  if (IsWordAt(item, 0, "CONSTRAINT") && item.size() > 2 && IsNameNode(item[1])) i = 2;
  return (IsWordAt(item, i, "PRIMARY") && IsWordAt(item, i + 1, "KEY")) ||
         (IsWordAt(item, i, "FOREIGN") && IsWordAt(item, i + 1, "KEY")) ||
         ((IsWordAt(item, i, "UNIQUE") || IsWordAt(item, i, "CHECK")) && i + 1 < item.size() &&
          item[i + 1].kind == Kind::Group);
}

// The key columns of an index or key column list "(a ASC, [b c] DESC)".
std::vector<std::string> KeyColumns(const Node& group) {
  std::vector<std::string> names;
  for (const Nodes& part : SplitCommas(group.kids)) {
    if (part.empty() || !IsNameNode(part[0]) || part.size() > 2 ||
        (part.size() == 2 && !IsWord(part[1], "ASC") && !IsWord(part[1], "DESC"))) {
      Fail("syntax error in the list of key fields");
    }
    names.push_back(BareName(part[0]));
  }
  return names;
}

// True when two object names are the same to Jet (names ignore case).
bool SameName(std::string_view a, std::string_view b) {
  return rt::AsciiUpper(a) == rt::AsciiUpper(b);
}

// CREATE TABLE t (column, ..., constraint, ...) with Jet types. An AutoNumber
// that is the single-column primary key becomes INTEGER PRIMARY KEY
// AUTOINCREMENT (its seed kept in sqlite_sequence); any other AutoNumber keeps
// the COUNTER type and gets a numbering trigger.
std::vector<std::string> CreateTable(Nodes& v) {
  if (v.size() != 4) Fail("syntax error in CREATE TABLE statement");
  const Node& tableNode = v[2];
  const std::string table = BareName(tableNode);
  std::vector<Column> columns;
  std::vector<Nodes> constraints;
  std::optional<std::size_t> tablePk;  // index in constraints of a one-column primary key
  std::string tablePkColumn;
  for (Nodes& item : SplitCommas(std::move(v[3].kids))) {
    if (!IsTableConstraint(item)) {
      columns.push_back(ParseColumn(std::move(item)));
      continue;
    }
    const std::size_t k = IsWord(item[0], "CONSTRAINT") ? 2 : 0;
    if (IsWord(item[k], "PRIMARY") && k + 2 < item.size() && item[k + 2].kind == Kind::Group) {
      const auto keys = KeyColumns(item[k + 2]);
      if (keys.size() == 1 && item.size() == k + 3) {
        tablePk = constraints.size();
        tablePkColumn = keys[0];
      }
    }
    constraints.push_back(std::move(item));
  }

  // The key columns of the primary key, declared inline or as a constraint.
  std::vector<std::string> pkColumns;
  for (const Column& c : columns) {
    if (c.primaryKey) pkColumns.push_back(BareName(c.name));
  }
  for (const Nodes& item : constraints) {
    const std::size_t k = IsWord(item[0], "CONSTRAINT") ? 2 : 0;
    if (IsWord(item[k], "PRIMARY") && k + 2 < item.size() && item[k + 2].kind == Kind::Group) {
      for (std::string& key : KeyColumns(item[k + 2])) pkColumns.push_back(std::move(key));
    }
  }
  const auto inPrimaryKey = [&](const Column& c) {
    return std::ranges::any_of(pkColumns,
                               [&](const std::string& k) { return SameName(k, BareName(c.name)); });
  };

  std::vector<std::string> extra;
  bool dropTablePk = false;
  for (Column& c : columns) {
    if (!c.counter) {
      if (!inPrimaryKey(c)) continue;
      // A key that is not an AutoNumber refuses a Null, as SQLite's keys do
      // not; and a lone INTEGER key would become SQLite's rowid, which numbers
      // a row inserted without a key, so it is declared INT (still a Long).
      if (c.declared == "INTEGER" && pkColumns.size() == 1) c.declared = "INT";
      bool notNull = false;
      for (std::size_t k = 0; k + 1 < c.rest.size(); ++k) {
        notNull = notNull || (IsWord(c.rest[k], "NOT") && IsWord(c.rest[k + 1], "NULL"));
      }
      if (!notNull) {
        for (Node& n : Snippet(" NOT NULL")) c.rest.push_back(std::move(n));
      }
      continue;
    }
    const bool pkByTable = tablePk && SameName(tablePkColumn, BareName(c.name));
    const bool onlyKey = (c.primaryKey && !tablePk) || pkByTable;
    if (onlyKey && c.step == 1) {
      c.declared = "INTEGER";
      if (c.primaryKey) {
        std::size_t key = 0;
        while (!IsWord(c.rest[key], "KEY")) ++key;
        if (key + 1 < c.rest.size() &&
            (IsWord(c.rest[key + 1], "ASC") || IsWord(c.rest[key + 1], "DESC"))) {
          ++key;
        }
        Splice(c.rest, key + 1, {Make(Kind::Word, "AUTOINCREMENT")});
      } else {
        Nodes& pk = constraints[*tablePk];
        Nodes inline_key;
        if (IsWord(pk[0], "CONSTRAINT")) {
          inline_key.push_back(Make(Kind::Word, "CONSTRAINT"));
          inline_key.push_back(pk[1]);
          inline_key.back().lead = " ";
        }
        for (Node& n : Snippet(" PRIMARY KEY AUTOINCREMENT")) inline_key.push_back(std::move(n));
        c.rest.insert(c.rest.end(), inline_key.begin(), inline_key.end());
        dropTablePk = true;
      }
      if (c.seed != 1) {
        extra.push_back(fmt::format("INSERT INTO sqlite_sequence (name, seq) VALUES ({}, {})",
                                    SqlLiteral(table), c.seed - 1));
      }
    } else {
      DropNotNull(c.rest);
      extra.push_back(CounterTrigger(table, BareName(c.name), c.seed, c.step));
    }
  }

  std::vector<std::string> items;
  for (const Column& c : columns) items.push_back(RenderColumn(c));
  for (std::size_t i = 0; i < constraints.size(); ++i) {
    if (!(dropTablePk && tablePk == i)) items.push_back(Render(constraints[i]));
  }
  std::vector<std::string> out{
      fmt::format("CREATE TABLE {} ({})", tableNode.text, fmt::join(items, ", "))};
  out.insert(out.end(), extra.begin(), extra.end());
  return out;
}

// CREATE [UNIQUE] INDEX i ON t (keys) [WITH PRIMARY | DISALLOW NULL | IGNORE NULL].
// PRIMARY is reported in `out.primaryKey` for the file store to build as the
// table's key; the statements make a unique index that refuses Nulls, the
// nearest a bare SQLite handle can do in place. DISALLOW NULL adds the
// not-null triggers, IGNORE NULL makes a partial index of the rows whose keys
// are all present. With `read`, the index is reported in `out.index` as well
// (on a linked table it becomes the link's virtual index).
std::vector<std::string> CreateIndex(Nodes& v, Rewritten& out, bool read) {
  std::size_t i = 1;
  const bool unique = IsWord(v[i], "UNIQUE");
  if (unique) ++i;
  if (!IsWordAt(v, i, "INDEX") || i + 4 >= v.size() || !IsNameNode(v[i + 1]) ||
      !IsWord(v[i + 2], "ON") || !IsNameNode(v[i + 3]) || v[i + 4].kind != Kind::Group) {
    Fail("syntax error in CREATE INDEX statement");
  }
  const std::string index = BareName(v[i + 1]);
  const std::string table = BareName(v[i + 3]);
  const std::vector<std::string> keys = KeyColumns(v[i + 4]);
  bool primary = false, disallowNull = false, ignoreNull = false;
  std::size_t p = i + 5;
  if (p < v.size()) {
    if (!IsWord(v[p], "WITH")) Fail("syntax error in CREATE INDEX statement");
    for (++p; p < v.size(); ++p) {
      if (IsWord(v[p], "PRIMARY")) {
        primary = true;
      } else if (IsWord(v[p], "DISALLOW") && IsWordAt(v, p + 1, "NULL")) {
        disallowNull = true;
        ++p;
      } else if (IsWord(v[p], "IGNORE") && IsWordAt(v, p + 1, "NULL")) {
        ignoreNull = true;
        ++p;
      } else {
        Fail("unknown index option " + v[p].text);
      }
    }
    if (p == i + 6) Fail("WITH without an index option");
    Cut(v, i + 5, v.size());
  }
  if (read) {
    out.index =
        Rewritten::Index{index, table, keys, unique || primary, primary, disallowNull, ignoreNull};
  }
  if (primary) out.primaryKey = Rewritten::PrimaryKey{table, index, keys};
  if (primary && !unique) Splice(v, 1, {Make(Kind::Word, "UNIQUE")});
  std::string sql = Render(v);
  if (ignoreNull) {
    std::string where;
    for (const std::string& k : keys) {
      where +=
          fmt::format("{}{} IS NOT NULL", where.empty() ? " WHERE " : " AND ", SqlIdentifier(k));
    }
    sql += where;
  }
  std::vector<std::string> statements{sql};
  if (primary || disallowNull) {
    for (std::string& t : NotNullTriggers(index, table, keys)) statements.push_back(std::move(t));
  }
  return statements;
}

// ALTER TABLE t ADD [COLUMN] col type ..., ALTER TABLE t ADD CONSTRAINT n
// {PRIMARY KEY | UNIQUE} (keys), ALTER TABLE t DROP [COLUMN] col, ALTER TABLE t
// DROP CONSTRAINT n. Changing a column in place is not supported on this store.
std::vector<std::string> AlterTable(Nodes& v, Rewritten& rewritten) {
  if (v.size() < 5 || !IsWord(v[1], "TABLE") || !IsNameNode(v[2])) {
    Fail("syntax error in ALTER TABLE statement");
  }
  const Node tableNode = v[2];
  const std::string table = BareName(tableNode);
  const std::string action = rt::AsciiUpper(v[3].kind == Kind::Word ? v[3].text : std::string());
  Nodes rest = Cut(v, 4, v.size());
  std::vector<std::string> out;
  if (action == "ADD" && IsWord(rest[0], "CONSTRAINT")) {
    // A key added to an existing table becomes an index.
    if (rest.size() < 3 || !IsNameNode(rest[1])) Fail("syntax error in CONSTRAINT clause");
    Nodes index = Snippet("CREATE UNIQUE INDEX");
    index.push_back(rest[1]);
    index.push_back(Make(Kind::Word, "ON"));
    index.push_back(tableNode);
    index.back().lead = " ";
    std::size_t k = 2;
    bool primary = false;
    if (IsWord(rest[k], "PRIMARY") && IsWordAt(rest, k + 1, "KEY")) {
      primary = true;
      k += 2;
    } else if (IsWord(rest[k], "UNIQUE")) {
      k += 1;
    } else {
      Fail("only PRIMARY KEY and UNIQUE constraints can be added to an existing table");
    }
    if (k + 1 != rest.size() || rest[k].kind != Kind::Group)
      Fail("syntax error in CONSTRAINT clause");
    index.push_back(rest[k]);
    if (primary) {
      for (Node& n : Snippet(" WITH PRIMARY")) index.push_back(std::move(n));
    }
    // Only CREATE INDEX is read as a link's virtual index.
    return CreateIndex(index, rewritten, /*read=*/false);
  }
  if (action == "ADD") {
    for (Nodes& item : SplitCommas(std::move(rest))) {
      if (IsWordAt(item, 0, "COLUMN")) Cut(item, 0, 1);
      Column c = ParseColumn(std::move(item));
      if (c.counter) DropNotNull(c.rest);
      out.push_back(fmt::format("ALTER TABLE {} ADD COLUMN {}", tableNode.text, RenderColumn(c)));
      if (c.counter) {
        // Number the rows already there, in the order they were stored.
        const std::string t = SqlIdentifier(table);
        out.push_back(fmt::format(
            "UPDATE {0} SET {1} = {2} + {3} * (SELECT COUNT(*) FROM {0} AS \"z\" WHERE \"z\".rowid "
            "< {0}.rowid)",
            t, SqlIdentifier(BareName(c.name)), c.seed, c.step));
        out.push_back(CounterTrigger(table, BareName(c.name), c.seed, c.step));
      }
    }
    return out;
  }
  if (action == "DROP" && IsWord(rest[0], "CONSTRAINT")) {
    if (rest.size() != 2 || !IsNameNode(rest[1])) Fail("syntax error in DROP CONSTRAINT");
    rewritten.droppedIndex = Rewritten::DroppedIndex{table, BareName(rest[1])};
    return DropIndex(rest[1]);
  }
  if (action == "DROP") {
    if (IsWord(rest[0], "COLUMN")) Cut(rest, 0, 1);
    if (rest.size() != 1 || !IsNameNode(rest[0])) Fail("syntax error in ALTER TABLE DROP");
    const std::string column = BareName(rest[0]);
    // A column used by a trigger cannot be dropped, so its numbering trigger goes first.
    return {"DROP TRIGGER IF EXISTS " + SqlIdentifier(fmt::format("{}__counter_{}", table, column)),
            fmt::format("ALTER TABLE {} DROP COLUMN {}", tableNode.text, rest[0].text)};
  }
  if (action == "ALTER") Fail("ALTER COLUMN is not supported; the table must be rebuilt");
  Fail("syntax error in ALTER TABLE statement");
}

// DELETE * FROM t and DELETE t.* FROM t ... become DELETE FROM t ...
void FixDelete(Nodes& v) {
  std::size_t from = 1;
  while (from < v.size() && !IsWord(v[from], "FROM")) {
    const Node& n = v[from];
    if (!IsNameNode(n) && !IsOp(n, ".") && !IsOp(n, "*") && !IsOp(n, ",")) return;
    ++from;
  }
  if (from == v.size() || from == 1) return;
  v[from].lead = v[1].lead;
  Cut(v, 1, from);
}

// Rewrites one statement (already free of its trailing ";").
std::vector<std::string> RewriteStatement(Nodes v, Rewritten& out) {
  WordFixes(v);
  MakeTable(v);
  TopPass(v);
  ConcatPass(v);
  if (IsWord(v[0], "DELETE")) {
    FixDelete(v);
  } else if (IsWord(v[0], "CREATE") && IsWordAt(v, 1, "TABLE")) {
    if (v.size() > 3 && v[3].kind == Kind::Group) return CreateTable(v);
  } else if (IsWord(v[0], "CREATE") && (IsWordAt(v, 1, "INDEX") || IsWordAt(v, 1, "UNIQUE"))) {
    return CreateIndex(v, out, /*read=*/true);
  } else if (IsWord(v[0], "ALTER")) {
    return AlterTable(v, out);
  } else if (IsWord(v[0], "DROP") && IsWordAt(v, 1, "INDEX")) {
    if (v.size() < 3 || !IsNameNode(v[2]) ||
        (v.size() != 3 && !(v.size() == 5 && IsWord(v[3], "ON")))) {
      Fail("syntax error in DROP INDEX statement");
    }
    if (v.size() == 5) out.droppedIndex = Rewritten::DroppedIndex{BareName(v[4]), BareName(v[2])};
    return DropIndex(v[2]);
  }
  return {Render(v)};
}

}  // namespace

// The numbering trigger of an AutoNumber column, as CREATE TABLE makes it.
std::string CounterTriggerSql(std::string_view table, std::string_view column, std::int64_t seed,
                              std::int64_t step) {
  return CounterTrigger(table, column, seed, step);
}

// The Null-refusing triggers of a required index, as CREATE INDEX makes them.
std::vector<std::string> NotNullTriggerSql(std::string_view index, std::string_view table,
                                           const std::vector<std::string>& columns) {
  return NotNullTriggers(index, table, columns);
}

// Rewrites one Jet statement into the SQLite statements that carry it out;
// any Jet syntax that cannot be rewritten raises a syntax error naming it.
Rewritten RewriteJet(std::string_view jet) {
  try {
    Nodes flat = Tokenize(jet);
    while (!flat.empty() && IsOp(flat.back(), ";")) flat.pop_back();
    if (flat.empty()) Fail("empty statement");
    for (const Node& n : flat) {
      if (IsOp(n, ";")) Fail("characters found after end of SQL statement");
    }
    Rewritten out;
    out.statements = RewriteStatement(Nest(std::move(flat)), out);
    return out;
  } catch (const Fault& f) {
    rt::Raise(rt::err::kSyntaxError, fmt::format("Syntax error: {}, in: {}", f.what, jet));
  }
}

// Splits `text` at the ";" that stand outside literals, names, date literals
// and comments; pieces holding only blanks and comments are dropped. An
// unterminated literal or comment runs to the end of the text.
std::vector<std::string> SplitStatements(std::string_view text) {
  std::vector<std::string> out;
  std::size_t start = 0;
  bool content = false;
  // Ends the piece that runs from `start` to `end`, keeping it when it holds
  // more than blanks and comments.
  const auto flush = [&](std::size_t end) {
    if (content) {
      std::string_view piece = text.substr(start, end - start);
      const std::size_t first = piece.find_first_not_of(" \t\r\n");
      piece = piece.substr(first, piece.find_last_not_of(" \t\r\n") - first + 1);
      out.emplace_back(piece);
    }
    content = false;
  };
  // The position just after the closing `close` that ends the span opened at i.
  const auto skipTo = [&text](std::size_t i, std::string_view close) {
    const std::size_t end = text.find(close, i);
    return end == std::string_view::npos ? text.size() : end + close.size();
  };
  for (std::size_t i = 0; i < text.size();) {
    const char c = text[i];
    const char next = i + 1 < text.size() ? text[i + 1] : '\0';
    if (c == ';') {
      flush(i);
      start = ++i;
    } else if (c == '-' && next == '-') {
      i = skipTo(i, "\n");
    } else if (c == '/' && next == '*') {
      i = skipTo(i + 2, "*/");
    } else if (std::isspace(static_cast<unsigned char>(c))) {
      ++i;
    } else {
      content = true;
      if (c == '\'' || c == '"' || c == '`') {
        // A doubled quote inside is two literals back to back, which splits the same way.
        i = skipTo(i + 1, std::string_view(&text[i], 1));
      } else if (c == '[') {
        i = skipTo(i + 1, "]");
      } else if (c == '#') {
        i = skipTo(i + 1, "#");
      } else {
        ++i;
      }
    }
  }
  flush(text.size());
  return out;
}

std::string SqlIdentifier(std::string_view name) {
  std::string out = "\"";
  for (char ch : name) {
    if (ch == '"') out += '"';
    out += ch;
  }
  return out + "\"";
}

std::string SqlLiteral(std::string_view text) {
  std::string out = "'";
  for (char ch : text) {
    if (ch == '\'') out += '\'';
    out += ch;
  }
  return out + "'";
}

}  // namespace zmdb::dal::sqlite
