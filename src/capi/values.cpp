// Tagged C values to Variants and back. Values from the caller are read and
// copied; values to the caller are built from memory of the library's own,
// which zmdb_value_clear gives back.
#include <cstring>
#include <limits>

#include "capi_p.h"
#include "zmdb/automation/json_value.h"
#include "zmdb/runtime/convert.h"

namespace zmdb::capi {

namespace {

[[noreturn]] void Malformed(const std::string& why) {
  rt::RaiseDetailed(rt::err::kInvalidProcCall, why);
}

rt::Variant ValueFromC(const zmdb_value& c, std::size_t depth);

// The elements or member values of an array or record, one level deeper.
std::vector<rt::Variant> ItemsFromC(const zmdb_value& c, std::size_t depth) {
  if (depth >= automation::kMaxValueDepth) {
    rt::RaiseDetailed(rt::err::kOutOfStackSpace, "a value nests more than " +
                                                     std::to_string(automation::kMaxValueDepth) +
                                                     " arrays or records deep");
  }
  if (c.count > 0 && !c.items) Malformed("a value has a count but no items");
  std::vector<rt::Variant> items;
  items.reserve(c.count);
  for (std::size_t i = 0; i < c.count; ++i) items.push_back(ValueFromC(c.items[i], depth + 1));
  return items;
}

rt::Variant ValueFromC(const zmdb_value& c, std::size_t depth) {
  switch (c.kind) {
    case ZMDB_EMPTY:
      return rt::Variant();
    case ZMDB_NULL:
      return rt::Variant::Null();
    case ZMDB_MISSING:
      return rt::Variant::Missing();
    case ZMDB_INTEGER:
      if (c.integer < std::numeric_limits<std::int32_t>::min() ||
          c.integer > std::numeric_limits<std::int32_t>::max()) {
        return rt::Variant(static_cast<double>(c.integer));
      }
      return rt::Variant(static_cast<std::int32_t>(c.integer));
    case ZMDB_DOUBLE:
      return rt::Variant(c.number);
    case ZMDB_BOOLEAN:
      return rt::Variant(c.integer != 0);
    case ZMDB_TEXT:
      return rt::Variant(std::string(c.text ? c.text : ""));
    case ZMDB_DATE:
      return rt::Variant(rt::Date{c.number});
    case ZMDB_ERROR:
      return rt::Variant(rt::ErrorCode{static_cast<std::int32_t>(c.integer)});
    case ZMDB_OBJECT:
      return rt::Variant(c.object ? c.object->object : rt::ObjectRef());
    case ZMDB_ARRAY: {
      if (c.unallocated) return rt::Variant(rt::SafeArray());
      if (c.lbound < std::numeric_limits<std::int32_t>::min() ||
          c.lbound > std::numeric_limits<std::int32_t>::max()) {
        rt::Raise(rt::err::kOverflow);
      }
      return rt::Variant(rt::SafeArray(rt::VarType::Variant, static_cast<std::int32_t>(c.lbound),
                                       ItemsFromC(c, depth)));
    }
    case ZMDB_RECORD: {
      if (c.count > 0 && !c.names) Malformed("a record has members but no names");
      std::vector<rt::Variant> values = ItemsFromC(c, depth);
      rt::Record record(c.text ? c.text : "Record");
      for (std::size_t i = 0; i < values.size(); ++i) {
        if (!c.names[i]) Malformed("a record member has no name");
        record.members().emplace_back(c.names[i], std::move(values[i]));
      }
      return rt::Variant(std::move(record));
    }
    default:
      Malformed("unknown value kind " + std::to_string(c.kind));
  }
}

char* CopyText(const std::string& s) {
  char* out = new char[s.size() + 1];
  std::memcpy(out, s.c_str(), s.size() + 1);
  return out;
}

// Room for `n` values, each EMPTY.
zmdb_value* NewValues(std::size_t n) {
  return n == 0 ? nullptr : new zmdb_value[n]();
}

}  // namespace

rt::Variant FromC(const zmdb_value& value) {
  return ValueFromC(value, 0);
}

std::vector<rt::Variant> FromC(const zmdb_value* values, std::size_t n) {
  if (n > 0 && !values) Malformed("arguments counted but not given");
  std::vector<rt::Variant> out;
  out.reserve(n);
  for (std::size_t i = 0; i < n; ++i) out.push_back(FromC(values[i]));
  return out;
}

zmdb_object* NewHandle(const rt::ObjectRef& object) {
  if (!object) return nullptr;
  return new zmdb_object{object, object->TypeName()};
}

void ToC(const rt::Variant& v, zmdb_value& out) {
  out = zmdb_value{};
  switch (v.Type()) {
    case rt::VarType::Empty:
      out.kind = ZMDB_EMPTY;
      break;
    case rt::VarType::Null:
      out.kind = ZMDB_NULL;
      break;
    case rt::VarType::Byte:
    case rt::VarType::Integer:
    case rt::VarType::Long:
      out.kind = ZMDB_INTEGER;
      out.integer = v.AsLong();
      break;
    case rt::VarType::Boolean:
      out.kind = ZMDB_BOOLEAN;
      out.integer = v.AsBoolean() ? 1 : 0;
      break;
    case rt::VarType::Date:
      out.kind = ZMDB_DATE;
      out.number = v.AsDate().serial;
      break;
    case rt::VarType::String:
      out.kind = ZMDB_TEXT;
      out.text = CopyText(v.AsString());
      break;
    case rt::VarType::Error:
      out.kind = v.IsMissing() ? ZMDB_MISSING : ZMDB_ERROR;
      out.integer = v.AsErrorCode();
      break;
    case rt::VarType::Object:
      out.kind = ZMDB_OBJECT;
      out.object = NewHandle(v.AsObject());
      break;
    case rt::VarType::Array: {
      const rt::SafeArray& a = v.AsArray();
      out.kind = ZMDB_ARRAY;
      if (!a.allocated()) {
        out.unallocated = 1;
        break;
      }
      out.lbound = a.LBound();
      out.count = a.size();
      out.items = NewValues(a.size());
      for (std::size_t i = 0; i < a.size(); ++i) ToC(a.items()[i], out.items[i]);
      break;
    }
    case rt::VarType::Record: {
      const rt::Record& r = v.AsRecord();
      out.kind = ZMDB_RECORD;
      out.text = CopyText(r.typeName());
      out.count = r.members().size();
      out.items = NewValues(out.count);
      const char** names = out.count == 0 ? nullptr : new const char*[out.count]();
      out.names = names;
      for (std::size_t i = 0; i < out.count; ++i) {
        names[i] = CopyText(r.members()[i].first);
        ToC(r.members()[i].second, out.items[i]);
      }
      break;
    }
    default:  // the numbers that are not whole: Single, Double, Currency
      out.kind = ZMDB_DOUBLE;
      out.number = rt::CDbl(v);
      break;
  }
}

LentValues::LentValues(const std::vector<rt::Variant>& values)
    : owned_(values.size()), lent_(values.size()) {
  for (std::size_t i = 0; i < values.size(); ++i) ToC(values[i], owned_[i]);
  if (!owned_.empty()) std::memcpy(lent_.data(), owned_.data(), owned_.size() * sizeof(zmdb_value));
}

LentValues::~LentValues() {
  for (zmdb_value& v : owned_) zmdb_value_clear(&v);
}

bool LentValues::Replaced(std::size_t i) const {
  return std::memcmp(&owned_[i], &lent_[i], sizeof(zmdb_value)) != 0;
}

}  // namespace zmdb::capi

extern "C" void zmdb_value_clear(zmdb_value* value) {
  if (!value) return;
  switch (value->kind) {
    case ZMDB_TEXT:
      delete[] value->text;
      break;
    case ZMDB_OBJECT:
      delete value->object;
      break;
    case ZMDB_ARRAY:
    case ZMDB_RECORD:
      for (std::size_t i = 0; i < value->count; ++i) zmdb_value_clear(&value->items[i]);
      delete[] value->items;
      if (value->kind == ZMDB_RECORD) {
        delete[] value->text;
        for (std::size_t i = 0; i < value->count; ++i) delete[] value->names[i];
        delete[] value->names;
      }
      break;
    default:
      break;
  }
  *value = zmdb_value{};
}
