// An editable text for the translator's repeated rewrite pass: a balanced tree
// (a treap ordered by position) of short pieces, each subtree knowing its
// length, how many quotes, commas and closing parentheses it holds, and whether
// it holds a comma or ")" outside quoted literals for either quote state at its
// start. A splice anywhere, the quote state before any position and the next
// comma, quote or ")" (inside or outside literals) all cost the tree's depth,
// so a pass that edits far apart places and searches past long runs stays
// cheap however deeply the statement nests. Operations that walk the tree
// recurse only as deep as the tree, which stays logarithmic in its size.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "text_scope.h"

namespace zmdb::sqlconv {

class TextTree {
 public:
  static constexpr std::size_t npos = std::string_view::npos;

  explicit TextTree(std::string_view text);

  // Number of characters held.
  std::size_t size() const { return Size(root_); }

  // Characters copied out by Substr so far, which Find uses for the windows it
  // scans; the other operations cost the tree's depth.
  std::size_t work() const { return work_; }

  // The `len` characters from 0-based `pos`, clipped at the end.
  std::string Substr(std::size_t pos, std::size_t len) const;

  // Whether `needle` occurs at 0-based index i.
  bool MatchesAt(std::size_t i, std::string_view needle) const;

  // Whether an odd number of quotes precedes 0-based index `pos`, that is
  // whether a literal is open just before it.
  bool QuoteOpenAt(std::size_t pos) const;

  // Index of the first character `c` (one of , ) ') at or after `from`, or npos.
  std::size_t FindChar(char c, std::size_t from) const;

  // Index of the first character `c` (one of , )) at or after `from` that lies
  // outside quoted literals, or npos.
  std::size_t FindUnquotedChar(char c, std::size_t from) const;

  // Index of the first `needle` within `scope` that starts in [from, to), or
  // npos. It may end past `to`.
  std::size_t Find(std::string_view needle, std::size_t from, std::size_t to, Scope scope) const;

  // Number of quotes among the `len` characters from `pos`.
  std::size_t QuotesIn(std::size_t pos, std::size_t len) const;

  // Replaces the `len` characters from `pos` by `with`.
  void Replace(std::size_t pos, std::size_t len, std::string_view with);

  // The whole text.
  std::string Str() const { return Substr(0, size()); }

 public:
  // What a piece or a subtree holds.
  struct Counts {
    std::size_t size = 0, quotes = 0, commas = 0, closes = 0;
    std::uint8_t unquoted = 0;  // the k* bits below
  };

 private:
  // Subtree summary bits: a comma / ")" outside literals when the subtree
  // starts outside (even) or inside (odd) a literal.
  enum : std::uint8_t { kCommaEven = 1, kCommaOdd = 2, kCloseEven = 4, kCloseOdd = 8 };

  struct Node {
    int left = -1, right = -1;
    std::uint32_t priority = 0;
    std::size_t offset = 0, length = 0;  // the piece, in store_
    Counts piece;                        // the piece alone
    Counts all;                          // the whole subtree
  };

  std::size_t Size(int t) const { return t < 0 ? 0 : nodes_[static_cast<std::size_t>(t)].all.size; }
  const Node& At(int t) const { return nodes_[static_cast<std::size_t>(t)]; }
  Node& At(int t) { return nodes_[static_cast<std::size_t>(t)]; }
  std::string_view PieceText(const Node& n) const { return {store_.data() + n.offset, n.length}; }

  int NewNode(std::size_t offset, std::size_t length);
  int Build(std::size_t offset, std::size_t length);
  void Pull(int t);
  int Merge(int a, int b);
  void Split(int t, std::size_t k, int& a, int& b);
  std::size_t QuotesBefore(int t, std::size_t pos) const;
  std::size_t FindCharIn(int t, std::size_t base, char c, std::size_t from) const;
  std::size_t FindUnquotedIn(int t, std::size_t base, bool open, char c, std::size_t from) const;
  void Release(int t);
  void Collect(int t, std::size_t base, std::size_t from, std::size_t to, std::string& out) const;

  std::string store_;  // every piece's characters, appended, never moved
  std::vector<Node> nodes_;
  std::vector<int> free_;  // nodes no longer in the tree, for reuse
  int root_ = -1;
  std::uint32_t seed_ = 0x9E3779B9u;
  mutable std::size_t work_ = 0;
};

}  // namespace zmdb::sqlconv
