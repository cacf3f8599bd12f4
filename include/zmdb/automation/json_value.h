// Variants as JSON, both ways, for the automation interface:
//   string, integer (Long), other number (Double), true/false, null (Null),
//   {"empty": true}, {"missing": true}, {"error": scode},
//   {"date": "2004-08-30 00:00:00"}, {"handle": "h1"} (an object; responses
//   add "type"), {"lbound": 1, "items": [...]} (an array; a plain JSON array
//   has lower bound 0; {"items": null} is unallocated), and any other object
//   as a record keyed by member name.
#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <string>

#include "zmdb/runtime/object.h"

namespace zmdb::automation {

using Json = nlohmann::ordered_json;

// The objects a session has handed out, by handle ("h1", "h2", ...). The same
// object always gets the same handle.
class HandleTable {
 public:
  std::string Add(const rt::ObjectRef& object);
  // The object of a handle; a clear run-time error for an unknown handle.
  rt::ObjectRef Get(const std::string& handle) const;
  void Remove(const std::string& handle);

 private:
  std::map<std::string, rt::ObjectRef> objects_;
  int next_ = 1;
};

rt::Variant FromJson(const Json& j, const HandleTable& handles);
Json ToJson(const rt::Variant& v, HandleTable& handles);

}  // namespace zmdb::automation
