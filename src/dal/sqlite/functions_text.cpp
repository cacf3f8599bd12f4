// The text functions of Jet SQL. They count characters, not bytes; a byte
// that does not begin a well-formed UTF-8 sequence counts as one character
// and passes through unchanged.
#include <sqlite3.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

#include "jetfn_p.h"
#include "zmdb/runtime/text.h"

namespace zmdb::dal::sqlite::jetfn {
namespace {

// Mid(s, start[, length]): `length` characters from character `start` (all
// the rest when absent); "" past the end; error 5 for start < 1 or length < 0.
Out FnMid(const Args& a) {
  const std::int32_t start = a.Long(1);
  const std::int32_t length = a.count() > 2 ? a.Long(2) : std::numeric_limits<std::int32_t>::max();
  if (start < 1 || length < 0) rt::Raise(rt::err::kInvalidProcCall);
  if (a.IsNull(0)) return {};
  const std::string s = a.Text(0);
  const std::size_t from = rt::Utf8Offset(s, start - 1);
  const std::string_view rest = std::string_view(s).substr(from);
  return std::string(rest.substr(0, rt::Utf8Offset(rest, length)));
}

// Left(s, n): the first n characters; error 5 for n < 0.
Out FnLeft(const Args& a) {
  const std::int32_t n = a.Long(1);
  if (n < 0) rt::Raise(rt::err::kInvalidProcCall);
  if (a.IsNull(0)) return {};
  const std::string s = a.Text(0);
  return s.substr(0, rt::Utf8Offset(s, n));
}

// Right(s, n): the last n characters; error 5 for n < 0.
Out FnRight(const Args& a) {
  const std::int32_t n = a.Long(1);
  if (n < 0) rt::Raise(rt::err::kInvalidProcCall);
  if (a.IsNull(0)) return {};
  const std::string s = a.Text(0);
  const std::int64_t total = static_cast<std::int64_t>(rt::Utf8Length(s));
  return s.substr(rt::Utf8Offset(s, std::max<std::int64_t>(0, total - n)));
}

// Len(s): the number of characters.
Out FnLen(const Args& a) {
  if (a.IsNull(0)) return {};
  return Out(static_cast<std::int64_t>(rt::Utf8Length(a.Text(0))));
}

// InStr([start,] s1, s2[, compare]): the character position of s2 in s1 at
// or after `start`, 0 when absent or start is past the end, `start` for an
// empty s2. compare 0 is binary; 1, 2 and -1 (the default) ignore case.
Out FnInStr(const Args& a) {
  const bool hasStart = a.count() >= 3;
  const int s1 = hasStart ? 1 : 0;
  const std::int32_t start = hasStart ? a.Long(0) : 1;
  if (start < 1) rt::Raise(rt::err::kInvalidProcCall);
  bool ignoreCase = true;
  if (a.count() == 4) {
    const std::int32_t compare = a.Long(3);
    if (compare < -1 || compare > 2) rt::Raise(rt::err::kInvalidProcCall);
    ignoreCase = compare != 0;
  }
  if (a.IsNull(s1) || a.IsNull(s1 + 1)) return {};
  const std::string hay = a.Text(s1), needle = a.Text(s1 + 1);
  const std::u32string h = ignoreCase ? rt::FoldCase(hay) : rt::DecodeUtf8(hay);
  const std::u32string n = ignoreCase ? rt::FoldCase(needle) : rt::DecodeUtf8(needle);
  if (static_cast<std::size_t>(start) > h.size()) return 0;
  if (n.empty()) return start;
  const std::size_t hit = h.find(n, static_cast<std::size_t>(start) - 1);
  return hit == std::u32string::npos ? Out(0) : Out(static_cast<std::int64_t>(hit) + 1);
}

// UCase(s): upper case.
Out FnUCase(const Args& a) {
  if (a.IsNull(0)) return {};
  return rt::UpperCase(a.Text(0));
}

// LCase(s): lower case.
Out FnLCase(const Args& a) {
  if (a.IsNull(0)) return {};
  return rt::LowerCase(a.Text(0));
}

// `s` without leading (`left`) and/or trailing (`right`) spaces; tabs stay.
Out Trimmed(const Args& a, bool left, bool right) {
  if (a.IsNull(0)) return {};
  const std::string s = a.Text(0);
  const std::size_t first = left ? s.find_first_not_of(' ') : 0;
  if (first == std::string::npos) return std::string();
  const std::size_t last = right ? s.find_last_not_of(' ') : s.size() - 1;
  return s.substr(first, last + 1 - first);
}

// Trim(s), LTrim(s), RTrim(s): spaces removed from both ends, the start, the end.
Out FnTrim(const Args& a) {
  return Trimmed(a, true, true);
}
Out FnLTrim(const Args& a) {
  return Trimmed(a, true, false);
}
Out FnRTrim(const Args& a) {
  return Trimmed(a, false, true);
}

// Space(n): n spaces; error 5 for n < 0.
Out FnSpace(const Args& a) {
  if (a.IsNull(0)) return {};
  const std::int32_t n = a.Long(0);
  if (n < 0) rt::Raise(rt::err::kInvalidProcCall);
  a.CheckLength(n);
  return std::string(static_cast<std::size_t>(n), ' ');
}

// String(n, ch): n copies of a character: the first character of text, or
// the character with a numeric code point; error 5 for n < 0, empty text or
// a code that is not a Unicode scalar value.
Out FnString(const Args& a) {
  if (a.AnyNull(0, 2)) return {};
  const std::int32_t n = a.Long(0);
  if (n < 0) rt::Raise(rt::err::kInvalidProcCall);
  std::string one;
  if (a.Type(1) == SQLITE_TEXT) {
    const std::string s = a.Text(1);
    if (s.empty()) rt::Raise(rt::err::kInvalidProcCall);
    one = s.substr(0, rt::Utf8CharAt(s, 0).len);
  } else {
    const std::int32_t code = a.Long(1);
    if (code < 0 || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))
      rt::Raise(rt::err::kInvalidProcCall);
    rt::AppendUtf8(one, static_cast<char32_t>(code));
  }
  a.CheckLength(static_cast<std::int64_t>(n) * static_cast<std::int64_t>(one.size()));
  std::string out;
  out.reserve(static_cast<std::size_t>(n) * one.size());
  for (std::int32_t i = 0; i < n; ++i) out += one;
  return out;
}

// Mid, Left, Right, Len, InStr, UCase, LCase, Trim, LTrim, RTrim, Space, String.
constexpr Registration kText[] = {
    {"Mid", 2, Call<FnMid>, true},       {"Mid", 3, Call<FnMid>, true},
    {"Left", 2, Call<FnLeft>, true},     {"Right", 2, Call<FnRight>, true},
    {"Len", 1, Call<FnLen>, true},       {"InStr", 2, Call<FnInStr>, true},
    {"InStr", 3, Call<FnInStr>, true},   {"InStr", 4, Call<FnInStr>, true},
    {"UCase", 1, Call<FnUCase>, true},   {"LCase", 1, Call<FnLCase>, true},
    {"Trim", 1, Call<FnTrim>, true},     {"LTrim", 1, Call<FnLTrim>, true},
    {"RTrim", 1, Call<FnRTrim>, true},   {"Space", 1, Call<FnSpace>, true},
    {"String", 2, Call<FnString>, true},
};

}  // namespace

std::span<const Registration> TextFunctions() {
  return kText;
}

}  // namespace zmdb::dal::sqlite::jetfn
