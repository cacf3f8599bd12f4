#include "zmdb/automation/json_value.h"

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

namespace {
rt::Variant ArrayFromJson(const Json& items, std::int32_t lbound, const HandleTable& handles) {
  if (items.is_null()) return rt::Variant(rt::SafeArray());
  if (!items.is_array()) rt::Raise(rt::err::kTypeMismatch, "\"items\" must be an array or null");
  std::vector<rt::Variant> values;
  values.reserve(items.size());
  for (const Json& item : items) values.push_back(FromJson(item, handles));
  return rt::Variant(rt::SafeArray(rt::VarType::Variant, lbound, std::move(values)));
}
}  // namespace

rt::Variant FromJson(const Json& j, const HandleTable& handles) {
  switch (j.type()) {
    case Json::value_t::null:
      return rt::Variant::Null();
    case Json::value_t::boolean:
      return rt::Variant(j.get<bool>());
    case Json::value_t::string:
      return rt::Variant(j.get<std::string>());
    case Json::value_t::number_integer:
    case Json::value_t::number_unsigned: {
      const double d = j.get<double>();
      if (d >= -2147483648.0 && d <= 2147483647.0) return rt::Variant(j.get<std::int32_t>());
      return rt::Variant(d);
    }
    case Json::value_t::number_float:
      return rt::Variant(j.get<double>());
    case Json::value_t::array:
      return ArrayFromJson(j, 0, handles);
    case Json::value_t::object: {
      if (j.contains("empty")) return rt::Variant();
      if (j.contains("missing")) return rt::Variant::Missing();
      if (j.contains("error")) return rt::Variant(rt::ErrorCode{j.at("error").get<std::int32_t>()});
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
        const std::int32_t lbound = j.contains("lbound") ? j.at("lbound").get<std::int32_t>() : 0;
        return ArrayFromJson(j.at("items"), lbound, handles);
      }
      rt::Record record("Record");
      for (const auto& [key, value] : j.items()) {
        record.members().emplace_back(key, FromJson(value, handles));
      }
      return rt::Variant(std::move(record));
    }
    default:
      rt::Raise(rt::err::kTypeMismatch, "Unsupported JSON value: " + j.dump());
  }
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
