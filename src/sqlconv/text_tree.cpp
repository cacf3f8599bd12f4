// See text_tree.h. Pieces are at most kPiece characters, so summarising one,
// which happens when it is made, costs a bounded scan.
#include "text_tree.h"

#include <algorithm>

namespace zmdb::sqlconv {
namespace {

constexpr std::size_t kPiece = 64;

}  // namespace

TextTree::TextTree(std::string_view text) : store_(text) {
  nodes_.reserve(store_.size() / kPiece * 2 + 16);
  root_ = Build(0, store_.size());
}

int TextTree::NewNode(std::size_t offset, std::size_t length) {
  Node n;
  seed_ ^= seed_ << 13;
  seed_ ^= seed_ >> 17;
  seed_ ^= seed_ << 5;
  n.priority = seed_;
  n.offset = offset;
  n.length = length;
  n.piece.size = length;
  bool open = false;  // relative to the piece's start
  for (char ch : PieceText(n)) {
    if (ch == '\'') {
      ++n.piece.quotes;
      open = !open;
    } else if (ch == ',') {
      ++n.piece.commas;
      n.piece.unquoted |= open ? kCommaOdd : kCommaEven;
    } else if (ch == ')') {
      ++n.piece.closes;
      n.piece.unquoted |= open ? kCloseOdd : kCloseEven;
    }
  }
  n.all = n.piece;
  if (!free_.empty()) {
    const int t = free_.back();
    free_.pop_back();
    At(t) = n;
    return t;
  }
  nodes_.push_back(n);
  return static_cast<int>(nodes_.size() - 1);
}

// A tree of pieces for store_[offset, offset + length), merged left to right.
int TextTree::Build(std::size_t offset, std::size_t length) {
  int t = -1;
  for (std::size_t done = 0; done < length; done += kPiece) {
    t = Merge(t, NewNode(offset + done, std::min(kPiece, length - done)));
  }
  return t;
}

// The summary bits of a part that starts after `quotes` quotes of its own
// sequence: its own bits with odd and even swapped when that count is odd.
static std::uint8_t Shifted(std::uint8_t bits, std::size_t quotes) {
  if (quotes % 2 == 0) return bits;
  return static_cast<std::uint8_t>(((bits & 0x5) << 1) | ((bits & 0xA) >> 1));
}

// The summary of `a` followed by `b`.
static TextTree::Counts Join(const TextTree::Counts& a, const TextTree::Counts& b) {
  TextTree::Counts all;
  all.unquoted = static_cast<std::uint8_t>(a.unquoted | Shifted(b.unquoted, a.quotes));
  all.size = a.size + b.size;
  all.quotes = a.quotes + b.quotes;
  all.commas = a.commas + b.commas;
  all.closes = a.closes + b.closes;
  return all;
}

void TextTree::Pull(int t) {
  Node& n = At(t);
  Counts all = n.piece;
  if (n.left >= 0) all = Join(At(n.left).all, all);
  if (n.right >= 0) all = Join(all, At(n.right).all);
  n.all = all;
}

int TextTree::Merge(int a, int b) {
  if (a < 0) return b;
  if (b < 0) return a;
  if (At(a).priority > At(b).priority) {
    const int merged = Merge(At(a).right, b);
    At(a).right = merged;
    Pull(a);
    return a;
  }
  const int merged = Merge(a, At(b).left);
  At(b).left = merged;
  Pull(b);
  return b;
}

// Splits `t` into its first k characters (a) and the rest (b); a piece that
// straddles k becomes two pieces over the same stored characters.
void TextTree::Split(int t, std::size_t k, int& a, int& b) {
  if (t < 0) {
    a = b = -1;
    return;
  }
  const std::size_t left = Size(At(t).left);
  if (k <= left) {
    int l = -1;
    Split(At(t).left, k, a, l);
    At(t).left = l;
    Pull(t);
    b = t;
    return;
  }
  const std::size_t length = At(t).length;
  if (k >= left + length) {
    int r = -1;
    Split(At(t).right, k - left - length, r, b);
    At(t).right = r;
    Pull(t);
    a = t;
    return;
  }
  // k falls inside this piece.
  const std::size_t cut = k - left;
  const Node old = At(t);
  free_.push_back(t);
  const int head = NewNode(old.offset, cut);
  const int tail = NewNode(old.offset + cut, length - cut);
  a = Merge(old.left, head);
  b = Merge(tail, old.right);
}

void TextTree::Collect(int t, std::size_t base, std::size_t from, std::size_t to,
                       std::string& out) const {
  if (t < 0 || from >= to) return;
  const Node& n = At(t);
  if (to <= base || from >= base + n.all.size) return;
  const std::size_t piece = base + Size(n.left);
  Collect(n.left, base, from, to, out);
  const std::size_t lo = std::max(from, piece);
  const std::size_t hi = std::min(to, piece + n.length);
  if (lo < hi) out.append(PieceText(n).substr(lo - piece, hi - lo));
  Collect(n.right, piece + n.length, from, to, out);
}

std::string TextTree::Substr(std::size_t pos, std::size_t len) const {
  std::string out;
  const std::size_t end = pos + std::min(len, size() - std::min(pos, size()));
  out.reserve(end - std::min(pos, end));
  Collect(root_, 0, pos, end, out);
  work_ += out.size();
  return out;
}

bool TextTree::MatchesAt(std::size_t i, std::string_view needle) const {
  return i + needle.size() <= size() && Substr(i, needle.size()) == needle;
}

std::size_t TextTree::QuotesBefore(int t, std::size_t pos) const {
  std::size_t quotes = 0;
  while (t >= 0 && pos > 0) {
    const Node& n = At(t);
    const std::size_t left = Size(n.left);
    if (pos <= left) {
      t = n.left;
      continue;
    }
    if (n.left >= 0) quotes += At(n.left).all.quotes;
    pos -= left;
    if (pos <= n.length) {
      const std::string_view text = PieceText(n).substr(0, pos);
      return quotes + static_cast<std::size_t>(std::count(text.begin(), text.end(), '\''));
    }
    quotes += n.piece.quotes;
    pos -= n.length;
    t = n.right;
  }
  return quotes;
}

bool TextTree::QuoteOpenAt(std::size_t pos) const {
  return QuotesBefore(root_, pos) % 2 != 0;
}

std::size_t TextTree::QuotesIn(std::size_t pos, std::size_t len) const {
  return QuotesBefore(root_, pos + len) - QuotesBefore(root_, pos);
}

// The count of `c` in a summary.
static std::size_t CountOf(char c, std::size_t quotes, std::size_t commas, std::size_t closes) {
  return c == '\'' ? quotes : c == ',' ? commas : closes;
}

std::size_t TextTree::FindCharIn(int t, std::size_t base, char c, std::size_t from) const {
  if (t < 0) return npos;
  const Node& n = At(t);
  if (from >= base + n.all.size || CountOf(c, n.all.quotes, n.all.commas, n.all.closes) == 0) {
    return npos;
  }
  if (const std::size_t hit = FindCharIn(n.left, base, c, from); hit != npos) return hit;
  const std::size_t piece = base + Size(n.left);
  if (from < piece + n.length && CountOf(c, n.piece.quotes, n.piece.commas, n.piece.closes) != 0) {
    const std::size_t start = from > piece ? from - piece : 0;
    if (const std::size_t i = PieceText(n).find(c, start); i != npos) return piece + i;
  }
  return FindCharIn(n.right, piece + n.length, c, from);
}

std::size_t TextTree::FindChar(char c, std::size_t from) const {
  return FindCharIn(root_, 0, c, from);
}

// `open`: whether a literal is open where this subtree starts.
std::size_t TextTree::FindUnquotedIn(int t, std::size_t base, bool open, char c,
                                     std::size_t from) const {
  if (t < 0) return npos;
  const Node& n = At(t);
  const std::uint8_t bit =
      c == ',' ? (open ? kCommaOdd : kCommaEven) : (open ? kCloseOdd : kCloseEven);
  if (from >= base + n.all.size || (n.all.unquoted & bit) == 0) return npos;
  if (const std::size_t hit = FindUnquotedIn(n.left, base, open, c, from); hit != npos) return hit;
  const std::size_t piece = base + Size(n.left);
  if (n.left >= 0) open ^= At(n.left).all.quotes % 2 != 0;
  if (from < piece + n.length) {
    bool inside = open;
    const std::string_view text = PieceText(n);
    for (std::size_t i = 0; i < text.size(); ++i) {
      if (text[i] == '\'') {
        inside = !inside;
      } else if (!inside && text[i] == c && piece + i >= from) {
        return piece + i;
      }
    }
  }
  open ^= n.piece.quotes % 2 != 0;
  return FindUnquotedIn(n.right, piece + n.length, open, c, from);
}

std::size_t TextTree::FindUnquotedChar(char c, std::size_t from) const {
  if (from >= size()) return npos;
  return FindUnquotedIn(root_, 0, false, c, from);
}

// Searches windows that double in length, so the cost follows the distance to
// the hit rather than the length of the text.
std::size_t TextTree::Find(std::string_view needle, std::size_t from, std::size_t to,
                           Scope scope) const {
  to = std::min(to, size());
  // `open` stays false for a search anywhere, which then matches everywhere.
  const bool any = scope == Scope::kAnywhere;
  const bool inside = scope == Scope::kInside;
  bool open = !any && QuoteOpenAt(std::min(from, size()));
  for (std::size_t window = 256; from < to; window *= 2) {
    const std::size_t stop = std::min(to, from + window);
    const std::string text = Substr(from, stop - from + needle.size() - 1);
    for (std::size_t i = 0; i < stop - from; ++i) {
      if (text[i] == '\'') {
        open = !any && !open;
      } else if (open == inside && text.compare(i, needle.size(), needle) == 0) {
        return from + i;
      }
    }
    from = stop;
  }
  return npos;
}

// Puts every node of `t` on the free list.
void TextTree::Release(int t) {
  if (t < 0) return;
  Release(At(t).left);
  Release(At(t).right);
  free_.push_back(t);
}

void TextTree::Replace(std::size_t pos, std::size_t len, std::string_view with) {
  int head = -1, middle = -1, tail = -1;
  Split(root_, pos, head, middle);
  Split(middle, len, middle, tail);
  Release(middle);
  const std::size_t offset = store_.size();
  store_.append(with);
  root_ = Merge(Merge(head, Build(offset, with.size())), tail);
}

}  // namespace zmdb::sqlconv
