// Linked tables of the file store. A link is an SQLite virtual table of the
// module "zmdb_link" in the file's own schema, so every connection to the
// file sees it, whoever made it and whenever it was opened. Its CREATE
// VIRTUAL TABLE statement carries everything needed to reach the source
// (connect string, the source table as the source names it, the key that
// finds a row, the columns and their types), so a connection sets the link
// up without asking the source; the source is opened through the store
// registry on first use. Private to this folder.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zmdb/dal/backend.h"
#include "zmdb/runtime/error.h"

struct sqlite3;

namespace zmdb::dal::sqlite {

// The name of the virtual-table module of links.
inline constexpr std::string_view kLinkModule = "zmdb_link";

// What a link's virtual table is made from.
struct LinkShape {
  std::string connect;  // the link's connect string
  std::string source;   // the source table, quoted as its store writes names
  std::string quoteOpen = "\"", quoteClose = "\"";
  std::vector<std::string> sourceKeys;   // the source's primary key or unique index
  std::vector<std::string> virtualKeys;  // the link's virtual index, when it has one
  struct Column {
    std::string name, declared;  // the declared type is the file store's Jet type
  };
  std::vector<Column> columns;

  // The columns that find one row: the virtual index first; none: read-only.
  const std::vector<std::string>& Keys() const {
    return virtualKeys.empty() ? sourceKeys : virtualKeys;
  }
};

// The statements a link sends its source. `columns` are positions in
// shape.columns; the "?" markers follow the order of the columns, then the
// keys (in Keys() order).
std::string LinkSelectSql(const LinkShape& shape);
std::string LinkInsertSql(const LinkShape& shape, const std::vector<std::size_t>& columns);
std::string LinkUpdateSql(const LinkShape& shape, const std::vector<std::size_t>& columns);
std::string LinkDeleteSql(const LinkShape& shape);

// The statement that makes the link `name` in schema `schema` ("main", or
// "temp" on a file opened read-only), and the shape read back from the
// arguments of such a statement (error 3219 for a text that is not one).
std::string LinkTableSql(std::string_view schema, std::string_view name, const LinkShape& shape);
LinkShape LinkShapeOfSql(std::string_view createSql);

// The names a source table may go by in its store, most specific first:
// "dbo.T" is tried as written and then as T, since a source without a dbo
// schema (another file, PostgreSQL's public schema) holds it as T; a name
// is tried quoted and then bare (a server that folds unquoted names).
std::vector<std::string> LinkSourceCandidates(std::string_view sourceTable,
                                              std::string_view quoteOpen,
                                              std::string_view quoteClose);

// Open the source a link's connect string names: ";DATABASE=<file>" (a
// file database) or "ODBC;DRIVER=...;..." / "ODBC;DSN=...;..." (a server).
std::unique_ptr<Backend> OpenLinkSource(const std::string& connect);

// The connect string a link keeps in the file: as given when the link saves
// its password (`savePassword`), else without its PWD= and Password= parts,
// which reach the source only while the link is being made.
std::string LinkConnectToKeep(std::string_view connect, bool savePassword);

// Ask the open source `source` about `sourceTable`: the name it answers to,
// its columns and its key. Raises the source's error when no name answers.
LinkShape DescribeLinkSource(Backend& source, const std::string& connect,
                             const std::string& sourceTable);

// A link's failure reaches the statement that met it as a message with the
// error's number in front, between two marks; LinkErrorOf reads it back.
inline constexpr std::string_view kLinkErrorMark = "\x01";
std::optional<rt::ErrorInfo> LinkErrorOf(std::string_view message);

// Register the link module on a connection (SQLite's result code).
int RegisterLinkModule(sqlite3* db);

}  // namespace zmdb::dal::sqlite
