// Connection-string text read the same way by every layer.
#include "zmdb/dal/connstr.h"

#include "zmdb/runtime/convert.h"

namespace zmdb::dal {

std::string TrimBlanks(std::string_view s) {
  const auto b = s.find_first_not_of(" \t\r\n");
  if (b == std::string_view::npos) return {};
  const auto e = s.find_last_not_of(" \t\r\n");
  return std::string(s.substr(b, e - b + 1));
}

std::vector<std::pair<std::string, std::string>> ParseConnectionPairs(std::string_view text) {
  std::vector<std::pair<std::string, std::string>> out;
  std::size_t i = 0;
  while (i < text.size()) {
    const std::size_t eq = text.find('=', i);
    const std::size_t semi = text.find(';', i);
    if (eq == std::string_view::npos || (semi != std::string_view::npos && semi < eq)) {
      // A piece without "=": skip it.
      if (semi == std::string_view::npos) break;
      i = semi + 1;
      continue;
    }
    std::string key = TrimBlanks(text.substr(i, eq - i));
    std::size_t v = eq + 1;
    std::string value;
    const std::size_t firstNonBlank = text.find_first_not_of(' ', v);
    if (firstNonBlank != std::string_view::npos && text[firstNonBlank] == '{') {
      // The closing brace; "}}" inside stands for one "}".
      std::size_t close = std::string_view::npos;
      for (std::size_t j = firstNonBlank + 1; j < text.size(); ++j) {
        if (text[j] != '}') continue;
        if (j + 1 < text.size() && text[j + 1] == '}') {
          ++j;
          continue;
        }
        close = j;
        break;
      }
      const std::size_t end = close == std::string_view::npos ? text.size() : close + 1;
      value = std::string(text.substr(v, end - v));
      v = end;
      const std::size_t next = text.find(';', v);
      i = next == std::string_view::npos ? text.size() : next + 1;
    } else {
      const std::size_t end = semi == std::string_view::npos ? text.size() : semi;
      value = std::string(text.substr(v, end - v));
      i = end + 1;
    }
    if (!key.empty()) out.emplace_back(std::move(key), std::move(value));
  }
  return out;
}

std::map<std::string, std::string> ParseConnectionString(std::string_view text) {
  std::map<std::string, std::string> out;
  for (auto& [key, value] : ParseConnectionPairs(text)) {
    out.emplace(rt::AsciiUpper(key), std::move(value));  // the first of a repeated key wins
  }
  return out;
}

}  // namespace zmdb::dal
