// See gap_text.h. Every operation adds what it moves or scans to work_.
#include "gap_text.h"

#include <algorithm>
#include <cstring>
#include <optional>

namespace zmdb::sqlconv {
namespace {

std::size_t Distance(std::size_t a, std::size_t b) {
  return a > b ? a - b : b - a;
}

}  // namespace

GapText::GapText(std::string_view text, std::size_t budget)
    : buf_(text), gap_begin_(buf_.size()), gap_end_(buf_.size()), budget_(budget) {}

std::string GapText::Substr(std::size_t pos, std::size_t len) const {
  pos = std::min(pos, size());
  len = std::min(len, size() - pos);
  work_ += len;
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

bool GapText::MatchesAt(std::size_t i, std::string_view needle) const {
  if (i + needle.size() > size()) return false;
  for (std::size_t k = 0; k < needle.size(); ++k) {
    if (At(i + k) != needle[k]) return false;
  }
  return true;
}

// The first non-empty `needle` at or after `from`, straddling the gap or not.
std::size_t GapText::FindAnywhere(std::string_view needle, std::size_t from) const {
  std::size_t hit = npos;
  if (from < gap_begin_) {
    hit = Before().find(needle, from);
    // Occurrences that straddle the gap.
    const std::size_t n = needle.size();
    for (std::size_t i = std::max(from, gap_begin_ >= n ? gap_begin_ - n + 1 : 0);
         hit == npos && i < gap_begin_; ++i) {
      if (MatchesAt(i, needle)) hit = i;
    }
  }
  if (hit == npos) {
    hit = After().find(needle, std::max(from, gap_begin_) - gap_begin_);
    if (hit != npos) hit += gap_begin_;
  }
  work_ += (hit == npos ? size() : hit) - std::min(from, size());
  return hit;
}

std::size_t GapText::FindChar(char c, std::size_t from) const {
  return FindAnywhere(std::string_view(&c, 1), from);
}

GapText::QuoteMark& GapText::NearestMark(std::size_t pos) const {
  return Distance(marks_[0].pos, pos) <= Distance(marks_[1].pos, pos) ? marks_[0] : marks_[1];
}

// Moves `mark` to `pos`, counting the quotes it passes, and gives its state.
bool GapText::Walk(QuoteMark& mark, std::size_t pos) const {
  work_ += Distance(mark.pos, pos);
  for (; mark.pos < pos; ++mark.pos) mark.open ^= At(mark.pos) == '\'';
  for (; mark.pos > pos; --mark.pos) mark.open ^= At(mark.pos - 1) == '\'';
  return mark.open;
}

std::size_t GapText::FindUnquotedChar(char c, std::size_t from) const {
  return Find(std::string_view(&c, 1), from, size(), Scope::kOutside);
}

// A search within literals or outside them remembers the quote state where it
// stopped.
std::size_t GapText::Find(std::string_view needle, std::size_t from, std::size_t to,
                          Scope scope) const {
  if (scope == Scope::kAnywhere) {
    if (to >= size()) return FindAnywhere(needle, std::min(from, size()));
    for (std::size_t i = from; i < to; ++i) {
      if (MatchesAt(i, needle)) {
        work_ += i - from;
        return i;
      }
    }
    work_ += to > from ? to - from : 0;
    return npos;
  }
  const bool inside = scope == Scope::kInside;
  QuoteMark& mark = NearestMark(from);
  bool open = Walk(mark, std::min(from, size()));
  std::size_t i = from;
  std::size_t hit = npos;
  for (; i < to && i + needle.size() <= size(); ++i) {
    const char ch = At(i);
    if (ch == '\'') {
      open = !open;
    } else if (open == inside && ch == needle.front() && MatchesAt(i, needle)) {
      hit = i;
      break;
    }
  }
  work_ += i > from ? i - from : 0;
  if (i <= size()) mark = {i, open};
  return hit;
}

std::size_t GapText::QuotesIn(std::size_t pos, std::size_t len) const {
  std::size_t quotes = 0;
  for (std::size_t i = pos; i < pos + len; ++i) quotes += At(i) == '\'';
  work_ += len;
  return quotes;
}

// Moves the gap so that it starts at 0-based text index `pos` <= size().
void GapText::MoveGap(std::size_t pos) {
  if (pos < gap_begin_) {
    const std::size_t n = gap_begin_ - pos;
    std::memmove(buf_.data() + gap_end_ - n, buf_.data() + pos, n);
    gap_begin_ -= n;
    gap_end_ -= n;
    work_ += n;
  } else if (pos > gap_begin_) {
    const std::size_t n = pos - gap_begin_;
    std::memmove(buf_.data() + gap_begin_, buf_.data() + gap_end_, n);
    gap_begin_ += n;
    gap_end_ += n;
    work_ += n;
  }
}

void GapText::Replace(std::size_t pos, std::size_t len, std::string_view with) {
  const std::size_t end = pos + len;
  // A remembered quote state inside the replaced text moves to its start; one
  // after it shifts with the text and flips when the replacement changes the
  // parity of the quotes before it.
  std::optional<bool> flips;
  for (QuoteMark& mark : marks_) {
    if (mark.pos > pos && mark.pos < end) {
      Walk(mark, pos);
    } else if (mark.pos > pos) {
      if (!flips) {
        const std::size_t quotes = QuotesIn(pos, len) + static_cast<std::size_t>(
                                                            std::count(with.begin(), with.end(), '\''));
        flips = quotes % 2 != 0;
      }
      mark.pos = mark.pos - len + with.size();
      mark.open ^= *flips;
    }
  }
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
    work_ += buf_.size();
  }
  std::copy(with.begin(), with.end(), buf_.begin() + static_cast<std::ptrdiff_t>(gap_begin_));
  gap_begin_ += with.size();
  work_ += with.size();
}

}  // namespace zmdb::sqlconv
