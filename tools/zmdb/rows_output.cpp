#include "rows_output.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "zmdb/runtime/convert.h"

namespace zmdb::cli {

namespace {

using rt::VarType;

// The next code point of `s` from `i` (moving `i` past it); a stray byte
// counts as one code point of its own.
char32_t NextCodePoint(std::string_view s, std::size_t& i) {
  const auto lead = static_cast<unsigned char>(s[i++]);
  const int extra = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : lead >= 0xC0 ? 1 : 0;
  char32_t cp = extra == 0 ? lead : lead & (0x3F >> extra);
  for (int k = 0; k < extra && i < s.size(); ++k) {
    const auto next = static_cast<unsigned char>(s[i]);
    if ((next & 0xC0) != 0x80) break;
    cp = (cp << 6) | (next & 0x3F);
    ++i;
  }
  return cp;
}

bool IsWide(char32_t cp) {
  return (cp >= 0x1100 && cp <= 0x115F) || (cp >= 0x2E80 && cp <= 0xA4CF && cp != 0x303F) ||
         (cp >= 0xAC00 && cp <= 0xD7A3) || (cp >= 0xF900 && cp <= 0xFAFF) ||
         (cp >= 0xFE30 && cp <= 0xFE4F) || (cp >= 0xFF00 && cp <= 0xFF60) ||
         (cp >= 0xFFE0 && cp <= 0xFFE6) || (cp >= 0x20000 && cp <= 0x3FFFD);
}

std::string CellText(const rt::Variant& v) {
  std::string text = rt::TextOf(v);
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c == '\n' || c == '\r' || c == '\t'; }, ' ');
  return text;
}

void Pad(std::string& out, std::size_t n) {
  out.append(n, ' ');
}

std::string CsvField(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  std::string quoted = "\"";
  for (char c : text) {
    if (c == '"') quoted += '"';
    quoted += c;
  }
  return quoted + '"';
}

nlohmann::ordered_json JsonValue(const rt::Variant& v) {
  switch (v.Type()) {
    case VarType::Empty:
    case VarType::Null:
      return nullptr;
    case VarType::Boolean:
      return v.AsBoolean();
    case VarType::Byte:
    case VarType::Integer:
    case VarType::Long:
      return v.AsLong();
    case VarType::Single:
    case VarType::Double:
    case VarType::Currency:
      return rt::CDbl(v);
    default:
      return rt::TextOf(v);
  }
}

}  // namespace

std::size_t DisplayWidth(std::string_view utf8) {
  std::size_t width = 0;
  for (std::size_t i = 0; i < utf8.size();) width += IsWide(NextCodePoint(utf8, i)) ? 2 : 1;
  return width;
}

std::string AlignedText(const Grid& grid, bool countLine) {
  const std::size_t n = grid.columns.size();
  std::vector<std::vector<std::string>> cells;
  std::vector<std::size_t> widths(n);
  std::vector<bool> numeric(n, false);
  for (std::size_t c = 0; c < n; ++c) widths[c] = DisplayWidth(grid.columns[c]);
  for (const auto& row : grid.rows) {
    auto& texts = cells.emplace_back();
    for (std::size_t c = 0; c < n && c < row.size(); ++c) {
      texts.push_back(CellText(row[c]));
      widths[c] = std::max(widths[c], DisplayWidth(texts.back()));
      if (row[c].IsNumeric()) numeric[c] = true;
    }
  }
  std::string out;
  auto line = [&](const std::vector<std::string>& texts) {
    std::string text;
    for (std::size_t c = 0; c < texts.size(); ++c) {
      const std::size_t gap = widths[c] - DisplayWidth(texts[c]);
      if (c > 0) text += "  ";
      if (numeric[c]) Pad(text, gap);
      text += texts[c];
      if (!numeric[c]) Pad(text, gap);
    }
    text.erase(text.find_last_not_of(' ') + 1);
    out += text + '\n';
  };
  line(grid.columns);
  std::vector<std::string> rule;
  for (std::size_t w : widths) rule.emplace_back(w, '-');
  line(rule);
  for (const auto& texts : cells) line(texts);
  const std::size_t count = grid.rows.size();
  if (countLine) out += "(" + std::to_string(count) + (count == 1 ? " row)\n" : " rows)\n");
  return out;
}

std::string Csv(const Grid& grid) {
  std::string out;
  auto line = [&](const std::vector<std::string>& texts) {
    for (std::size_t c = 0; c < texts.size(); ++c) {
      if (c > 0) out += ',';
      out += CsvField(texts[c]);
    }
    out += "\r\n";
  };
  line(grid.columns);
  for (const auto& row : grid.rows) {
    std::vector<std::string> texts;
    for (const rt::Variant& v : row) texts.push_back(rt::TextOf(v));
    line(texts);
  }
  return out;
}

std::string JsonRows(const Grid& grid) {
  nlohmann::ordered_json rows = nlohmann::ordered_json::array();
  for (const auto& row : grid.rows) {
    nlohmann::ordered_json object = nlohmann::ordered_json::object();
    for (std::size_t c = 0; c < grid.columns.size() && c < row.size(); ++c) {
      object[grid.columns[c]] = JsonValue(row[c]);
    }
    rows.push_back(std::move(object));
  }
  return rows.dump(1, ' ', false, nlohmann::json::error_handler_t::replace) + '\n';
}

}  // namespace zmdb::cli
