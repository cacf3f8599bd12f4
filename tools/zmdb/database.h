// What the commands for people share: a database opened from the command
// line's DB argument, calls to the component object by method name, and the
// one-line failure every command ends with.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zmdb/frame/component.h"
#include "zmdb/runtime/host.h"
#include "zmdb/runtime/variant.h"

namespace zmdb::cli {

// A failure a command reports as one line on stderr, with exit code 1.
class CommandError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The connection string for a DB argument: any text with "=" is taken as a
// connection string as it is; anything else is a path to a file database,
// which must exist (a command never makes an empty database by mistake).
std::string ConnectionStringFor(const std::string& db);

// A component object with its default connection open on DB (client-side
// cursors, so every recordset counts its rows), under a quiet headless host.
class Database {
 public:
  explicit Database(const std::string& db);
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  clsZMDBFunc& component() { return *component_; }
  // The quiet host the component shows its boxes and dialogs on.
  rt::HeadlessHost& host() { return *host_; }
  // The database file when DB named one ("" for a connection string).
  const std::string& filePath() const { return filePath_; }
  const rt::Variant& connection() const { return connection_; }

  // Whether the database has a table of this name (without regard to case),
  // from the catalogue listing, which every store answers.
  bool HasTable(const std::string& table);
  // Run a statement; a statement that returns no rows gives a closed recordset.
  rt::Variant Execute(const std::string& sql);
  // The last error the component recorded, as one line ("" when none).
  std::string LastError() const;

 private:
  std::shared_ptr<rt::HeadlessHost> host_;
  rt::ScopedHost scope_;
  std::unique_ptr<clsZMDBFunc> component_;
  rt::Variant connection_;
  std::string filePath_;
};

// A late-bound call of a component method by name, arguments by name
// (without regard to case); omitted arguments take their declared defaults.
// A method the build does not serve yet raises its "not available yet" error.
using NamedArgs = std::vector<std::pair<std::string_view, rt::Variant>>;
rt::Variant CallByName(clsZMDBFunc& component, std::string_view method, const NamedArgs& args);

// One line for an error raised by the library or the run time.
std::string ErrorLine(const std::exception& e);

}  // namespace zmdb::cli
