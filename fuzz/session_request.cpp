// The `zmdb session` request decoder. An input is request lines; each goes to
// one session, which must answer every line with one JSON object and stay
// usable. Requests that would reach outside the process (open a connection or
// a database, read or write a named file, run raw SQL) are left out, since
// a fuzzer would only exercise the file system and the network with them; the
// rest (translation, type vocabulary, fabricated recordsets and their
// filters, controls, handles, late-bound members) run as a script's would.
#include <set>
#include <string>

#include "fuzz_check.h"
#include "zmdb/automation/json_value.h"
#include "zmdb/automation/session.h"

namespace {

using zmdb::automation::Json;

// Whether request[key] is one of `names` (lower case), compared as calls by
// name are, without regard to case; a key that is no string counts too.
bool Named(const Json& request, const char* key, const std::set<std::string>& names) {
  if (!request.contains(key)) return false;
  const Json& name = request.at(key);
  if (!name.is_string()) return true;
  std::string lower = name.get<std::string>();
  for (char& c : lower) c = (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
  return names.contains(lower);
}

// True for a request this target does not send (see above). A line that is
// no JSON object is always sent: refusing it is the decoder's work.
bool ReachesOutside(const std::string& line) {
  if (zmdb::automation::NestingDepth(line) > zmdb::automation::kMaxRequestDepth) return false;
  Json request;
  try {
    request = Json::parse(line);
  } catch (const std::exception&) {
    return false;
  }
  if (!request.is_object()) return false;
  static const std::set<std::string> methods{
      "dbsetconnect",      "dbopendatebase",     "dbcreatedbitem",    "dbcreatedbadox",
      "dbbackuprecordset", "dbrestorerecordset", "dbgetformctlinfo",  "dbexport",
      "dbcopytbldata",     "dbexecproc",         "dbcreatetableitem", "dbcreatetableover"};
  static const std::set<std::string> types{"connection", "database"};
  static const std::set<std::string> members{
      "open", "save", "execute", "activeconnection", "connectionstring", "requery", "resync"};
  return request.contains("exec") || Named(request, "call", methods) ||
         Named(request, "new", types) || Named(request, "get", members) ||
         Named(request, "set", members) || Named(request, "invoke", members);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = zmdb::fuzz::Text(data, size);
  zmdb::automation::Session session;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    const std::string line = text.substr(start, end - start);
    start = end + 1;
    if (ReachesOutside(line)) continue;
    const std::string answer = session.HandleLine(line);
    const Json response = Json::parse(answer);
    FUZZ_CHECK(response.is_object());
  }
  return 0;
}
