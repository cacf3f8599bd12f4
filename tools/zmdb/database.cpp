#include "database.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <iostream>
#include <optional>

#include "commands.h"
#include "zmdb/frame/methods.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/object.h"

namespace zmdb::cli {

namespace {
// Line breaks inside a message would break the one-line rule of the commands.
std::string OneLine(std::string text) {
  for (char& c : text) {
    if (c == '\n' || c == '\r') c = ' ';
  }
  return text;
}

// The connection string as a message may show it: the value of every key
// that names a password ("Pwd", "Password", "Jet OLEDB:Database Password")
// replaced by "***", so a failed open does not print the secret.
std::string WithoutPasswords(const std::string& db) {
  std::string out;
  std::size_t start = 0;
  while (start <= db.size()) {
    std::size_t end = db.find(';', start);
    if (end == std::string::npos) end = db.size();
    std::string part = db.substr(start, end - start);
    const std::size_t eq = part.find('=');
    if (eq != std::string::npos) {
      std::string key = part.substr(0, eq);
      std::transform(key.begin(), key.end(), key.begin(),
                     [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
      const bool secret =
          key.find("password") != std::string::npos || key.find("pwd") != std::string::npos;
      if (secret) part = part.substr(0, eq + 1) + "***";
    }
    out += part;
    if (end == db.size()) break;
    out += ';';
    start = end + 1;
  }
  return out;
}
}  // namespace

std::string ConnectionStringFor(const std::string& db) {
  if (db.find('=') != std::string::npos) return db;
  std::error_code ec;
  if (!std::filesystem::is_regular_file(db, ec)) {
    throw CommandError("no such database file: " + db);
  }
  return "PROVIDER=Microsoft.Jet.OLEDB.4.0;Data Source=" + db + ";";
}

Database::Database(const std::string& db)
    : host_(std::make_shared<rt::HeadlessHost>()),
      scope_(host_),
      component_(std::make_unique<clsZMDBFunc>()) {
  host_->SetEcho(false);
  const std::string connectionString = ConnectionStringFor(db);
  if (connectionString != db) filePath_ = db;
  constexpr std::int32_t kClientSideCursors = 3;
  if (!component_->dbSetConnect(connectionString, false, kClientSideCursors)) {
    const std::string why = LastError();
    throw CommandError("cannot open " + WithoutPasswords(db) + (why.empty() ? "" : ": " + why));
  }
  connection_ = rt::Variant(component_->dbGetConnect(false));
}

Database::~Database() {
  component_->dbCloseConnect(false);
  component_.reset();
}

bool Database::HasTable(const std::string& table) {
  const rt::SafeArray names = component_->dbTableDefs(connection_, true);
  const auto& items = names.items();
  return std::any_of(items.begin(), items.end(), [&](const rt::Variant& name) {
    return rt::NameEquals(rt::CStr(name), table);
  });
}

rt::Variant Database::Execute(const std::string& sql) {
  return rt::CallMethod(connection_, "Execute", {rt::Variant(sql)});
}

std::string Database::LastError() const {
  const ErrStruct e = component_->dbGetLastError();
  if (e.Number == 0) return {};
  return OneLine(e.Description);
}

rt::Variant CallByName(clsZMDBFunc& component, std::string_view method, const NamedArgs& args) {
  const frame::MethodSpec* spec = frame::FindMethod(method);
  if (!spec) throw CommandError("no method named " + std::string(method));
  std::vector<std::optional<rt::Variant>> given(spec->args.size());
  for (const auto& [name, value] : args) {
    std::size_t i = 0;
    while (i < spec->args.size() && !rt::NameEquals(spec->args[i].name, name)) ++i;
    if (i == spec->args.size()) {
      throw CommandError(std::string(method) + " takes no argument named " + std::string(name));
    }
    given[i] = value;
  }
  std::vector<rt::Variant> prepared = frame::PrepareArguments(*spec, given);
  return frame::Invoke(component, *spec, prepared);
}

std::string ErrorLine(const std::exception& e) {
  return OneLine(e.what());
}

int RunGuarded(const std::string& name, const std::function<void()>& body) {
  try {
    body();
    std::cout.flush();
    return 0;
  } catch (const std::exception& e) {
    std::cout.flush();
    std::cerr << "zmdb " << name << ": " << ErrorLine(e) << '\n';
    return 1;
  }
}

}  // namespace zmdb::cli
