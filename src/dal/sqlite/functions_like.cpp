// LIKE with Jet's wildcards (* ? # [..] [!..]) and ANSI ones (% _), ignoring
// case by the run time's one letter-case table.
#include <sqlite3.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "jetfn_p.h"
#include "zmdb/runtime/text.h"

namespace zmdb::dal::sqlite {
namespace jetfn {
namespace {

// One element of a compiled LIKE pattern.
struct LikeToken {
  enum Kind { Star, AnyChar, Digit, Literal, Class } kind = Literal;
  char32_t ch = 0;                                    // Literal, folded to upper case
  std::vector<std::pair<char32_t, char32_t>> ranges;  // Class members as ranges
  bool negated = false;                               // Class written [!...]
};

// A LIKE pattern split into tokens, with the escape character it was compiled for.
struct LikePattern {
  std::vector<LikeToken> tokens;
  char32_t escape = 0;
  bool hasEscape = false;
};

// Compiles `pattern`: * and % match any run, ? and _ one character, # one
// digit, [..] a class; `escape` (when given) makes the next character literal.
// An empty class [] matches nothing and is dropped; a [ without its closing ]
// is an ordinary character.
LikePattern CompileLike(std::string_view pattern, const char32_t* escape) {
  LikePattern out;
  if (escape) {
    out.escape = *escape;
    out.hasEscape = true;
  }
  const std::u32string p = rt::DecodeUtf8(pattern);
  for (std::size_t i = 0; i < p.size(); ++i) {
    const char32_t c = p[i];
    LikeToken t;
    if (escape && c == *escape && i + 1 < p.size()) {
      t.ch = rt::UpperCase(p[++i]);
    } else if (c == '*' || c == '%') {
      // A run of stars is one star.
      if (!out.tokens.empty() && out.tokens.back().kind == LikeToken::Star) continue;
      t.kind = LikeToken::Star;
    } else if (c == '?' || c == '_') {
      t.kind = LikeToken::AnyChar;
    } else if (c == '#') {
      t.kind = LikeToken::Digit;
    } else if (c == '[' && p.find(U']', i + 1) != std::u32string::npos) {
      const std::size_t close = p.find(U']', i + 1);
      std::size_t k = i + 1;
      t.kind = LikeToken::Class;
      if (k < close && p[k] == '!') {
        t.negated = true;
        ++k;
      }
      for (; k < close; ++k) {
        if (k + 2 < close && p[k + 1] == '-') {
          t.ranges.emplace_back(p[k], p[k + 2]);
          k += 2;
        } else {
          t.ranges.emplace_back(p[k], p[k]);
        }
      }
      i = close;
      if (t.ranges.empty() && !t.negated) continue;  // [] matches nothing
    } else {
      t.ch = rt::UpperCase(c);
    }
    out.tokens.push_back(std::move(t));
  }
  return out;
}

// True when character `c` matches the single-character token `t`.
bool MatchesOne(const LikeToken& t, char32_t c) {
  switch (t.kind) {
    case LikeToken::AnyChar:
      return true;
    case LikeToken::Digit:
      return c >= '0' && c <= '9';
    case LikeToken::Literal:
      return rt::UpperCase(c) == t.ch;
    case LikeToken::Class: {
      const char32_t forms[] = {c, rt::UpperCase(c), rt::LowerCase(c)};
      bool in = false;
      for (const auto& [lo, hi] : t.ranges)
        for (char32_t f : forms) in = in || (f >= lo && f <= hi);
      return in != t.negated;
    }
    case LikeToken::Star:
      break;
  }
  return false;
}

// True when all of `text` matches the compiled pattern. Every token but the
// star takes exactly one character, so the classic backtrack to the last star
// is enough (quadratic at worst).
bool MatchLike(const LikePattern& pattern, std::string_view text) {
  const std::u32string t = rt::DecodeUtf8(text);
  const std::vector<LikeToken>& tok = pattern.tokens;
  constexpr std::size_t kNone = static_cast<std::size_t>(-1);
  std::size_t ti = 0, pi = 0, starP = kNone, starT = 0;
  while (ti < t.size()) {
    if (pi < tok.size() && tok[pi].kind == LikeToken::Star) {
      starP = pi++;
      starT = ti;
    } else if (pi < tok.size() && MatchesOne(tok[pi], t[ti])) {
      ++pi;
      ++ti;
    } else if (starP != kNone) {
      pi = starP + 1;
      ti = ++starT;
    } else {
      return false;
    }
  }
  while (pi < tok.size() && tok[pi].kind == LikeToken::Star) ++pi;
  return pi == tok.size();
}

// like(pattern, text[, escape]), the function behind `text LIKE pattern`:
// 1 or 0 as JetLike decides, NULL when any operand is NULL. The compiled
// pattern is kept with the statement while the pattern stays constant.
Out FnLike(const Args& a) {
  if (a.AnyNull(0, a.count())) return {};
  char32_t escape = 0;
  const bool hasEscape = a.count() > 2;
  if (hasEscape) {
    const std::u32string e = rt::DecodeUtf8(a.Text(2));
    if (e.size() != 1)
      throw rt::PlatformError(rt::err::kInvalidProcCall,
                              "ESCAPE expression must be a single character");
    escape = e[0];
  }
  const std::string text = a.Text(1);
  const auto* cached = static_cast<const LikePattern*>(sqlite3_get_auxdata(a.ctx(), 0));
  if (cached && cached->hasEscape == hasEscape && cached->escape == escape)
    return MatchLike(*cached, text) ? 1 : 0;
  LikePattern compiled = CompileLike(a.Text(0), hasEscape ? &escape : nullptr);
  const bool match = MatchLike(compiled, text);
  // SQLite owns the copy from here on (and frees it at once if it cannot keep it).
  sqlite3_set_auxdata(a.ctx(), 0, new LikePattern(std::move(compiled)),
                      [](void* p) { delete static_cast<LikePattern*>(p); });
  return match ? 1 : 0;
}

// like(pattern, text[, escape]).
constexpr Registration kLike[] = {
    {"like", 2, Call<FnLike>, true},
    {"like", 3, Call<FnLike>, true},
};

}  // namespace

std::span<const Registration> LikeFunctions() {
  return kLike;
}

}  // namespace jetfn

// True when all of `text` matches the Jet/ANSI wildcard `pattern`, ignoring case.
bool JetLike(std::string_view text, std::string_view pattern) {
  return jetfn::MatchLike(jetfn::CompileLike(pattern, nullptr), text);
}

}  // namespace zmdb::dal::sqlite
