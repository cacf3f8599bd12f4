// The embedded file store: a backend over one SQLite file that speaks Jet SQL.
#pragma once

#include <memory>
#include <string>

#include "zmdb/dal/backend.h"

struct sqlite3;

namespace zmdb::dal::sqlite {

struct OpenOptions {
  std::string path;
  bool create = false;  // create the file when it does not exist
  bool readOnly = false;
  int busyTimeoutMs = 5000;
  bool fullSync = false;  // write every commit through to the disk
  // Encrypts a new (or empty) file with a key derived from it, and is
  // needed to open an encrypted one; a plain file ignores it.
  std::string password = {};
};

// Open a file-store database. A missing file (without `create`) raises
// error 0x80004005 "Could not find file '<path>'."; a file that is not a
// database raises "Unrecognized database format '<path>'."; an encrypted
// file opened with a wrong or no password raises -2147217843 "Not a valid
// password." and is left as it was.
std::unique_ptr<Backend> OpenDatabase(const OpenOptions& options);

// Map an SQLite failure of `statement` to the platform's error: syntax
// errors 0x80040E14, unknown columns 0x80040E10, unknown tables 0x80040E37,
// permission failures 0x80040E09, constraint failures 0x80040E2F, the rest
// 0x80004005. The description says what went wrong in which statement.
[[noreturn]] void RaiseSqliteError(sqlite3* db, int code, std::string_view statement);

}  // namespace zmdb::dal::sqlite
