// Database targets of SELECT ... INTO: a table in a file-store file and a
// table in an ODBC data source. Both open the store through the store
// registry, make the table through the store's schema store (which speaks
// the store's own DDL: Jet types on the file store, the server's types on
// SQL Server and PostgreSQL) and fill it with multi-row INSERT statements of
// "?" parameters inside one transaction. A failure anywhere takes back what
// the writer made: the rows, the table, and a file it created.
#include "zmdb/dal/formats/targets.h"

#include <algorithm>
#include <filesystem>
#include <optional>

#include "zmdb/dal/engine_errors.h"
#include "zmdb/dal/router.h"
#include "zmdb/dal/schema_store.h"
#include "zmdb/dal/store_registry.h"
#include "zmdb/dal/typecodes.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/text.h"

namespace zmdb::dal::formats {

namespace {

namespace fs = std::filesystem;
using namespace typecodes::ado;
using namespace typecodes::dao;

// Parameters of one INSERT: under SQL Server's 2,100 and SQLite's 999 limits.
constexpr std::size_t kMaxParameters = 900;
// Rows of one INSERT (SQL Server takes at most 1,000 rows in one VALUES).
constexpr std::size_t kMaxBatchRows = 100;

// The longest Text field; longer text becomes Memo.
constexpr std::int32_t kLongestText = 255;
// The largest Decimal precision every target takes.
constexpr std::int32_t kLargestPrecision = 28;

// A sized type: the short kind (Text, Binary) up to 255, the long kind
// (Memo, Long Binary) beyond or when the size is unknown.
schema::FieldDef Sized(std::int32_t shortType, std::int32_t longType, std::int32_t size) {
  schema::FieldDef f;
  if (size > 0 && size <= kLongestText) {
    f.type = shortType;
    f.size = size;
  } else {
    f.type = longType;
  }
  return f;
}

// The connect string without a leading "ODBC;" (a caller may pass either).
std::string_view WithoutOdbcPrefix(std::string_view connect) {
  return rt::StartsWithNoCase(connect, "ODBC;") ? connect.substr(5) : connect;
}

// A table written into an open store, all rows or none.
class StoreTableWriter : public TableWriter {
 public:
  StoreTableWriter(std::unique_ptr<Backend> backend, std::string table,
                   std::optional<fs::path> createdFile)
      : backend_(std::move(backend)),
        table_(std::move(table)),
        createdFile_(std::move(createdFile)) {}
  ~StoreTableWriter() override {
    if (backend_) Abandon();
  }
  StoreTableWriter(const StoreTableWriter&) = delete;
  StoreTableWriter& operator=(const StoreTableWriter&) = delete;

  void Begin(const std::vector<Column>& columns) override {
    Open();
    if (created_) rt::RaiseDetailed(rt::err::kInvalidProcCall, "the columns were given already");
    Guarded([&] {
      backend_->Schema().CreateTable(TargetTable(table_, columns));
      created_ = true;
      // The names as the store keeps them: a server may fold their case.
      const auto stored = backend_->Schema().Table(table_);
      if (!stored) rt::RaiseStandard(rt::err::kNoInputTable, nullptr, table_);
      columns_ = stored->fields.size();
      batchRows_ = std::clamp<std::size_t>(kMaxParameters / std::max<std::size_t>(columns_, 1), 1,
                                           kMaxBatchRows);
      insertHead_ = "INSERT INTO " + Quoted(stored->name) + " (";
      for (std::size_t i = 0; i < stored->fields.size(); ++i) {
        insertHead_ += (i ? ", " : "") + Quoted(stored->fields[i].name);
      }
      insertHead_ += ") VALUES ";
      backend_->Begin();
      inTransaction_ = true;
    });
  }

  void Row(const std::vector<rt::Variant>& values) override {
    Open();
    if (!inTransaction_) rt::RaiseDetailed(rt::err::kInvalidProcCall, "a row before the columns");
    Guarded([&] {
      if (values.size() != columns_) {
        rt::RaiseDetailed(rt::err::kInvalidProcCall,
                          "row " + std::to_string(rows_ + pendingRows_ + 1) + " has " +
                              std::to_string(values.size()) + " values for " +
                              std::to_string(columns_) + " columns");
      }
      pending_.insert(pending_.end(), values.begin(), values.end());
      if (++pendingRows_ == batchRows_) Flush();
    });
  }

  void Finish() override {
    Open();
    if (!inTransaction_) rt::RaiseDetailed(rt::err::kInvalidProcCall, "no columns were given");
    Guarded([&] {
      Flush();
      backend_->Commit();
      inTransaction_ = false;
    });
    std::unique_ptr<Backend> done = std::move(backend_);
    done->Close();
  }

 private:
  // Every member after Finish or a failure refuses: a failure of any member
  // takes back the whole write.
  void Open() const {
    if (!backend_) rt::RaiseDetailed(rt::err::kInvalidProcCall, "the table is closed");
  }

  // Runs `f`; a failure takes back what the writer made, then goes on.
  template <class F>
  void Guarded(F&& f) {
    try {
      f();
    } catch (...) {
      Abandon();
      throw;
    }
  }

  std::string Quoted(std::string_view name) const {
    const Quirks& q = backend_->quirks();
    return std::string(q.quoteOpen) + std::string(name) + std::string(q.quoteClose);
  }

  // Sends the rows held back, as one INSERT.
  void Flush() {
    if (pendingRows_ == 0) return;
    std::string row = "(";
    for (std::size_t i = 0; i < columns_; ++i) row += i ? ", ?" : "?";
    row += ")";
    std::string sql = insertHead_;
    for (std::size_t r = 0; r < pendingRows_; ++r) sql += (r ? ", " : "") + row;
    backend_->ExecuteNative(sql, pending_);
    rows_ += pendingRows_;
    pending_.clear();
    pendingRows_ = 0;
  }

  // Takes back the rows, the table and a file the writer made; never raises.
  void Abandon() noexcept {
    std::unique_ptr<Backend> backend = std::move(backend_);
    if (!backend) return;
    try {
      if (inTransaction_) backend->Rollback();
    } catch (...) {
    }
    try {
      if (created_ && !createdFile_) backend->Schema().DropTable(table_);
    } catch (...) {
    }
    try {
      backend->Close();
    } catch (...) {
    }
    if (createdFile_) {
      std::error_code ec;
      for (const char* suffix : {"", "-wal", "-shm", "-journal"}) {
        fs::remove(createdFile_->string() + suffix, ec);
      }
    }
  }

  std::unique_ptr<Backend> backend_;
  std::string table_;
  std::optional<fs::path> createdFile_;  // the file store's file, when this writer made it
  bool created_ = false;
  bool inTransaction_ = false;
  std::size_t columns_ = 0;
  std::size_t batchRows_ = 1;
  std::string insertHead_;
  std::vector<rt::Variant> pending_;
  std::size_t pendingRows_ = 0;
  std::size_t rows_ = 0;
};

// Refuses a table that exists in the store: error 3010.
void RefuseExisting(Backend& backend, const std::string& table) {
  if (backend.Schema().Table(table)) engerr::TableExists(table);
}

}  // namespace

schema::FieldDef TargetField(const Column& column) {
  schema::FieldDef f;
  switch (column.type) {
    case adBoolean:
      f.type = dbBoolean;
      break;
    case adUnsignedTinyInt:
      f.type = dbByte;
      break;
    case adTinyInt:
    case adSmallInt:
      f.type = dbInteger;
      break;
    case adUnsignedSmallInt:
    case adInteger:
      f.type = dbLong;
      break;
    case adUnsignedInt:
    case adBigInt:
      f.type = dbBigInt;
      break;
    case adSingle:
      f.type = dbSingle;
      break;
    case adDouble:
      f.type = dbDouble;
      break;
    case adCurrency:
      f.type = dbCurrency;
      break;
    case adUnsignedBigInt:
    case adDecimal:
    case adNumeric: {
      f.type = dbDecimal;
      const bool unsignedBig = column.type == adUnsignedBigInt;
      f.precision = std::min(unsignedBig ? 20 : column.precision, kLargestPrecision);
      f.scale = unsignedBig ? 0 : std::clamp(column.scale, 0, std::max(f.precision, 0));
      if (f.precision <= 0) f.precision = f.scale = 0;  // the store's default
      break;
    }
    case adDate:
    case adDBDate:
    case adDBTime:
    case adDBTimeStamp:
      f.type = dbDate;
      break;
    case adGUID:
      f.type = dbGUID;
      break;
    case adBSTR:
    case adChar:
    case adWChar:
    case adVarChar:
    case adVarWChar:
      f = Sized(dbText, dbMemo, column.definedSize);
      break;
    case adBinary:
    case adVarBinary:
      f = Sized(dbBinary, dbLongBinary, column.definedSize);
      break;
    case adLongVarBinary:
      f.type = dbLongBinary;
      break;
    default:
      // Long text, and columns of no declared type (expressions), whose
      // values are kept as their text.
      f.type = dbMemo;
      break;
  }
  f.name = column.name;
  return f;
}

schema::TableDef TargetTable(const std::string& table, const std::vector<Column>& columns) {
  schema::TableDef t;
  t.name = table;
  for (const Column& c : columns) t.fields.push_back(TargetField(c));
  return t;
}

std::unique_ptr<TableWriter> OpenFileStoreWriter(const std::string& path,
                                                 const std::string& password,
                                                 const std::string& table,
                                                 const WriterOptions& /*options*/) {
  std::error_code ec;
  const bool missing = !fs::exists(path, ec);
  StoreOptions open;
  open.create = missing;
  auto backend = OpenStore(FileRoute(path, password), open);
  std::optional<fs::path> createdFile;
  if (missing) createdFile = fs::path(path);
  try {
    RefuseExisting(*backend, table);
  } catch (...) {
    backend->Close();
    throw;
  }
  return std::make_unique<StoreTableWriter>(std::move(backend), table, std::move(createdFile));
}

std::unique_ptr<TableWriter> OpenOdbcWriter(const std::string& connect, const std::string& table,
                                            const WriterOptions& /*options*/) {
  const Route route = RouteConnection(WithoutOdbcPrefix(connect));
  if (route.kind != StoreKind::Server) rt::RaiseStandard(rt::err::kInstallableIsam);
  auto backend = OpenStore(route);
  try {
    RefuseExisting(*backend, table);
  } catch (...) {
    backend->Close();
    throw;
  }
  return std::make_unique<StoreTableWriter>(std::move(backend), table, std::nullopt);
}

}  // namespace zmdb::dal::formats
