// The method table: every public method of clsZMDBFunc described once, in
// type-library order, with its dispatch id, its arguments (names in order,
// types, defaults, by-reference flags), its result type and its guard kind.
// Late-bound calls by name are served from this table alone.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zmdb/frame/guard.h"
#include "zmdb/runtime/variant.h"

namespace zmdb {
class clsZMDBFunc;
}

namespace zmdb::frame {

// Declared types of arguments and results.
enum class ArgType {
  Void,     // no result (a Sub)
  Boolean,  // 16-bit, True = -1
  Integer,  // 16-bit
  Long,     // 32-bit, also the type-library enumerations
  Date,
  String,
  Variant,
  Object,  // an object reference (Connection, Recordset, Parameter, ...)
  Array,   // an array (String(), records, Parameter objects)
  Record,  // a record of the type library (ErrStruct)
};

struct ArgSpec {
  std::string_view name;
  ArgType type = ArgType::Variant;
  bool optional = false;
  bool byRef = false;
  // The declared default of an optional argument; none means the type's zero
  // value (or "missing" for a Variant).
  std::optional<rt::Variant> defaultValue;
};

// The late-bound entry point of a method: converts `args` (one per declared
// argument, in order, missing ones already filled in) to the C++ parameters,
// calls the method and writes by-reference arguments back into `args`.
using Invoker = std::function<rt::Variant(clsZMDBFunc&, std::vector<rt::Variant>& args)>;

struct MethodSpec {
  std::string_view name;
  std::int32_t dispid = 0;
  ArgType result = ArgType::Variant;
  GuardKind guard = GuardKind::Recording;
  std::vector<ArgSpec> args;
  Invoker invoke;          // empty while the method's subsystem is not built yet
  std::string_view needs;  // what a method without an invoker is waiting for
  // Where the method lives: its subsystem folder below src/ ("schema") and
  // the source file that defines it ("src/schema/probes.cpp"), or, for a
  // method not built yet, the file it will be written in.
  std::string_view subsystem;
  std::string_view source;
};

// All methods in type-library order (81 of them).
const std::vector<MethodSpec>& Methods();
// A method by name, without regard to case; nullptr when there is none.
const MethodSpec* FindMethod(std::string_view name);

// Prepare the argument list of a late-bound call: `given` maps argument
// positions to values (absent positions are omitted arguments). Omitted
// optional arguments get their declared default, or the zero value of their
// type, or "missing" for a Variant without a default. Raises error 449 for an
// omitted required argument and 450 for a position beyond the last argument.
std::vector<rt::Variant> PrepareArguments(const MethodSpec& method,
                                          const std::vector<std::optional<rt::Variant>>& given);

// Call a method late-bound by its spec; raises a clear error for a method
// whose subsystem is not built yet.
rt::Variant Invoke(clsZMDBFunc& object, const MethodSpec& method, std::vector<rt::Variant>& args);

// Convert a value to the declared type of an argument or result, with the
// run time's coercions (error 13 / 6 / 94 as the run time raises them).
rt::Variant CoerceTo(const rt::Variant& v, ArgType type);

}  // namespace zmdb::frame
