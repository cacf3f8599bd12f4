// The transactions every schema change runs in, and the rebuild routine:
// the one way to make a change SQLite cannot make in place, by replacing the
// table inside a transaction, which leaves it untouched on failure.
#include "jetsql_p.h"
#include "schema_store_p.h"
#include "zmdb/dal/engine_errors.h"
#include "zmdb/runtime/convert.h"

namespace zmdb::dal::sqlite::detail {

namespace {

// The engine's error for a failed change of data during a rebuild or an
// index build: duplicate keys 3022, Nulls in a key 3058; others pass.
[[noreturn]] void RaiseChangeError(const rt::PlatformError& e) {
  const std::string& d = e.info().Description;
  if (d.find("UNIQUE constraint failed") != std::string::npos) {
    rt::RaiseStandard(rt::err::kDuplicateValues);
  }
  if (d.find("NOT NULL constraint failed") != std::string::npos) {
    rt::RaiseStandard(rt::err::kNullInIndex);
  }
  throw e;
}

}  // namespace

// Runs `f` in a transaction of its own (a savepoint inside the caller's).
// When `f` may rebuild a table, foreign keys are not enforced while it runs
// (enforcement cannot change inside a transaction, and dropping the old
// table must not touch the rows that refer to it) and are checked before
// the commit; renames inside a rebuild leave other objects' texts alone.
void FileSchemaStore::Transaction(const std::function<void()>& f, bool rebuild) {
  bool enforcing = false;
  if (rebuild) {
    enforcing = PragmaOn("foreign_keys");
    b_.ExecuteNative("PRAGMA foreign_keys = OFF", {});
    if (enforcing && PragmaOn("foreign_keys")) {
      engerr::Raise(rt::err::kInvalidOperation,
                    "Invalid operation: the table must be rebuilt for this change, which cannot "
                    "be done inside a transaction.");
    }
    b_.ExecuteNative("PRAGMA legacy_alter_table = ON", {});
  }
  const auto restore = [&] {
    if (!rebuild) return;
    b_.ExecuteNative("PRAGMA legacy_alter_table = OFF", {});
    if (enforcing) b_.ExecuteNative("PRAGMA foreign_keys = ON", {});
  };
  b_.Begin();
  try {
    f();
    if (rebuild) CheckForeignKeys();
    b_.Commit();
  } catch (...) {
    b_.Rollback();
    restore();
    throw;
  }
  restore();
}

// Refuses a change that left a row referring to a missing one.
void FileSchemaStore::CheckForeignKeys() {
  Result check = b_.ExecuteNative("PRAGMA foreign_key_check", {});
  if (check.cursor && check.cursor->Step()) {
    rt::RaiseStandard(rt::err::kRelatedRecordRequired, nullptr, check.cursor->Text(2));
  }
}

// Runs a statement that changes data (an index build), with the engine's errors.
void FileSchemaStore::RunChange(const std::string& sql) {
  try {
    b_.ExecuteNative(sql, {});
  } catch (const rt::PlatformError& e) {
    RaiseChangeError(e);
  }
}

// The rebuild routine: every change SQLite cannot make in place replaces
// the table by a new one holding every row, index and trigger. It runs
// inside Transaction(..., true), which rolls everything back on failure.
void FileSchemaStore::Rebuild(const TableShape& from, const TableShape& wanted,
                              const std::vector<std::pair<std::string, std::string>>& copy) {
  // SQLite's own index names (those of UNIQUE constraints) cannot be given
  // to CREATE INDEX, so those indexes get names of their own.
  TableShape to = wanted;
  for (std::size_t i = 0; i < to.def.indexes.size(); ++i) {
    if (rt::StartsWithNoCase(to.indexSqlNames[i], "sqlite_")) {
      to.indexSqlNames[i] = UniqueIndexName(to.def.name, to.def.indexes[i].name, to.indexSqlNames);
    }
  }
  for (const std::string& s : RebuildSql(from, to, copy)) RunChange(s);
  for (std::size_t i = 0; i < to.def.indexes.size(); ++i) {
    RecordIndex(to.def.name, to.def.indexes[i], to.indexSqlNames[i]);
  }
}

// The value of a Boolean pragma on this connection.
bool FileSchemaStore::PragmaOn(std::string_view name) {
  Result r = b_.ExecuteNative("PRAGMA " + std::string(name), {});
  return r.cursor && r.cursor->Step() && r.cursor->Integer(0) != 0;
}

// Every column of `shape` copied to itself.
std::vector<std::pair<std::string, std::string>> FileSchemaStore::CopyAll(const TableShape& shape) {
  std::vector<std::pair<std::string, std::string>> copy;
  for (const FieldDef& f : shape.def.fields) copy.emplace_back(f.name, f.name);
  return copy;
}

// Drops the triggers this store generated for `table`.
void FileSchemaStore::DropManagedTriggers(const std::string& table) {
  Result r =
      b_.ExecuteNative("SELECT name FROM sqlite_master WHERE type = 'trigger' AND tbl_name = ?",
                       {rt::Variant(table)});
  std::vector<std::string> names;
  while (r.cursor && r.cursor->Step()) names.push_back(Text(*r.cursor, 0));
  for (const std::string& n : names) {
    if (IsManagedTrigger(table, n)) b_.ExecuteNative("DROP TRIGGER " + SqlIdentifier(n), {});
  }
}

// Replaces the generated triggers of a table by those `shape` calls for.
void FileSchemaStore::SyncTriggers(const TableShape& shape) {
  DropManagedTriggers(shape.def.name);
  for (const std::string& s : TriggerSql(WithoutOtherTriggers(shape))) b_.ExecuteNative(s, {});
}

// The shape without the caller's own triggers (they are still in place).
TableShape FileSchemaStore::WithoutOtherTriggers(TableShape s) {
  s.otherTriggers.clear();
  return s;
}

}  // namespace zmdb::dal::sqlite::detail
