// The column store of static recordsets and the conversion of values for a
// column's type.
#include <cmath>
#include <limits>

#include "zmdb/dal/ado.h"
#include "zmdb/dal/recordset.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/datetime.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/errors.h"
#include "zmdb/runtime/text.h"

namespace zmdb::dal {

namespace {

enum class Kind { I32, I64, F64, Text, Var };

bool IsDateType(std::int32_t t) {
  return t == 7 || t == 133 || t == 134 || t == 135;
}

// How a column of an ADO type is stored.
Kind KindFor(std::int32_t adoType) {
  switch (adoType) {
    case 2:
    case 3:
    case 11:
    case 16:
    case 17:
    case 18:
      return Kind::I32;
    case 19:
    case 20:
    case 21:
      return Kind::I64;
    case 4:
    case 5:
    case 6:
    case 14:
    case 131:
    case 7:
    case 133:
    case 134:
    case 135:
      return Kind::F64;
    case 8:
    case 72:
    case 129:
    case 130:
    case 200:
    case 201:
    case 202:
    case 203:
      return Kind::Text;
    default:
      return Kind::Var;
  }
}

// The Variant subtype of a column's values.
rt::VarType VarTypeFor(std::int32_t adoType) {
  switch (adoType) {
    case 2:
    case 16:
      return rt::VarType::Integer;
    case 3:
    case 18:
    case 19:
      return rt::VarType::Long;
    case 4:
      return rt::VarType::Single;
    case 5:
    case 14:
    case 20:
    case 21:
    case 131:
      return rt::VarType::Double;
    case 6:
      return rt::VarType::Currency;
    case 7:
    case 133:
    case 134:
    case 135:
      return rt::VarType::Date;
    case 11:
      return rt::VarType::Boolean;
    case 17:
      return rt::VarType::Byte;
    case 8:
    case 72:
    case 129:
    case 130:
    case 200:
    case 201:
    case 202:
    case 203:
      return rt::VarType::String;
    default:
      return rt::VarType::Variant;
  }
}

bool IsSizedText(std::int32_t t) {
  return t == 129 || t == 130 || t == 200 || t == 202;
}

// The canonical date text "yyyy-mm-dd hh:nn:ss" read by position, the form
// every date column of the file store holds; anything else goes to ParseDate.
std::optional<rt::Date> ParseStoredDate(std::string_view t) {
  auto digits = [&](std::size_t at, std::size_t n, int& out) {
    out = 0;
    for (std::size_t i = at; i < at + n; ++i) {
      if (t[i] < '0' || t[i] > '9') return false;
      out = out * 10 + (t[i] - '0');
    }
    return true;
  };
  int y, mo, d, h, mi, s;
  if (t.size() == 19 && t[4] == '-' && t[7] == '-' && t[10] == ' ' && t[13] == ':' &&
      t[16] == ':' && digits(0, 4, y) && digits(5, 2, mo) && digits(8, 2, d) && digits(11, 2, h) &&
      digits(14, 2, mi) && digits(17, 2, s) && mo >= 1 && mo <= 12 && d >= 1 && d <= 31 && h < 24 &&
      mi < 60 && s < 60 && y >= 1900) {
    if (d > rt::DaysInMonth(y, mo)) return std::nullopt;
    return rt::MakeDate(y, mo, d, h, mi, s);
  }
  return rt::ParseDate(t);
}

rt::Variant BytesOf(std::span<const std::uint8_t> bytes) {
  std::vector<rt::Variant> items;
  items.reserve(bytes.size());
  for (std::uint8_t b : bytes) items.emplace_back(b);
  return rt::Variant(rt::SafeArray(rt::VarType::Byte, 0, std::move(items)));
}

}  // namespace

// One bit per row: set when the row's value is Null.
class NullBits {
 public:
  void push_back(bool null) {
    if ((size_ & 63) == 0) words_.push_back(0);
    if (null) words_.back() |= std::uint64_t{1} << (size_ & 63);
    ++size_;
  }
  bool operator[](std::size_t i) const { return (words_[i >> 6] >> (i & 63)) & 1; }
  void set(std::size_t i, bool null) {
    const std::uint64_t bit = std::uint64_t{1} << (i & 63);
    words_[i >> 6] = null ? words_[i >> 6] | bit : words_[i >> 6] & ~bit;
  }
  std::size_t size() const { return size_; }
  void clear() {
    words_.clear();
    size_ = 0;
  }
  std::size_t bytes() const { return words_.capacity() * 8; }

 private:
  std::vector<std::uint64_t> words_;
  std::size_t size_ = 0;
};

struct RowStore::Column {
  std::int32_t adoType = 0;
  Kind kind = Kind::Var;
  NullBits nulls;
  std::vector<std::int32_t> i32;
  std::vector<std::int64_t> i64;
  std::vector<double> f64;
  std::string arena;
  std::vector<std::uint64_t> offsets;
  std::vector<std::uint32_t> lengths;
  std::vector<rt::Variant> vars;

  std::size_t size() const { return nulls.size(); }

  void PushText(std::string_view t) {
    offsets.push_back(arena.size());
    lengths.push_back(static_cast<std::uint32_t>(t.size()));
    arena.append(t);
  }

  void PushDefault() {
    switch (kind) {
      case Kind::I32:
        i32.push_back(0);
        break;
      case Kind::I64:
        i64.push_back(0);
        break;
      case Kind::F64:
        f64.push_back(0);
        break;
      case Kind::Text:
        offsets.push_back(0), lengths.push_back(0);
        break;
      case Kind::Var:
        vars.emplace_back();
        break;
    }
  }

  // The stored value of a row as a Variant of the column's type.
  rt::Variant Get(std::size_t row) const {
    if (nulls[row]) return rt::Variant::Null();
    switch (kind) {
      case Kind::I32: {
        const std::int32_t v = i32[row];
        switch (adoType) {
          case 2:
          case 16:
            return rt::Variant(static_cast<std::int16_t>(v));
          case 11:
            return rt::Variant(v != 0);
          case 17:
            return rt::Variant(static_cast<std::uint8_t>(v));
          default:
            return rt::Variant(v);
        }
      }
      case Kind::I64: {
        const std::int64_t v = i64[row];
        if (v >= std::numeric_limits<std::int32_t>::min() &&
            v <= std::numeric_limits<std::int32_t>::max() && adoType == 19) {
          return rt::Variant(static_cast<std::int32_t>(v));
        }
        return rt::Variant(static_cast<double>(v));
      }
      case Kind::F64: {
        const double v = f64[row];
        if (adoType == 4) return rt::Variant(static_cast<float>(v));
        if (adoType == 6) return rt::Variant(rt::Currency::FromDouble(v));
        if (IsDateType(adoType)) return rt::Variant(rt::Date{v});
        return rt::Variant(v);
      }
      case Kind::Text:
        return rt::Variant(std::string(arena, offsets[row], lengths[row]));
      case Kind::Var:
        return vars[row];
    }
    return rt::Variant::Null();
  }

  // Move every stored value to Variant storage, so cells of any type fit.
  void ToVariants() {
    if (kind == Kind::Var) return;
    std::vector<rt::Variant> all;
    all.reserve(size());
    for (std::size_t r = 0; r < size(); ++r) all.push_back(nulls[r] ? rt::Variant::Null() : Get(r));
    vars = std::move(all);
    kind = Kind::Var;
    i32 = {}, i64 = {}, f64 = {}, arena = {}, offsets = {}, lengths = {};
  }

  // Store a value already of the column's type at `row`. A value the column
  // cannot hold raises before anything of the row changes.
  void Put(std::size_t row, const rt::Variant& v) {
    if (v.IsNull() || v.IsEmpty()) {
      nulls.set(row, true);
      return;
    }
    switch (kind) {
      case Kind::I32:
        switch (v.Type()) {
          case rt::VarType::Boolean:
            i32[row] = v.AsBoolean() ? -1 : 0;
            break;
          case rt::VarType::Byte:
          case rt::VarType::Integer:
          case rt::VarType::Long:
            i32[row] = v.AsLong();
            break;
          default:
            i32[row] = rt::CLng(v);
            break;
        }
        break;
      case Kind::I64: {
        // 2^63 is exact as a double; a value at or beyond it, or not a
        // number, has no 64-bit integer form (and casting it is undefined).
        const double d = rt::CDbl(v);
        constexpr double kLimit = 9223372036854775808.0;
        if (!(d >= -kLimit && d < kLimit)) rt::RaiseStandard(rt::err::kOverflow);
        i64[row] = static_cast<std::int64_t>(d);
        break;
      }
      case Kind::F64:
        f64[row] = v.Type() == rt::VarType::Date       ? v.AsDate().serial
                   : v.Type() == rt::VarType::Currency ? v.AsCurrency().ToDouble()
                   : v.Type() == rt::VarType::Double   ? v.AsDouble()
                                                       : rt::CDbl(v);
        break;
      case Kind::Text: {
        const std::string t = rt::CStr(v);
        offsets[row] = arena.size();
        lengths[row] = static_cast<std::uint32_t>(t.size());
        arena.append(t);
        break;
      }
      case Kind::Var:
        vars[row] = v;
        break;
    }
    nulls.set(row, false);
  }
};

RowStore::RowStore(const std::vector<ColumnInfo>& columns) {
  for (const ColumnInfo& c : columns) {
    auto col = std::make_unique<Column>();
    col->adoType = c.adoType;
    col->kind = KindFor(c.adoType);
    columns_.push_back(std::move(col));
  }
}

RowStore::~RowStore() = default;

void RowStore::AppendFrom(const Cursor& cursor) {
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    Column& c = *columns_[i];
    const CellType type = cursor.Type(i);
    if (type == CellType::Null) {
      c.nulls.push_back(true);
      c.PushDefault();
      continue;
    }
    // The fast paths: a cell of the storage class the column expects.
    switch (c.kind) {
      case Kind::I32:
        if (type == CellType::Integer) {
          const std::int64_t v = cursor.Integer(i);
          if (v >= std::numeric_limits<std::int32_t>::min() &&
              v <= std::numeric_limits<std::int32_t>::max()) {
            c.nulls.push_back(false);
            c.i32.push_back(static_cast<std::int32_t>(v));
            continue;
          }
        }
        break;
      case Kind::I64:
        if (type == CellType::Integer) {
          c.nulls.push_back(false);
          c.i64.push_back(cursor.Integer(i));
          continue;
        }
        break;
      case Kind::F64:
        if (type == CellType::Integer || type == CellType::Real) {
          c.nulls.push_back(false);
          c.f64.push_back(type == CellType::Integer ? static_cast<double>(cursor.Integer(i))
                                                    : cursor.Real(i));
          continue;
        }
        if (type == CellType::Text && IsDateType(c.adoType)) {
          if (auto d = ParseStoredDate(cursor.Text(i))) {
            c.nulls.push_back(false);
            c.f64.push_back(d->serial);
            continue;
          }
        }
        break;
      case Kind::Text:
        if (type == CellType::Text) {
          c.nulls.push_back(false);
          c.PushText(cursor.Text(i));
          continue;
        }
        if (type == CellType::Integer || type == CellType::Real) {
          // Jet shows a number in a text column as its text.
          c.nulls.push_back(false);
          c.PushText(type == CellType::Integer ? std::to_string(cursor.Integer(i))
                                               : rt::DoubleToText(cursor.Real(i)));
          continue;
        }
        break;
      case Kind::Var:
        break;
    }
    // Anything else (a text in a numeric column, a blob ...) is kept as it came.
    c.ToVariants();
    c.nulls.push_back(false);
    switch (type) {
      case CellType::Integer: {
        const std::int64_t v = cursor.Integer(i);
        if (v >= std::numeric_limits<std::int32_t>::min() &&
            v <= std::numeric_limits<std::int32_t>::max()) {
          c.vars.emplace_back(static_cast<std::int32_t>(v));
        } else {
          c.vars.emplace_back(static_cast<double>(v));
        }
        break;
      }
      case CellType::Real:
        c.vars.emplace_back(cursor.Real(i));
        break;
      case CellType::Text:
        c.vars.emplace_back(std::string(cursor.Text(i)));
        break;
      case CellType::Blob:
        c.vars.push_back(BytesOf(cursor.Blob(i)));
        break;
      case CellType::Null:
        c.vars.push_back(rt::Variant::Null());
        break;
    }
  }
  ++rows_;
}

std::size_t RowStore::AppendEmpty() {
  for (auto& c : columns_) {
    c->nulls.push_back(true);
    c->PushDefault();
  }
  return rows_++;
}

rt::Variant RowStore::Get(std::size_t row, std::size_t column) const {
  return columns_[column]->Get(row);
}

void RowStore::Set(std::size_t row, std::size_t column, const rt::Variant& value) {
  Column& c = *columns_[column];
  if (c.kind == Kind::Text && !value.IsNull() && !value.IsEmpty() && !value.IsString()) {
    c.ToVariants();
  }
  c.Put(row, value);
}

void RowStore::Clear() {
  for (auto& c : columns_) {
    c->nulls.clear();
    c->i32.clear();
    c->i64.clear();
    c->f64.clear();
    c->arena.clear();
    c->offsets.clear();
    c->lengths.clear();
    c->vars.clear();
  }
  rows_ = 0;
}

std::size_t RowStore::MemoryUsed() const {
  std::size_t total = sizeof(*this);
  for (const auto& c : columns_) {
    total += sizeof(Column) + c->nulls.bytes() + c->i32.capacity() * 4 + c->i64.capacity() * 8 +
             c->f64.capacity() * 8 + c->arena.capacity() + c->offsets.capacity() * 8 +
             c->lengths.capacity() * 4 + c->vars.capacity() * sizeof(rt::Variant);
  }
  return total;
}

rt::Variant ConvertForColumn(const rt::Variant& value, const ColumnInfo& column) {
  if (value.IsNull() || value.IsEmpty()) return rt::Variant::Null();
  const rt::VarType target = VarTypeFor(column.adoType);
  rt::Variant converted;
  try {
    // A value of the column's type already (a row copied between recordsets)
    // converts to itself.
    if (target == rt::VarType::Variant || value.Type() == target) {
      converted = value;
    } else if (target == rt::VarType::String && value.IsArray()) {
      rt::Raise(rt::err::kTypeMismatch);
    } else {
      converted = rt::ConvertTo(value, target);
    }
  } catch (const rt::PlatformError& e) {
    std::string shown = value.IsString() ? "'" + value.AsString() + "'" : rt::TypeName(value);
    rt::RaiseDetailed(
        rt::err::kMultipleStep,
        "Field '" + column.name + "' cannot take the value " + shown + ": " + e.info().Description,
        kAdoSource);
  }
  if (IsSizedText(column.adoType) && column.definedSize > 0 && converted.IsString() &&
      rt::Utf8Length(converted.AsString()) > static_cast<std::size_t>(column.definedSize)) {
    rt::RaiseDetailed(rt::err::kMultipleStep,
                      "The field '" + column.name +
                          "' is too small to accept the amount of data: " +
                          std::to_string(rt::Utf8Length(converted.AsString())) +
                          " characters for " + std::to_string(column.definedSize),
                      kAdoSource);
  }
  return converted;
}

}  // namespace zmdb::dal
