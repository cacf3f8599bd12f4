// See gap_text.h. Every operation adds what it moves or scans to work_.
#include "gap_text.h"

#include <algorithm>
#include <cstring>

namespace zmdb::sqlconv {

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

// Counts from the remembered position and remembers `pos`.
bool GapText::QuoteOpenAt(std::size_t pos) const {
  work_ += pos > quote_pos_ ? pos - quote_pos_ : quote_pos_ - pos;
  for (; quote_pos_ < pos; ++quote_pos_) quote_open_ ^= At(quote_pos_) == '\'';
  for (; quote_pos_ > pos; --quote_pos_) quote_open_ ^= At(quote_pos_ - 1) == '\'';
  return quote_open_;
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
  bool open = QuoteOpenAt(std::min(from, size()));
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
  if (i <= size()) {
    quote_pos_ = i;
    quote_open_ = open;
  }
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
  // The remembered quote state: inside the replaced text it moves to its start;
  // after it, it shifts with the text and flips when the replacement changes
  // the parity of the quotes before it.
  if (quote_pos_ > pos && quote_pos_ < end) {
    QuoteOpenAt(pos);
  } else if (quote_pos_ > pos) {
    const std::size_t quotes =
        QuotesIn(pos, len) + static_cast<std::size_t>(std::count(with.begin(), with.end(), '\''));
    quote_pos_ = quote_pos_ - len + with.size();
    quote_open_ ^= quotes % 2 != 0;
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
