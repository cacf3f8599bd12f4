// The C interface's entry points: components and their methods through the
// method table, objects through their late-bound members, and this thread's
// latest failure. Every entry point catches everything at the edge.
#include <memory>

#include "capi_p.h"
#include "zmdb/automation/objects.h"
#include "zmdb/dal/stores/builtin.h"
#include "zmdb/frame/component.h"
#include "zmdb/frame/methods.h"

struct zmdb_component {
  zmdb::clsZMDBFunc object;
};

namespace zmdb::capi {

namespace {

// The latest failure on this thread.
thread_local rt::ErrorInfo latest;

void Require(bool given, const char* what) {
  if (!given) rt::RaiseDetailed(rt::err::kInvalidProcCall, what);
}

// Every value of `values` cleared to EMPTY first, so out-values can always be
// cleared afterwards.
void ClearOut(zmdb_value* result, zmdb_value* after, std::size_t n) {
  if (result) *result = zmdb_value{};
  for (std::size_t i = 0; after && i < n; ++i) after[i] = zmdb_value{};
}

// Runs `call` on the arguments, then hands back the result and every argument
// as the call left it (also when it raised).
template <class Call>
void CallAndReturn(std::vector<rt::Variant>& args, std::size_t given, zmdb_value* result,
                   zmdb_value* after, Call&& call) {
  auto handBack = [&] {
    for (std::size_t i = 0; after && i < given && i < args.size(); ++i) ToC(args[i], after[i]);
  };
  rt::Variant value;
  try {
    value = call(args);
  } catch (...) {
    handBack();
    throw;
  }
  handBack();
  if (result) ToC(value, *result);
}

int CallMethod(zmdb_component* component, const frame::MethodSpec* method, const char* name,
               const zmdb_value* args, std::size_t nargs, zmdb_value* result, zmdb_value* after) {
  ClearOut(result, after, nargs);
  return Edge([&] {
    Require(component, "no component");
    if (!method) {
      rt::Raise(rt::err::kNotSupported, std::string("clsZMDBFunc has no method '") + name + "'");
    }
    std::vector<std::optional<rt::Variant>> given;
    for (rt::Variant& v : FromC(args, nargs)) {
      given.push_back(v.IsMissing() ? std::nullopt : std::optional<rt::Variant>(std::move(v)));
    }
    std::vector<rt::Variant> prepared = frame::PrepareArguments(*method, given);
    CallAndReturn(prepared, nargs, result, after, [&](std::vector<rt::Variant>& a) {
      const rt::Variant value = frame::Invoke(component->object, *method, a);
      return method->result == frame::ArgType::Void ? rt::Variant() : value;
    });
  });
}

// Method and argument names, NUL-terminated, for as long as the process lives.
struct Names {
  std::vector<std::string> methods;
  std::vector<std::vector<std::string>> args;
};
const Names& TableNames() {
  static const Names names = [] {
    Names n;
    for (const frame::MethodSpec& m : frame::Methods()) {
      n.methods.emplace_back(m.name);
      auto& args = n.args.emplace_back();
      for (const frame::ArgSpec& a : m.args) args.emplace_back(a.name);
    }
    return n;
  }();
  return names;
}

const frame::MethodSpec& MethodAt(std::size_t index) {
  if (index >= frame::Methods().size()) rt::Raise(rt::err::kSubscriptOutOfRange);
  return frame::Methods()[index];
}

}  // namespace

int Failed() noexcept {
  try {
    latest = rt::ErrorFromCurrentException();
  } catch (...) {
    latest = {};
  }
  if (latest.Number == 0) latest.Number = rt::err::kInvalidProcCall;
  return latest.Number;
}

}  // namespace zmdb::capi

using namespace zmdb;
using capi::Edge;
using capi::Require;

extern "C" {

long zmdb_error_number(void) {
  return capi::latest.Number;
}
const char* zmdb_error_source(void) {
  return capi::latest.Source.c_str();
}
const char* zmdb_error_description(void) {
  return capi::latest.Description.c_str();
}

int zmdb_component_create(zmdb_component** out) {
  if (out) *out = nullptr;
  return Edge([&] {
    Require(out, "no place for the component");
    *out = new zmdb_component{};
  });
}

void zmdb_component_release(zmdb_component* component) {
  Edge([&] { delete component; });
}

int zmdb_call(zmdb_component* component, const char* method, const zmdb_value* args, size_t nargs,
              zmdb_value* result, zmdb_value* after) {
  const frame::MethodSpec* spec = method ? frame::FindMethod(method) : nullptr;
  return capi::CallMethod(component, spec, method ? method : "", args, nargs, result, after);
}

int zmdb_call_dispid(zmdb_component* component, long dispid, const zmdb_value* args, size_t nargs,
                     zmdb_value* result, zmdb_value* after) {
  const frame::MethodSpec* spec = nullptr;
  for (const frame::MethodSpec& m : frame::Methods()) {
    if (m.dispid == dispid) spec = &m;
  }
  const std::string name = "with dispatch id " + std::to_string(dispid);
  return capi::CallMethod(component, spec, name.c_str(), args, nargs, result, after);
}

size_t zmdb_method_count(void) {
  return frame::Methods().size();
}

long zmdb_method_find(const char* name) {
  const frame::MethodSpec* spec = name ? frame::FindMethod(name) : nullptr;
  return spec ? static_cast<long>(spec - frame::Methods().data()) : -1;
}

int zmdb_method_info(size_t index, const char** name, long* dispid, size_t* nargs) {
  return Edge([&] {
    const frame::MethodSpec& m = capi::MethodAt(index);
    if (name) *name = capi::TableNames().methods[index].c_str();
    if (dispid) *dispid = m.dispid;
    if (nargs) *nargs = m.args.size();
  });
}

int zmdb_method_arg(size_t index, size_t arg, const char** name, int* flags) {
  return Edge([&] {
    const frame::MethodSpec& m = capi::MethodAt(index);
    if (arg >= m.args.size()) rt::Raise(rt::err::kSubscriptOutOfRange);
    if (name) *name = capi::TableNames().args[index][arg].c_str();
    if (flags) {
      *flags =
          (m.args[arg].optional ? ZMDB_ARG_OPTIONAL : 0) | (m.args[arg].byRef ? ZMDB_ARG_BYREF : 0);
    }
  });
}

int zmdb_object_new(const char* type, const char* const* names, const zmdb_value* values,
                    size_t nargs, zmdb_object** out) {
  if (out) *out = nullptr;
  return Edge([&] {
    Require(out && type, "no type or no place for the object");
    // A connection or database made before any component reaches its store
    // through the registry too.
    dal::RegisterBuiltInStores();
    Require(nargs == 0 || names, "arguments without names");
    std::vector<rt::Variant> given = capi::FromC(values, nargs);
    automation::NamedArgs args;
    for (std::size_t i = 0; i < nargs; ++i) {
      Require(names[i], "an argument without a name");
      args.emplace_back(names[i], std::move(given[i]));
    }
    *out = capi::NewHandle(automation::NewObject(type, args));
  });
}

zmdb_object* zmdb_object_retain(zmdb_object* object) {
  zmdb_object* copy = nullptr;
  Edge([&] { copy = object ? new zmdb_object{*object} : nullptr; });
  return copy;
}

void zmdb_object_release(zmdb_object* object) {
  Edge([&] { delete object; });
}

const char* zmdb_object_type(zmdb_object* object) {
  return object ? object->type.c_str() : "Nothing";
}

int zmdb_object_same(const zmdb_object* a, const zmdb_object* b) {
  const rt::ObjectRef none;
  return (a ? a->object : none) == (b ? b->object : none) ? 1 : 0;
}

int zmdb_object_get(zmdb_object* object, const char* name, const zmdb_value* index, size_t nindex,
                    zmdb_value* result) {
  capi::ClearOut(result, nullptr, 0);
  return Edge([&] {
    Require(object && name, "no object or no member name");
    const rt::Variant value = object->object->GetProperty(name, capi::FromC(index, nindex));
    if (result) capi::ToC(value, *result);
  });
}

int zmdb_object_set(zmdb_object* object, const char* name, const zmdb_value* value,
                    const zmdb_value* index, size_t nindex) {
  return Edge([&] {
    Require(object && name && value, "no object, member name or value");
    object->object->SetProperty(name, capi::FromC(*value), capi::FromC(index, nindex));
  });
}

int zmdb_object_call(zmdb_object* object, const char* name, const zmdb_value* args, size_t nargs,
                     zmdb_value* result, zmdb_value* after) {
  capi::ClearOut(result, after, nargs);
  return Edge([&] {
    Require(object && name, "no object or no member name");
    std::vector<rt::Variant> given = capi::FromC(args, nargs);
    capi::CallAndReturn(given, nargs, result, after,
                        [&](std::vector<rt::Variant>& a) { return object->object->Call(name, a); });
  });
}

}  // extern "C"
