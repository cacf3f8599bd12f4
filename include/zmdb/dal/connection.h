// Connection: an open store, reached by a connection string. It runs
// statements, transactions and schema rowsets, keeps the errors of its last
// failed operation, and lets a test or tool see every statement before it runs.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "zmdb/dal/ado.h"
#include "zmdb/dal/backend.h"
#include "zmdb/dal/router.h"
#include "zmdb/runtime/object.h"

namespace zmdb::dal {

class Recordset;

// One error of a connection's Errors collection.
// Number, Source and Description, and the store's NativeError and SQLState.
class ErrorItem : public rt::Object {
 public:
  explicit ErrorItem(rt::ErrorInfo info, ErrorDetail detail = {})
      : info_(std::move(info)), detail_(std::move(detail)) {}
  std::string TypeName() const override { return "Error"; }
  rt::Variant GetProperty(std::string_view name, const std::vector<rt::Variant>& index) override;
  const rt::ErrorInfo& info() const { return info_; }

 private:
  rt::ErrorInfo info_;
  ErrorDetail detail_;
};

class Errors : public rt::Object {
 public:
  std::string TypeName() const override { return "Errors"; }
  rt::Variant GetProperty(std::string_view name, const std::vector<rt::Variant>& index) override;
  rt::Variant Call(std::string_view name, std::vector<rt::Variant>& args) override;
  // The records of a failure; `details` is empty or parallel to `errors`.
  void Set(std::vector<rt::ErrorInfo> errors, std::vector<ErrorDetail> details = {}) {
    errors_ = std::move(errors);
    details_ = std::move(details);
    details_.resize(errors_.size());
  }
  void Clear() {
    errors_.clear();
    details_.clear();
  }
  const std::vector<rt::ErrorInfo>& items() const { return errors_; }
  const std::vector<ErrorDetail>& details() const { return details_; }

 private:
  std::vector<rt::ErrorInfo> errors_;
  std::vector<ErrorDetail> details_;
};

// A named property ("Data Source", "Extended Properties", ...).
class Properties : public rt::Object {
 public:
  std::string TypeName() const override { return "Properties"; }
  rt::Variant GetProperty(std::string_view name, const std::vector<rt::Variant>& index) override;
  rt::Variant Call(std::string_view name, std::vector<rt::Variant>& args) override;
  void Put(std::string name, rt::Variant value);
  // The property's value; error 0x800A0CC1 when there is none.
  rt::Variant Value(std::string_view name) const;
  void Clear() { items_.clear(); }

 private:
  std::vector<std::pair<std::string, rt::Variant>> items_;
};

class Connection : public rt::Object {
 public:
  static std::shared_ptr<Connection> Create();
  ~Connection() override;
  std::string TypeName() const override { return "Connection"; }
  rt::Variant GetProperty(std::string_view name, const std::vector<rt::Variant>& index) override;
  void SetProperty(std::string_view name, const rt::Variant& value,
                   const std::vector<rt::Variant>& index) override;
  rt::Variant Call(std::string_view name, std::vector<rt::Variant>& args) override;

  // Every operation below that reaches the store runs Guarded: a failure
  // fills Errors with the store's records and goes on to the caller as the
  // first of them; a success empties Errors. Operations on a closed
  // connection raise rt::err::kObjectClosed ("Operation is not allowed when the
  // object is closed.", source ADODB.Connection).

  // Open the store the connection string leads to; an empty string uses the
  // ConnectionString property. `options` is accepted and ignored. Raises
  // rt::err::kObjectOpen when already open, and the router's or store's error for a
  // string that leads nowhere or a store that cannot be opened.
  void Open(const std::string& connectionString = {}, const std::string& user = {},
            const std::string& password = {}, int options = -1);
  // Close the store (an open transaction is not committed);
  // rt::err::kObjectClosed when not open.
  void Close();
  // Run a statement: an open recordset for a statement that returns rows, a
  // closed one otherwise, with the number of rows changed in `rowsAffected`.
  // `cursorType` is what the recordset is opened as (forward-only, as the
  // platform's Execute gives; static for callers that want every row counted).
  std::shared_ptr<Recordset> Execute(const std::string& statement,
                                     std::int64_t* rowsAffected = nullptr, int options = -1,
                                     int cursorType = 0);
  // Transactions nest; BeginTrans returns the new level. Commit and
  // rollback end the innermost one, with the store's error when there is none.
  std::int32_t BeginTrans();
  void CommitTrans();
  void RollbackTrans();
  // A schema rowset (adSchemaTables, adSchemaCatalogs) as a static, read-only
  // recordset; the store's error for a kind it does not offer.
  std::shared_ptr<Recordset> OpenSchema(std::int32_t schema);

  // ConnectionString and Provider can change only while closed (rt::err::kObjectOpen).
  const std::string& ConnectionString() const { return connectionString_; }
  void SetConnectionString(std::string s);
  const std::string& Provider() const { return provider_; }
  void SetProvider(std::string p);
  int CursorLocation() const { return cursorLocation_; }
  // 0 (the value a caller passes by leaving the argument out) is taken as the
  // default, server-side cursors; 2 and 3 as they are; anything else is
  // rt::err::kBadArguments.
  void SetCursorLocation(int location);
  int State() const { return backend_ ? 1 : 0; }
  const std::shared_ptr<Errors>& errors() const { return errors_; }
  const std::shared_ptr<Properties>& properties() const { return properties_; }

  // Every statement the connection runs, as written by its caller, before it
  // runs; late-bound as the read-only property StatementLog (an array from 0).
  void SetStatementHook(std::function<void(std::string_view)> hook) { hook_ = std::move(hook); }
  void EnableStatementLog(bool on) { logging_ = on; }
  const std::vector<std::string>& statementLog() const { return log_; }

  // Used by recordsets: the open backend (error 0x800A0E78 when closed).
  Backend& backend();
  void Trace(std::string_view statement);
  // Run `f`; a failure fills the Errors collection and goes on to the caller.
  template <class F>
  auto Guarded(F&& f) -> decltype(f());

 private:
  Connection() = default;
  void Fail(const rt::PlatformError& e);

  std::string connectionString_;
  std::string provider_;
  int cursorLocation_ = 2;
  std::unique_ptr<Backend> backend_;
  std::int32_t transactionLevel_ = 0;
  std::shared_ptr<Errors> errors_ = std::make_shared<Errors>();
  std::shared_ptr<Properties> properties_ = std::make_shared<Properties>();
  std::function<void(std::string_view)> hook_;
  bool logging_ = false;
  std::vector<std::string> log_;
};

template <class F>
auto Connection::Guarded(F&& f) -> decltype(f()) {
  try {
    errors_->Clear();
    return f();
  } catch (const rt::PlatformError& e) {
    Fail(e);
    throw;
  }
}

// Whether connections made from now on, on this thread, start with their
// statement log on (for tools and tests that check every statement the
// library builds, also on connections the library makes itself).
void SetStatementLogDefault(bool on);

}  // namespace zmdb::dal
