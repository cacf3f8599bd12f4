// Connection strings: the key=value parsing, the router (which store a string
// leads to, and the ODBC string a server route is given) and the password
// reading. Any text is read or refused with a run-time error; the two parsers
// agree on the keys; and a string with its passwords redacted gives no
// password but the mask.
#include <algorithm>
#include <cctype>
#include <string>

#include "fuzz_check.h"
#include "zmdb/dal/connstr.h"
#include "zmdb/dal/router.h"
#include "zmdb/runtime/error.h"

namespace {

std::string Upper(std::string s) {
  std::transform(s.begin(), s.end(), s.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return s;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  namespace dal = zmdb::dal;
  const std::string text = zmdb::fuzz::Text(data, size);

  const auto keys = dal::ParseConnectionString(text);
  for (const auto& [key, value] : dal::ParseConnectionPairs(text)) {
    FUZZ_CHECK(keys.contains(Upper(key)));
  }

  const std::string password = dal::FilePassword(text);
  const std::string redacted = dal::RedactPasswords(text);
  const std::string left = dal::FilePassword(redacted);
  FUZZ_CHECK(left.empty() || left == "***");
  if (!password.empty() && password != "***") FUZZ_CHECK(password != left);

  try {
    const dal::Route route = dal::RouteConnection(text);
    if (route.kind == dal::StoreKind::Server) {
      const std::string odbc = dal::OdbcConnectionString(route);
      dal::CheckDriverManagerLimits(odbc, route.driver, route.dsn);
      dal::FamilyOfDriver(route.driver);
    }
  } catch (const zmdb::rt::PlatformError&) {
  }
  return 0;
}
