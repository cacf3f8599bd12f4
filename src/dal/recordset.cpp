#include "zmdb/dal/recordset.h"

#include <algorithm>
#include <set>

#include "zmdb/dal/ado.h"
#include "zmdb/dal/connection.h"
#include "zmdb/dal/writeback.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/text.h"

namespace zmdb::dal {

using rt::NameEquals;
using rt::Variant;

namespace {

[[noreturn]] void NoCurrentRecord() {
  rt::RaiseStandard(rt::err::kAdoBofEof, kAdoSource);
}

[[noreturn]] void BadArguments(const std::string& why) {
  rt::RaiseDetailed(rt::err::kBadArguments, why, kAdoSource);
}

// A source that is one table name, bare or in brackets.
bool IsTableName(std::string_view s) {
  if (s.empty()) return false;
  if (s.front() == '[') return s.back() == ']' && s.find(']') == s.size() - 1;
  for (unsigned char c : s) {
    if (!(std::isalnum(c) || c == '_' || c >= 0x80)) return false;
  }
  return true;
}

bool KnownAdoType(std::int32_t t) {
  static const std::set<std::int32_t> known = {
      0,  2,  3,  4,   5,   6,   7,   8,   9,   10,  11,  12,  13,  14,  16,  17,  18, 19,
      20, 21, 72, 128, 129, 130, 131, 132, 133, 134, 135, 200, 201, 202, 203, 204, 205};
  return known.count(t) > 0 && t != 0 && t != 9 && t != 13;
}

bool FixedLength(std::int32_t t) {
  return !(t == 8 || t == 128 || t == 129 || t == 130 || t == 200 || t == 201 || t == 202 ||
           t == 203 || t == 204 || t == 205);
}

// The size a field of this type has when none is given.
std::int32_t NaturalSize(std::int32_t t) {
  switch (t) {
    case 2:
    case 11:
      return 2;
    case 3:
    case 4:
    case 18:
    case 19:
      return 4;
    case 5:
    case 6:
    case 7:
    case 20:
    case 21:
    case 133:
    case 134:
    case 135:
      return 8;
    case 16:
    case 17:
      return 1;
    case 72:
      return 16;
    case 14:
    case 131:
      return 19;
    case 201:
    case 203:
      return 536870910;
    case 205:
      return 1073741823;
    default:
      return 0;
  }
}

}  // namespace

// ---- Field ----

Field::Field(std::shared_ptr<Recordset> owner, std::size_t index)
    : owner_(std::move(owner)), index_(index) {}

const std::string& Field::Name() const {
  return owner_->columns()[index_].name;
}
std::int32_t Field::Type() const {
  return owner_->columns()[index_].adoType;
}
std::int32_t Field::DefinedSize() const {
  return owner_->columns()[index_].definedSize;
}

std::int32_t Field::ActualSize() const {
  const Variant v = Value();
  if (v.IsNull()) return 0;
  if (v.IsString()) {
    return static_cast<std::int32_t>(rt::Utf8Length(v.AsString()));
  }
  if (v.IsArray()) return static_cast<std::int32_t>(v.AsArray().size());
  return DefinedSize();
}

std::int32_t Field::Attributes() const {
  const ColumnInfo& c = owner_->columns()[index_];
  std::int32_t a = 0;
  const bool updatable = owner_->LockType() != ado::adLockReadOnly && !c.autoIncrement &&
                         (!c.baseTable.empty() || owner_->Source().empty());
  if (updatable) a |= ado::adFldUpdatable;
  if (c.nullable) a |= ado::adFldIsNullable | ado::adFldMayBeNull;
  if (FixedLength(c.adoType)) a |= ado::adFldFixed;
  if (c.adoType == 201 || c.adoType == 203 || c.adoType == 205)
    a |= ado::adFldLong | ado::adFldMayDefer;
  if (c.key) a |= ado::adFldKeyColumn;
  return a;
}

Variant Field::Value() const {
  return owner_->ValueAt(index_);
}
void Field::SetValue(const Variant& v) {
  owner_->SetValueAt(index_, v);
}

Variant Field::GetProperty(std::string_view name, const std::vector<Variant>& index) {
  if (NameEquals(name, "Value")) return Value();
  if (NameEquals(name, "Name")) return Variant(Name());
  if (NameEquals(name, "Type")) return Variant(Type());
  if (NameEquals(name, "DefinedSize")) return Variant(DefinedSize());
  if (NameEquals(name, "ActualSize")) return Variant(ActualSize());
  if (NameEquals(name, "Attributes")) return Variant(Attributes());
  if (NameEquals(name, "Precision")) return Variant(owner_->columns()[index_].precision);
  if (NameEquals(name, "NumericScale")) return Variant(owner_->columns()[index_].scale);
  if (NameEquals(name, "OriginalValue")) return Value();
  return Object::GetProperty(name, index);
}

void Field::SetProperty(std::string_view name, const Variant& value,
                        const std::vector<Variant>& index) {
  if (NameEquals(name, "Value")) return SetValue(value);
  Object::SetProperty(name, value, index);
}

// ---- Fields ----

std::shared_ptr<Recordset> Fields::Owner() const {
  auto o = owner_.lock();
  if (!o) RaiseClosed(kAdoSource);
  return o;
}

std::int32_t Fields::Count() const {
  return static_cast<std::int32_t>(Owner()->columns().size());
}

std::shared_ptr<Field> Fields::Item(const Variant& index) const {
  auto owner = Owner();
  const auto& cols = owner->columns();
  if (index.IsString()) {
    for (std::size_t i = 0; i < cols.size(); ++i) {
      if (NameEquals(cols[i].name, index.AsString())) return std::make_shared<Field>(owner, i);
    }
  } else if (index.IsNumeric()) {
    const std::int32_t i = rt::CLng(index);
    if (i >= 0 && static_cast<std::size_t>(i) < cols.size()) {
      return std::make_shared<Field>(owner, static_cast<std::size_t>(i));
    }
  }
  RaiseItemNotFound(kAdoSource);
}

void Fields::Append(const std::string& name, std::int32_t type, std::int32_t definedSize,
                    std::int32_t attributes) {
  auto owner = Owner();
  if (owner->State() != 0) {
    RaiseOpen(kAdoSource);
  }
  if (name.empty()) BadArguments("a field needs a name");
  for (const ColumnInfo& c : owner->columns()) {
    if (NameEquals(c.name, name)) BadArguments("a field named '" + name + "' exists already");
  }
  if (!KnownAdoType(type)) BadArguments("unknown field type " + std::to_string(type));
  if (definedSize < 0) BadArguments("negative size for field '" + name + "'");
  ColumnInfo c;
  c.name = name;
  c.adoType = type;
  c.definedSize = definedSize > 0 && !FixedLength(type) ? definedSize : NaturalSize(type);
  if (definedSize > 0 && FixedLength(type)) c.definedSize = NaturalSize(type);
  c.nullable = attributes == -1 || (attributes & ado::adFldIsNullable) != 0 ||
               (attributes & ado::adFldMayBeNull) != 0;
  owner->AppendColumn(std::move(c));
}

Variant Fields::GetProperty(std::string_view name, const std::vector<Variant>& index) {
  if (NameEquals(name, "Count")) return Variant(Count());
  if (NameEquals(name, "Item")) return Variant(rt::ObjectRef(Item(rt::ArgAt(index, 0))));
  return Object::GetProperty(name, index);
}

Variant Fields::Call(std::string_view name, std::vector<Variant>& args) {
  if (NameEquals(name, "Append")) {
    Append(rt::CStr(rt::ArgAt(args, 0)), rt::CLng(rt::ArgAt(args, 1)), rt::OptLongArg(args, 2, 0),
           rt::OptLongArg(args, 3, -1));
    return {};
  }
  if (NameEquals(name, "Item")) return GetProperty(name, args);
  return Object::Call(name, args);
}

// ---- Recordset ----

std::shared_ptr<Recordset> Recordset::Create() {
  return std::shared_ptr<Recordset>(new Recordset());
}

Recordset::~Recordset() = default;

const std::shared_ptr<Fields>& Recordset::fields() {
  if (!fields_) {
    fields_ = std::make_shared<Fields>(std::static_pointer_cast<Recordset>(shared_from_this()));
  }
  return fields_;
}

void Recordset::AppendColumn(ColumnInfo column) {
  columns_.push_back(std::move(column));
}

void Recordset::SetCursorType(int t) {
  if (open_) RaiseOpen(kAdoSource);
  cursorType_ = t;
}

void Recordset::SetLockType(int t) {
  if (open_) RaiseOpen(kAdoSource);
  lockType_ = t;
}

void Recordset::RequireOpen() const {
  if (!open_) RaiseClosed(kAdoSource);
}

void Recordset::RequireCurrent() const {
  RequireOpen();
  if (editMode_ == ado::adEditAdd) return;
  if (currentDeleted_ || AtEOF() || AtBOF()) NoCurrentRecord();
}

void Recordset::RequireUpdatable() const {
  RequireOpen();
  if (lockType_ == ado::adLockReadOnly || stream_) {
    rt::Raise(rt::err::kAdoNotSupported,
              "Current Recordset does not support updating. This may be a limitation of the "
              "provider, or of the selected locktype.",
              kAdoSource);
  }
}

void Recordset::Open(const Variant& source, const Variant& activeConnection, int cursorType,
                     int lockType, int options) {
  if (open_) RaiseOpen(kAdoSource);
  if (cursorType != -1) cursorType_ = cursorType;
  if (lockType != -1) lockType_ = lockType;
  const bool noSource = source.IsMissing() || source.IsEmpty() || source.IsNull() ||
                        (source.IsString() && source.AsString().empty());
  const bool noConnection = activeConnection.IsMissing() || activeConnection.IsEmpty() ||
                            activeConnection.IsNull() ||
                            (activeConnection.IsObject() && !activeConnection.AsObject());
  if (noSource && noConnection) {
    // A disconnected recordset: its appended fields define it.
    if (columns_.empty()) BadArguments("a recordset without a source needs appended fields");
    store_ = std::make_unique<RowStore>(columns_);
    connection_.reset();
    source_.clear();
    cursorType_ = ado::adOpenStatic;
    if (lockType_ == ado::adLockUnspecified) lockType_ = ado::adLockBatchOptimistic;
    open_ = true;
    Rebuild();
    return;
  }
  if (noConnection) {
    rt::RaiseStandard(rt::err::kConnectionUnusable, kAdoSource);
  }
  std::shared_ptr<Connection> conn;
  if (activeConnection.IsObject()) {
    conn = std::dynamic_pointer_cast<Connection>(activeConnection.AsObject());
    if (!conn) rt::Raise(rt::err::kTypeMismatch);
  } else {
    conn = Connection::Create();
    conn->Open(rt::CStr(activeConnection));
  }
  if (noSource) BadArguments("no source to open");
  std::string text = rt::CStr(source);
  std::string statement = text;
  const std::string trimmed = [&] {
    const auto b = text.find_first_not_of(" \t\r\n");
    const auto e = text.find_last_not_of(" \t\r\n");
    return b == std::string::npos ? std::string() : text.substr(b, e - b + 1);
  }();
  if (options == ado::adCmdTable || options == ado::adCmdTableDirect ||
      ((options == -1 || options == ado::adCmdUnknown) && IsTableName(trimmed))) {
    statement = "SELECT * FROM " + TableSource(trimmed, conn->backend().quirks());
  }
  Result result = conn->Guarded([&] {
    conn->Trace(statement);
    return conn->backend().Execute(statement);
  });
  if (!result.cursor) {
    // A statement without rows leaves the recordset closed.
    HoldBatch(conn, std::move(result.batch));
    return;
  }
  OpenResult(conn, std::move(result), cursorType_, lockType_, text);
}

void Recordset::HoldBatch(std::shared_ptr<Connection> connection, std::shared_ptr<Batch> batch) {
  connection_ = std::move(connection);
  batch_ = std::move(batch);
}

std::shared_ptr<Recordset> Recordset::NextRecordset(std::int64_t* rowsAffected) {
  if (rowsAffected) *rowsAffected = -1;
  if (!batch_ || !connection_) return nullptr;
  std::shared_ptr<Batch> batch = std::move(batch_);
  Result next;
  const bool more = connection_->Guarded([&] { return batch->Next(next); });
  if (!more) return nullptr;
  if (rowsAffected) *rowsAffected = next.rowsAffected;
  auto rs = Recordset::Create();
  if (next.cursor) {
    rs->OpenResult(connection_, std::move(next), cursorType_, lockType_, source_);
  } else {
    rs->HoldBatch(connection_, std::move(next.batch));
  }
  return rs;
}

void Recordset::OpenResult(std::shared_ptr<Connection> connection, Result result, int cursorType,
                           int lockType, std::string source) {
  connection_ = std::move(connection);
  source_ = std::move(source);
  batch_ = std::move(result.batch);
  columns_ = result.cursor->columns();
  if (lockType == ado::adLockUnspecified) lockType = ado::adLockReadOnly;
  lockType_ = lockType;
  const bool client = connection_ && connection_->CursorLocation() == ado::adUseClient;
  const bool forwardOnly =
      cursorType == ado::adOpenForwardOnly || cursorType == ado::adOpenUnspecified;
  if (!client && forwardOnly && lockType == ado::adLockReadOnly) {
    cursorType_ = ado::adOpenForwardOnly;
    stream_ = std::move(result.cursor);
    streamStore_ = std::make_unique<RowStore>(columns_);
    streamPos_ = 0;
    streamRow_.assign(columns_.size(), Variant());
    open_ = true;
    FetchStreamRow();  // onto the first row
    return;
  }
  cursorType_ = ado::adOpenStatic;
  store_ = std::make_unique<RowStore>(columns_);
  LoadAll(*result.cursor);
  open_ = true;
  Rebuild();
}

void Recordset::LoadAll(Cursor& cursor) {
  while (cursor.Step()) store_->AppendFrom(cursor);
}

void Recordset::Close() {
  RequireOpen();
  if (editMode_ != ado::adEditNone) CancelUpdate();
  open_ = false;
  store_.reset();
  stream_.reset();
  batch_.reset();  // results not yet read are dropped
  streamStore_.reset();
  streamAtEnd_ = false;
  insertTable_.clear();
  insertColumns_.clear();
  insertSql_.clear();
  visible_.reset();
  deleted_.clear();
  filter_.reset();
  filterText_ = Variant(std::string());
  cur_ = 0;
  currentDeleted_ = false;
}

std::size_t Recordset::VisibleCount() const {
  if (!store_) return 0;
  return visible_ ? visible_->size() : store_->rows();
}

std::size_t Recordset::PhysicalRow(std::size_t visible) const {
  return visible_ ? (*visible_)[visible] : visible;
}

void Recordset::Rebuild() {
  currentDeleted_ = false;
  cur_ = 0;
  if (!filter_ && deleted_.empty()) {
    visible_.reset();
    return;
  }
  std::vector<std::uint32_t> rows;
  for (std::size_t r = 0; r < store_->rows(); ++r) {
    if (!deleted_.empty() && deleted_[r]) continue;
    if (filter_ && !filter_->Matches(RowValues(r))) continue;
    rows.push_back(static_cast<std::uint32_t>(r));
  }
  visible_ = std::move(rows);
}

std::vector<Variant> Recordset::RowValues(std::size_t row) const {
  std::vector<Variant> values;
  values.reserve(columns_.size());
  for (std::size_t c = 0; c < columns_.size(); ++c) values.push_back(store_->Get(row, c));
  return values;
}

bool Recordset::AtEOF() const {
  RequireOpen();
  if (stream_) return streamAtEnd_;
  return cur_ >= static_cast<std::int64_t>(VisibleCount());
}

bool Recordset::AtBOF() const {
  RequireOpen();
  if (stream_) return streamAtEnd_ && streamPos_ == 0;
  return VisibleCount() == 0 || cur_ < 0;
}

std::int32_t Recordset::RecordCount() const {
  RequireOpen();
  if (stream_) return -1;
  return static_cast<std::int32_t>(VisibleCount());
}

void Recordset::FinishEditBeforeMove() {
  if (editMode_ != ado::adEditNone) Update();
}

void Recordset::MoveFirst() {
  RequireOpen();
  FinishEditBeforeMove();
  if (stream_) {
    if (streamPos_ != 0) {
      rt::RaiseStandard(rt::err::kForwardOnly, kAdoSource);
    }
    return;
  }
  if (VisibleCount() == 0) NoCurrentRecord();  // an empty recordset has no first row
  cur_ = 0;
  currentDeleted_ = false;
}

void Recordset::FetchStreamRow() {
  if (!stream_->Step()) {
    streamAtEnd_ = true;
    return;
  }
  // The cells convert to the columns' types by the same rules as static rows.
  streamStore_->Clear();
  streamStore_->AppendFrom(*stream_);
  for (std::size_t c = 0; c < columns_.size(); ++c) streamRow_[c] = streamStore_->Get(0, c);
}

void Recordset::MoveNext() {
  RequireOpen();
  FinishEditBeforeMove();
  if (stream_) {
    if (streamAtEnd_) NoCurrentRecord();
    FetchStreamRow();
    ++streamPos_;
    return;
  }
  if (currentDeleted_) {
    currentDeleted_ = false;  // the deleted row is gone; the next one is current already
    return;
  }
  if (cur_ >= static_cast<std::int64_t>(VisibleCount())) NoCurrentRecord();
  ++cur_;
}

void Recordset::MovePrevious() {
  RequireOpen();
  FinishEditBeforeMove();
  if (stream_) rt::RaiseStandard(rt::err::kForwardOnly, kAdoSource);
  currentDeleted_ = false;
  if (cur_ < 0 || VisibleCount() == 0) NoCurrentRecord();
  --cur_;
}

void Recordset::MoveLast() {
  RequireOpen();
  FinishEditBeforeMove();
  if (stream_) {
    // Forward to the last row.
    std::vector<Variant> last = streamRow_;
    bool any = !streamAtEnd_;
    while (!streamAtEnd_) {
      last = streamRow_;
      MoveNext();
    }
    if (any) {
      streamRow_ = last;
      streamAtEnd_ = false;
    }
    return;
  }
  if (VisibleCount() == 0) NoCurrentRecord();
  currentDeleted_ = false;
  cur_ = static_cast<std::int64_t>(VisibleCount()) - 1;
}

Variant Recordset::Bookmark() const {
  RequireCurrent();
  if (stream_)
    rt::Raise(rt::err::kAdoNotSupported, "Current Recordset does not support bookmarks.",
              kAdoSource);
  if (editMode_ == ado::adEditAdd) NoCurrentRecord();
  return Variant(static_cast<double>(PhysicalRow(static_cast<std::size_t>(cur_)) + 1));
}

void Recordset::SetBookmark(const Variant& bookmark) {
  RequireOpen();
  if (stream_)
    rt::Raise(rt::err::kAdoNotSupported, "Current Recordset does not support bookmarks.",
              kAdoSource);
  FinishEditBeforeMove();
  const double b = rt::CDbl(bookmark);
  if (b < 1 || b != static_cast<double>(static_cast<std::int64_t>(b)))
    BadArguments("not a bookmark");
  const std::size_t physical = static_cast<std::size_t>(b) - 1;
  if (visible_) {
    const auto it = std::lower_bound(visible_->begin(), visible_->end(), physical);
    if (it == visible_->end() || *it != physical) BadArguments("the bookmarked row is not visible");
    cur_ = it - visible_->begin();
  } else {
    if (physical >= store_->rows()) BadArguments("not a bookmark of this recordset");
    cur_ = static_cast<std::int64_t>(physical);
  }
  currentDeleted_ = false;
}

void Recordset::SetFilter(const Variant& filter) {
  RequireOpen();
  if (stream_)
    rt::Raise(rt::err::kAdoNotSupported, "Current Recordset does not support filtering.",
              kAdoSource);
  FinishEditBeforeMove();
  const bool clear =
      filter.IsEmpty() || filter.IsNull() || (filter.IsNumeric() && rt::CLng(filter) == 0) ||
      (filter.IsString() && filter.AsString().find_first_not_of(' ') == std::string::npos);
  if (clear) {
    filter_.reset();
    filterText_ = Variant(std::string());
  } else {
    std::vector<FilterColumn> cols;
    for (const ColumnInfo& c : columns_) cols.push_back({c.name, c.adoType});
    filter_ = ParseFilter(rt::CStr(filter), cols);
    filterText_ = Variant(rt::CStr(filter));
  }
  Rebuild();
}

Variant Recordset::ValueAt(std::size_t column) const {
  RequireCurrent();
  if (column < pending_.size() && pending_[column]) return *pending_[column];
  if (editMode_ == ado::adEditAdd) return Variant::Null();
  if (stream_) return streamRow_[column];
  return store_->Get(PhysicalRow(static_cast<std::size_t>(cur_)), column);
}

void Recordset::SetValueAt(std::size_t column, const Variant& value) {
  RequireUpdatable();
  RequireCurrent();
  const ColumnInfo& c = columns_[column];
  if (c.autoIncrement && connection_) {
    rt::RaiseDetailed(rt::err::kMultipleStep,
                      "Field '" + c.name + "' is numbered by the database and cannot be set",
                      kAdoSource);
  }
  Variant converted = ConvertForColumn(value, c);
  if (editMode_ == ado::adEditNone) {
    editMode_ = ado::adEditInProgress;
    pending_.assign(columns_.size(), std::nullopt);
  }
  pending_[column] = std::move(converted);
}

void Recordset::AddNew() {
  RequireUpdatable();
  FinishEditBeforeMove();
  editMode_ = ado::adEditAdd;
  pending_.assign(columns_.size(), std::nullopt);
}

void Recordset::Update() {
  RequireOpen();
  if (editMode_ == ado::adEditNone) return;
  if (editMode_ == ado::adEditAdd) {
    if (connection_) WriteBackInsert();
    if (connection_ && !keepAddedRows_) {
      editMode_ = ado::adEditNone;
      pending_.clear();
      return;
    }
    const std::size_t row = store_->AppendEmpty();
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      if (pending_[i]) store_->Set(row, i, *pending_[i]);
    }
    if (!deleted_.empty()) deleted_.push_back(false);
    if (visible_) {
      visible_->push_back(static_cast<std::uint32_t>(row));
      cur_ = static_cast<std::int64_t>(visible_->size()) - 1;
    } else {
      cur_ = static_cast<std::int64_t>(row);
    }
  } else {
    const std::size_t row = PhysicalRow(static_cast<std::size_t>(cur_));
    if (connection_) WriteBackUpdate(row);
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      if (pending_[i]) store_->Set(row, i, *pending_[i]);
    }
  }
  editMode_ = ado::adEditNone;
  pending_.clear();
  currentDeleted_ = false;
}

void Recordset::CancelUpdate() {
  RequireOpen();
  editMode_ = ado::adEditNone;
  pending_.clear();
}

void Recordset::Delete() {
  RequireUpdatable();
  if (editMode_ == ado::adEditAdd) {
    CancelUpdate();
    return;
  }
  RequireCurrent();
  editMode_ = ado::adEditNone;
  pending_.clear();
  const std::size_t row = PhysicalRow(static_cast<std::size_t>(cur_));
  if (connection_) WriteBackDelete(row);
  if (deleted_.empty()) deleted_.assign(store_->rows(), false);
  deleted_[row] = true;
  if (!visible_) {
    std::vector<std::uint32_t> rows(store_->rows());
    for (std::size_t r = 0; r < rows.size(); ++r) rows[r] = static_cast<std::uint32_t>(r);
    visible_ = std::move(rows);
  }
  visible_->erase(visible_->begin() + cur_);
  currentDeleted_ = true;
}

std::vector<std::vector<Variant>> Recordset::VisibleRows() {
  RequireOpen();
  std::vector<std::vector<Variant>> rows;
  if (stream_) {
    while (!streamAtEnd_) {
      rows.push_back(streamRow_);
      MoveNext();
    }
    return rows;
  }
  for (std::size_t v = 0; v < VisibleCount(); ++v) rows.push_back(RowValues(PhysicalRow(v)));
  return rows;
}

void Recordset::ForEachVisibleRow(const std::function<void(const std::vector<Variant>&)>& row) {
  RequireOpen();
  if (stream_) {
    for (const auto& values : VisibleRows()) row(values);
    return;
  }
  std::vector<Variant> values(columns_.size());
  for (std::size_t v = 0; v < VisibleCount(); ++v) {
    const std::size_t physical = PhysicalRow(v);
    for (std::size_t c = 0; c < values.size(); ++c) values[c] = store_->Get(physical, c);
    row(values);
  }
}

std::size_t Recordset::MemoryUsed() const {
  return sizeof(*this) + (store_ ? store_->MemoryUsed() : 0) +
         (visible_ ? visible_->capacity() * 4 : 0) + deleted_.capacity() / 8;
}

Variant Recordset::GetProperty(std::string_view name, const std::vector<Variant>& index) {
  if (NameEquals(name, "State")) return Variant(State());
  if (NameEquals(name, "EOF")) return Variant(AtEOF());
  if (NameEquals(name, "BOF")) return Variant(AtBOF());
  if (NameEquals(name, "RecordCount")) return Variant(RecordCount());
  if (NameEquals(name, "Bookmark")) return Bookmark();
  if (NameEquals(name, "Filter")) return filterText_;
  if (NameEquals(name, "CursorType")) return Variant(cursorType_);
  if (NameEquals(name, "LockType")) return Variant(lockType_);
  if (NameEquals(name, "EditMode")) return Variant(editMode_);
  if (NameEquals(name, "Source")) return Variant(source_);
  if (NameEquals(name, "ActiveConnection")) {
    return connection_ ? Variant(rt::ObjectRef(connection_)) : Variant(rt::ObjectRef());
  }
  if (NameEquals(name, "Fields")) {
    if (index.empty()) return Variant(rt::ObjectRef(fields()));
    return Variant(rt::ObjectRef(fields()->Item(index[0])));
  }
  if (NameEquals(name, "Collect")) return fields()->Item(rt::ArgAt(index, 0))->Value();
  if (NameEquals(name, "VisibleRows")) {
    std::vector<Variant> rows;
    for (auto& row : VisibleRows()) {
      rows.emplace_back(rt::SafeArray(rt::VarType::Variant, 0, std::move(row)));
    }
    return Variant(rt::SafeArray(rt::VarType::Variant, 0, std::move(rows)));
  }
  return Object::GetProperty(name, index);
}

void Recordset::SetProperty(std::string_view name, const Variant& value,
                            const std::vector<Variant>& index) {
  if (NameEquals(name, "Bookmark")) return SetBookmark(value);
  if (NameEquals(name, "Filter")) return SetFilter(value);
  if (NameEquals(name, "CursorType")) return SetCursorType(rt::CLng(value));
  if (NameEquals(name, "LockType")) return SetLockType(rt::CLng(value));
  if (NameEquals(name, "Collect")) return fields()->Item(rt::ArgAt(index, 0))->SetValue(value);
  if (NameEquals(name, "CursorLocation")) return;  // client-side is what this layer offers
  Object::SetProperty(name, value, index);
}

Variant Recordset::Call(std::string_view name, std::vector<Variant>& args) {
  if (NameEquals(name, "Open")) {
    Open(rt::ArgAt(args, 0), rt::ArgAt(args, 1), rt::OptLongArg(args, 2, -1),
         rt::OptLongArg(args, 3, -1), rt::OptLongArg(args, 4, -1));
    return {};
  }
  if (NameEquals(name, "Close")) return Close(), Variant();
  if (NameEquals(name, "MoveFirst")) return MoveFirst(), Variant();
  if (NameEquals(name, "MoveNext")) return MoveNext(), Variant();
  if (NameEquals(name, "MovePrevious")) return MovePrevious(), Variant();
  if (NameEquals(name, "MoveLast")) return MoveLast(), Variant();
  if (NameEquals(name, "AddNew")) {
    AddNew();
    // AddNew FieldList, Values: set the named fields of the new row at once.
    if (!rt::ArgAt(args, 0).IsMissing()) {
      const Variant& names = args[0];
      const Variant& values = rt::ArgAt(args, 1);
      if (names.IsArray()) {
        const auto& n = names.AsArray().items();
        const auto& v = values.AsArray().items();
        for (std::size_t i = 0; i < n.size() && i < v.size(); ++i)
          fields()->Item(n[i])->SetValue(v[i]);
      } else {
        fields()->Item(names)->SetValue(values);
      }
      Update();
    }
    return {};
  }
  if (NameEquals(name, "Update")) {
    if (!rt::ArgAt(args, 0).IsMissing()) fields()->Item(args[0])->SetValue(rt::ArgAt(args, 1));
    Update();
    return {};
  }
  if (NameEquals(name, "CancelUpdate")) return CancelUpdate(), Variant();
  if (NameEquals(name, "Delete")) return Delete(), Variant();
  if (NameEquals(name, "Fields")) return GetProperty(name, args);
  if (NameEquals(name, "NextRecordset")) {
    std::int64_t affected = -1;
    auto next = NextRecordset(&affected);
    if (!args.empty() && !args[0].IsMissing()) {
      args[0] = Variant(static_cast<std::int32_t>(affected));
    }
    return Variant(rt::ObjectRef(next));
  }
  return Object::Call(name, args);
}

}  // namespace zmdb::dal
