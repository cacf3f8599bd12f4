// Recognising SELECT ... INTO a foreign target (select_into.h).
#include "zmdb/dal/dao/select_into.h"

#include <array>
#include <charconv>
#include <utility>

#include "zmdb/runtime/object.h"
#include "zmdb/runtime/text.h"

namespace zmdb::dal::dao {

namespace {

using rt::NameEquals;

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// A byte that can be part of a bare name: letters, digits, "_", and every
// byte of a non-ASCII character.
bool IsNameByte(char c) {
  const auto u = static_cast<unsigned char>(c);
  return u >= 0x80 || c == '_' || (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') ||
         (c >= 'A' && c <= 'Z');
}

std::string_view Trim(std::string_view s) {
  while (!s.empty() && IsBlank(s.front())) s.remove_prefix(1);
  while (!s.empty() && IsBlank(s.back())) s.remove_suffix(1);
  return s;
}

// True when the keyword `word` stands at `at` as a word of its own.
bool KeywordAt(std::string_view s, std::size_t at, std::string_view word) {
  if (at + word.size() > s.size() || !rt::StartsWithNoCase(s.substr(at), word)) return false;
  if (at > 0 && (IsNameByte(s[at - 1]) || s[at - 1] == '.')) return false;
  const std::size_t end = at + word.size();
  return end == s.size() || !IsNameByte(s[end]);
}

// The position just past the literal or bracketed name opening at `at`
// ('...', "..." with the quote doubled inside, [...]); npos when unclosed.
std::size_t SkipQuoted(std::string_view s, std::size_t at) {
  const char open = s[at];
  const char close = open == '[' ? ']' : open;
  for (std::size_t i = at + 1; i < s.size(); ++i) {
    if (s[i] != close) continue;
    if (open != '[' && i + 1 < s.size() && s[i + 1] == close) {
      ++i;  // a doubled quote inside the literal
      continue;
    }
    return i + 1;
  }
  return std::string_view::npos;
}

// The position of the top-level INTO keyword of a SELECT, or npos.
std::size_t FindInto(std::string_view s) {
  std::size_t i = 0;
  while (i < s.size() && IsBlank(s[i])) ++i;
  if (!KeywordAt(s, i, "SELECT")) return std::string_view::npos;
  int depth = 0;
  for (i += 6; i < s.size();) {
    const char c = s[i];
    if (c == '\'' || c == '"' || c == '[') {
      i = SkipQuoted(s, i);
      if (i == std::string_view::npos) return i;
      continue;
    }
    if (c == '(') ++depth;
    if (c == ')') --depth;
    if (depth == 0 && (c == 'I' || c == 'i') && KeywordAt(s, i, "INTO")) return i;
    ++i;
  }
  return std::string_view::npos;
}

// The "key=value" parts after the driver name, read into `into`.
void ReadConnectParts(std::string_view parts, ForeignInto& into) {
  while (!parts.empty()) {
    const std::size_t semi = parts.find(';');
    const std::string_view part = parts.substr(0, semi);
    parts = semi == std::string_view::npos ? std::string_view() : parts.substr(semi + 1);
    const std::size_t eq = part.find('=');
    if (eq == std::string_view::npos) continue;
    const std::string_view key = Trim(part.substr(0, eq));
    const std::string_view value = Trim(part.substr(eq + 1));
    if (NameEquals(key, "database")) into.database = std::string(value);
    if (NameEquals(key, "PWD")) into.password = std::string(value);
    if (NameEquals(key, "CodePage")) {
      int cp = 0;
      const auto [end, ec] = std::from_chars(value.data(), value.data() + value.size(), cp);
      if (ec == std::errc() && end == value.data() + value.size()) into.codePage = cp;
    }
  }
}

}  // namespace

ForeignDriver DriverNamed(std::string_view prefix) {
  static constexpr std::array<std::pair<std::string_view, ForeignDriver>, 18> kNames{{
      {"", ForeignDriver::FileStore},
      {"MS Access", ForeignDriver::FileStore},
      {"dBase III", ForeignDriver::DbaseIII},
      {"dBase IV", ForeignDriver::DbaseIV},
      {"FoxPro 2.0", ForeignDriver::FoxPro20},
      {"FoxPro 2.5", ForeignDriver::FoxPro25},
      {"FoxPro 2.6", ForeignDriver::FoxPro26},
      {"Paradox 3.X", ForeignDriver::Paradox3},
      {"Paradox 4.X", ForeignDriver::Paradox4},
      {"Btrieve", ForeignDriver::Btrieve},
      {"Excel 3.0", ForeignDriver::Excel},
      {"Excel 4.0", ForeignDriver::Excel},
      {"Excel 5.0", ForeignDriver::Excel},
      {"Excel 7.0", ForeignDriver::Excel},
      {"Excel 8.0", ForeignDriver::Excel},
      {"Text", ForeignDriver::Text},
      {"ODBC", ForeignDriver::Odbc},
      {"Excel 97", ForeignDriver::Excel},
  }};
  const std::string_view name = Trim(prefix);
  for (const auto& [known, driver] : kNames) {
    if (NameEquals(name, known)) return driver;
  }
  return ForeignDriver::Unknown;
}

std::optional<ForeignDriver> DriverOfConnect(std::string_view connect) {
  const ForeignDriver d = DriverNamed(connect.substr(0, connect.find(';')));
  if (d == ForeignDriver::FileStore) return std::nullopt;
  return d;
}

bool IsFolderDriver(ForeignDriver driver) {
  switch (driver) {
    case ForeignDriver::DbaseIII:
    case ForeignDriver::DbaseIV:
    case ForeignDriver::FoxPro20:
    case ForeignDriver::FoxPro25:
    case ForeignDriver::FoxPro26:
    case ForeignDriver::Paradox3:
    case ForeignDriver::Paradox4:
    case ForeignDriver::Text:
      return true;
    default:
      return false;
  }
}

std::optional<ForeignInto> ParseForeignInto(std::string_view statement) {
  const std::size_t into = FindInto(statement);
  if (into == std::string_view::npos) return std::nullopt;
  std::size_t i = into + 4;
  while (i < statement.size() && IsBlank(statement[i])) ++i;
  if (i >= statement.size() || statement[i] != '[') return std::nullopt;
  const std::size_t close = statement.find(']', i);
  if (close == std::string_view::npos) return std::nullopt;
  const std::string_view connect = statement.substr(i + 1, close - i - 1);
  const std::size_t semi = connect.find(';');
  // "INTO [My Table]" is a local table with a bracketed name.
  if (semi == std::string_view::npos) return std::nullopt;
  if (close + 1 >= statement.size() || statement[close + 1] != '.') return std::nullopt;

  ForeignInto out;
  out.connect = std::string(connect);
  out.driverName = std::string(Trim(connect.substr(0, semi)));
  out.driver = DriverNamed(out.driverName);
  ReadConnectParts(connect.substr(semi + 1), out);

  std::size_t end = close + 2;
  if (end < statement.size() && statement[end] == '[') {
    const std::size_t after = SkipQuoted(statement, end);
    if (after == std::string_view::npos) return std::nullopt;
    out.table = std::string(statement.substr(end + 1, after - end - 2));
    end = after;
  } else {
    const std::size_t start = end;
    while (end < statement.size() && !IsBlank(statement[end]) && statement[end] != '(' &&
           statement[end] != ',' && statement[end] != ';') {
      ++end;
    }
    out.table = std::string(statement.substr(start, end - start));
  }
  if (Trim(out.table).empty()) return std::nullopt;

  const std::string_view head = Trim(statement.substr(0, into));
  const std::string_view tail = Trim(statement.substr(end));
  out.select = std::string(head);
  if (!tail.empty()) out.select += " " + std::string(tail);
  return out;
}

}  // namespace zmdb::dal::dao
