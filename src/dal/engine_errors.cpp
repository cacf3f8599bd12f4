#include "zmdb/dal/engine_errors.h"

#include <cctype>

#include "zmdb/dal/backend.h"
#include "zmdb/dal/schema_store.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/object.h"

namespace zmdb::dal {

namespace engerr {

// Throws the engine error as a platform error.
void Raise(std::int32_t number, const std::string& text, const char* source) {
  throw rt::PlatformError(number, text, source);
}

// 3265, the engine's answer for a missing collection item.
void ItemNotFound(const char* source) {
  rt::RaiseStandard(rt::err::kItemNotFound, source);
}

// 3010 for a table name in use.
void TableExists(std::string_view name) {
  rt::RaiseStandard(rt::err::kTableExists, kSource, name);
}

// 3012 for a query or relation name in use.
void ObjectExists(std::string_view name) {
  rt::RaiseStandard(rt::err::kObjectExists, kSource, name);
}

// 3420 for an object whose database was closed.
void ObjectInvalid() {
  rt::RaiseStandard(rt::err::kObjectInvalid, kSource);
}

// 3219, the engine's refusal of a change the object does not take.
void InvalidOperation() {
  rt::RaiseStandard(rt::err::kInvalidOperation, kSource);
}

// 3251 for a kind of store the engine cannot reach yet.
void NotYetSupported(std::string_view what) {
  rt::RaiseStandard(rt::err::kNotYetSupported, kSource, what);
}

}  // namespace engerr

// A store that has no schema store says so.
schema::SchemaStore& Backend::Schema() {
  engerr::NotYetSupported("Changing the schema of this kind of store");
}

namespace schema {

// Linear search; property lists are short.
const Prop* FindProp(const std::vector<Prop>& props, std::string_view name) {
  for (const Prop& p : props) {
    if (rt::NameEquals(p.name, name)) return &p;
  }
  return nullptr;
}

// Replaces a property of the same name, or appends it.
void PutProp(std::vector<Prop>& props, Prop prop) {
  for (Prop& p : props) {
    if (rt::NameEquals(p.name, prop.name)) {
      p = std::move(prop);
      return;
    }
  }
  props.push_back(std::move(prop));
}

// Reads the statement's leading keyword(s): SELECT ... INTO is a make-table
// query, SELECT with UNION a set operation, DDL verbs are data-definition.
std::int32_t QueryTypeOf(std::string_view sql) {
  std::string upper;
  for (char c : sql) upper += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  const auto b = upper.find_first_not_of(" \t\r\n(");
  if (b == std::string::npos) return kQSelect;
  const std::string_view head = std::string_view(upper).substr(b);
  const auto starts = [&](std::string_view w) {
    return head.starts_with(w) &&
           (head.size() == w.size() || !std::isalnum(static_cast<unsigned char>(head[w.size()])));
  };
  if (starts("DELETE")) return kQDelete;
  if (starts("UPDATE")) return kQUpdate;
  if (starts("INSERT")) return kQAppend;
  if (starts("CREATE") || starts("DROP") || starts("ALTER")) return kQDDL;
  if (starts("SELECT") || starts("TRANSFORM")) {
    if (upper.find(" INTO ") != std::string::npos) return kQMakeTable;
    if (upper.find(" UNION ") != std::string::npos) return kQSetOperation;
    return kQSelect;
  }
  return kQDDL;
}

}  // namespace schema
}  // namespace zmdb::dal
