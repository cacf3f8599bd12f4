// An editable text for the translator's repeated rewrite pass: one buffer with
// a movable gap, so a splice costs its distance from the previous one plus its
// own length. It remembers the quote state at two positions, so a question
// about literals costs its distance from the nearer of them; the pass asks near
// its rewrite and near the keyword it looks for next, which can be far apart,
// and one position would walk between them on every pass. That makes it the
// fastest text for statements whose rewrites and searches stay close together,
// and slow (quadratic) for ones that make them jump far, such as nested calls.
// It therefore counts the characters it moves and scans, and reports when that
// work passes a budget; the caller then switches to a TextTree. The interface
// is TextTree's (text_tree.h).
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "text_scope.h"

namespace zmdb::sqlconv {

class GapText {
 public:
  static constexpr std::size_t npos = std::string_view::npos;

  // Holds `text`, with an empty gap at its end; `budget` is the work (characters
  // moved or scanned) after which OverBudget() is true.
  GapText(std::string_view text, std::size_t budget);

  // Number of characters held.
  std::size_t size() const { return buf_.size() - GapLen(); }

  // The work (characters moved or scanned) done so far.
  std::size_t work() const { return work_; }

  // Whether the work done so far exceeds the budget.
  bool OverBudget() const { return work_ > budget_; }

  // The `len` characters from 0-based `pos`, clipped at the end.
  std::string Substr(std::size_t pos, std::size_t len) const;

  // Whether `needle` occurs at 0-based index i.
  bool MatchesAt(std::size_t i, std::string_view needle) const;

  // Index of the first character `c` at or after `from`, or npos.
  std::size_t FindChar(char c, std::size_t from) const;

  // Index of the first character `c` (not a quote) at or after `from` that lies
  // outside quoted literals, or npos.
  std::size_t FindUnquotedChar(char c, std::size_t from) const;

  // Index of the first `needle` within `scope` that starts in [from, to), or
  // npos. It may end past `to`.
  std::size_t Find(std::string_view needle, std::size_t from, std::size_t to, Scope scope) const;

  // Number of quotes among the `len` characters from `pos`.
  std::size_t QuotesIn(std::size_t pos, std::size_t len) const;

  // Replaces the `len` characters from `pos` by `with`; the gap ends up just
  // after the inserted text.
  void Replace(std::size_t pos, std::size_t len, std::string_view with);

  // The whole text.
  std::string Str() const { return std::string(Before()).append(After()); }

 private:
  char At(std::size_t i) const { return i < gap_begin_ ? buf_[i] : buf_[i + GapLen()]; }
  std::size_t GapLen() const { return gap_end_ - gap_begin_; }
  std::string_view Before() const { return {buf_.data(), gap_begin_}; }
  std::string_view After() const { return {buf_.data() + gap_end_, buf_.size() - gap_end_}; }
  void MoveGap(std::size_t pos);
  std::size_t FindAnywhere(std::string_view needle, std::size_t from) const;
  // A position whose quote state is known: whether a literal is open just
  // before index `pos`.
  struct QuoteMark {
    std::size_t pos = 0;
    bool open = false;
  };
  QuoteMark& NearestMark(std::size_t pos) const;
  bool Walk(QuoteMark& mark, std::size_t pos) const;

  std::string buf_;
  std::size_t gap_begin_;
  std::size_t gap_end_;
  std::size_t budget_;
  mutable std::size_t work_ = 0;
  mutable QuoteMark marks_[2];
};

}  // namespace zmdb::sqlconv
