// Variants as JSON, both ways, for the automation interface:
//   string, integer (Long), other number (Double), true/false, null (Null),
//   {"empty": true}, {"missing": true}, {"error": scode},
//   {"date": "2004-08-30 00:00:00"}, {"handle": "h1"} (an object; responses
//   add "type"), {"lbound": 1, "items": [...]} (an array; a plain JSON array
//   has lower bound 0; {"items": null} is unallocated), and any other object
//   as a record keyed by member name.
//
// Hostile input is refused with a run-time error rather than a crash: arrays
// and objects nest at most kMaxValueDepth deep in a value (Out of stack space,
// 28), and a number given where a Long is read must fit one (Overflow, 6).
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

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

// The deepest nesting of arrays and objects FromJson reads, and of a request
// line (a value inside the request object and its "args").
inline constexpr std::size_t kMaxValueDepth = 256;
inline constexpr std::size_t kMaxRequestDepth = kMaxValueDepth + 2;

// How deep "[" and "{" nest in JSON text (outside strings), found without
// parsing it, so that text too deep to parse safely can be refused first.
std::size_t NestingDepth(std::string_view text);

// A JSON number read as a Long: Overflow for one outside the Long range. A
// value that is no number raises the JSON library's type error.
std::int32_t LongFromJson(const Json& j);

rt::Variant FromJson(const Json& j, const HandleTable& handles);
Json ToJson(const rt::Variant& v, HandleTable& handles);

}  // namespace zmdb::automation
