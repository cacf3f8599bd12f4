// Column types on the file store: Jet DDL type names to the canonical declared
// types, and declared types back to ADO type codes and sizes (see coltypes.h
// for the table both directions follow).
#include <fmt/format.h>

#include <array>
#include <cctype>
#include <charconv>
#include <string>
#include <string_view>

#include "coltypes_p.h"
#include "zmdb/runtime/convert.h"

namespace zmdb::dal::sqlite {
namespace {

// ADO type codes used by the table.
constexpr std::int32_t kAdSmallInt = 2;
constexpr std::int32_t kAdInteger = 3;
constexpr std::int32_t kAdSingle = 4;
constexpr std::int32_t kAdDouble = 5;
constexpr std::int32_t kAdCurrency = 6;
constexpr std::int32_t kAdDate = 7;
constexpr std::int32_t kAdBoolean = 11;
constexpr std::int32_t kAdUnsignedTinyInt = 17;
constexpr std::int32_t kAdGuid = 72;
constexpr std::int32_t kAdBinary = 128;
constexpr std::int32_t kAdNumeric = 131;
constexpr std::int32_t kAdVarWChar = 202;
constexpr std::int32_t kAdLongVarWChar = 203;
constexpr std::int32_t kAdLongVarBinary = 205;

constexpr std::int32_t kMemoSize = 536870910;
constexpr std::int32_t kLongBinarySize = 1073741823;
constexpr std::int32_t kMaxTextSize = 255;
constexpr std::int32_t kMaxBinarySize = 510;
constexpr std::int32_t kMaxDecimalPrecision = 28;

// The families of Jet types; each has one canonical declared type.
enum class Family {
  Text,
  Memo,
  Long,
  Short,
  Byte,
  Counter,
  Currency,
  Single,
  Double,
  DateTime,
  Bit,
  Guid,
  Binary,
  LongBinary,
  Decimal
};

struct JetName {
  std::string_view name;
  Family family;
};

// Every Jet DDL type name the store accepts (upper case).
constexpr std::array kJetNames{
    JetName{"TEXT", Family::Text},
    JetName{"VARCHAR", Family::Text},
    JetName{"CHAR", Family::Text},
    JetName{"CHARACTER", Family::Text},
    JetName{"NCHAR", Family::Text},
    JetName{"NVARCHAR", Family::Text},
    JetName{"STRING", Family::Text},
    JetName{"ALPHANUMERIC", Family::Text},
    JetName{"MEMO", Family::Memo},
    JetName{"LONGTEXT", Family::Memo},
    JetName{"LONGCHAR", Family::Memo},
    JetName{"NOTE", Family::Memo},
    JetName{"NTEXT", Family::Memo},
    JetName{"LONG", Family::Long},
    JetName{"INTEGER", Family::Long},
    JetName{"INT", Family::Long},
    JetName{"INTEGER4", Family::Long},
    JetName{"SHORT", Family::Short},
    JetName{"SMALLINT", Family::Short},
    JetName{"INTEGER2", Family::Short},
    JetName{"BYTE", Family::Byte},
    JetName{"TINYINT", Family::Byte},
    JetName{"INTEGER1", Family::Byte},
    JetName{"COUNTER", Family::Counter},
    JetName{"AUTOINCREMENT", Family::Counter},
    JetName{"CURRENCY", Family::Currency},
    JetName{"MONEY", Family::Currency},
    JetName{"SINGLE", Family::Single},
    JetName{"REAL", Family::Single},
    JetName{"FLOAT4", Family::Single},
    JetName{"IEEESINGLE", Family::Single},
    JetName{"DOUBLE", Family::Double},
    JetName{"FLOAT", Family::Double},
    JetName{"FLOAT8", Family::Double},
    JetName{"NUMBER", Family::Double},
    JetName{"IEEEDOUBLE", Family::Double},
    JetName{"DATETIME", Family::DateTime},
    JetName{"DATE", Family::DateTime},
    JetName{"TIME", Family::DateTime},
    JetName{"TIMESTAMP", Family::DateTime},
    JetName{"YESNO", Family::Bit},
    JetName{"BIT", Family::Bit},
    JetName{"LOGICAL", Family::Bit},
    JetName{"LOGICAL1", Family::Bit},
    JetName{"BOOLEAN", Family::Bit},
    JetName{"GUID", Family::Guid},
    JetName{"UNIQUEIDENTIFIER", Family::Guid},
    JetName{"BINARY", Family::Binary},
    JetName{"VARBINARY", Family::Binary},
    JetName{"LONGBINARY", Family::LongBinary},
    JetName{"OLEOBJECT", Family::LongBinary},
    JetName{"GENERAL", Family::LongBinary},
    JetName{"IMAGE", Family::LongBinary},
    JetName{"DECIMAL", Family::Decimal},
    JetName{"NUMERIC", Family::Decimal},
    JetName{"DEC", Family::Decimal},
};

// `s` without leading and trailing blanks of any kind.
std::string_view Strip(std::string_view s) {
  while (!s.empty() && std::isspace(static_cast<unsigned char>(s.front()))) s.remove_prefix(1);
  while (!s.empty() && std::isspace(static_cast<unsigned char>(s.back()))) s.remove_suffix(1);
  return s;
}

// A declared type split into its name and up to two numeric arguments:
// "DECIMAL(10, 2)" gives "DECIMAL", 10, 2. A text after the closing
// parenthesis (a constraint such as COLLATE NOCASE) is ignored.
struct Declared {
  std::string name;  // upper case, blanks collapsed
  std::optional<std::int32_t> first, second;
};

// Parses one decimal argument; no value when `s` is not a plain integer.
std::optional<std::int32_t> ParseArg(std::string_view s) {
  s = Strip(s);
  std::int32_t v = 0;
  const auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), v);
  if (ec != std::errc() || end != s.data() + s.size()) return std::nullopt;
  return v;
}

// Splits a declared type as described at Declared.
Declared SplitDeclared(std::string_view declared) {
  Declared d;
  const std::size_t open = declared.find('(');
  std::string_view name = declared.substr(0, open);
  // A bare name may still carry a trailing constraint ("LONGTEXT COLLATE NOCASE").
  if (const std::size_t collate = rt::AsciiUpper(name).find(" COLLATE ");
      collate != std::string::npos) {
    name = name.substr(0, collate);
  }
  for (char ch : Strip(name)) {
    if (std::isspace(static_cast<unsigned char>(ch))) {
      if (!d.name.empty() && d.name.back() != ' ') d.name += ' ';
    } else {
      d.name += static_cast<char>(std::toupper(static_cast<unsigned char>(ch)));
    }
  }
  if (open != std::string_view::npos) {
    const std::size_t close = declared.find(')', open);
    const std::string_view args = declared.substr(
        open + 1, close == std::string_view::npos ? std::string_view::npos : close - open - 1);
    const std::size_t comma = args.find(',');
    d.first = ParseArg(args.substr(0, comma));
    if (comma != std::string_view::npos) d.second = ParseArg(args.substr(comma + 1));
  }
  return d;
}

// The type a declared name gets by SQLite's affinity rules, as ADO sees it.
ColumnType ByAffinity(const Declared& d) {
  const std::string& n = d.name;
  // True when the name contains `part`.
  const auto has = [&n](std::string_view part) { return n.find(part) != std::string::npos; };
  if (has("INT")) return {kAdInteger, 4};
  if (has("CHAR") || has("CLOB") || has("TEXT")) {
    // A sized text up to the Text limit is a Text column; CLOB and bigger
    // sizes are Memo.
    if (has("CLOB") || (d.first && *d.first > kMaxTextSize)) return {kAdLongVarWChar, kMemoSize};
    return {kAdVarWChar, d.first && *d.first > 0 ? *d.first : kMaxTextSize};
  }
  if (n.empty() || has("BLOB")) return {kAdLongVarBinary, kLongBinarySize};
  if (has("REAL") || has("FLOA") || has("DOUB")) return {kAdDouble, 8};
  ColumnType t{kAdNumeric, 19};
  t.precision = 18;
  return t;
}

}  // namespace

// The canonical declared type of a Jet type name (any case) with its size or
// precision and scale; no value for an unknown name or a size Jet rejects
// (Text 1-255, Binary 1-510, Decimal precision 1-28 with 0 <= scale <= precision).
// Types without a size ignore the arguments; COUNTER's seed and step are the
// caller's business.
std::optional<std::string> DeclaredTypeForJet(std::string_view jetType,
                                              std::optional<std::int32_t> size,
                                              std::optional<std::int32_t> scale) {
  const std::string name = rt::AsciiUpper(Strip(jetType));
  const JetName* found = nullptr;
  for (const JetName& j : kJetNames) {
    if (j.name == name) found = &j;
  }
  if (!found) return std::nullopt;
  switch (found->family) {
    case Family::Text: {
      const std::int32_t n = size.value_or(kMaxTextSize);
      if (n < 1 || n > kMaxTextSize) return std::nullopt;
      return fmt::format("VARCHAR({}) COLLATE NOCASE", n);
    }
    case Family::Memo:
      return "LONGTEXT COLLATE NOCASE";
    case Family::Long:
      return "INTEGER";
    case Family::Short:
      return "SMALLINT";
    case Family::Byte:
      return "TINYINT";
    case Family::Counter:
      return "COUNTER";
    case Family::Currency:
      return "CURRENCY";
    case Family::Single:
      return "FLOAT4";
    case Family::Double:
      return "DOUBLE";
    case Family::DateTime:
      return "DATETIME";
    case Family::Bit:
      return "BIT";
    case Family::Guid:
      return "GUID";
    case Family::Binary: {
      const std::int32_t n = size.value_or(kMaxBinarySize);
      if (n < 1 || n > kMaxBinarySize) return std::nullopt;
      return fmt::format("BINARY({})", n);
    }
    case Family::LongBinary:
      return "LONGBINARY";
    case Family::Decimal: {
      const std::int32_t p = size.value_or(18);
      const std::int32_t s = scale.value_or(0);
      if (p < 1 || p > kMaxDecimalPrecision || s < 0 || s > p) return std::nullopt;
      return fmt::format("DECIMAL({},{})", p, s);
    }
  }
  return std::nullopt;
}

// The ADO type, size and (for DECIMAL) precision and scale of a declared type.
// Canonical names map by the table in coltypes.h; anything else by SQLite's
// affinity rules, where a sized CHAR type up to 255 is Text of that size, a
// bare TEXT/CHAR Text(255), and CLOB or a size above 255 Memo.
ColumnType ColumnTypeForDeclared(std::string_view declared) {
  const Declared d = SplitDeclared(declared);
  const std::string& n = d.name;
  if (n == "VARCHAR" && d.first && *d.first >= 1 && *d.first <= kMaxTextSize) {
    return {kAdVarWChar, *d.first};
  }
  if (n == "LONGTEXT") return {kAdLongVarWChar, kMemoSize};
  if (n == "INTEGER") return {kAdInteger, 4};
  if (n == "SMALLINT") return {kAdSmallInt, 2};
  if (n == "TINYINT") return {kAdUnsignedTinyInt, 1};
  if (n == "COUNTER") return {kAdInteger, 4, 0, 0, true};
  if (n == "CURRENCY") return {kAdCurrency, 8};
  if (n == "FLOAT4") return {kAdSingle, 4};
  if (n == "DOUBLE") return {kAdDouble, 8};
  if (n == "DATETIME") return {kAdDate, 8};
  if (n == "BIT") return {kAdBoolean, 2};
  if (n == "GUID") return {kAdGuid, 16};
  if (n == "BINARY") return {kAdBinary, d.first && *d.first >= 1 ? *d.first : kMaxBinarySize};
  if (n == "LONGBINARY") return {kAdLongVarBinary, kLongBinarySize};
  if (n == "DECIMAL") {
    return {kAdNumeric, 19, d.first.value_or(18), d.second.value_or(0), false};
  }
  return ByAffinity(d);
}

}  // namespace zmdb::dal::sqlite
