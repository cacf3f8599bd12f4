// An application of the installed library: it creates a file database,
// fills a table through the component's default connection, calls a few
// methods and prints what they answered, one line each. The install test
// builds it twice (CMake package, pkg-config) and compares the output.
//
//   orders DIRECTORY
#include <zmdb/dal/connection.h>
#include <zmdb/frame/component.h>
#include <zmdb/frame/state.h>
#include <zmdb/runtime/error.h>
#include <zmdb/runtime/object.h>

#include <cstdio>
#include <filesystem>
#include <string>

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: orders DIRECTORY\n");
    return 2;
  }
  using zmdb::rt::Variant;
  const std::string path = (std::filesystem::path(argv[1]) / "orders.mdb").string();
  std::filesystem::remove(path);

  zmdb::clsZMDBFunc db;
  zmdb::rt::CallMethod(Variant(zmdb::frame::Engine()), "CreateDatabase",
                       {Variant(path), Variant(";LANGID=0x0804;CP=936;COUNTRY=0")});
  const std::string connect = db.dbGetJetConnect(path, "", false, "4.0");
  std::printf("names the file: %s\n", connect.find(path) != std::string::npos ? "yes" : "no");
  std::printf("dbSetConnect: %d\n", db.dbSetConnect(connect, false));

  // The object handed out is the library's own class, seen across the library boundary.
  const auto connection = std::dynamic_pointer_cast<zmdb::dal::Connection>(db.dbGetConnect(false));
  std::printf("a Connection: %s\n", connection ? "yes" : "no");
  if (!connection) return 1;
  connection->Execute("CREATE TABLE Orders (ID COUNTER PRIMARY KEY, Item TEXT(20), Qty LONG)");
  connection->Execute("INSERT INTO Orders (Item, Qty) VALUES ('Paper', 12)");
  connection->Execute("INSERT INTO Orders (Item, Qty) VALUES ('墨水', 3)");
  const Variant cn{zmdb::rt::ObjectRef(connection)};

  std::printf("dbTableExists: %d\n", db.dbTableExists("Orders", cn));
  std::string item;
  const bool found = db.dbGetValue("Orders", "Item", "ID=2", item);
  std::printf("dbGetValue: %d %s\n", found, item.c_str());

  // An error raised by the library is caught by its type in the application.
  try {
    connection->Execute("SELECT * FROM Missing");
    std::printf("raised: nothing\n");
  } catch (const zmdb::rt::PlatformError& e) {
    std::printf("raised: %s\n", e.number() != 0 ? "a numbered error" : "number 0");
  }
  std::printf("dbCloseConnect: %d\n", db.dbCloseConnect(false));
  std::printf("dbGetLastError: %d\n", db.dbGetLastError().Number);
  return 0;
}
