// Jet SQL on SQLite: a token-based rewriter from the Jet dialect that callers
// and the library write into statements SQLite runs with Jet's meaning.
// It respects '...' and "..." literals, [bracketed names], #date# literals
// and comments; it never replaces text blindly.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zmdb::dal::sqlite {

// The SQLite statements one Jet statement becomes, in order (a CREATE TABLE
// with an AutoNumber column that is not the primary key, for instance, also
// needs the trigger that numbers its rows).
struct Rewritten {
  std::vector<std::string> statements;
  // A CREATE INDEX statement, read: on a linked table it records the link's
  // virtual index instead of running.
  struct Index {
    std::string name, table;
    std::vector<std::string> keys;
    bool unique = false, primary = false, disallowNull = false, ignoreNull = false;
  };
  std::optional<Index> index;
  // A primary key added to an existing table (CREATE INDEX ... WITH PRIMARY,
  // ALTER TABLE ... ADD CONSTRAINT ... PRIMARY KEY). SQLite cannot add one in
  // place: the file store builds it through its schema, which rebuilds the
  // table, and does not run `statements`, which then hold only the closest
  // in-place form (a unique index refusing Nulls) for a bare SQLite handle.
  struct PrimaryKey {
    std::string table;
    std::string index;
    std::vector<std::string> columns;
  };
  std::optional<PrimaryKey> primaryKey;
  // An index dropped by name on a named table (DROP INDEX i ON t, ALTER
  // TABLE t DROP CONSTRAINT i): when it is the table's primary key the file
  // store drops it through its schema (a rebuild) instead of `statements`.
  struct DroppedIndex {
    std::string table;
    std::string index;
  };
  std::optional<DroppedIndex> droppedIndex;
};

// Rewrite one Jet statement. Raises PlatformError -2147217900 (syntax error)
// for Jet syntax that cannot be rewritten (an unterminated literal, TOP
// without a number, an unknown Jet type name in DDL ...), naming the statement.
Rewritten RewriteJet(std::string_view jet);

// The trigger that numbers AutoNumber column `column` of `table` (a row
// inserted without a value gets the next number after the highest one), and
// the two triggers that refuse a Null in the key columns of index `index`.
// The schema store regenerates them after a rebuild with the same names.
std::string CounterTriggerSql(std::string_view table, std::string_view column, std::int64_t seed,
                              std::int64_t step);
std::vector<std::string> NotNullTriggerSql(std::string_view index, std::string_view table,
                                           const std::vector<std::string>& columns);

// `name` as a double-quoted SQLite identifier, and `text` as an SQL text
// literal (quotes inside doubled), for statements the layer writes itself.
std::string SqlIdentifier(std::string_view name);
std::string SqlLiteral(std::string_view text);

// Split a text that may hold several statements separated by ";" (outside
// literals, brackets and comments); empty statements are dropped.
std::vector<std::string> SplitStatements(std::string_view text);

}  // namespace zmdb::dal::sqlite
