#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>

#include "cursor_p.h"
#include "zmdb/dal/ado.h"
#include "zmdb/dal/rows_cursor.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/object.h"

namespace zmdb::dal::odbc {

namespace {

// Bound buffers of a block stay under this many bytes; a block holds at
// most kMaxBlock rows.
constexpr std::size_t kBlockBytes = 256 * 1024;
constexpr SQLULEN kMaxBlock = 512;
// Room for a date or timestamp read as text, era and zone included.
constexpr std::size_t kDateTextBytes = 64;

}  // namespace

// ---- KeyCache ----

const std::vector<std::string>& KeyCache::Get(const std::string& table) {
  if (const auto* known = Known(table)) return *known;
  StatementHandle st(link_);
  Check(PrimaryKeys(st, table), SQL_HANDLE_STMT, st.get(), *link_);
  std::vector<std::pair<std::int64_t, std::string>> found;
  while (SQL_SUCCEEDED(SQLFetch(st.get()))) {
    const auto name = ReadText(st, 4);  // COLUMN_NAME
    const auto seq = ReadText(st, 5);   // KEY_SEQ
    if (!name) continue;
    found.emplace_back(seq ? std::atoll(seq->c_str()) : 0, *name);
  }
  std::stable_sort(found.begin(), found.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<std::string> keys;
  for (auto& [seq, name] : found) keys.push_back(std::move(name));
  return keys_[table] = std::move(keys);
}

const std::vector<std::string>* KeyCache::Known(const std::string& table) const {
  const auto it = keys_.find(table);
  return it == keys_.end() ? nullptr : &it->second;
}

// ---- OdbcCursor ----

OdbcCursor::OdbcCursor(std::shared_ptr<StatementHandle> st, std::string statement,
                       std::shared_ptr<KeyCache> keys)
    : st_(std::move(st)),
      statement_(std::move(statement)),
      keys_(std::move(keys)),
      generation_(st_->generation) {
  SQLSMALLINT n = 0;
  Check(SQLNumResultCols(st_->get(), &n), SQL_HANDLE_STMT, st_->get(), st_->link(), statement_);
  const Link& link = st_->link();
  std::string fallbackTable;
  for (SQLSMALLINT i = 1; i <= n; ++i) {
    const DescribedColumn d = Describe(*st_, static_cast<SQLUSMALLINT>(i));
    ColumnInfo c;
    c.name = d.name;
    const AdoColumnType t = AdoTypeOf(d.type);
    c.adoType = t.adoType;
    c.definedSize = t.definedSize;
    c.precision = t.precision;
    c.scale = t.scale;
    c.nullable = d.nullable;
    c.autoIncrement = d.autoIncrement;
    c.baseTable = d.baseTable;
    c.baseColumn = d.baseColumn.empty() ? d.name : d.baseColumn;
    columns_.push_back(std::move(c));
  }
  // Drivers that do not name base tables (the server does not send them
  // unless asked to browse) write back through the one table a plain
  // SELECT reads.
  const bool anyBase = std::any_of(columns_.begin(), columns_.end(),
                                   [](const ColumnInfo& c) { return !c.baseTable.empty(); });
  if (!anyBase) fallbackTable = SingleSourceTable(statement_);
  for (ColumnInfo& c : columns_) {
    if (!fallbackTable.empty()) c.baseTable = fallbackTable;
    if (c.baseTable.empty() || !keys_) continue;
    // Asking for keys needs a second statement, which a driver that runs one
    // statement at a time cannot start while these rows are pending.
    const std::vector<std::string>* known = keys_->Known(c.baseTable);
    if (!known && !link.oneActiveStatement) known = &keys_->Get(c.baseTable);
    if (known) {
      c.key = std::any_of(known->begin(), known->end(),
                          [&](const std::string& k) { return rt::NameEquals(k, c.baseColumn); });
    }
  }
  Plan();
  st_->letGo = [this] { BufferRows(); };
}

// A cursor given up before its last row discards the rest of the batch, as
// closing a recordset does; one that read to its end leaves the statement
// to the batch. Either way its buffers are no longer the driver's to fill.
OdbcCursor::~OdbcCursor() {
  if (st_->released()) return;
  if (st_->generation != generation_) return;  // the statement moved on already
  st_->letGo = nullptr;
  SQLFreeStmt(st_->get(), SQL_UNBIND);
  SQLSetStmtAttr(st_->get(), SQL_ATTR_ROWS_FETCHED_PTR, nullptr, 0);
  if (!done_ && !buffered_) st_->Release();
}

// Whether rows are still read from the statement (not from memory, not past
// the end, not after the batch moved on).
bool OdbcCursor::Live() const {
  return !buffered_ && !done_ && !st_->released() && st_->generation == generation_;
}

// Decide per column how its values are read (bound arrays or SQLGetData),
// how many rows a block holds, and bind the arrays.
void OdbcCursor::Plan() {
  const Link& link = st_->link();
  // Bindings outlive a result: those of an earlier result of the batch go.
  SQLFreeStmt(st_->get(), SQL_UNBIND);
  const bool wide = link.profile.wide;
  cols_.resize(columns_.size());
  bool unboundSeen = false;
  std::size_t rowBytes = 0;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const ColumnInfo& c = columns_[i];
    Column& col = cols_[i];
    bool isLong = c.adoType == 201 || c.adoType == 203 || c.adoType == 205 || c.adoType == 12;
    switch (c.adoType) {
      case 2:
      case 3:
      case 11:
      case 16:
      case 17:
      case 20:
        col.kind = Kind::Int, col.cType = SQL_C_SBIGINT, col.width = 8;
        break;
      case 4:
      case 5:
      case 6:
      case 131:
        col.kind = Kind::Real, col.cType = SQL_C_DOUBLE, col.width = 8;
        break;
      case 135:
      case 133:
        col.kind = c.adoType == 135 ? Kind::Stamp : Kind::Date;
        if (link.profile.datesAsText) {
          col.cType = SQL_C_CHAR, col.width = kDateTextBytes;
        } else if (col.kind == Kind::Stamp) {
          col.cType = SQL_C_TYPE_TIMESTAMP, col.width = sizeof(SQL_TIMESTAMP_STRUCT);
        } else {
          col.cType = SQL_C_TYPE_DATE, col.width = sizeof(SQL_DATE_STRUCT);
        }
        break;
      case 134:
        col.kind = Kind::Time, col.cType = SQL_C_TYPE_TIME, col.width = sizeof(SQL_TIME_STRUCT);
        break;
      case 128:
      case 204:
      case 205:
        col.kind = Kind::Binary, col.cType = SQL_C_BINARY;
        col.width = std::max<std::size_t>(static_cast<std::size_t>(c.definedSize), 1);
        break;
      default: {
        // Text, in UTF-16 units (wide) or UTF-8 bytes (narrow), with room for
        // the terminator; a declared size is in characters.
        col.kind = c.adoType == 72 ? Kind::Guid : Kind::Text;
        col.cType = wide ? SQL_C_WCHAR : SQL_C_CHAR;
        const std::size_t chars =
            c.adoType == 72 ? 36
                            : std::max<std::size_t>(static_cast<std::size_t>(c.definedSize), 1);
        col.width = wide ? (chars + 1) * 2 : chars * 4 + 1;
        if (chars > 4000) isLong = true;
        break;
      }
    }
    // Without SQL_GD_ANY_COLUMN, SQLGetData reaches only columns after the
    // last bound one: once one column is read piecewise, the rest are too.
    col.bound = !isLong && !(unboundSeen && !link.getDataAnyColumn);
    if (!col.bound) unboundSeen = true;
    if (col.bound) rowBytes += col.width + sizeof(SQLLEN);
  }
  // Blocks of rows when every column is bound and a value longer than its
  // buffer can be read again within the block; else one row at a time.
  blockRows_ = 1;
  if (!unboundSeen && link.getDataBlock && rowBytes > 0) {
    blockRows_ = std::clamp<SQLULEN>(kBlockBytes / rowBytes, 1, kMaxBlock);
  }
  if (blockRows_ > 1) {
    if (!SQL_SUCCEEDED(SQLSetStmtAttr(st_->get(), SQL_ATTR_ROW_ARRAY_SIZE,
                                      reinterpret_cast<SQLPOINTER>(blockRows_), 0))) {
      blockRows_ = 1;
    }
    SQLULEN actual = 1;
    SQLGetStmtAttr(st_->get(), SQL_ATTR_ROW_ARRAY_SIZE, &actual, 0, nullptr);
    blockRows_ = std::max<SQLULEN>(actual, 1);
  }
  SQLSetStmtAttr(st_->get(), SQL_ATTR_ROWS_FETCHED_PTR, &fetched_, 0);
  for (std::size_t i = 0; i < cols_.size(); ++i) {
    Column& col = cols_[i];
    if (!col.bound) continue;
    col.data.assign(col.width * blockRows_, 0);
    col.ind.assign(blockRows_, 0);
    Check(SQLBindCol(st_->get(), static_cast<SQLUSMALLINT>(i + 1), col.cType, col.data.data(),
                     static_cast<SQLLEN>(col.width), col.ind.data()),
          SQL_HANDLE_STMT, st_->get(), st_->link(), statement_);
  }
  scratch_.resize(cols_.size());
}

bool OdbcCursor::Step() {
  if (buffered_) return buffered_->Step();
  if (!Live()) return false;
  if (started_ && pos_ + 1 < fetched_) {
    ++pos_;
    return true;
  }
  started_ = true;
  if (!FetchBlock()) {
    AtEnd();
    return false;
  }
  return true;
}

// Fetch the next block of rows onto its first row; false at the end.
bool OdbcCursor::FetchBlock() {
  for (Column& col : cols_) col.whole.clear();
  fetched_ = 0;
  const SQLRETURN rc = SQLFetch(st_->get());
  if (rc == SQL_NO_DATA) return false;
  Check(rc, SQL_HANDLE_STMT, st_->get(), st_->link(), statement_);
  if (fetched_ == 0) fetched_ = 1;  // drivers that ignore the rows-fetched pointer fetch one row
  pos_ = 0;
  if (rc == SQL_SUCCESS_WITH_INFO) RecoverTruncated();
  ReadUnbound();
  return true;
}

// Values longer than their bound buffer are read again whole: within a
// block by positioning on the row first.
void OdbcCursor::RecoverTruncated() {
  const Link& link = st_->link();
  for (std::size_t i = 0; i < cols_.size(); ++i) {
    Column& col = cols_[i];
    if (!col.bound || (col.kind != Kind::Text && col.kind != Kind::Binary)) continue;
    const std::size_t room = col.kind == Kind::Binary ? col.width
                             : link.profile.wide      ? col.width - 2
                                                      : col.width - 1;
    for (std::size_t r = 0; r < fetched_; ++r) {
      const SQLLEN ind = col.ind[r];
      if (ind == SQL_NULL_DATA || (ind != SQL_NO_TOTAL && static_cast<std::size_t>(ind) <= room)) {
        continue;
      }
      if (!link.getDataBound) {
        RaiseRecords({{"01004", 0,
                       "The value of column '" + columns_[i].name +
                           "' is longer than the driver declared, and the driver cannot read it "
                           "again"}},
                     link, statement_);
      }
      if (blockRows_ > 1) {
        Check(SQLSetPos(st_->get(), static_cast<SQLSETPOSIROW>(r + 1), SQL_POSITION,
                        SQL_LOCK_NO_CHANGE),
              SQL_HANDLE_STMT, st_->get(), link, statement_);
      }
      if (col.kind == Kind::Binary) {
        const auto bytes = ReadBinary(*st_, static_cast<SQLUSMALLINT>(i + 1));
        col.whole[r] = bytes ? std::string(bytes->begin(), bytes->end()) : std::string();
      } else {
        col.whole[r] = ReadText(*st_, static_cast<SQLUSMALLINT>(i + 1)).value_or(std::string());
      }
    }
  }
}

// Read the current row's values of the columns that are not bound.
void OdbcCursor::ReadUnbound() {
  for (std::size_t i = 0; i < cols_.size(); ++i) {
    Column& col = cols_[i];
    if (col.bound) continue;
    const auto column = static_cast<SQLUSMALLINT>(i + 1);
    col.longText.reset();
    col.longBytes.reset();
    switch (col.kind) {
      case Kind::Binary:
        col.longBytes = ReadBinary(*st_, column);
        break;
      case Kind::Text:
      case Kind::Guid:
        col.longText = ReadText(*st_, column);
        break;
      default: {
        // A fixed-size value after a long one: read into its own buffer.
        col.data.assign(col.width, 0);
        col.ind.assign(1, 0);
        Check(SQLGetData(st_->get(), column, col.cType, col.data.data(),
                         static_cast<SQLLEN>(col.width), col.ind.data()),
              SQL_HANDLE_STMT, st_->get(), st_->link(), statement_);
        break;
      }
    }
  }
}

// The last row was read: the statement moves on to its next result.
void OdbcCursor::AtEnd() {
  done_ = true;
  st_->letGo = nullptr;
  SQLFreeStmt(st_->get(), SQL_UNBIND);
  SQLSetStmtAttr(st_->get(), SQL_ATTR_ROWS_FETCHED_PTR, nullptr, 0);
  Advance(*st_);
}

// The bytes of column `c` of the current row in its buffer.
const std::uint8_t* OdbcCursor::Cell(std::size_t c) const {
  const Column& col = cols_[c];
  const std::size_t row = col.bound ? pos_ : 0;
  return col.data.data() + row * col.width;
}

// The date or timestamp of column `c` of the current row, as the driver gave
// it or parsed from the server's text. A value the Date type cannot hold
// (past 9999, before 100, an infinity, another era) fails the read as a
// datetime overflow rather than turning into some other date.
SQL_TIMESTAMP_STRUCT OdbcCursor::DateCell(std::size_t c) const {
  const Column& col = cols_[c];
  const std::uint8_t* p = Cell(c);
  std::string shown;
  SQL_TIMESTAMP_STRUCT ts{};
  if (col.cType == SQL_C_CHAR) {
    // Parsed in place: this runs for every date of every row read.
    const SQLLEN ind = col.ind[col.bound ? pos_ : 0];
    const std::string_view text(
        reinterpret_cast<const char*>(p),
        std::min(static_cast<std::size_t>(std::max<SQLLEN>(ind, 0)), col.width - 1));
    if (const auto parsed = ParseServerTimestamp(text)) return *parsed;
    shown = text;
  } else {
    if (col.kind == Kind::Stamp) {
      std::memcpy(&ts, p, sizeof ts);
    } else {
      SQL_DATE_STRUCT d;
      std::memcpy(&d, p, sizeof d);
      ts.year = d.year, ts.month = d.month, ts.day = d.day;
    }
    if (DateInRange(ts.year, ts.month, ts.day)) return ts;
    char text[32];
    std::snprintf(text, sizeof text, "%04d-%02u-%02u", ts.year, ts.month, ts.day);
    shown = text;
  }
  RaiseRecords({{"22008", 0,
                 "The value '" + shown + "' of column '" + columns_[c].name +
                     "' is outside the range of a Date (years 100 to 9999); cast the column to "
                     "text to read it"}},
               st_->link(), statement_);
}

CellType OdbcCursor::Type(std::size_t c) const {
  if (buffered_) return buffered_->Type(c);
  const Column& col = cols_[c];
  const bool piecewise =
      !col.bound && (col.kind == Kind::Text || col.kind == Kind::Guid || col.kind == Kind::Binary);
  if (piecewise) {
    if (col.kind == Kind::Binary) return col.longBytes ? CellType::Blob : CellType::Null;
    return col.longText ? CellType::Text : CellType::Null;
  }
  if (col.ind[col.bound ? pos_ : 0] == SQL_NULL_DATA) return CellType::Null;
  switch (col.kind) {
    case Kind::Int:
      return CellType::Integer;
    case Kind::Real:
    case Kind::Stamp:
    case Kind::Date:
    case Kind::Time:
      return CellType::Real;
    case Kind::Binary:
      return CellType::Blob;
    default:
      return CellType::Text;
  }
}

std::int64_t OdbcCursor::Integer(std::size_t c) const {
  if (buffered_) return buffered_->Integer(c);
  std::int64_t v = 0;
  std::memcpy(&v, Cell(c), sizeof v);
  return v;
}

double OdbcCursor::Real(std::size_t c) const {
  if (buffered_) return buffered_->Real(c);
  const std::uint8_t* p = Cell(c);
  switch (cols_[c].kind) {
    case Kind::Stamp:
    case Kind::Date:
      return SerialOf(DateCell(c));
    case Kind::Time: {
      SQL_TIME_STRUCT t;
      std::memcpy(&t, p, sizeof t);
      return SerialOf(t);
    }
    default: {
      double v = 0;
      std::memcpy(&v, p, sizeof v);
      return v;
    }
  }
}

std::string_view OdbcCursor::Text(std::size_t c) const {
  if (buffered_) return buffered_->Text(c);
  const Column& col = cols_[c];
  std::string& out = scratch_[c];
  if (!col.bound) {
    out = col.longText.value_or(std::string());
  } else if (const auto it = col.whole.find(pos_); it != col.whole.end()) {
    out = it->second;
  } else {
    const std::uint8_t* p = Cell(c);
    const auto bytes = static_cast<std::size_t>(std::max<SQLLEN>(col.ind[pos_], 0));
    out.clear();
    if (col.cType == SQL_C_WCHAR) {
      const std::size_t units = std::min(bytes, col.width - 2) / 2;
      // The buffer is char16_t-aligned: it was allocated for this type's rows.
      AppendUtf8(out, reinterpret_cast<const char16_t*>(p), units);
    } else {
      out.assign(reinterpret_cast<const char*>(p), std::min(bytes, col.width - 1));
    }
  }
  // A GUID reads as the platform shows one: in braces.
  if (col.kind == Kind::Guid && !out.empty() && out.front() != '{') out = "{" + out + "}";
  return out;
}

std::span<const std::uint8_t> OdbcCursor::Blob(std::size_t c) const {
  if (buffered_) return buffered_->Blob(c);
  const Column& col = cols_[c];
  if (!col.bound) {
    if (!col.longBytes) return {};
    return {col.longBytes->data(), col.longBytes->size()};
  }
  if (const auto it = col.whole.find(pos_); it != col.whole.end()) {
    return {reinterpret_cast<const std::uint8_t*>(it->second.data()), it->second.size()};
  }
  const auto bytes = static_cast<std::size_t>(std::max<SQLLEN>(col.ind[pos_], 0));
  return {Cell(c), std::min(bytes, col.width)};
}

void OdbcCursor::BufferRows() {
  if (buffered_ || !Live()) return;
  st_->letGo = nullptr;
  std::vector<std::vector<rt::Variant>> rows;
  // The current row (when one was read) stays current: it goes first.
  const bool onRow = started_;
  auto take = [&] {
    std::vector<rt::Variant> row;
    for (std::size_t c = 0; c < cols_.size(); ++c) {
      switch (Type(c)) {
        case CellType::Null:
          row.push_back(rt::Variant::Null());
          break;
        case CellType::Integer: {
          const std::int64_t v = Integer(c);
          row.push_back(v >= INT32_MIN && v <= INT32_MAX ? rt::Variant(static_cast<std::int32_t>(v))
                                                         : rt::Variant(static_cast<double>(v)));
          break;
        }
        case CellType::Real:
          if (cols_[c].kind == Kind::Real) {
            row.emplace_back(Real(c));
          } else {
            row.emplace_back(rt::Date{Real(c)});
          }
          break;
        case CellType::Text:
          row.emplace_back(std::string(Text(c)));
          break;
        case CellType::Blob: {
          std::vector<rt::Variant> bytes;
          for (std::uint8_t b : Blob(c)) bytes.emplace_back(b);
          row.emplace_back(rt::SafeArray(rt::VarType::Byte, 0, std::move(bytes)));
          break;
        }
      }
    }
    rows.push_back(std::move(row));
  };
  if (onRow) take();
  while (Step()) take();
  auto memory = std::make_unique<RowsCursor>(columns_, std::move(rows));
  if (onRow) memory->Step();  // back on the row that was current
  buffered_ = std::move(memory);
}

// ---- results of a batch ----

void Advance(StatementHandle& st) {
  if (st.released() || st.finished || st.advanced) return;
  const SQLRETURN rc = SQLMoreResults(st.get());
  if (rc == SQL_NO_DATA) {
    st.Release();
    return;
  }
  ++st.generation;
  st.advanced = true;
  if (!SQL_SUCCEEDED(rc)) st.pendingError = Diagnostics(SQL_HANDLE_STMT, st.get(), st.wide());
}

Result CurrentResult(const std::shared_ptr<StatementHandle>& st, const std::string& statement,
                     const std::shared_ptr<KeyCache>& keys, bool noData) {
  Result r;
  SQLSMALLINT columns = 0;
  if (!noData) {
    Check(SQLNumResultCols(st->get(), &columns), SQL_HANDLE_STMT, st->get(), st->link(), statement);
  }
  if (columns > 0) {
    r.cursor = std::make_unique<OdbcCursor>(st, statement, keys);
  } else {
    SQLLEN count = 0;
    if (!noData && !SQL_SUCCEEDED(SQLRowCount(st->get(), &count))) count = -1;
    r.rowsAffected = count;
    Advance(*st);
  }
  if (!st->released() && !st->finished) {
    r.batch = std::make_shared<OdbcBatch>(st, statement, keys);
  }
  return r;
}

bool OdbcBatch::Next(Result& out) {
  if (st_->released() || st_->finished) return false;
  if (!st_->advanced) {
    st_->letGo = nullptr;
    const SQLRETURN rc = SQLMoreResults(st_->get());
    if (rc == SQL_NO_DATA) {
      st_->Release();
      return false;
    }
    ++st_->generation;
    Check(rc, SQL_HANDLE_STMT, st_->get(), st_->link(), statement_);
  }
  st_->advanced = false;
  if (!st_->pendingError.empty()) {
    const std::vector<Diagnostic> error = std::move(st_->pendingError);
    st_->pendingError.clear();
    RaiseRecords(error, st_->link(), statement_);
  }
  out = CurrentResult(st_, statement_, keys_, false);
  return true;
}

// ---- the table of a plain SELECT ----

namespace {

// Words and quoted names of a statement, upper-cased words, names unquoted;
// punctuation as single-character tokens.
std::vector<std::pair<std::string, bool>> Tokens(std::string_view s) {
  std::vector<std::pair<std::string, bool>> out;  // (text, is a name)
  std::size_t i = 0;
  while (i < s.size()) {
    const char c = s[i];
    if (std::isspace(static_cast<unsigned char>(c))) {
      ++i;
    } else if (c == '[' || c == '"' || c == '`') {
      const char close = c == '[' ? ']' : c;
      const std::size_t end = s.find(close, i + 1);
      if (end == std::string_view::npos) return {};
      out.emplace_back(std::string(s.substr(i + 1, end - i - 1)), true);
      i = end + 1;
    } else if (c == '\'') {
      std::size_t end = i + 1;
      while (end < s.size() && s[end] != '\'') ++end;
      out.emplace_back("'", false);
      i = end + 1;
    } else if (std::isalnum(static_cast<unsigned char>(c)) || c == '_' ||
               static_cast<unsigned char>(c) >= 0x80) {
      std::size_t end = i;
      while (end < s.size() && (std::isalnum(static_cast<unsigned char>(s[end])) || s[end] == '_' ||
                                s[end] == '$' || static_cast<unsigned char>(s[end]) >= 0x80)) {
        ++end;
      }
      out.emplace_back(std::string(s.substr(i, end - i)), false);
      i = end;
    } else {
      out.emplace_back(std::string(1, c), false);
      ++i;
    }
  }
  return out;
}

// `s` in ASCII upper case.
std::string Up(std::string s) {
  for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return s;
}

}  // namespace

std::string SingleSourceTable(std::string_view select) {
  const auto tokens = Tokens(select);
  if (tokens.empty() || tokens[0].second || Up(tokens[0].first) != "SELECT") return {};
  // The FROM of the outermost SELECT (parentheses nest subqueries).
  int depth = 0;
  std::size_t from = 0;
  for (std::size_t i = 1; i < tokens.size(); ++i) {
    const auto& [text, name] = tokens[i];
    if (!name && text == "(") ++depth;
    if (!name && text == ")") --depth;
    if (depth == 0 && !name && Up(text) == "FROM") {
      from = i;
      break;
    }
  }
  if (from == 0 || from + 1 >= tokens.size()) return {};
  // schema.table or table, then an optional alias, then the end or a clause.
  std::size_t i = from + 1;
  if (!tokens[i].second && tokens[i].first == "(") return {};
  std::string table = tokens[i].first;
  ++i;
  while (i + 1 < tokens.size() && !tokens[i].second && tokens[i].first == ".") {
    table = tokens[i + 1].first;
    i += 2;
  }
  static const char* const kClauses[] = {"WHERE", "ORDER", "GROUP",  "HAVING", "UNION",
                                         "FOR",   "LIMIT", "OFFSET", "WINDOW", "FETCH"};
  auto isClause = [&](std::size_t k) {
    if (k >= tokens.size()) return true;
    if (!tokens[k].second && tokens[k].first == ";") return true;
    const std::string u = Up(tokens[k].first);
    return !tokens[k].second &&
           std::find(std::begin(kClauses), std::end(kClauses), u) != std::end(kClauses);
  };
  if (!isClause(i)) {
    // An alias, with or without AS.
    if (!tokens[i].second && Up(tokens[i].first) == "AS") ++i;
    ++i;
  }
  return isClause(i) ? table : std::string();
}

}  // namespace zmdb::dal::odbc
