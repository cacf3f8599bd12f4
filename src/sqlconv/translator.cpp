// Jet-to-SQL-Server statement translation.
//
// The rewrites are written with 1-based positions and with InStr/Mid/Left
// helpers that keep the classic string functions' rules, including the
// run-time error 5 they raise on a negative length or a start below 1: the
// translator's failure modes on awkward FORMAT( text are exactly those errors.
//
// The FORMAT/IIF pass is repeated until nothing changes. Each pass rewrites the
// first FORMAT( and the first IIF( only, so a literal implementation rescans,
// re-masks and rebuilds the whole statement per pass, which is quadratic, and
// nesting makes every argument it copies as long as the statement. The pass
// loop below produces the same text but carries what it knows about each
// keyword's first occurrence across every splice (only the new text and its
// edges need a search), edits only the characters a rewrite changes, and
// keeps the statement in a tree that answers quote state and next-delimiter
// questions without a scan (text_tree.h). A flat statement runs fastest in a
// gap buffer instead (gap_text.h), so the loop starts there and starts again
// in the tree only when the buffer's work outgrows the statement's length.
#include "zmdb/sqlconv/translator.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "gap_text.h"
#include "text_tree.h"
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

// InStr(start, s, needle) over the pass's text (a GapText or a TextTree) for a
// needle of one character (one of , ) '); same rules as the string version.
template <class Text>
Pos InStr(Pos start, const Text& s, char needle) {
  if (!InStrStartInRange(s.size(), start)) return 0;
  const std::size_t hit = s.FindChar(needle, static_cast<std::size_t>(start - 1));
  return hit == Text::npos ? 0 : static_cast<Pos>(hit) + 1;
}

// Mid(s, start, length) over the pass's text; same rules as the string version.
template <class Text>
std::string Mid(const Text& s, Pos start, Pos length) {
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

// The work (characters moved or scanned) the FORMAT/IIF pass may do in a
// GapText before it starts again in a TextTree: 64 times the statement's
// length plus 1 MiB. Flat select lists, however long, need about 18 times
// their length; nested calls and rewrites far apart need more with every
// level and so end up in the tree, whose cost does not grow with nesting.
constexpr std::size_t kBufferWorkFactor = 64;
constexpr std::size_t kBufferWorkAllowance = std::size_t{1} << 20;

// What the pass knows about where a keyword first occurs: none starts before
// `from`; when `exact`, `from` is the first occurrence (npos: there is none).
struct Known {
  std::size_t from = 0;
  bool exact = false;
};

// One replacement of a rewrite: the 0-based range [begin, end) of the text
// and what takes its place.
struct Edit {
  std::size_t begin;
  std::size_t end;
  std::string with;
};

// The repeated FORMAT/IIF pass over one statement.
//
// Each rewrite is applied as a few edits where the text changes (the keyword,
// the delimiters, the closing parenthesis) and leaves the arguments between
// them where they stand instead of copying them, so a pass costs the size of
// what it changes, not the size of its arguments; with nesting the arguments
// hold most of the statement. In a TextTree edits far apart and searches for
// the next delimiter past a long nested run cost its depth; a GapText is
// faster while they stay close and gives up once they do not.
template <class Text>
class PassLoop {
 public:
  // Takes the statement as the earlier rewrites left it, held in `text`.
  // Adds what the passes cost to `cost`.
  PassLoop(std::size_t statement_size, Text text, PassCost& cost)
      : max_size_(statement_size * kGrowthFactor + kGrowthAllowance),
        s_(std::move(text)),
        cost_(cost) {}

  // Runs passes until one changes nothing and returns the statement. A pass
  // whose only finding is an IIF( without two commas and a ")" changes nothing,
  // so it ends the loop instead of repeating it forever; any other pass that
  // finds a keyword rewrites it. Raises error 5 from a malformed FORMAT(, and
  // error 7 when the statement outgrows max_size_. Gives nullopt when the text
  // reports that it has done more work than its budget allows.
  std::optional<std::string> Run() {
    try {
      for (;;) {
        Count();
        if constexpr (requires { s_.OverBudget(); }) {
          if (s_.OverBudget()) return std::nullopt;
        }
        ++cost_.passes;
        const bool format_changed = FormatStep();
        const bool iif_changed = IifStep();
        if (!format_changed && !iif_changed) {
          Count();
          return s_.Str();
        }
      }
    } catch (...) {
      Count();
      throw;
    }
  }

 private:
  // Adds the text's work since the last call to cost_.
  void Count() {
    cost_.work += s_.work() - counted_;
    counted_ = s_.work();
  }

  // Rewrites the first FORMAT( into CONVERT(VARCHAR,expr,style) when its format
  // is in the style table, else into the zero-padding form. Returns whether it
  // found one.
  bool FormatStep() {
    const std::size_t hit = First(format_, kFormat, Scope::kAnywhere);
    if (hit == std::string_view::npos) return false;
    const Pos p = static_cast<Pos>(hit) + 1;
    const Pos q = InStr(p, s_, ',');
    // No comma: the length is negative and Mid raises error 5.
    MidRange(s_.size(), p + Len(kFormat), q - p - Len(kFormat));
    // The expression is the text between FORMAT( and the comma without its
    // outer blanks: 0-based [expr_begin, expr_end).
    const std::size_t args = hit + kFormat.size();
    std::size_t expr_begin = args;
    std::size_t expr_end = static_cast<std::size_t>(q - 1);
    while (expr_begin < expr_end && s_.MatchesAt(expr_begin, " ")) ++expr_begin;
    while (expr_end > expr_begin && s_.MatchesAt(expr_end - 1, " ")) --expr_end;
    const Pos expr_len = static_cast<Pos>(expr_end - expr_begin);
    // The quote search starts from where the expression would end had it not
    // been trimmed of leading blanks, as the rule is written.
    const Pos r1 = InStr(p + Len(kFormat) + expr_len, s_, '\'');
    const Pos r2 = InStr(r1 + 1, s_, '\'');
    // No quote pair after the expression: r2 <= r1 and Mid raises error 5.
    const std::string format = Trim(Mid(s_, r1 + 1, r2 - r1 - 1));
    // With no quote after the expression r1 is 0 and this InStr raises error 5.
    const Pos c = InStr(r1, s_, ')');
    // No ")" after the format: the text after c would be the whole statement,
    // which then holds the same FORMAT( again and grows on every pass. Reported
    // as the invalid call it is rather than growing without end.
    if (c == 0) InvalidCall();
    const std::size_t close = static_cast<std::size_t>(c);  // 0-based, one past the ")"

    const int style = StyleOf(format);
    if (style != 0 && expr_end <= close) {
      // The expression stays in place between the two edits.
      Apply({{hit, expr_begin, "CONVERT(VARCHAR,"},
             {expr_end, close, "," + std::to_string(style) + ")"}});
      return true;
    }
    const std::string expr = s_.Substr(expr_begin, expr_end - expr_begin);
    std::string rewritten;
    if (style != 0) {
      // A quote inside the expression ended the format search early, so the
      // rest after ")" overlaps the expression: rebuilt whole.
      rewritten = "CONVERT(VARCHAR," + expr + "," + std::to_string(style) + ")";
    } else {
      rewritten = "SUBSTRING('" + format + "',1,LEN('" + format + "')-LEN(" + expr + ")) + " + expr;
    }
    Apply({{hit, close, rewritten}});
    return true;
  }

  // Rewrites the first IIF( outside quoted literals into a CASE expression when
  // it is followed by two commas and a ")" outside literals. The replaced text
  // starts at the first IIF( of the statement, which is an earlier one inside a
  // literal when there is one. Returns whether it rewrote anything.
  bool IifStep() {
    // With no IIF( anywhere there is none inside or outside literals; asking
    // that first keeps the quote state out of statements without IIF(.
    if (First(iif_, kIif, Scope::kAnywhere) == std::string_view::npos) {
      unquoted_iif_ = quoted_iif_ = iif_;
      return false;
    }
    // Knowing the first IIF( inside literals too lets a splice that flips the
    // quote state after it swap the two instead of searching its tail again.
    First(quoted_iif_, kIif, Scope::kInside);
    const std::size_t hit = First(unquoted_iif_, kIif, Scope::kOutside);
    if (hit == std::string_view::npos) return false;
    const std::size_t c1 = Unquoted(',', hit);
    if (c1 == Text::npos) return false;
    const std::size_t c2 = Unquoted(',', c1 + 1);
    if (c2 == Text::npos) return false;
    const std::size_t c3 = Unquoted(')', c2 + 1);
    if (c3 == Text::npos) return false;
    const std::size_t first = First(iif_, kIif, Scope::kAnywhere);  // at or before hit
    // Condition, true part and false part stay where they are.
    Apply({{first, hit + kIif.size(), "(CASE WHEN "},
           {c1, c1 + 1, " THEN "},
           {c2, c2 + 1, " ELSE "},
           {c3, c3 + 1, " END)"}});
    return true;
  }

  // Applies `edits` (disjoint, left to right, positions in the text before any
  // of them) after checking the size of the result against max_size_ (error 7).
  // A GapText takes them as one splice with the text between them copied: for
  // the short arguments it is fast for, that saves the bookkeeping of the others.
  void Apply(std::initializer_list<Edit> edits) {
    std::size_t size = s_.size();
    for (const Edit& e : edits) size = size - (e.end - e.begin) + e.with.size();
    if (size > max_size_) rt::Raise(rt::err::kOutOfMemory);
    if constexpr (std::is_same_v<Text, GapText>) {
      std::string with;
      for (const Edit* e = edits.begin(); e != edits.end(); ++e) {
        if (e != edits.begin()) with += s_.Substr((e - 1)->end, e->begin - (e - 1)->end);
        with += e->with;
      }
      Splice(edits.begin()->begin, (edits.end() - 1)->end, with);
    } else {
      for (auto e = std::rbegin(edits); e != std::rend(edits); ++e)
        Splice(e->begin, e->end, e->with);
    }
  }

  // The 0-based index of the first `c` outside literals at or after `from`, or
  // npos. The search stops at the nearest remembered search that starts at or
  // after `from` and takes its answer from there. The new search is remembered
  // in turn (the oldest dropped beyond kDelimiters), with the first `c` inside
  // literals as far as that costs no more than the search outside did.
  // A TextTree finds the next `c` outside literals in time that does not grow
  // with the distance, and asks the text directly.
  std::size_t Unquoted(char c, std::size_t from) {
    if constexpr (!std::is_same_v<Text, GapText>) return s_.FindUnquotedChar(c, from);
    const std::string_view needle(&c, 1);
    Delimiter* next = nullptr;
    for (Delimiter& d : delimiters_) {
      if (d.c == c && d.from >= from && (next == nullptr || d.from < next->from)) next = &d;
    }
    const std::size_t to = next != nullptr ? next->from : s_.size();
    std::size_t out = s_.Find(needle, from, to, Scope::kOutside);
    const bool out_before_to = out != Text::npos;
    if (!out_before_to && next != nullptr) {
      out = next->at[kOut];
      if (out == kUnknown) out = s_.Find(needle, to, s_.size(), Scope::kOutside);
    }
    std::size_t in = s_.Find(needle, from, out_before_to ? out : to, Scope::kInside);
    if (in == Text::npos) in = out_before_to ? kUnknown : next != nullptr ? next->at[kIn] : in;
    if (next != nullptr && next->from == from) {
      next->at = {out, in};
    } else {
      if (delimiters_.size() == kDelimiters) delimiters_.erase(delimiters_.begin());
      delimiters_.push_back({c, from, {out, in}});
    }
    return out;
  }

  // Brings the remembered delimiter searches up to date after the old text
  // [k, end) became the new text [k, k + width). A search that starts after the
  // splice moves with its text, and a flip of the quote state before it swaps
  // its answers inside and outside literals. One that starts at or before k
  // keeps an answer that lies before k and forgets any other; one whose start
  // was replaced, or that knows nothing any more, is dropped.
  void UpdateDelimiters(std::size_t k, std::size_t end, std::size_t width, bool flips) {
    const auto shift = [&](std::size_t at) {
      return at == Text::npos || at == kUnknown ? at : at - (end - k) + width;
    };
    for (Delimiter& d : delimiters_) {
      if (d.from > k && d.from >= end) {
        d.from = shift(d.from);
        d.at = {shift(d.at[kOut]), shift(d.at[kIn])};
        if (flips) std::swap(d.at[kOut], d.at[kIn]);
      } else if (d.from <= k) {
        for (std::size_t& at : d.at) {
          if (at == Text::npos || at >= k) at = kUnknown;
        }
      } else {
        d.at = {kUnknown, kUnknown};
      }
    }
    std::erase_if(delimiters_, [](const Delimiter& d) {
      return d.at[kOut] == kUnknown && d.at[kIn] == kUnknown;
    });
  }

  // The 0-based index of the first `needle` within `scope`, or npos; searches
  // only when `known` does not already say.
  std::size_t First(Known& known, std::string_view needle, Scope scope) {
    if (!known.exact) {
      known.from = s_.Find(needle, known.from, s_.size(), scope);
      known.exact = true;
    }
    return known.from;
  }

  // Replaces [k, end) by `with` and brings what is known about the keywords up
  // to date.
  void Splice(std::size_t k, std::size_t end, std::string_view with) {
    // Whether the text after the splice changes from inside to outside a
    // literal or back.
    const bool flips = (s_.QuotesIn(k, end - k) + QuoteCount(with)) % 2 != 0;
    s_.Replace(k, end - k, with);
    UpdateDelimiters(k, end, with.size(), flips);
    Update(format_, format_, kFormat, Scope::kAnywhere, k, end, with.size(), flips);
    Update(iif_, iif_, kIif, Scope::kAnywhere, k, end, with.size(), flips);
    if (iif_.exact && iif_.from == std::string_view::npos) {
      // None anywhere, so none inside or outside literals, and no quote state
      // needs to be asked (in a GapText that costs the distance from the last
      // position asked, which can be the far end of a statement that a
      // FORMAT( keeps growing in the middle).
      unquoted_iif_ = quoted_iif_ = iif_;
      return;
    }
    const Known outside = unquoted_iif_;
    const Known inside = quoted_iif_;
    Update(unquoted_iif_, inside, kIif, Scope::kOutside, k, end, with.size(), flips);
    Update(quoted_iif_, outside, kIif, Scope::kInside, k, end, with.size(), flips);
  }

  // Brings `known` up to date after the old text [k, end) became the new text
  // [k, k + width). Before k nothing changed. An exact first occurrence after
  // the old text, or the knowledge that there is none, carries over to the text
  // after the new one, so only the new text and its edges need a search. When
  // the quote state after the splice flipped, the occurrences there inside
  // literals are now outside and back: what carries over for a search within
  // literals or outside them is then `flipped`, the old knowledge of the other.
  void Update(Known& known, const Known& flipped, std::string_view needle, Scope scope,
              std::size_t k, std::size_t end, std::size_t width, bool flips) {
    const std::size_t low = ReachBack(k, needle.size());
    if (known.from < low) return;
    const Known& tail = flips && scope != Scope::kAnywhere ? flipped : known;
    // None before `low` either way: known.from is at or after it.
    const bool after = tail.from == std::string_view::npos || tail.from >= end;
    if (tail.exact && after && (known.exact || &tail != &known)) {
      const std::size_t hit = s_.Find(needle, low, k + width, scope);
      if (hit != std::string_view::npos) {
        known.from = hit;
      } else {
        known.from =
            tail.from == std::string_view::npos ? tail.from : tail.from - (end - k) + width;
      }
      known.exact = true;
      return;
    }
    known = {low, false};
  }

  const std::size_t max_size_;
  Text s_;
  PassCost& cost_;
  std::size_t counted_ = 0;  // the part of s_.work() already in cost_
  Known format_;             // FORMAT(
  Known iif_;                // IIF(, also inside literals
  Known unquoted_iif_;       // IIF( outside literals
  Known quoted_iif_;         // IIF( inside literals

  // A delimiter search of the IIF step: the first `c` at or after `from`
  // outside literals (at[kOut]) and inside them (at[kIn]), npos when there is
  // none, kUnknown when not known. A malformed IIF( (no two commas and a ")"
  // after it) is looked at again on every pass while a FORMAT( keeps rewriting
  // the text before it, and without these its search would scan the same tail
  // each time. The state it starts from alternates between two such searches
  // when each rewrite flips the quote state, hence more than one.
  static constexpr std::size_t kUnknown = Text::npos - 1;
  static constexpr int kOut = 0;
  static constexpr int kIn = 1;
  static constexpr std::size_t kDelimiters = 8;
  struct Delimiter {
    char c;
    std::size_t from;
    std::array<std::size_t, 2> at;
  };
  std::vector<Delimiter> delimiters_;
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

std::string TranslateJetToSql(std::string_view statement) {
  return TranslateJetToSql(statement, PassText::kAuto);
}

std::string TranslateJetToSql(std::string_view statement, PassText text) {
  PassCost ignored;
  return TranslateJetToSql(statement, text, ignored);
}

// Applies the rewrites in their fixed order; the FORMAT/IIF pass comes last.
std::string TranslateJetToSql(std::string_view statement, PassText text, PassCost& cost) {
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

  if (text != PassText::kTree) {
    const std::size_t budget = text == PassText::kBuffer
                                   ? GapText::npos
                                   : s.size() * kBufferWorkFactor + kBufferWorkAllowance;
    if (auto done = PassLoop<GapText>(s.size(), GapText(s, budget), cost).Run()) {
      return *std::move(done);
    }
  }
  return *PassLoop<TextTree>(s.size(), TextTree(s), cost).Run();
}

}  // namespace zmdb::sqlconv
