// The CTest fixture around the server tests: "start STATE" makes and starts
// a throwaway PostgreSQL and writes where it is to STATE; "stop STATE" stops
// and removes it. CTest runs the stop step even when tests fail.
#include <cstdio>
#include <cstring>
#include <string>

#include "pg_server.h"

// Start or stop the shared server; 0 on success.
int main(int argc, char** argv) {
  using zmdb::testsupport::PgServer;
  if (argc != 3 || (std::strcmp(argv[1], "start") != 0 && std::strcmp(argv[1], "stop") != 0)) {
    std::fprintf(stderr, "usage: pg_fixture start|stop STATE_FILE\n");
    return 2;
  }
  std::string whyNot;
  if (std::strcmp(argv[1], "start") == 0) {
    auto server = PgServer::Start(&whyNot, /*watchdog=*/false);
    if (!server) {
      std::fprintf(stderr, "no PostgreSQL for the tests: %s\n", whyNot.c_str());
      std::remove(argv[2]);
      return 1;
    }
    server->Hand(argv[2]);
    std::printf("PostgreSQL on port %d in %s\n", server->port(), server->directory().c_str());
    return 0;
  }
  if (auto server = PgServer::Attach(argv[2], &whyNot)) server->Remove();
  std::remove(argv[2]);
  return 0;
}
