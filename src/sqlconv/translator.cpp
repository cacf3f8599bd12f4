// Jet-to-SQL-Server statement translation.
//
// The rewrites are written with 1-based positions and with InStr/Mid/Left
// helpers that keep the classic string functions' rules, including the
// run-time error 5 they raise on a negative length or a start below 1: the
// translator's failure modes on awkward FORMAT( text are exactly those errors.
//
// The FORMAT/IIF pass is repeated until nothing changes. Each pass rewrites the
// first FORMAT( and the first IIF( only, so a literal implementation rescans,
// re-masks and rebuilds the whole statement per pass, which is quadratic. The
// pass loop below produces the same text but carries what it knows about each
// keyword's first occurrence across every splice (only the new text and its
// edges need a search), keeps the quote state at one remembered position
// instead of re-masking, and holds the statement in a gap buffer so that a
// splice costs its distance from the previous one.
#include "zmdb/sqlconv/translator.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/error.h"

namespace zmdb::sqlconv {
namespace {

// A 1-based character position or a length, as the classic string functions
// take them; signed so that a negative length reaches the check that rejects it.
using Pos = std::int64_t;

constexpr std::string_view kFormat = "FORMAT(";
constexpr std::string_view kIif = "IIF(";

// Raises run-time error 5, "Invalid procedure call or argument".
[[noreturn]] void InvalidCall() {
  rt::Raise(rt::err::kInvalidProcCall);
}

// Length of `s` as a Pos.
Pos Len(std::string_view s) {
  return static_cast<Pos>(s.size());
}

// The 0-based range that Mid(text, start, length) selects in a text of `size`
// characters: empty when start lies beyond the end, clipped at the end.
// Raises error 5 when start < 1 or length < 0.
struct Range {
  std::size_t pos;
  std::size_t len;
};
Range MidRange(std::size_t size, Pos start, Pos length) {
  if (start < 1 || length < 0) InvalidCall();
  const Pos n = static_cast<Pos>(size);
  if (start > n) return {size, 0};
  return {static_cast<std::size_t>(start - 1),
          static_cast<std::size_t>(std::min(length, n - start + 1))};
}

// Mid(s, start, length): see MidRange.
std::string Mid(std::string_view s, Pos start, Pos length) {
  const Range r = MidRange(s.size(), start, length);
  return std::string(s.substr(r.pos, r.len));
}

// Mid(s, start): the text from `start` to the end; error 5 when start < 1.
std::string Mid(std::string_view s, Pos start) {
  return Mid(s, start, Len(s));
}

// Left(s, n): the first n characters (all of s when shorter); error 5 when n < 0.
std::string Left(std::string_view s, Pos n) {
  if (n < 0) InvalidCall();
  return std::string(s.substr(0, static_cast<std::size_t>(n)));
}

// Checks InStr's start argument against a text of `size` characters: error 5
// when start < 1; false when start lies beyond the end (InStr then gives 0).
bool InStrStartInRange(std::size_t size, Pos start) {
  if (start < 1) InvalidCall();
  return start <= static_cast<Pos>(size);
}

// InStr(start, s, needle): the 1-based position of the first `needle` at or
// after `start`, or 0. An empty needle is found at `start`. Error 5 when start < 1.
Pos InStr(Pos start, std::string_view s, std::string_view needle) {
  if (!InStrStartInRange(s.size(), start)) return 0;
  if (needle.empty()) return start;
  const std::size_t hit = s.find(needle, static_cast<std::size_t>(start - 1));
  return hit == std::string_view::npos ? 0 : static_cast<Pos>(hit) + 1;
}

// Trim: `s` without its leading and trailing blanks (blanks only, not tabs).
std::string Trim(std::string_view s) {
  const std::size_t first = s.find_first_not_of(' ');
  if (first == std::string_view::npos) return {};
  return std::string(s.substr(first, s.find_last_not_of(' ') - first + 1));
}

// Replace(s, find, with): every non-overlapping `find`, scanning left to right,
// replaced by `with`; an empty `find` leaves `s` as it is.
std::string ReplaceAll(std::string_view s, std::string_view find, std::string_view with) {
  if (find.empty()) return std::string(s);
  std::string out;
  out.reserve(s.size());
  std::size_t done = 0;
  for (std::size_t hit = s.find(find); hit != std::string_view::npos; hit = s.find(find, done)) {
    out.append(s, done, hit - done).append(with);
    done = hit + find.size();
  }
  return out.append(s.substr(done));
}

// The date and time formats that FORMAT( turns into CONVERT styles, matched
// exactly against the upper-cased, trimmed format text. Everything else is a
// zero-padding mask. "D-MM-YYYY" (one D) is the entry for style 105.
struct Style {
  std::string_view format;
  int number;
};
constexpr Style kStyles[] = {
    {"MM/DD/YY", 1},
    {"MM/DD/YYYY", 101},
    {"YY.MM.DD", 2},
    {"YYYY.MM.DD", 102},
    {"DD/MM/YY", 3},
    {"DD/MM/YYYY", 103},
    {"DD.MM.YY", 4},
    {"DD.MM.YYYY", 104},
    {"DD-MM-YY", 5},
    {"D-MM-YYYY", 105},
    {"HH:MM:SS", 8},
    {"HH:NN:SS", 8},
    {"LONG TIME", 8},
    {"SHORT TIME", 8},
    {"MM-DD-YY", 10},
    {"MM-DD-YYYY", 110},
    {"YY/MM/DD", 11},
    {"SHORT DATE", 11},
    {"YYYY/MM/DD", 111},
    {"LONG DATE", 111},
    {"YYMMDD", 12},
    {"YYYYMMDD", 112},
    {"YY-MM-DD HH:MM:SS", 20},
    {"YY-MM-DD HH:NN:SS", 20},
    {"YYYY-MM-DD HH:MM:SS", 120},
    {"YYYY-MM-DD HH:NN:SS", 120},
};

// The CONVERT style for `format`, or 0 when it is not in the table.
int StyleOf(std::string_view format) {
  for (const Style& s : kStyles) {
    if (s.format == format) return s.number;
  }
  return 0;
}

// A text with a movable gap: splicing at a position moves the gap there first,
// so a splice costs its distance from the previous splice plus its own length.
class GapText {
 public:
  // Holds `s`, with an empty gap at its end.
  explicit GapText(std::string s)
      : buf_(std::move(s)), gap_begin_(buf_.size()), gap_end_(buf_.size()) {}

  // Number of characters held.
  std::size_t size() const { return buf_.size() - GapLen(); }

  // The character at 0-based index i < size().
  char operator[](std::size_t i) const { return i < gap_begin_ ? buf_[i] : buf_[i + GapLen()]; }

  // Whether `needle` occurs at 0-based index i (false when it would run past the end).
  bool MatchesAt(std::size_t i, std::string_view needle) const {
    if (i + needle.size() > size()) return false;
    for (std::size_t k = 0; k < needle.size(); ++k) {
      if ((*this)[i + k] != needle[k]) return false;
    }
    return true;
  }

  // 0-based index of the first non-empty `needle` at or after `from`, or npos.
  std::size_t Find(std::string_view needle, std::size_t from) const {
    if (from < gap_begin_) {
      const std::size_t hit = Before().find(needle, from);
      if (hit != std::string_view::npos) return hit;
      // Occurrences that straddle the gap.
      const std::size_t n = needle.size();
      for (std::size_t i = std::max(from, gap_begin_ >= n ? gap_begin_ - n + 1 : 0); i < gap_begin_;
           ++i) {
        if (MatchesAt(i, needle)) return i;
      }
    }
    const std::size_t hit = After().find(needle, std::max(from, gap_begin_) - gap_begin_);
    return hit == std::string_view::npos ? std::string_view::npos : hit + gap_begin_;
  }

  // The `len` characters from 0-based `pos`; pos + len <= size().
  std::string Substr(std::size_t pos, std::size_t len) const {
    std::string out;
    out.reserve(len);
    if (pos < gap_begin_) {
      const std::size_t head = std::min(len, gap_begin_ - pos);
      out.append(Before().substr(pos, head));
      pos = gap_begin_;
      len -= head;
    }
    return out.append(After().substr(pos - gap_begin_, len));
  }

  // Replaces the `len` characters from 0-based `pos` by `with`; the gap ends up
  // just after the inserted text.
  void Replace(std::size_t pos, std::size_t len, std::string_view with) {
    MoveGap(pos);
    gap_end_ += len;
    if (GapLen() < with.size()) {
      // Grow by at least half the text so that repeated growth stays linear.
      const std::size_t gap = with.size() + size() / 2 + 64;
      std::string grown;
      grown.reserve(size() + gap);
      grown.append(Before()).append(gap, '\0').append(After());
      gap_end_ = gap_begin_ + gap;
      buf_ = std::move(grown);
    }
    std::copy(with.begin(), with.end(), buf_.begin() + static_cast<std::ptrdiff_t>(gap_begin_));
    gap_begin_ += with.size();
  }

  // The whole text.
  std::string Str() const { return std::string(Before()).append(After()); }

 private:
  // Width of the gap.
  std::size_t GapLen() const { return gap_end_ - gap_begin_; }
  // The characters before the gap.
  std::string_view Before() const { return {buf_.data(), gap_begin_}; }
  // The characters after the gap.
  std::string_view After() const { return {buf_.data() + gap_end_, buf_.size() - gap_end_}; }

  // Moves the gap so that it starts at 0-based text index `pos` <= size().
  void MoveGap(std::size_t pos) {
    if (pos < gap_begin_) {
      const std::size_t n = gap_begin_ - pos;
      std::memmove(buf_.data() + gap_end_ - n, buf_.data() + pos, n);
      gap_begin_ -= n;
      gap_end_ -= n;
    } else if (pos > gap_begin_) {
      const std::size_t n = pos - gap_begin_;
      std::memmove(buf_.data() + gap_begin_, buf_.data() + gap_end_, n);
      gap_begin_ += n;
      gap_end_ += n;
    }
  }

  std::string buf_;
  std::size_t gap_begin_;
  std::size_t gap_end_;
};

// InStr(start, s, needle) over a gap buffer; same rules as the string version.
Pos InStr(Pos start, const GapText& s, std::string_view needle) {
  if (!InStrStartInRange(s.size(), start)) return 0;
  if (needle.empty()) return start;
  const std::size_t hit = s.Find(needle, static_cast<std::size_t>(start - 1));
  return hit == std::string_view::npos ? 0 : static_cast<Pos>(hit) + 1;
}

// Mid(s, start, length) over a gap buffer; same rules as the string version.
std::string Mid(const GapText& s, Pos start, Pos length) {
  const Range r = MidRange(s.size(), start, length);
  return s.Substr(r.pos, r.len);
}

// The lowest index at which an occurrence of a `width`-character keyword could
// start once the text from index k on has been replaced: one that starts lower
// would lie wholly in the unchanged text.
std::size_t ReachBack(std::size_t k, std::size_t width) {
  return k >= width - 1 ? k - (width - 1) : 0;
}

// Number of quotes in `s`.
std::size_t QuoteCount(std::string_view s) {
  return static_cast<std::size_t>(std::count(s.begin(), s.end(), '\''));
}

// How far the pass may grow a statement: 16 times its length plus 64 KiB.
// Well-formed rewrites stay within a few times the input. A format text that
// holds FORMAT( itself makes every rewrite copy it again, so the statement
// grows on every pass without end; that is reported as running out of memory,
// which is where such text ends up anyway.
constexpr std::size_t kGrowthFactor = 16;
constexpr std::size_t kGrowthAllowance = std::size_t{64} << 10;

// What the pass knows about where a keyword first occurs: none starts before
// `from`; when `exact`, `from` is the first occurrence (npos: there is none).
struct Known {
  std::size_t from = 0;
  bool exact = false;
};

// The repeated FORMAT/IIF pass over one statement.
class PassLoop {
 public:
  // Takes the statement as the earlier rewrites left it.
  explicit PassLoop(std::string statement)
      : max_size_(statement.size() * kGrowthFactor + kGrowthAllowance), s_(std::move(statement)) {}

  // Runs passes until one changes nothing and returns the statement. A pass
  // whose only finding is an IIF( without two commas and a ")" changes nothing,
  // so it ends the loop instead of repeating it forever; any other pass that
  // finds a keyword rewrites it. Raises error 5 from a malformed FORMAT(, and
  // error 7 when the statement outgrows max_size_.
  std::string Run() {
    for (;;) {
      const bool format_changed = FormatStep();
      const bool iif_changed = IifStep();
      if (!format_changed && !iif_changed) return s_.Str();
    }
  }

 private:
  // Rewrites the first FORMAT( into CONVERT(VARCHAR,expr,style) when its format
  // is in the style table, else into the zero-padding form. Returns whether it
  // found one.
  bool FormatStep() {
    const std::size_t hit = First(format_, kFormat, false);
    if (hit == std::string_view::npos) return false;
    const Pos p = static_cast<Pos>(hit) + 1;
    const Pos q = InStr(p, s_, ",");
    // No comma: the length is negative and Mid raises error 5.
    const std::string expr = Trim(Mid(s_, p + Len(kFormat), q - p - Len(kFormat)));
    // The quote search starts from where the expression would end had it not
    // been trimmed of leading blanks, as the rule is written.
    const Pos r1 = InStr(p + Len(kFormat) + Len(expr), s_, "'");
    const Pos r2 = InStr(r1 + 1, s_, "'");
    // No quote pair after the expression: r2 <= r1 and Mid raises error 5.
    const std::string format = Trim(Mid(s_, r1 + 1, r2 - r1 - 1));
    // With no quote after the expression r1 is 0 and this InStr raises error 5.
    const Pos c = InStr(r1, s_, ")");
    // No ")" after the format: the text after c would be the whole statement,
    // which then holds the same FORMAT( again and grows on every pass. Reported
    // as the invalid call it is rather than growing without end.
    if (c == 0) InvalidCall();

    std::string rewritten;
    if (const int style = StyleOf(format); style != 0) {
      rewritten = "CONVERT(VARCHAR," + expr + "," + std::to_string(style) + ")";
    } else {
      rewritten = "SUBSTRING('" + format + "',1,LEN('" + format + "')-LEN(" + expr + ")) + " + expr;
    }
    Splice(p, c - p + 1, rewritten);
    return true;
  }

  // Rewrites the first IIF( outside quoted literals into a CASE expression when
  // it is followed by two commas and a ")" outside literals. The replaced text
  // starts at the first IIF( of the statement, which is an earlier one inside a
  // literal when there is one. Returns whether it rewrote anything.
  bool IifStep() {
    const std::size_t hit = First(unquoted_iif_, kIif, true);
    if (hit == std::string_view::npos) return false;
    const Pos p = static_cast<Pos>(hit) + 1;
    const Pos c1 = InStrUnquoted(p, ",");
    if (c1 == 0) return false;
    const Pos c2 = InStrUnquoted(c1 + 1, ",");
    if (c2 == 0) return false;
    const Pos c3 = InStrUnquoted(c2 + 1, ")");
    if (c3 == 0) return false;

    const std::string condition = Mid(s_, p + Len(kIif), c1 - p - Len(kIif));
    const std::string when_true = Mid(s_, c1 + 1, c2 - c1 - 1);
    const std::string when_false = Mid(s_, c2 + 1, c3 - c2 - 1);
    const Pos first = static_cast<Pos>(First(iif_, kIif, false)) + 1;  // at or before p
    Splice(first, c3 - first + 1,
           "(CASE WHEN " + condition + " THEN " + when_true + " ELSE " + when_false + " END)");
    return true;
  }

  // The 0-based index of the first `needle` (outside literals when `unquoted`),
  // or npos; searches only when `known` does not already say.
  std::size_t First(Known& known, std::string_view needle, bool unquoted) {
    if (!known.exact) {
      known.from = unquoted ? FindUnquoted(needle, known.from, s_.size())
                            : FindIn(needle, known.from, s_.size());
      known.exact = true;
    }
    return known.from;
  }

  // InStr(start, MaskQuotes(statement), needle), 1-based: see FindUnquoted.
  Pos InStrUnquoted(Pos start, std::string_view needle) {
    if (!InStrStartInRange(s_.size(), start)) return 0;
    const std::size_t hit = FindUnquoted(needle, static_cast<std::size_t>(start - 1), s_.size());
    return hit == std::string_view::npos ? 0 : static_cast<Pos>(hit) + 1;
  }

  // The first occurrence of `needle` (no quotes or blanks in it) outside
  // quoted literals that starts in [from, to), or npos; it may end past `to`.
  // Equal to searching MaskQuotes(statement). Remembers the quote state where
  // the scan stopped.
  std::size_t FindUnquoted(std::string_view needle, std::size_t from, std::size_t to) {
    bool open = QuoteOpenAt(from);
    std::size_t i = from;
    std::size_t hit = std::string_view::npos;
    for (; i < to && i + needle.size() <= s_.size(); ++i) {
      const char ch = s_[i];
      if (ch == '\'') {
        open = !open;
      } else if (!open && ch == needle.front() && s_.MatchesAt(i, needle)) {
        hit = i;
        break;
      }
    }
    quote_pos_ = i;
    quote_open_ = open;
    return hit;
  }

  // The first occurrence of `needle` that starts in [from, to), or npos.
  std::size_t FindIn(std::string_view needle, std::size_t from, std::size_t to) const {
    if (to >= s_.size()) return s_.Find(needle, std::min(from, s_.size()));
    for (std::size_t i = from; i < to; ++i) {
      if (s_.MatchesAt(i, needle)) return i;
    }
    return std::string_view::npos;
  }

  // Whether a quoted literal is open just before 0-based index `pos`, that is
  // whether the text before it holds an odd number of quotes. Counts from the
  // remembered position and remembers `pos`.
  bool QuoteOpenAt(std::size_t pos) {
    for (; quote_pos_ < pos; ++quote_pos_) quote_open_ ^= s_[quote_pos_] == '\'';
    for (; quote_pos_ > pos; --quote_pos_) quote_open_ ^= s_[quote_pos_ - 1] == '\'';
    return quote_open_;
  }

  // Replaces Mid(statement, start, length) by `with` and brings what is known
  // about the keywords and the quote state up to date. Raises error 7 instead
  // when the result would be longer than max_size_.
  void Splice(Pos start, Pos length, std::string_view with) {
    const std::size_t k = static_cast<std::size_t>(start - 1);
    const std::size_t len = static_cast<std::size_t>(length);
    const std::size_t end = k + len;
    if (s_.size() - len + with.size() > max_size_) rt::Raise(rt::err::kOutOfMemory);
    // Whether the text after the splice changes from inside to outside a
    // literal or back.
    const bool flips = (QuoteCount(s_.Substr(k, len)) + QuoteCount(with)) % 2 != 0;

    if (quote_pos_ > k && quote_pos_ < end) {
      QuoteOpenAt(k);
    } else if (quote_pos_ > k) {
      quote_pos_ = quote_pos_ - len + with.size();
      quote_open_ ^= flips;
    }
    s_.Replace(k, len, with);
    Update(format_, kFormat, false, k, end, with.size(), flips);
    Update(iif_, kIif, false, k, end, with.size(), flips);
    Update(unquoted_iif_, kIif, true, k, end, with.size(), flips);
  }

  // Brings `known` up to date after the old text [k, end) became the new text
  // [k, k + width). Before k nothing changed. An exact first occurrence after
  // the old text, or the knowledge that there is none, carries over to the text
  // after the new one (for an unquoted keyword only when the quote state there
  // did not flip), so only the new text and its edges need a search.
  void Update(Known& known, std::string_view needle, bool unquoted, std::size_t k, std::size_t end,
              std::size_t width, bool flips) {
    const std::size_t low = ReachBack(k, needle.size());
    if (known.from < low) return;
    const bool after = known.from == std::string_view::npos || known.from >= end;
    if (known.exact && after && !(unquoted && flips)) {
      const std::size_t stop = k + width;
      const std::size_t hit =
          unquoted ? FindUnquoted(needle, low, stop) : FindIn(needle, low, stop);
      if (hit != std::string_view::npos) {
        known.from = hit;
      } else if (known.from != std::string_view::npos) {
        known.from = known.from - (end - k) + width;
      }
      return;
    }
    known = {low, false};
  }

  const std::size_t max_size_;
  GapText s_;
  Known format_;               // FORMAT(
  Known iif_;                  // IIF(, also inside literals
  Known unquoted_iif_;         // IIF( outside literals
  std::size_t quote_pos_ = 0;  // a remembered index ...
  bool quote_open_ = false;    // ... and whether a literal is open just before it
};

}  // namespace

// A quote toggles between outside and inside a literal; both quotes and
// everything between them become blanks.
std::string MaskQuotes(std::string_view text) {
  std::string out(text);
  bool open = false;
  for (char& ch : out) {
    if (ch == '\'') {
      open = !open;
      ch = ' ';
    } else if (open) {
      ch = ' ';
    }
  }
  return out;
}

// Both delimiters empty delimit nothing and give no occurrences (the scan would
// otherwise find the same empty occurrence forever). The right delimiter is
// looked for from the end of the left one, the next left one from the end of
// the right one, so occurrences never overlap.
std::vector<Occurrence> FindOccurrences(std::string_view text, std::string_view left,
                                        std::string_view right) {
  std::vector<Occurrence> found;
  if (left.empty() && right.empty()) return found;
  for (Pos a = InStr(1, text, left); a > 0;) {
    const Pos from = a + Len(left);
    const Pos b = InStr(from, text, right);
    if (b == 0) break;
    found.push_back({static_cast<std::size_t>(from), Mid(text, from, b - from)});
    a = InStr(b + Len(right), text, left);
  }
  return found;
}

// The pattern and the replacement are split at their first "*".
std::string WildcardReplace(std::string_view text, std::string_view pattern,
                            std::string_view replacement) {
  const Pos star = InStr(1, pattern, "*");
  if (star == 0) return ReplaceAll(text, pattern, replacement);
  const std::string left = Left(pattern, star - 1);
  const std::string right = Mid(pattern, star + 1);
  const Pos repl_star = InStr(1, replacement, "*");

  std::string out;
  Pos done = 1;  // first position not yet copied
  for (const Occurrence& o : FindOccurrences(text, left, right)) {
    const Pos start = static_cast<Pos>(o.start);
    out += Mid(text, done, start - Len(left) - done);
    if (repl_star == 0) {
      out += replacement;
    } else {
      out += Left(replacement, repl_star - 1);
      out += o.captured;
      out += Mid(replacement, repl_star + 1);
    }
    done = start + Len(o.captured) + Len(right);
  }
  return out + Mid(text, done);
}

// Applies the rewrites in their fixed order; the FORMAT/IIF pass comes last.
std::string TranslateJetToSql(std::string_view statement) {
  // Normalise. String literals are upper-cased too.
  std::string s = rt::AsciiUpper(statement);
  s = ReplaceAll(s, "#", "'");
  s = ReplaceAll(s, ";", "");
  s = ReplaceAll(s, "&", "+");

  // DELETE * FROM and DELETE T.* FROM lose the "*" and the ".": the head up to
  // and including the blank before FROM is cleaned, the rest kept.
  if (Left(s, 6) == "DELETE") {
    const Pos p = InStr(1, s, " FROM");
    std::string head = Left(s, p);
    head = ReplaceAll(head, ".", "");
    head = ReplaceAll(head, "* ", " ");
    s = head + Mid(s, p + 1);
  }

  // MID( after a blank or a comma only.
  if (InStr(1, s, "MID") > 0) {
    s = ReplaceAll(s, " MID(", " SUBSTRING(");
    s = ReplaceAll(s, ",MID(", ",SUBSTRING(");
  }

  // VAL(x) up to the first ")" after it, parentheses not balanced.
  if (InStr(1, s, "VAL(") > 0) s = WildcardReplace(s, "VAL(*)", "CAST(* AS INT)");

  return PassLoop(std::move(s)).Run();
}

}  // namespace zmdb::sqlconv
