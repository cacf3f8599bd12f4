#include "zmdb/runtime/text.h"

namespace zmdb::rt {

std::string AsciiUpper(std::string_view s) {
  std::string out(s);
  for (char& ch : out) {
    if (ch >= 'a' && ch <= 'z') ch = static_cast<char>(ch - 'a' + 'A');
  }
  return out;
}

std::string AsciiLower(std::string_view s) {
  std::string out(s);
  for (char& ch : out) {
    if (ch >= 'A' && ch <= 'Z') ch = static_cast<char>(ch - 'A' + 'a');
  }
  return out;
}

bool EndsWithNoCase(std::string_view text, std::string_view suffix) {
  return text.size() >= suffix.size() &&
         StartsWithNoCase(text.substr(text.size() - suffix.size()), suffix);
}

bool StartsWithNoCase(std::string_view text, std::string_view prefix) {
  if (text.size() < prefix.size()) return false;
  for (std::size_t i = 0; i < prefix.size(); ++i) {
    const auto a = static_cast<unsigned char>(text[i]);
    const auto b = static_cast<unsigned char>(prefix[i]);
    if (a != b && !(a >= 'a' && a <= 'z' && a - 0x20 == b) &&
        !(b >= 'a' && b <= 'z' && b - 0x20 == a))
      return false;
  }
  return true;
}

// ------------------------------------------------------------------ UTF-8

// Only the shortest form of each scalar value is well formed: the second byte
// of E0, ED, F0 and F4 sequences has a narrower range, which rules out
// overlong forms, surrogates and code points past U+10FFFF.
Utf8Char Utf8CharAt(std::string_view s, std::size_t i) {
  const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(s[i + k]); };
  const unsigned char b0 = byte(0);
  if (b0 < 0x80) return {b0, 1};
  const auto cont = [&](std::size_t k, unsigned lo, unsigned hi) {
    return i + k < s.size() && byte(k) >= lo && byte(k) <= hi;
  };
  const auto bits = [&](std::size_t k) { return static_cast<char32_t>(byte(k) & 0x3Fu); };
  if (b0 >= 0xC2 && b0 <= 0xDF && cont(1, 0x80, 0xBF))
    return {(static_cast<char32_t>(b0 & 0x1Fu) << 6) | bits(1), 2};
  if (b0 >= 0xE0 && b0 <= 0xEF && cont(1, b0 == 0xE0 ? 0xA0 : 0x80, b0 == 0xED ? 0x9F : 0xBF) &&
      cont(2, 0x80, 0xBF))
    return {(static_cast<char32_t>(b0 & 0x0Fu) << 12) | (bits(1) << 6) | bits(2), 3};
  if (b0 >= 0xF0 && b0 <= 0xF4 && cont(1, b0 == 0xF0 ? 0x90 : 0x80, b0 == 0xF4 ? 0x8F : 0xBF) &&
      cont(2, 0x80, 0xBF) && cont(3, 0x80, 0xBF))
    return {(static_cast<char32_t>(b0 & 0x07u) << 18) | (bits(1) << 12) | (bits(2) << 6) | bits(3),
            4};
  return {kStrayByte + b0, 1};
}

void AppendUtf8(std::string& out, char32_t c) {
  const auto put = [&](char32_t v) {
    out.push_back(static_cast<char>(static_cast<unsigned char>(v)));
  };
  if (IsStrayByte(c)) {
    put(c - kStrayByte);
  } else if (c < 0x80) {
    put(c);
  } else if (c < 0x800) {
    put(0xC0 | (c >> 6));
    put(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    put(0xE0 | (c >> 12));
    put(0x80 | ((c >> 6) & 0x3F));
    put(0x80 | (c & 0x3F));
  } else {
    put(0xF0 | (c >> 18));
    put(0x80 | ((c >> 12) & 0x3F));
    put(0x80 | ((c >> 6) & 0x3F));
    put(0x80 | (c & 0x3F));
  }
}

std::u32string DecodeUtf8(std::string_view s) {
  std::u32string out;
  out.reserve(s.size());
  for (std::size_t i = 0; i < s.size();) out.push_back(NextCodePoint(s, i));
  return out;
}

std::size_t Utf8Length(std::string_view s) {
  std::size_t n = 0;
  for (std::size_t i = 0; i < s.size(); i += Utf8CharAt(s, i).len) ++n;
  return n;
}

std::size_t Utf8Offset(std::string_view s, std::int64_t chars) {
  std::size_t i = 0;
  for (; chars > 0 && i < s.size(); --chars) i += Utf8CharAt(s, i).len;
  return i;
}

// ------------------------------------------------------------ letter case

namespace {

// A run of upper-case letters and the distance to their lower-case forms.
// step 1: every code point of [first, last]; step 2: every other one, for the
// blocks where upper and lower case alternate.
struct CaseRun {
  char32_t first, last;
  int delta;
  int step;
};

// The letters whose upper- and lower-case forms map to each other (ASCII is
// handled before the table is read).
constexpr CaseRun kCaseRuns[] = {
    // Latin-1 and Latin Extended-A
    {0x00C0, 0x00D6, 32, 1},
    {0x00D8, 0x00DE, 32, 1},
    {0x0100, 0x012E, 1, 2},
    {0x0132, 0x0136, 1, 2},
    {0x0139, 0x0147, 1, 2},
    {0x014A, 0x0176, 1, 2},
    {0x0178, 0x0178, -121, 1},
    {0x0179, 0x017D, 1, 2},
    // Greek
    {0x0370, 0x0372, 1, 2},
    {0x0376, 0x0376, 1, 1},
    {0x037F, 0x037F, 116, 1},
    {0x0386, 0x0386, 38, 1},
    {0x0388, 0x038A, 37, 1},
    {0x038C, 0x038C, 64, 1},
    {0x038E, 0x038F, 63, 1},
    {0x0391, 0x03A1, 32, 1},
    {0x03A3, 0x03AB, 32, 1},
    {0x03CF, 0x03CF, 8, 1},
    {0x03D8, 0x03EE, 1, 2},
    {0x03F7, 0x03F7, 1, 1},
    {0x03F9, 0x03F9, -7, 1},
    {0x03FA, 0x03FA, 1, 1},
    {0x03FD, 0x03FF, -130, 1},
    // Cyrillic and its supplement
    {0x0400, 0x040F, 80, 1},
    {0x0410, 0x042F, 32, 1},
    {0x0460, 0x0480, 1, 2},
    {0x048A, 0x04BE, 1, 2},
    {0x04C0, 0x04C0, 15, 1},
    {0x04C1, 0x04CD, 1, 2},
    {0x04D0, 0x052E, 1, 2},
    // Full-width Latin
    {0xFF21, 0xFF3A, 32, 1},
};

// A letter whose case form does not map back to it.
struct OneWay {
  char32_t from, to;
};

// Lower-case letters whose upper-case form has another lower-case form.
constexpr OneWay kUpperOnly[] = {
    {0x00B5, 0x039C},  // micro sign -> capital mu
    {0x0131, 0x0049},  // dotless i -> I
    {0x017F, 0x0053},  // long s -> S
    {0x03C2, 0x03A3},  // final sigma -> capital sigma
    {0x03D0, 0x0392},  // beta symbol
    {0x03D1, 0x0398},  // theta symbol
    {0x03D5, 0x03A6},  // phi symbol
    {0x03D6, 0x03A0},  // pi symbol
    {0x03F0, 0x039A},  // kappa symbol
    {0x03F1, 0x03A1},  // rho symbol
    {0x03F5, 0x0395},  // lunate epsilon symbol
};

// Upper-case letters whose lower-case form has another upper-case form.
constexpr OneWay kLowerOnly[] = {
    {0x0130, 0x0069},  // capital I with dot -> i
    {0x03F4, 0x03B8},  // capital theta symbol -> theta
};

// True when `c` may have a case form other than itself in the tables above.
bool MayHaveCase(char32_t c) {
  return c <= 0x052F || (c >= 0xFF21 && c <= 0xFF5A);
}

// True when `c` is one of the upper-case letters of `run`.
bool InRun(const CaseRun& run, char32_t c) {
  return c >= run.first && c <= run.last && (c - run.first) % static_cast<char32_t>(run.step) == 0;
}

// `c` moved by `delta`.
char32_t Shift(char32_t c, std::int64_t delta) {
  return static_cast<char32_t>(static_cast<std::int64_t>(c) + delta);
}

// `s` with every code point mapped by `map`.
std::string MapEach(std::string_view s, char32_t (*map)(char32_t)) {
  std::string out;
  out.reserve(s.size());
  for (std::size_t i = 0; i < s.size();) AppendUtf8(out, map(NextCodePoint(s, i)));
  return out;
}

}  // namespace

char32_t UpperCase(char32_t c) {
  if (c < 0x80) return c >= 'a' && c <= 'z' ? c - 32 : c;
  if (!MayHaveCase(c)) return c;
  for (const OneWay& w : kUpperOnly)
    if (w.from == c) return w.to;
  for (const CaseRun& run : kCaseRuns) {
    const char32_t upper = Shift(c, -run.delta);
    if (InRun(run, upper)) return upper;
  }
  return c;
}

char32_t LowerCase(char32_t c) {
  if (c < 0x80) return c >= 'A' && c <= 'Z' ? c + 32 : c;
  if (!MayHaveCase(c)) return c;
  for (const OneWay& w : kLowerOnly)
    if (w.from == c) return w.to;
  for (const CaseRun& run : kCaseRuns)
    if (InRun(run, c)) return Shift(c, run.delta);
  return c;
}

std::string UpperCase(std::string_view s) {
  return MapEach(s, [](char32_t c) { return UpperCase(c); });
}

std::string LowerCase(std::string_view s) {
  return MapEach(s, [](char32_t c) { return LowerCase(c); });
}

std::u32string FoldCase(std::string_view s) {
  std::u32string out = DecodeUtf8(s);
  for (char32_t& c : out) c = UpperCase(c);
  return out;
}

}  // namespace zmdb::rt
