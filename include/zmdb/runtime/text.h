// Text as the run time sees it: UTF-8 read one character at a time, character
// counts, and one letter-case table that every case-insensitive comparison,
// LIKE and UCase/LCase share, so that a recordset filter and an SQL query
// agree on which texts are equal.
//
// Malformed UTF-8 never fails: a byte that does not begin a well-formed,
// shortest-form sequence (a stray continuation byte, a truncated or overlong
// sequence, an encoded surrogate, a code point past U+10FFFF) is a character
// of its own. It decodes to U+DC80 + (byte - 0x80) (U+DC00 + byte), a value
// no well-formed text decodes to, and encodes back to the same byte, so such
// text passes through every text function unchanged.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace zmdb::rt {

// `s` with the ASCII letters in upper (lower) case and every other byte as it
// is, whatever the process locale: UTF-8 sequences keep their bytes, so every
// position in the text stays the same byte position.
std::string AsciiUpper(std::string_view s);
std::string AsciiLower(std::string_view s);

// True when `text` begins with `prefix`, ASCII letters compared without
// regard to case.
bool StartsWithNoCase(std::string_view text, std::string_view prefix);
// True when `text` ends with `suffix`, ASCII letters compared without regard
// to case.
bool EndsWithNoCase(std::string_view text, std::string_view suffix);

// ------------------------------------------------------------------ UTF-8

// The code point a stray byte `b` decodes to is kStrayByte + b.
inline constexpr char32_t kStrayByte = 0xDC00;

// True when `c` is the code point of a stray byte.
constexpr bool IsStrayByte(char32_t c) {
  return c >= kStrayByte + 0x80 && c <= kStrayByte + 0xFF;
}

// One character of UTF-8 text: its code point and its length in bytes.
struct Utf8Char {
  char32_t cp;
  std::size_t len;
};

// The character starting at byte `i` of `s` (i < s.size()).
Utf8Char Utf8CharAt(std::string_view s, std::size_t i);

// The character starting at byte `i` of `s` (i < s.size()), advancing `i` past it.
inline char32_t NextCodePoint(std::string_view s, std::size_t& i) {
  const Utf8Char c = Utf8CharAt(s, i);
  i += c.len;
  return c.cp;
}

// Appends code point `c` as UTF-8; a stray byte's code point appends the byte.
void AppendUtf8(std::string& out, char32_t c);

// The code points of `s`, stray bytes included.
std::u32string DecodeUtf8(std::string_view s);

// The number of characters in `s`.
std::size_t Utf8Length(std::string_view s);

// The byte offset just past the first `chars` characters of `s` (its size
// when it has fewer).
std::size_t Utf8Offset(std::string_view s, std::int64_t chars);

// ------------------------------------------------------------ letter case

// The simple upper-case (lower-case) form of a code point, for ASCII,
// Latin-1, Latin Extended-A, Greek, Cyrillic (with its supplement) and the
// full-width Latin letters; every other code point is its own form. Some
// letters map one way only: dotless i, long s, final sigma, the micro sign
// and the Greek symbol letters have an upper-case form but are nobody's
// lower-case form; capital I with dot and the capital theta symbol the other
// way round.
char32_t UpperCase(char32_t c);
char32_t LowerCase(char32_t c);

// `s` with every letter mapped to upper (lower) case.
std::string UpperCase(std::string_view s);
std::string LowerCase(std::string_view s);

// The code points of `s` in upper case: two texts that differ only in letter
// case fold to the same code points.
std::u32string FoldCase(std::string_view s);

}  // namespace zmdb::rt
