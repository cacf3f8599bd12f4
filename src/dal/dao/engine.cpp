// The data engine and its workspaces (dao.h).
#include "zmdb/dal/dao/dao.h"
#include "zmdb/dal/engine_errors.h"
#include "zmdb/runtime/convert.h"

namespace zmdb::dal::dao {

using rt::NameEquals;
using rt::Variant;

// Name, options (exclusive, or driver prompting for ODBC; not used by the
// file store), read-only, connect string.
OpenArgs OpenArgsFrom(const std::vector<Variant>& args) {
  OpenArgs a;
  a.name = TextArg(args, 0);
  a.readOnly = BoolArg(args, 2, false);
  a.connect = TextArg(args, 3);
  return a;
}

// ---- Workspace ----

std::shared_ptr<Database> Workspace::OpenDatabase(const OpenArgs& args) {
  auto db = Database::Open(args);
  databases_.push_back(db);
  return db;
}

// Creates an empty file database and keeps it in the workspace's Databases.
std::shared_ptr<Database> Workspace::CreateDatabase(const std::string& name,
                                                    const std::string& locale) {
  auto db = Database::Create(name, locale);
  databases_.push_back(db);
  return db;
}

// The databases this workspace opened that are still open, by name.
std::shared_ptr<Collection> Workspace::Databases() {
  std::erase_if(databases_, [](const std::weak_ptr<Database>& w) {
    auto db = w.lock();
    return !db || !db->IsOpen();
  });
  auto open = std::make_shared<std::vector<std::shared_ptr<Database>>>();
  for (const auto& w : databases_) open->push_back(w.lock());
  Collection::Behaviour b;
  b.names = [open] {
    std::vector<std::string> n;
    for (const auto& db : *open) n.push_back(db->Name());
    return n;
  };
  b.make = [open](const std::string& name) -> rt::ObjectRef {
    for (const auto& db : *open) {
      if (NameEquals(db->Name(), name)) return db;
    }
    return nullptr;
  };
  b.missing = [] { engerr::ItemNotFound("DAO.Databases"); };
  return std::make_shared<Collection>("Databases", std::move(b));
}

// Late-bound read of a member by name (any case); with an index, a collection member answers its
// item.
Variant Workspace::GetProperty(std::string_view name, const std::vector<Variant>& index) {
  if (NameEquals(name, "Name")) return Variant(name_);
  if (NameEquals(name, "UserName")) return Variant("admin");
  if (NameEquals(name, "Type")) return Variant(2);  // dbUseJet
  if (NameEquals(name, "Databases")) return CollectionOrItem(Databases(), index);
  return Object::GetProperty(name, index);
}

// Late-bound method call by name (any case); collections read as methods answer their item.
Variant Workspace::Call(std::string_view name, std::vector<Variant>& args) {
  if (NameEquals(name, "OpenDatabase"))
    return Variant(rt::ObjectRef(OpenDatabase(OpenArgsFrom(args))));
  if (NameEquals(name, "CreateDatabase")) {
    return Variant(rt::ObjectRef(CreateDatabase(TextArg(args, 0), TextArg(args, 1))));
  }
  if (NameEquals(name, "Close")) return {};
  if (NameEquals(name, "Databases")) return GetProperty(name, args);
  return Object::Call(name, args);
}

// ---- DBEngine ----

DBEngine::DBEngine() {
  workspaces_.push_back(std::make_shared<Workspace>("#Default Workspace#"));
}

// Opens a file database and keeps it in the workspace's Databases.
std::shared_ptr<Database> DBEngine::OpenDatabase(const OpenArgs& args) {
  return DefaultWorkspace()->OpenDatabase(args);
}

// Creates an empty file database and keeps it in the workspace's Databases.
std::shared_ptr<Database> DBEngine::CreateDatabase(const std::string& name,
                                                   const std::string& locale) {
  return DefaultWorkspace()->CreateDatabase(name, locale);
}

// The engine's workspaces; item 0 is the default workspace.
std::shared_ptr<Collection> DBEngine::Workspaces() {
  auto list = workspaces_;
  Collection::Behaviour b;
  b.names = [list] {
    std::vector<std::string> n;
    for (const auto& w : list) n.push_back(rt::CStr(w->GetProperty("Name", {})));
    return n;
  };
  b.make = [list](const std::string& name) -> rt::ObjectRef {
    for (const auto& w : list) {
      if (NameEquals(rt::CStr(w->GetProperty("Name", {})), name)) return w;
    }
    return nullptr;
  };
  b.missing = [] { engerr::ItemNotFound("DAO.Workspaces"); };
  return std::make_shared<Collection>("Workspaces", std::move(b));
}

// Late-bound read of a member by name (any case); with an index, a collection member answers its
// item.
Variant DBEngine::GetProperty(std::string_view name, const std::vector<Variant>& index) {
  if (NameEquals(name, "Version")) return Variant("3.5");
  if (NameEquals(name, "Workspaces")) return CollectionOrItem(Workspaces(), index);
  if (NameEquals(name, "DefaultUser")) return Variant("admin");
  if (NameEquals(name, "DefaultType")) return Variant(2);
  if (NameEquals(name, "LoginTimeout")) return Variant(std::int16_t{20});
  return Object::GetProperty(name, index);
}

// Late-bound method call by name (any case); collections read as methods answer their item.
Variant DBEngine::Call(std::string_view name, std::vector<Variant>& args) {
  if (NameEquals(name, "OpenDatabase"))
    return Variant(rt::ObjectRef(OpenDatabase(OpenArgsFrom(args))));
  if (NameEquals(name, "CreateDatabase")) {
    return Variant(rt::ObjectRef(CreateDatabase(TextArg(args, 0), TextArg(args, 1))));
  }
  if (NameEquals(name, "Workspaces")) return GetProperty(name, args);
  if (NameEquals(name, "Idle")) return {};
  return Object::Call(name, args);
}

}  // namespace zmdb::dal::dao
