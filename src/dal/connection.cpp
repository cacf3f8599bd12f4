#include "zmdb/dal/connection.h"

#include "zmdb/dal/ado.h"
#include "zmdb/dal/recordset.h"
#include "zmdb/dal/store_registry.h"
#include "zmdb/runtime/convert.h"

namespace zmdb::dal {

using rt::NameEquals;
using rt::Variant;

namespace {
// Argument `i` as text; "" when it is missing.
std::string OptText(const std::vector<Variant>& args, std::size_t i) {
  const Variant& v = rt::ArgAt(args, i);
  return v.IsMissing() ? std::string() : rt::CStr(v);
}
}  // namespace

// ---- Errors ----

Variant ErrorItem::GetProperty(std::string_view name, const std::vector<Variant>& index) {
  if (NameEquals(name, "Number")) return Variant(info_.Number);
  if (NameEquals(name, "Source")) return Variant(info_.Source);
  if (NameEquals(name, "Description")) return Variant(info_.Description);
  if (NameEquals(name, "NativeError")) {
    return Variant(detail_.sqlState.empty() ? info_.Number : detail_.nativeError);
  }
  if (NameEquals(name, "SQLState")) return Variant(detail_.sqlState);
  return Object::GetProperty(name, index);
}

// Count, and Item by position (0-based; 0x800A0CC1 outside the records).
Variant Errors::GetProperty(std::string_view name, const std::vector<Variant>& index) {
  if (NameEquals(name, "Count")) return Variant(static_cast<std::int32_t>(errors_.size()));
  if (NameEquals(name, "Item")) {
    const std::int32_t i = rt::CLng(rt::ArgAt(index, 0));
    if (i < 0 || static_cast<std::size_t>(i) >= errors_.size()) {
      RaiseItemNotFound(kConnectionSource);
    }
    const auto at = static_cast<std::size_t>(i);
    return Variant(rt::ObjectRef(std::make_shared<ErrorItem>(errors_[at], details_[at])));
  }
  return Object::GetProperty(name, index);
}

Variant Errors::Call(std::string_view name, std::vector<Variant>& args) {
  if (NameEquals(name, "Clear")) {
    Clear();
    return {};
  }
  if (NameEquals(name, "Item")) return GetProperty(name, args);
  return Object::Call(name, args);
}

// ---- Properties ----

// Replaces the value of a property of that name (any case), or appends one.
void Properties::Put(std::string name, Variant value) {
  for (auto& [n, v] : items_) {
    if (NameEquals(n, name)) {
      v = std::move(value);
      return;
    }
  }
  items_.emplace_back(std::move(name), std::move(value));
}

// See connection.h.
Variant Properties::Value(std::string_view name) const {
  for (const auto& [n, v] : items_) {
    if (NameEquals(n, name)) return v;
  }
  RaiseItemNotFound(kConnectionSource);
}

namespace {
// One property as an object with Name and Value.
class PropertyItem : public rt::Object {
 public:
  PropertyItem(std::string name, Variant value)
      : name_(std::move(name)), value_(std::move(value)) {}
  std::string TypeName() const override { return "Property"; }
  Variant GetProperty(std::string_view name, const std::vector<Variant>& index) override {
    if (NameEquals(name, "Name")) return Variant(name_);
    if (NameEquals(name, "Value")) return value_;
    return Object::GetProperty(name, index);
  }
  Variant DefaultValue() override { return value_; }

 private:
  std::string name_;
  Variant value_;
};
}  // namespace

Variant Properties::GetProperty(std::string_view name, const std::vector<Variant>& index) {
  if (NameEquals(name, "Count")) return Variant(static_cast<std::int32_t>(items_.size()));
  if (NameEquals(name, "Item")) {
    const Variant& key = rt::ArgAt(index, 0);
    if (key.IsString()) {
      return Variant(
          rt::ObjectRef(std::make_shared<PropertyItem>(key.AsString(), Value(key.AsString()))));
    }
    const std::int32_t i = rt::CLng(key);
    if (i < 0 || static_cast<std::size_t>(i) >= items_.size()) {
      RaiseItemNotFound(kConnectionSource);
    }
    const auto& [n, v] = items_[static_cast<std::size_t>(i)];
    return Variant(rt::ObjectRef(std::make_shared<PropertyItem>(n, v)));
  }
  return Object::GetProperty(name, index);
}

Variant Properties::Call(std::string_view name, std::vector<Variant>& args) {
  if (NameEquals(name, "Item")) return GetProperty(name, args);
  return Object::Call(name, args);
}

// ---- Connection ----

namespace {
thread_local bool logByDefault = false;
}  // namespace

// See connection.h.
void SetStatementLogDefault(bool on) {
  logByDefault = on;
}

// A closed connection, logging its statements when the thread's default says so.
std::shared_ptr<Connection> Connection::Create() {
  std::shared_ptr<Connection> cn(new Connection());
  cn->logging_ = logByDefault;
  return cn;
}

// Closes the store; a failure to close is swallowed, as a destructor must.
Connection::~Connection() {
  try {
    if (backend_) backend_->Close();
  } catch (...) {
  }
}

// Fills Errors from a failure: every record a store gave, else the one error.
void Connection::Fail(const rt::PlatformError& e) {
  if (const auto* p = dynamic_cast<const ProviderError*>(&e)) {
    errors_->Set(p->records(), p->details());
  } else {
    errors_->Set({e.info()});
  }
}

namespace {
// "Extended Properties" as the provider shows it: a server's ODBC connection
// string; for a file database the text given under that key, else its
// password as "PWD=..." (empty without one).
std::string ExtendedProperties(const Route& route) {
  if (route.kind == StoreKind::Server) return route.odbc;
  if (const auto it = route.keys.find("EXTENDED PROPERTIES"); it != route.keys.end()) {
    return it->second;
  }
  return route.password.empty() ? std::string() : "PWD=" + route.password;
}
}  // namespace

// See connection.h. The Properties are filled anew from the route.
void Connection::Open(const std::string& connectionString, const std::string&, const std::string&,
                      int) {
  Guarded([&] {
    if (backend_) {
      RaiseOpen(kConnectionSource);
    }
    if (!connectionString.empty()) connectionString_ = connectionString;
    const Route route = RouteConnection(connectionString_, provider_);
    backend_ = OpenStore(route);
    if (provider_.empty() || !route.provider.empty()) provider_ = route.provider;
    properties_->Clear();
    properties_->Put("Data Source", Variant(route.dataSource));
    properties_->Put("Extended Properties", Variant(ExtendedProperties(route)));
    properties_->Put("Provider Name", Variant(provider_));
    properties_->Put("DBMS Name", Variant(backend_->DbmsName()));
    return 0;
  });
}

// See connection.h. The backend is let go before it is closed, so a failing
// close still leaves the connection closed.
void Connection::Close() {
  Guarded([&] {
    if (!backend_) {
      RaiseClosed(kConnectionSource);
    }
    std::unique_ptr<Backend> b = std::move(backend_);
    transactionLevel_ = 0;
    b->Close();
    return 0;
  });
}

// See connection.h.
Backend& Connection::backend() {
  if (!backend_) {
    RaiseClosed(kConnectionSource);
  }
  return *backend_;
}

// Logs the statement (when logging) and hands it to the hook (when set).
void Connection::Trace(std::string_view statement) {
  if (logging_) log_.emplace_back(statement);
  if (hook_) hook_(statement);
}

// See connection.h. Rows open a read-only recordset; a statement without
// rows gives a closed one that holds the batch's further results.
std::shared_ptr<Recordset> Connection::Execute(const std::string& statement,
                                               std::int64_t* rowsAffected, int, int cursorType) {
  return Guarded([&] {
    Trace(statement);
    Result result = backend().Execute(statement);
    if (rowsAffected) *rowsAffected = result.rowsAffected;
    auto rs = Recordset::Create();
    auto self = std::static_pointer_cast<Connection>(shared_from_this());
    if (result.cursor) {
      rs->OpenResult(self, std::move(result), cursorType, ado::adLockReadOnly, statement);
    } else {
      rs->HoldBatch(self, std::move(result.batch));
    }
    return rs;
  });
}

// See connection.h.
std::int32_t Connection::BeginTrans() {
  return Guarded([&] {
    backend().Begin();
    return ++transactionLevel_;
  });
}

// See connection.h.
void Connection::CommitTrans() {
  Guarded([&] {
    backend().Commit();
    if (transactionLevel_ > 0) --transactionLevel_;
    return 0;
  });
}

// See connection.h.
void Connection::RollbackTrans() {
  Guarded([&] {
    backend().Rollback();
    if (transactionLevel_ > 0) --transactionLevel_;
    return 0;
  });
}

// See connection.h.
std::shared_ptr<Recordset> Connection::OpenSchema(std::int32_t schema) {
  return Guarded([&] {
    Result result = backend().OpenSchema(schema);
    auto rs = Recordset::Create();
    auto self = std::static_pointer_cast<Connection>(shared_from_this());
    rs->OpenResult(self, std::move(result), ado::adOpenStatic, ado::adLockReadOnly, {});
    return rs;
  });
}

// See connection.h.
void Connection::SetConnectionString(std::string s) {
  if (backend_) {
    RaiseOpen(kConnectionSource);
  }
  connectionString_ = std::move(s);
}

// See connection.h.
void Connection::SetProvider(std::string p) {
  if (backend_) {
    RaiseOpen(kConnectionSource);
  }
  provider_ = std::move(p);
}

// See connection.h.
void Connection::SetCursorLocation(int location) {
  if (location == 0) location = ado::adUseServer;
  if (location != ado::adUseServer && location != ado::adUseClient) {
    rt::RaiseStandard(rt::err::kBadArguments, kConnectionSource);
  }
  cursorLocation_ = location;
}

// Late-bound properties; the two timeouts read 30 and ignore writes.
Variant Connection::GetProperty(std::string_view name, const std::vector<Variant>& index) {
  if (NameEquals(name, "ConnectionString")) return Variant(connectionString_);
  if (NameEquals(name, "Provider")) return Variant(provider_);
  if (NameEquals(name, "CursorLocation")) return Variant(cursorLocation_);
  if (NameEquals(name, "State")) return Variant(State());
  if (NameEquals(name, "Errors")) return Variant(rt::ObjectRef(errors_));
  if (NameEquals(name, "Properties")) {
    if (index.empty()) return Variant(rt::ObjectRef(properties_));
    return properties_->GetProperty("Item", index);
  }
  if (NameEquals(name, "ConnectionTimeout") || NameEquals(name, "CommandTimeout")) {
    return Variant(30);
  }
  if (NameEquals(name, "StatementLog")) {
    std::vector<Variant> log(log_.begin(), log_.end());
    return Variant(rt::SafeArray(rt::VarType::Variant, 0, std::move(log)));
  }
  return Object::GetProperty(name, index);
}

void Connection::SetProperty(std::string_view name, const Variant& value,
                             const std::vector<Variant>& index) {
  if (NameEquals(name, "ConnectionString")) return SetConnectionString(rt::CStr(value));
  if (NameEquals(name, "Provider")) return SetProvider(rt::CStr(value));
  if (NameEquals(name, "CursorLocation")) return SetCursorLocation(rt::CLng(value));
  if (NameEquals(name, "ConnectionTimeout") || NameEquals(name, "CommandTimeout")) return;
  Object::SetProperty(name, value, index);
}

// Late-bound methods: Execute's second argument receives the rows affected.
Variant Connection::Call(std::string_view name, std::vector<Variant>& args) {
  if (NameEquals(name, "Open")) {
    Open(OptText(args, 0), OptText(args, 1), OptText(args, 2), rt::OptLongArg(args, 3, -1));
    return {};
  }
  if (NameEquals(name, "Close")) {
    Close();
    return {};
  }
  if (NameEquals(name, "Execute")) {
    std::int64_t affected = -1;
    auto rs = Execute(rt::CStr(rt::ArgAt(args, 0)), &affected, rt::OptLongArg(args, 2, -1));
    if (args.size() > 1 && !args[1].IsMissing()) {
      args[1] = Variant(static_cast<std::int32_t>(affected));
    }
    return Variant(rt::ObjectRef(rs));
  }
  if (NameEquals(name, "BeginTrans")) return Variant(BeginTrans());
  if (NameEquals(name, "CommitTrans")) {
    CommitTrans();
    return {};
  }
  if (NameEquals(name, "RollbackTrans")) {
    RollbackTrans();
    return {};
  }
  if (NameEquals(name, "OpenSchema"))
    return Variant(rt::ObjectRef(OpenSchema(rt::CLng(rt::ArgAt(args, 0)))));
  return Object::Call(name, args);
}

}  // namespace zmdb::dal
