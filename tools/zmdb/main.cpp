// zmdb: the automation interface on the command line.
//   zmdb session                      one JSON request per line on stdin,
//                                     one JSON response per line on stdout
//   zmdb call METHOD name=value ...   one call on a fresh component object
#include <CLI/CLI.hpp>
#include <iostream>
#include <string>
#include <vector>

#include "zmdb/automation/session.h"

namespace {

// Serve requests until end of input; a malformed line is answered, not fatal.
int RunSession() {
  zmdb::automation::Session session;
  std::string line;
  while (std::getline(std::cin, line)) {
    if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
    std::cout << session.HandleLine(line) << '\n' << std::flush;
  }
  return 0;
}

// One call: each name=value argument is taken as JSON when it parses as
// JSON, else as a plain string.
int RunCall(const std::string& method, const std::vector<std::string>& assignments) {
  using zmdb::automation::Json;
  Json args = Json::object();
  for (const std::string& a : assignments) {
    const auto eq = a.find('=');
    if (eq == std::string::npos || eq == 0) {
      std::cerr << "zmdb call: expected name=value, got '" << a << "'\n";
      return 2;
    }
    const std::string name = a.substr(0, eq);
    const std::string text = a.substr(eq + 1);
    if (zmdb::automation::NestingDepth(text) > zmdb::automation::kMaxValueDepth) {
      std::cerr << "zmdb call: '" << name << "' nests more than "
                << zmdb::automation::kMaxValueDepth << " arrays or objects deep\n";
      return 2;
    }
    Json value = Json::parse(text, nullptr, false);
    args[name] = value.is_discarded() ? Json(text) : value;
  }
  zmdb::automation::Session session;
  const Json response = session.Handle(Json{{"call", method}, {"args", args}});
  std::cout << response.dump(-1, ' ', false, Json::error_handler_t::replace) << '\n';
  return response.contains("raised") ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"zmdb: drive the ZMDBFunc component object from scripts"};
  app.require_subcommand(1);
  CLI::App* session =
      app.add_subcommand("session", "Serve JSON requests, one per line, from stdin");
  CLI::App* call = app.add_subcommand("call", "Call one method on a fresh component object");
  std::string method;
  std::vector<std::string> assignments;
  call->add_option("method", method, "Method name, e.g. dbCSql")->required();
  call->add_option("args", assignments,
                   "Arguments as name=value (value read as JSON when it parses)");
  CLI11_PARSE(app, argc, argv);
  if (*session) return RunSession();
  return RunCall(method, assignments);
}
