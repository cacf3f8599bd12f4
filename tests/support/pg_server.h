// A throwaway PostgreSQL server for tests and benchmarks: a cluster made by
// initdb in a temporary directory (as the postgres user when running as
// root, since initdb refuses root), listening on a free loopback port and on
// a socket in that directory, stopped and removed when the object goes. A
// watchdog process stops and removes it should this process die first.
#pragma once

#include <memory>
#include <string>

namespace zmdb::testsupport {

class PgServer {
 public:
  static constexpr const char* kUser = "zmdb";
  static constexpr const char* kPassword = "zmdb-test-pw";

  // Start a server; nullptr with the reason in `whyNot` when PostgreSQL is
  // not installed or does not start. `watchdog` false leaves the server
  // running after this process (a CTest fixture stops it with Stop()).
  static std::unique_ptr<PgServer> Start(std::string* whyNot, bool watchdog = true);
  // A server started by another process, from the state file it wrote.
  static std::unique_ptr<PgServer> Attach(const std::string& stateFile, std::string* whyNot);
  ~PgServer();
  PgServer(const PgServer&) = delete;
  PgServer& operator=(const PgServer&) = delete;

  // Stop the server (a fast shutdown: sessions are ended) and keep its files.
  void Stop();
  // Start a stopped server again on its port; false when it does not start.
  bool Resume();
  // Stop it and remove its directory.
  void Remove();
  // Write port and directory to `stateFile` for Attach; the server is not
  // stopped when this object goes.
  void Hand(const std::string& stateFile);

  int port() const { return port_; }
  const std::string& directory() const { return dir_; }
  // An ODBC connection string for a database of the server (psqlODBC).
  std::string ConnectionString(const std::string& database = "postgres") const;

 private:
  PgServer() = default;
  bool StartAt(int port);
  std::string bin_;
  std::string dir_;
  int port_ = 0;
  bool owned_ = true;  // stop and remove on destruction
  int watchdogPipe_ = -1;
  int watchdogPid_ = -1;
};

// Point ODBCSYSINI at a private odbcinst.ini with the project's drivers
// registered (by scripts/register-odbc-drivers.sh), unless it is set
// already. Call before the first ODBC call of the process.
void UsePrivateOdbcDrivers(const std::string& scriptsDir);

}  // namespace zmdb::testsupport
