// The recordset text backup file, as text.
#include "zmdb/files/backup_format.h"

#include <fmt/format.h>

#include <cmath>
#include <limits>

#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/format.h"

namespace zmdb::files {

namespace {

constexpr std::int32_t kAdDate = 7;

// The largest double whose fifteen-digit text reads back: above it the text
// rounds past the largest double and no restore reads it (it overflows).
constexpr double kLargestFifteenDigits = 1.79769313486231e308;

// A double's text: the run time's fifteen significant digits, except for the
// few largest doubles, which take all seventeen so that they read back.
std::string DoubleText(double d) {
  if (std::isfinite(d) && std::fabs(d) > kLargestFifteenDigits) return fmt::format("{:.16E}", d);
  return rt::TextOf(rt::Variant(d));
}

}  // namespace

std::string NoteLine(std::string_view note) {
  return ";" + std::string(note.empty() ? std::string_view("Please add note") : note);
}

std::string HeaderLine(const std::vector<std::string>& entries, std::string_view separator) {
  std::string line = ";";
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (i > 0) line += separator;
    line += entries[i];
  }
  return line;
}

std::string_view WithoutHeaderMark(std::string_view line) {
  if (!line.empty() && line.front() == ';') line.remove_prefix(1);
  return line;
}

std::vector<std::string_view> SplitAt(std::string_view text, std::string_view separator) {
  std::vector<std::string_view> parts;
  SplitAt(text, separator, parts);
  return parts;
}

void SplitAt(std::string_view text, std::string_view separator,
             std::vector<std::string_view>& parts) {
  parts.clear();
  if (separator.empty()) {
    parts.push_back(text);
    return;
  }
  std::size_t from = 0;
  for (std::size_t at = text.find(separator); at != std::string_view::npos;
       at = text.find(separator, from)) {
    parts.push_back(text.substr(from, at - from));
    from = at + separator.size();
  }
  parts.push_back(text.substr(from));
}

void AppendValueText(std::string& line, const rt::Variant& value, std::int32_t adoType,
                     std::string_view dateFormat) {
  if (value.IsNull()) return;
  if (adoType == kAdDate && !dateFormat.empty()) {
    line += rt::Format(value, dateFormat);
  } else if (value.IsString()) {
    line += value.AsString();
  } else if (value.Type() == rt::VarType::Double) {
    line += DoubleText(value.AsDouble());
  } else {
    line += rt::TextOf(value);
  }
}

std::int32_t DefinedSizeOf(std::string_view entry) {
  if (entry.empty() || entry == "0") return 0;
  return rt::CLng(rt::Variant(std::string(entry)));
}

}  // namespace zmdb::files
