#include "zmdb/automation/json_value.h"

#include <algorithm>
#include <cmath>

#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/error.h"

namespace zmdb::automation {

std::string HandleTable::Add(const rt::ObjectRef& object) {
  for (const auto& [handle, o] : objects_) {
    if (o == object) return handle;
  }
  std::string handle = "h" + std::to_string(next_++);
  objects_.emplace(handle, object);
  return handle;
}

rt::ObjectRef HandleTable::Get(const std::string& handle) const {
  const auto it = objects_.find(handle);
  if (it == objects_.end())
    rt::Raise(rt::err::kObjectRequired, "No object has the handle '" + handle + "'");
  return it->second;
}

void HandleTable::Remove(const std::string& handle) {
  objects_.erase(handle);
}

std::size_t NestingDepth(std::string_view text) {
  std::size_t depth = 0;
  std::size_t deepest = 0;
  bool inString = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (inString) {
      if (c == '\\') {
        ++i;  // the escaped character cannot end the string
      } else if (c == '"') {
        inString = false;
      }
    } else if (c == '"') {
      inString = true;
    } else if (c == '[' || c == '{') {
      deepest = std::max(deepest, ++depth);
    } else if ((c == ']' || c == '}') && depth > 0) {
      --depth;
    }
  }
  return deepest;
}

namespace {

// True for a JSON number a Long holds once any fraction is dropped.
bool FitsLong(const Json& number) {
  const double d = number.get<double>();
  return d >= -2147483648.0 && d <= 2147483647.0;
}

}  // namespace

std::int32_t LongFromJson(const Json& j) {
  if (j.is_number() && !FitsLong(j)) rt::Raise(rt::err::kOverflow);
  return j.get<std::int32_t>();
}

namespace {

rt::Variant ValueFromJson(const Json& j, const HandleTable& handles, std::size_t depth);

// Refuses an array or object at nesting level `level` (1 for the outermost)
// past the limit, before the descent into it can exhaust the stack.
void EnterLevel(std::size_t level) {
  if (level <= kMaxValueDepth) return;
  rt::RaiseDetailed(
      rt::err::kOutOfStackSpace,
      "a value nests more than " + std::to_string(kMaxValueDepth) + " arrays or objects deep");
}

// The elements of the JSON array `items`, at nesting level `level`, as an
// array value.
rt::Variant ArrayFromJson(const Json& items, std::int32_t lbound, const HandleTable& handles,
                          std::size_t level) {
  if (items.is_null()) return rt::Variant(rt::SafeArray());
  if (!items.is_array()) rt::Raise(rt::err::kTypeMismatch, "\"items\" must be an array or null");
  EnterLevel(level);
  std::vector<rt::Variant> values;
  values.reserve(items.size());
  for (const Json& item : items) values.push_back(ValueFromJson(item, handles, level));
  return rt::Variant(rt::SafeArray(rt::VarType::Variant, lbound, std::move(values)));
}

// FromJson for a value inside `depth` arrays and objects.
rt::Variant ValueFromJson(const Json& j, const HandleTable& handles, std::size_t depth) {
  switch (j.type()) {
    case Json::value_t::null:
      return rt::Variant::Null();
    case Json::value_t::boolean:
      return rt::Variant(j.get<bool>());
    case Json::value_t::string:
      return rt::Variant(j.get<std::string>());
    case Json::value_t::number_integer:
    case Json::value_t::number_unsigned:
      if (FitsLong(j)) return rt::Variant(j.get<std::int32_t>());
      return rt::Variant(j.get<double>());
    case Json::value_t::number_float:
      return rt::Variant(j.get<double>());
    case Json::value_t::array:
      return ArrayFromJson(j, 0, handles, depth + 1);
    case Json::value_t::object: {
      EnterLevel(depth + 1);
      if (j.contains("empty")) return rt::Variant();
      if (j.contains("missing")) return rt::Variant::Missing();
      if (j.contains("error")) return rt::Variant(rt::ErrorCode{LongFromJson(j.at("error"))});
      if (j.contains("date")) {
        const auto d = rt::ParseDate(j.at("date").get<std::string>());
        if (!d) rt::Raise(rt::err::kTypeMismatch, "Not a date: " + j.at("date").dump());
        return rt::Variant(*d);
      }
      if (j.contains("handle")) {
        if (j.at("handle").is_null()) return rt::Variant(rt::ObjectRef());
        return rt::Variant(handles.Get(j.at("handle").get<std::string>()));
      }
      if (j.contains("items")) {
        const std::int32_t lbound = j.contains("lbound") ? LongFromJson(j.at("lbound")) : 0;
        return ArrayFromJson(j.at("items"), lbound, handles, depth + 2);
      }
      rt::Record record("Record");
      for (const auto& [key, value] : j.items()) {
        record.members().emplace_back(key, ValueFromJson(value, handles, depth + 1));
      }
      return rt::Variant(std::move(record));
    }
    default:
      rt::Raise(rt::err::kTypeMismatch, "Unsupported JSON value: " + j.dump());
  }
}

}  // namespace

rt::Variant FromJson(const Json& j, const HandleTable& handles) {
  return ValueFromJson(j, handles, 0);
}

Json ToJson(const rt::Variant& v, HandleTable& handles) {
  switch (v.Type()) {
    case rt::VarType::Empty:
      return Json{{"empty", true}};
    case rt::VarType::Null:
      return nullptr;
    case rt::VarType::Boolean:
      return v.AsBoolean();
    case rt::VarType::Byte:
    case rt::VarType::Integer:
    case rt::VarType::Long:
      return v.AsLong();
    case rt::VarType::Single:
    case rt::VarType::Double: {
      const double d = v.AsDouble();
      if (std::isfinite(d)) return d;
      return Json{{"double", rt::CStr(v)}};
    }
    case rt::VarType::Currency:
      return v.AsCurrency().ToDouble();
    case rt::VarType::Date:
      return Json{{"date", rt::DateToText(v.AsDate())}};
    case rt::VarType::String:
      return v.AsString();
    case rt::VarType::Error:
      if (v.IsMissing()) return Json{{"missing", true}};
      return Json{{"error", v.AsErrorCode()}};
    case rt::VarType::Object: {
      const rt::ObjectRef& o = v.AsObject();
      if (!o) return Json{{"handle", nullptr}, {"type", "Nothing"}};
      return Json{{"handle", handles.Add(o)}, {"type", o->TypeName()}};
    }
    case rt::VarType::Record: {
      Json out = Json::object();
      for (const auto& [name, member] : v.AsRecord().members()) out[name] = ToJson(member, handles);
      return out;
    }
    case rt::VarType::Array: {
      const rt::SafeArray& a = v.AsArray();
      if (!a.allocated()) return Json{{"items", nullptr}};
      Json items = Json::array();
      for (const rt::Variant& item : a.items()) items.push_back(ToJson(item, handles));
      return Json{{"lbound", a.LBound()}, {"items", std::move(items)}};
    }
    default:
      return rt::TypeName(v);
  }
}

}  // namespace zmdb::automation
