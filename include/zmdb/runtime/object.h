// Object: the base of every object the library hands around in a Variant
// (connections, databases, recordsets, fields, host controls). It answers the
// platform's type-name test and late-bound access by member name, which is how
// the library reaches host controls and how scripts reach everything.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "zmdb/runtime/variant.h"

namespace zmdb::rt {

class Object : public std::enable_shared_from_this<Object> {
 public:
  Object() = default;
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  virtual ~Object() = default;

  // The platform's type name of the object ("Connection", "Database", "Field",
  // "ProgressBar", ...). Compared case-sensitively by the library.
  virtual std::string TypeName() const = 0;

  // Late-bound property read, by name without regard to case; `index` holds
  // the arguments of an indexed property (ItemData(i)). Unknown members raise
  // error 438, as the platform does.
  virtual Variant GetProperty(std::string_view name, const std::vector<Variant>& index = {});
  // Late-bound property write.
  virtual void SetProperty(std::string_view name, const Variant& value,
                           const std::vector<Variant>& index = {});
  // Late-bound method call; arguments may be written back (by reference).
  virtual Variant Call(std::string_view name, std::vector<Variant>& args);

  // The default member's value (a field's Value, a control's Text). Error 438
  // when the object has none.
  virtual Variant DefaultValue();
};

// Case-insensitive comparison of member and item names (ASCII letters only).
bool NameEquals(std::string_view a, std::string_view b);

// The object a late-bound access reaches: error 424 ("Object required") when
// `v` holds no object, 91 when it holds Nothing.
Object& LateBoundTarget(const Variant& v);

// Late-bound helpers: raise error 424 ("Object required") when `v` holds no object.
Variant GetProp(const Variant& v, std::string_view name, const std::vector<Variant>& index = {});
void SetProp(const Variant& v, std::string_view name, const Variant& value,
             const std::vector<Variant>& index = {});
Variant CallMethod(const Variant& v, std::string_view name, std::vector<Variant> args = {});
// The item `key` (a name or a position) of a collection object: its indexed
// Item property, as `coll(key)` reads it.
Variant ItemOf(const Variant& collection, const Variant& key);

// The argument at `i` of a late-bound call, or Missing when the call gave fewer.
const Variant& ArgAt(const std::vector<Variant>& args, std::size_t i);
// An optional Long argument, or `fallback` when it is missing.
std::int32_t OptLongArg(const std::vector<Variant>& args, std::size_t i, std::int32_t fallback);

// Cast helper for code that needs the concrete class behind an object Variant:
// raises error 13 (type mismatch) when the object is not a T, 91 when it is Nothing.
template <class T>
std::shared_ptr<T> ObjectAs(const Variant& v);

}  // namespace zmdb::rt

#include "zmdb/runtime/error.h"

namespace zmdb::rt {
template <class T>
std::shared_ptr<T> ObjectAs(const Variant& v) {
  if (!v.IsObject()) Raise(err::kTypeMismatch);
  const ObjectRef& o = v.AsObject();
  if (!o) Raise(err::kObjectNotSet);
  auto t = std::dynamic_pointer_cast<T>(o);
  if (!t) Raise(err::kTypeMismatch);
  return t;
}
}  // namespace zmdb::rt
