#include "zmdb/dal/store_registry.h"

#include <map>
#include <mutex>
#include <utility>

#include "zmdb/runtime/error.h"

namespace zmdb::dal {

namespace {

struct Registry {
  std::mutex mutex;
  std::map<StoreKind, StoreFactory> factories;
};

Registry& Stores() {
  static Registry registry;
  return registry;
}

// The factory for `kind`, copied so that it runs without the lock held.
StoreFactory Find(StoreKind kind) {
  Registry& r = Stores();
  std::lock_guard lock(r.mutex);
  const auto it = r.factories.find(kind);
  return it == r.factories.end() ? StoreFactory() : it->second;
}

const char* KindName(StoreKind kind) {
  return kind == StoreKind::File ? "file databases" : "server databases";
}

}  // namespace

StoreFactory RegisterStore(StoreKind kind, StoreFactory factory) {
  Registry& r = Stores();
  std::lock_guard lock(r.mutex);
  StoreFactory previous;
  const auto it = r.factories.find(kind);
  if (it != r.factories.end()) {
    previous = std::move(it->second);
    r.factories.erase(it);
  }
  if (factory) r.factories.emplace(kind, std::move(factory));
  return previous;
}

bool HasStore(StoreKind kind) {
  return static_cast<bool>(Find(kind));
}

std::unique_ptr<Backend> OpenStore(const Route& route, const StoreOptions& options) {
  const StoreFactory factory = Find(route.kind);
  if (!factory) {
    rt::Raise(rt::err::kUnspecified,
              std::string("Provider cannot be found. It may not be properly installed. (No store "
                          "is registered for ") +
                  KindName(route.kind) + ".)",
              "ADODB.Connection");
  }
  // Routes the router made are checked already; a file route made from a
  // bare name is checked here, before the name reaches the file system.
  RefuseNul(route.dataSource, rt::err::kUnspecified, "The database file name", "ADODB.Connection",
            true);
  return factory(route, options);
}

Route FileRoute(std::string path, std::string password) {
  Route route;
  route.password = std::move(password);
  route.kind = StoreKind::File;
  route.provider = "Microsoft.Jet.OLEDB.4.0";
  route.rest = path;
  route.dataSource = std::move(path);
  return route;
}

}  // namespace zmdb::dal
