#include "zmdb/automation/objects.h"

#include <filesystem>

#include "zmdb/dal/command.h"
#include "zmdb/dal/connection.h"
#include "zmdb/dal/dao/dao.h"
#include "zmdb/dal/recordset.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/error.h"
#include "zmdb/ui/controls.h"

namespace zmdb::automation {

namespace {

constexpr const char* kSource = "zmdb";

// The value of the argument `name`, or nullptr when it was not given.
const rt::Variant* Arg(const NamedArgs& args, std::string_view name) {
  for (const auto& [key, value] : args) {
    if (rt::NameEquals(key, name)) return &value;
  }
  return nullptr;
}

// Refuses an argument whose name is not one of `known`.
void CheckNames(std::string_view type, const NamedArgs& args,
                std::initializer_list<std::string_view> known) {
  for (const auto& [key, value] : args) {
    bool found = false;
    for (std::string_view name : known) found = found || rt::NameEquals(key, name);
    if (!found) {
      rt::Raise(rt::err::kNotSupported, std::string(type) + " has no argument named '" + key + "'",
                kSource);
    }
  }
}

// A file database opened (or, with Create true and no file yet, created) from
// Name, Connect and ReadOnly.
rt::ObjectRef OpenDatabase(const NamedArgs& args) {
  CheckNames("Database", args, {"Name", "Connect", "ReadOnly", "Create"});
  dal::dao::OpenArgs open;
  const rt::Variant* v = nullptr;
  if ((v = Arg(args, "Name"))) open.name = rt::CStr(*v);
  if ((v = Arg(args, "Connect"))) open.connect = rt::CStr(*v);
  if ((v = Arg(args, "ReadOnly"))) open.readOnly = rt::CBool(*v);
  const bool create = (v = Arg(args, "Create")) && rt::CBool(*v);
  std::error_code ec;
  if (create && !std::filesystem::exists(open.name, ec)) {
    return dal::dao::Database::Create(open.name, {});
  }
  return dal::dao::Database::Open(open);
}

// A connection with its properties set, then opened on its ConnectionString.
rt::ObjectRef OpenConnection(const NamedArgs& args) {
  auto cn = dal::Connection::Create();
  for (const auto& [key, value] : args) {
    if (!rt::NameEquals(key, "ConnectionString")) cn->SetProperty(key, value, {});
  }
  if (const rt::Variant* s = Arg(args, "ConnectionString")) cn->Open(rt::CStr(*s));
  return cn;
}

// The arguments a new Parameter takes, in the order a command's
// CreateParameter takes them.
constexpr std::string_view kParameterArgs[] = {"Name", "Type", "Direction", "Size", "Value"};

// A parameter made as a command makes one, the arguments left out at their
// defaults.
rt::ObjectRef NewParameter(const NamedArgs& args) {
  CheckNames("Parameter", args, {"Name", "Type", "Direction", "Size", "Value"});
  std::vector<rt::Variant> create;
  for (std::string_view name : kParameterArgs) {
    const rt::Variant* v = Arg(args, name);
    create.push_back(v ? *v : rt::Variant::Missing());
  }
  const rt::Variant command{rt::ObjectRef(dal::Command::Create())};
  return rt::CallMethod(command, "CreateParameter", std::move(create)).AsObject();
}

}  // namespace

rt::ObjectRef NewObject(std::string_view type, const NamedArgs& args) {
  if (rt::ObjectRef control = ui::NewControl(type)) return control;
  if (type == "Connection") return OpenConnection(args);
  if (type == "Recordset") return dal::Recordset::Create();
  if (type == "Database") return OpenDatabase(args);
  if (type == "Parameter") return NewParameter(args);
  rt::Raise(rt::err::kNotSupported,
            "Objects of type '" + std::string(type) + "' cannot be made yet", kSource);
}

}  // namespace zmdb::automation
