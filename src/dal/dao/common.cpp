// The open store of a schema object, collections and properties (common.h).
#include "zmdb/dal/dao/common.h"

#include "zmdb/dal/ado.h"
#include "zmdb/dal/connection.h"
#include "zmdb/dal/engine_errors.h"
#include "zmdb/runtime/convert.h"

namespace zmdb::dal::dao {

using rt::NameEquals;
using rt::Variant;

// ---- DbCore ----

DbCore::~DbCore() {
  try {
    Close();
  } catch (...) {
  }
}

// The backend, or error 3420 once the database was closed.
Backend& DbCore::backend() {
  if (owned_) return *owned_;
  if (connection_ && connection_->State() == ado::adStateOpen) return connection_->backend();
  engerr::ObjectInvalid();
}

// True while the store can be reached.
bool DbCore::open() const {
  return owned_ || (connection_ && connection_->State() == ado::adStateOpen);
}

// Closes an owned backend; a connection is its owner's to close.
void DbCore::Close() {
  if (owned_) {
    std::unique_ptr<Backend> b = std::move(owned_);
    b->Close();
  }
  connection_.reset();
}

// ---- Collection ----

std::int32_t Collection::Count() {
  return static_cast<std::int32_t>(b_.names().size());
}

// By name (case-insensitive) for text keys, by position from 0 otherwise.
rt::ObjectRef Collection::Item(const Variant& key) {
  const std::vector<std::string> names = b_.names();
  if (key.IsString()) {
    for (const std::string& n : names) {
      if (NameEquals(n, key.AsString())) return b_.make(n);
    }
  } else if (!key.IsMissing() && !key.IsEmpty() && !key.IsNull() && !key.IsObject()) {
    const std::int32_t i = rt::CLng(key);
    if (i >= 0 && static_cast<std::size_t>(i) < names.size()) {
      return b_.make(names[static_cast<std::size_t>(i)]);
    }
  }
  b_.missing();
  engerr::ItemNotFound();
}

// Appends through the collection's behaviour; 3219 when it takes none.
void Collection::Append(const Variant& object) {
  if (!b_.append) rt::RaiseStandard(rt::err::kInvalidOperation);
  b_.append(object);
}

// Deletes through the collection's behaviour; 3219 when it takes none.
void Collection::Delete(const std::string& name) {
  if (!b_.remove) rt::RaiseStandard(rt::err::kInvalidOperation);
  b_.remove(name);
}

// Count and Item are read as properties; Item is also the default member.
Variant Collection::GetProperty(std::string_view name, const std::vector<Variant>& index) {
  if (NameEquals(name, "Count")) return Variant(Count());
  if (NameEquals(name, "Item") || name.empty()) return Variant(Item(rt::ArgAt(index, 0)));
  return Object::GetProperty(name, index);
}

// Late-bound method call by name (any case); collections read as methods answer their item.
Variant Collection::Call(std::string_view name, std::vector<Variant>& args) {
  if (NameEquals(name, "Item") || name.empty()) return Variant(Item(rt::ArgAt(args, 0)));
  if (NameEquals(name, "Count")) return Variant(Count());
  if (NameEquals(name, "Append")) {
    Append(rt::ArgAt(args, 0));
    return {};
  }
  if (NameEquals(name, "Delete")) {
    Delete(rt::CStr(rt::ArgAt(args, 0)));
    return {};
  }
  if (NameEquals(name, "Refresh")) return {};
  return Object::Call(name, args);
}

// The collection, or its item when an index was given.
Variant CollectionOrItem(const std::shared_ptr<Collection>& c, const std::vector<Variant>& index) {
  if (index.empty()) return Variant(rt::ObjectRef(c));
  return Variant(c->Item(index[0]));
}

// ---- Property ----

Variant Property::GetProperty(std::string_view name, const std::vector<Variant>& index) {
  if (NameEquals(name, "Name")) return Variant(name_);
  if (NameEquals(name, "Value") || name.empty()) return Value();
  if (NameEquals(name, "Type")) return Variant(type_);
  if (NameEquals(name, "Inherited")) return Variant(false);
  return Object::GetProperty(name, index);
}

// Late-bound write of a member by name (any case); 438 for a member the object lacks.
void Property::SetProperty(std::string_view name, const Variant& value,
                           const std::vector<Variant>& index) {
  if (NameEquals(name, "Value") || name.empty()) return SetValue(value);
  if (NameEquals(name, "Type") && !get_) {
    type_ = rt::CLng(value);
    return;
  }
  if (NameEquals(name, "Name") && !get_) {
    name_ = rt::CStr(value);
    return;
  }
  Object::SetProperty(name, value, index);
}

// Writes the value through to its owner, or keeps it until the property is appended.
void Property::SetValue(const Variant& v) {
  if (set_) {
    set_(v);
  } else if (get_) {
    rt::RaiseStandard(rt::err::kInvalidOperation);
  } else {
    value_ = v;
  }
}

// After Append: the object reads and changes the store under its name from now on.
void Property::Bind(Getter get, Setter set) {
  get_ = std::move(get);
  set_ = std::move(set);
}

// ---- Properties ----

std::shared_ptr<Collection> MakeProperties(const rt::ObjectRef& object, PropertyOwner& owner,
                                           bool adoStyle) {
  PropertyOwner* o = &owner;
  Collection::Behaviour b;
  b.names = [object, o] {
    std::vector<std::string> names = o->BuiltinProperties();
    for (const schema::Prop& p : o->CustomProperties()) names.push_back(p.name);
    return names;
  };
  b.make = [object, o](const std::string& name) -> rt::ObjectRef {
    for (const std::string& builtin : o->BuiltinProperties()) {
      if (NameEquals(builtin, name)) {
        const Variant current = object->GetProperty(builtin, {});
        return std::make_shared<Property>(
            builtin, DaoTypeOfValue(current),
            [object, builtin] { return object->GetProperty(builtin, {}); },
            [object, builtin](const Variant& v) { object->SetProperty(builtin, v, {}); });
      }
    }
    for (const schema::Prop& p : o->CustomProperties()) {
      if (!NameEquals(p.name, name)) continue;
      const std::string n = p.name;
      const std::int32_t type = p.type;
      return std::make_shared<Property>(
          n, type,
          [object, o, n] {
            for (const schema::Prop& q : o->CustomProperties()) {
              if (NameEquals(q.name, n)) return q.value;
            }
            return Variant::Null();
          },
          [object, o, n, type](const Variant& v) {
            o->PutCustomProperty({n, type, v});
          });
    }
    return nullptr;
  };
  b.append = [object, o](const Variant& v) {
    auto p = rt::ObjectAs<Property>(v);
    for (const std::string& n : o->BuiltinProperties()) {
      if (NameEquals(n, p->name())) {
        rt::RaiseStandard(rt::err::kPropertyExists);
      }
    }
    if (schema::FindProp(o->CustomProperties(), p->name())) {
      rt::RaiseStandard(rt::err::kPropertyExists);
    }
    const std::string n = p->name();
    const std::int32_t type = p->type();
    o->PutCustomProperty({n, type, p->Value()});
    p->Bind(
        [object, o, n] {
          const schema::Prop* q = nullptr;
          auto props = o->CustomProperties();
          q = schema::FindProp(props, n);
          return q ? q->value : Variant::Null();
        },
        [object, o, n, type](const Variant& value) {
          o->PutCustomProperty({n, type, value});
        });
  };
  b.remove = [object, o](const std::string& name) {
    if (!schema::FindProp(o->CustomProperties(), name)) {
      rt::RaiseStandard(rt::err::kPropertyNotFound);
    }
    o->DeleteCustomProperty(name);
  };
  if (adoStyle) {
    b.missing = [] { RaiseItemNotFound("ADOX.Properties"); };
  } else {
    b.missing = [] { rt::RaiseStandard(rt::err::kPropertyNotFound); };
  }
  // A name the collection does not know yet yields nothing from make: the
  // missing-item error stands in for it.
  auto make = b.make;
  auto missing = b.missing;
  b.make = [make, missing](const std::string& name) {
    rt::ObjectRef r = make(name);
    if (!r) missing();
    return r;
  };
  return std::make_shared<Collection>("Properties", std::move(b));
}

// The DAO type of a value: Boolean 1, Long 4, Double 7, Date 8, Text 10.
std::int32_t DaoTypeOfValue(const Variant& v) {
  switch (v.Type()) {
    case rt::VarType::Boolean:
      return 1;
    case rt::VarType::Byte:
      return 2;
    case rt::VarType::Integer:
      return 3;
    case rt::VarType::Long:
      return 4;
    case rt::VarType::Currency:
      return 5;
    case rt::VarType::Single:
      return 6;
    case rt::VarType::Double:
      return 7;
    case rt::VarType::Date:
      return 8;
    default:
      return 10;
  }
}

// An optional text argument, `fallback` when missing.
std::string TextArg(const std::vector<Variant>& args, std::size_t i, const std::string& fallback) {
  const Variant& v = rt::ArgAt(args, i);
  return v.IsMissing() || v.IsEmpty() ? fallback : rt::CStr(v);
}

// An optional Boolean argument, `fallback` when missing.
bool BoolArg(const std::vector<Variant>& args, std::size_t i, bool fallback) {
  const Variant& v = rt::ArgAt(args, i);
  return v.IsMissing() || v.IsEmpty() ? fallback : rt::CBool(v);
}

}  // namespace zmdb::dal::dao
