#include "zmdb/dal/router.h"

#include <algorithm>
#include <cctype>

#include "zmdb/connect/connstr.h"
#include "zmdb/runtime/error.h"

namespace zmdb::dal {

namespace {
std::string Trim(std::string_view s) {
  const auto b = s.find_first_not_of(" \t\r\n");
  if (b == std::string_view::npos) return {};
  const auto e = s.find_last_not_of(" \t\r\n");
  return std::string(s.substr(b, e - b + 1));
}

std::string Upper(std::string_view s) {
  std::string out(s);
  for (char& c : out) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return out;
}

bool StartsWithNoCase(std::string_view text, std::string_view prefix) {
  return text.size() >= prefix.size() && Upper(text.substr(0, prefix.size())) == Upper(prefix);
}

// The value of the first of `keys` present, or "".
std::string First(const std::map<std::string, std::string>& m,
                  std::initializer_list<std::string_view> keys) {
  for (std::string_view k : keys) {
    const auto it = m.find(std::string(k));
    if (it != m.end()) return it->second;
  }
  return {};
}
}  // namespace

std::map<std::string, std::string> ParseConnectionString(std::string_view text) {
  std::map<std::string, std::string> out;
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
    std::string key = Upper(Trim(text.substr(i, eq - i)));
    std::size_t v = eq + 1;
    std::string value;
    const std::size_t firstNonBlank = text.find_first_not_of(' ', v);
    if (firstNonBlank != std::string_view::npos && text[firstNonBlank] == '{') {
      const std::size_t close = text.find('}', firstNonBlank);
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
    if (!key.empty() && !out.count(key)) out.emplace(std::move(key), std::move(value));
  }
  return out;
}

Route RouteConnection(std::string_view connectionString, std::string_view providerProperty) {
  Route route;
  std::string_view text = connectionString;
  if (StartsWithNoCase(text, connect::kShapePrefix)) {
    route.shaped = true;
    text.remove_prefix(connect::kShapePrefix.size());
  }
  const std::string trimmed = Trim(text);
  if (trimmed.empty()) {
    rt::Raise(rt::err::kUnspecified, "Provider cannot be found. It may not be properly installed.",
              "ADODB.Connection");
  }
  // A bare path names a file-store database.
  if (trimmed.find('=') == std::string::npos) {
    route.kind = StoreKind::File;
    route.provider = "Microsoft.Jet.OLEDB.4.0";
    route.dataSource = trimmed;
    route.rest = trimmed;
    return route;
  }
  route.keys = ParseConnectionString(trimmed);
  route.rest = trimmed;
  route.provider = Trim(First(route.keys, {"PROVIDER"}));
  if (route.provider.empty()) route.provider = Trim(providerProperty);
  const std::string provider = Upper(route.provider);
  const bool fileProvider =
      provider.starts_with("MICROSOFT.JET.OLEDB") || provider.starts_with("MICROSOFT.ACE.OLEDB");
  if (fileProvider) {
    route.kind = StoreKind::File;
    route.dataSource = Trim(First(route.keys, {"DATA SOURCE", "DBQ"}));
    // The password key is written with a blank before "=" by the library.
    for (const auto& [key, value] : route.keys) {
      std::string k = key;
      k.erase(std::remove(k.begin(), k.end(), ' '), k.end());
      if (k == "JETOLEDB:DATABASEPASSWORD") route.password = value;
    }
    return route;
  }
  route.kind = StoreKind::Server;
  return route;
}

}  // namespace zmdb::dal
