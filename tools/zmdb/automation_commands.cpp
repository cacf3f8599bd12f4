// zmdb session: one JSON request per line on stdin, one JSON response per
// line on stdout. zmdb call METHOD name=value ...: one call on a fresh
// component object.
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "commands.h"
#include "zmdb/automation/session.h"

namespace zmdb::cli {

namespace {

// Serve requests until end of input; a malformed line is answered, not fatal.
int RunSession() {
  automation::Session session;
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
  using automation::Json;
  Json args = Json::object();
  for (const std::string& a : assignments) {
    const auto eq = a.find('=');
    if (eq == std::string::npos || eq == 0) {
      std::cerr << "zmdb call: expected name=value, got '" << a << "'\n";
      return 2;
    }
    const std::string name = a.substr(0, eq);
    const std::string text = a.substr(eq + 1);
    if (automation::NestingDepth(text) > automation::kMaxValueDepth) {
      std::cerr << "zmdb call: '" << name << "' nests more than " << automation::kMaxValueDepth
                << " arrays or objects deep\n";
      return 2;
    }
    Json value = Json::parse(text, nullptr, false);
    args[name] = value.is_discarded() ? Json(text) : value;
  }
  automation::Session session;
  const Json response = session.Handle(Json{{"call", method}, {"args", args}});
  std::cout << response.dump(-1, ' ', false, Json::error_handler_t::replace) << '\n';
  return response.contains("raised") ? 1 : 0;
}

}  // namespace

void AddAutomationCommands(CLI::App& app, Commands& commands) {
  CLI::App* session =
      app.add_subcommand("session", "Serve JSON requests, one per line, from stdin");
  commands.Add(session, RunSession);

  CLI::App* call = app.add_subcommand("call", "Call one method on a fresh component object");
  auto method = std::make_shared<std::string>();
  auto assignments = std::make_shared<std::vector<std::string>>();
  call->add_option("method", *method, "Method name, e.g. dbCSql")->required();
  call->add_option("args", *assignments,
                   "Arguments as name=value (value read as JSON when it parses)");
  commands.Add(call, [=] { return RunCall(*method, *assignments); });
}

}  // namespace zmdb::cli
