#include "zmdb/runtime/object.h"

#include <cctype>

#include "zmdb/runtime/convert.h"

namespace zmdb::rt {

// Unknown member: the platform answers error 438.
Variant Object::GetProperty(std::string_view, const std::vector<Variant>&) {
  Raise(err::kNotSupported);
}

void Object::SetProperty(std::string_view, const Variant&, const std::vector<Variant>&) {
  Raise(err::kNotSupported);
}

Variant Object::Call(std::string_view, std::vector<Variant>&) {
  Raise(err::kNotSupported);
}

Variant Object::DefaultValue() {
  Raise(err::kNotSupported);
}

// ASCII case-insensitive equality, as member and collection look-ups use.
bool NameEquals(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (lower(a[i]) != lower(b[i])) return false;
  }
  return true;
}

Object& LateBoundTarget(const Variant& v) {
  if (!v.IsObject()) Raise(err::kObjectRequired);
  const ObjectRef& o = v.AsObject();
  if (!o) Raise(err::kObjectNotSet);
  return *o;
}

Variant GetProp(const Variant& v, std::string_view name, const std::vector<Variant>& index) {
  return LateBoundTarget(v).GetProperty(name, index);
}

void SetProp(const Variant& v, std::string_view name, const Variant& value,
             const std::vector<Variant>& index) {
  LateBoundTarget(v).SetProperty(name, value, index);
}

const Variant& ArgAt(const std::vector<Variant>& args, std::size_t i) {
  static const Variant missing = Variant::Missing();
  return i < args.size() ? args[i] : missing;
}

std::int32_t OptLongArg(const std::vector<Variant>& args, std::size_t i, std::int32_t fallback) {
  const Variant& v = ArgAt(args, i);
  return v.IsMissing() ? fallback : CLng(v);
}

Variant CallMethod(const Variant& v, std::string_view name, std::vector<Variant> args) {
  return LateBoundTarget(v).Call(name, args);
}

Variant ItemOf(const Variant& collection, const Variant& key) {
  return LateBoundTarget(collection).GetProperty("Item", {key});
}

}  // namespace zmdb::rt
